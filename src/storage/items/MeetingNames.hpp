// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/ItemArchive.hpp"
#include "storage/items/ZipFaults.hpp"
#include "storage/items/ZipItems.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace opc::storage {

/// What readers make of the name of an item, folded; each once.
std::vector<std::string> foldedNames(std::string_view name);

/// Finds items that a reader could confuse by their names, or read as the same part (`foldName`), and items below
/// others that are not folders.
/// @param items of the archive; those that are left out already are passed over.
void checkMeetingNames(const ZipItems& items, const ItemArchive& archive, const ZipFaults& faults);

} // namespace opc::storage
