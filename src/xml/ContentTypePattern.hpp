// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace opc::model {

/// True when the text matches the pattern of ST_ContentType in the content types schema (ECMA-376-2 Annex C). Takes
/// time linear in the text and constant memory.
///
/// The schema that is loaded leaves that pattern out, since a backtracking matcher can be kept busy, or out of stack,
/// by a short text; whoever reads a content types stream asks this right after the parse.
bool matchesContentTypePattern(std::u16string_view text) noexcept;

} // namespace opc::model
