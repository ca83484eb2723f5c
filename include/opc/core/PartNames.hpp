// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Rules.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The part-name rules as plain text functions, for physical packages that name items themselves.
/// All are pure and may be called from any thread.
namespace opc::detail {

/// The rules of ECMA-376-2 §6.2.2 for part names, in the order in which they are checked; the last five for one
/// segment after another.
enum class PartNameRule {
    NotEmpty,            ///< [M1.1]
    NoScheme,            ///< a part name is not an absolute URI
    AbsolutePath,        ///< [M1.4]
    NoSlashAtEnd,        ///< [M1.5]
    NoEmptySegment,      ///< [M1.3]
    NoSegmentOfDots,     ///< [M1.10]
    NoDotAtEnd,          ///< [M1.9]
    NoEscapedSlash,      ///< [M1.7] nor a backslash
    NoEscapedUnreserved, ///< [M1.8]
};

/// The rule that a finding names. An absolute URI does not start with a slash.
OPCRAFT_API RuleId toRuleId(PartNameRule rule) noexcept;

/// The violation of a rule by a name.
struct PartNameFault {
    PartNameRule rule;
    std::size_t position; ///< in units from the start of the name
};

/// The first rule that a name breaks; nothing when it breaks none.
/// @param name a URI reference (RFC 3986 §4.1). A query and a fragment count as part of the segments ("/a?b#c").
OPCRAFT_API std::optional<PartNameFault> findPartNameFault(std::u16string_view name) noexcept;

/// The same by the rules for segments alone. What precedes the first "/" is not a segment.
OPCRAFT_API std::optional<PartNameFault> findSegmentFault(std::u16string_view name) noexcept;

/// The first escape of a slash, a backslash or an unreserved character.
OPCRAFT_API std::optional<PartNameFault> findForbiddenEscape(std::u16string_view segment) noexcept;

/// True when the text is a part name by the rules of ECMA-376-2 §6.2.2 that `opc::model::PartName` enforces:
/// exactly the texts that it accepts, except for those of the package root, which is not a part. A query or
/// a fragment is accepted ("/a?b#c").
OPCRAFT_API bool isPartName(std::u16string_view name) noexcept;

/// True when the path of the part name contains "/_rels/" and, after it, ends with ".rels"; case-sensitive.
OPCRAFT_API bool isRelationshipsPartName(std::u16string_view name) noexcept;

/// The relationships part of a part, or of the package root "/" (ECMA-376-2 §6.5.2).
/// @param path of the part name.
OPCRAFT_API std::u16string getRelationshipsPartName(std::u16string_view path);

/// The part whose relationships a relationships part holds; "/" for "/_rels/.rels".
/// The name is one for which `isRelationshipsPartName` holds.
OPCRAFT_API std::u16string getSourcePartName(std::u16string_view relationshipsPartName);

} // namespace opc::detail
