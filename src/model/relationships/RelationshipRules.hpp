// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/relationships/Relationship.hpp>

#include <set>
#include <string>

namespace opc::model {

/// What a Relationship element says.
struct RelationshipText {
    std::u16string id;
    std::u16string type;
    std::u16string target;
    bool isExternal = false;
};

/// The names of the relationships vocabulary (ECMA-376-2 §6.5.3).
namespace relationships {
inline constexpr char16_t ID[] = u"Id";
inline constexpr char16_t TYPE[] = u"Type";
inline constexpr char16_t TARGET[] = u"Target";
} // namespace relationships

/// What a relationship is held to beyond its schema. One object serves all relationships parts of a package.
class RelationshipRules {
public:
    /// @param judged set to the name of the attribute that breaks a rule, when this throws.
    /// @throws InvalidPartContent
    Relationship read(const RelationshipText& text, const URI& source, const char16_t*& judged);

private:
    void throwIfNotType(const std::u16string& type);

    /// Those that were read and are URIs: the parts of a package share a few. Not hashed: others may be made to
    /// collide.
    std::set<std::u16string> types_;
};

} // namespace opc::model
