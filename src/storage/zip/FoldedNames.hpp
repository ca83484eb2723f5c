// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace opc::storage {

/// What is left of the name of an item when everything is evened out that some reader, file system or program that
/// unpacks takes for the same: escapes, compatible and ignorable characters of Unicode, case, backslashes, empty and
/// dot segments, blanks around a segment and dots behind it, and what follows a NUL. Folded names are for comparing
/// alone.
/// @param name UTF-8; what is not is taken for Latin-1.
std::string foldName(std::string_view name);

} // namespace opc::storage
