// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>
#include <string_view>

namespace opc::detail {

/// What is left of a name inside of a package when everything is evened out that some reader, file system or program
/// that unpacks takes for the same: escapes, compatible and ignorable characters of Unicode, case, backslashes, empty
/// and dot segments, blanks around a segment and dots behind it, and what follows a NUL. Folded names are for comparing
/// alone: two that some reader takes for one have one folded name, and so may two that none does.
/// @param name UTF-8; what is not is taken for Latin-1. What is returned has no slash in front.
OPCRAFT_API std::string foldName(std::string_view name);

} // namespace opc::detail
