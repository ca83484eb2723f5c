// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/ItemReader.hpp"

#include <cstdint>
#include <string>

namespace opc::storage {

/// The part that the relationships of a package name as its main document: programs that detect the kind by the
/// first items search for it. Only a hint for the order of items.
/// @return its part name; empty when they name none.
/// @throws opc::Exception what reading throws.
std::u16string findMainPart(ItemReader& relationships, std::uint64_t maximumSize);

} // namespace opc::storage
