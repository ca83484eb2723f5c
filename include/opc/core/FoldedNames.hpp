// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>
#include <string_view>

namespace opc::detail {

/// The folded form of a name inside of a package, without the differences that some reader, file system or program
/// that unpacks ignores: escapes, compatible and ignorable characters of Unicode, case, backslashes, empty
/// and dot segments, blanks around a segment and dots after it, and what follows a NUL. Folded names are only for
/// comparison: two names that some reader confuses have the same folded name, and so may two that none confuses.
/// @param name UTF-8; what is not valid UTF-8 is read as Latin-1. The result has no leading slash.
OPCRAFT_API std::string foldName(std::string_view name);

} // namespace opc::detail
