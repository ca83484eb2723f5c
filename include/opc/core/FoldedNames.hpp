// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <set>
#include <string>
#include <string_view>

namespace opc::detail {

/// Whether a name has only letters, digits, hyphens, underscores, and dots and slashes between them: as nearly all
/// names. Folding changes nothing of them but the case.
OPCRAFT_API bool isPlainName(std::string_view name) noexcept;

/// The folded form of a name inside of a package, without the differences that some reader, file system or program
/// that unpacks ignores: escapes, compatible, ignorable and control characters of Unicode, case, backslashes,
/// characters that are not allowed in names of Windows, empty and dot segments, blanks around a segment, dots and
/// versions (";1") after it, and what follows a NUL. Folded names are only for comparison: two names that some reader
/// confuses have the same folded name, and so may two that none confuses.
/// @param name UTF-8; what is not valid UTF-8 is read as Latin-1. The result has no leading slash.
OPCRAFT_API std::string foldName(std::string_view name);

/// The folded names of what readers may find at the target of a relationship: some take query and fragment for a part
/// of the name.
/// @param source the name of the part that the relationship starts from, or "/".
OPCRAFT_API std::set<std::string> foldTarget(std::u16string_view source, std::u16string_view target);

} // namespace opc::detail
