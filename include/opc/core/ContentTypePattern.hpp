// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string_view>

namespace opc::detail {

/// True when the text matches the pattern of ST_ContentType in the content types schema (ECMA-376-2 Annex C). Takes
/// time linear in the text and constant memory.
///
/// The loaded schema omits that pattern, since a short text can make a backtracking matcher very slow or overflow the
/// stack; readers of a content types stream call this right after the parse.
OPCRAFT_API bool matchesContentTypePattern(std::u16string_view text) noexcept;

/// True when the text matches the pattern of ST_Extension in that schema: the characters of a path segment (RFC 3986
/// §3.3) but ";" and the dot, which is narrower than what may end a part name.
OPCRAFT_API bool matchesExtensionPattern(std::u16string_view text) noexcept;

} // namespace opc::detail
