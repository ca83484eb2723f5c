// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/ContentTypesReader.hpp"
#include "storage/items/ItemArchive.hpp"
#include "storage/items/ZipFaults.hpp"
#include "storage/items/ZipItems.hpp"

namespace opc::storage {

/// Finds what is against the format in the names of items, and what makes no part of an item. No package is refused for
/// it.
/// @param items of the archive; new ones are passed over.
/// @param types null when there are none.
void checkItemNames(const ZipItems& items, const ItemArchive& archive, const ContentTypes* types,
                    const ZipFaults& faults);

/// What is said of a part in pieces.
inline constexpr const char* IN_PIECES = "the part is stored in pieces, which some readers do not support";

} // namespace opc::storage
