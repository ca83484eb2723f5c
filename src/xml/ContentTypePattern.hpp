// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace opc::model {

/// True when the text matches the pattern of ST_ContentType in the content types schema (ECMA-376-2 Annex C). Takes
/// time linear in the text and constant memory.
///
/// The loaded schema omits that pattern, since a short text can make a backtracking matcher very slow or overflow the
/// stack; readers of a content types stream call this right after the parse.
bool matchesContentTypePattern(std::u16string_view text) noexcept;

} // namespace opc::model
