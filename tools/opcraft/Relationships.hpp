// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <nlohmann/json.hpp>

#include <opc/model/relationships/Relationship.hpp>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// A relationship as it is reported.
struct RelationshipEntry {
    std::string source; ///< a part name, "/" for the package
    std::string id;
    std::string type;
    std::string target;
    bool isExternal = false;
    std::optional<std::string> resolved; ///< the target as a whole URI, where it can be made one
    bool exists = false;                 ///< an internal target is a part of the package
};

/// The part that an internal relationship leads to, without query and fragment; none when the target cannot be
/// one. Whether there is such a part is another matter.
std::optional<std::u16string> targetPartOf(const opc::model::Relationship& relationship);

/// The relationships of one source, in the order in which people count IDs: "rId2" comes before "rId10".
std::vector<RelationshipEntry> entriesOf(const opc::model::RelationshipSource& source,
                                         const std::set<std::u16string>& partKeys);

/// Every relationship of the package and its parts that leads to a part, but for those of the part itself.
std::vector<RelationshipEntry> entriesLeadingTo(const opc::model::PartName& name, OpenPackage& package);

/// @param withSource true: a first column names the source.
std::string toTable(const std::vector<RelationshipEntry>& entries, bool withSource);

nlohmann::ordered_json toJson(const RelationshipEntry& entry);

} // namespace opcraft
