// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>
#include <string_view>

/// The part-name rules as plain text functions, for physical packages that name items themselves.
/// All are pure and may be called from any thread.
namespace opc::detail {

/// True when the text is a part name by the rules of ECMA-376-2 §6.2.2 that `opc::model::PartName` enforces:
/// exactly the texts that it accepts, but for those that it takes for the package root, which is no part. A query or
/// a fragment is accepted ("/a?b#c").
OPCRAFT_API bool isPartName(std::u16string_view name) noexcept;

/// True when the path of the part name holds "/_rels/" and, behind it, ends with ".rels"; the case counts.
OPCRAFT_API bool isRelationshipsPartName(std::u16string_view name) noexcept;

/// The part whose relationships a relationships part holds; "/" for "/_rels/.rels".
/// The name is one for which `isRelationshipsPartName` holds.
OPCRAFT_API std::u16string getSourcePartName(std::u16string_view relationshipsPartName);

} // namespace opc::detail
