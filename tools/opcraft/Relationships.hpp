// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <opc/model/relationships/RawRelationship.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include <cstddef>
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
    std::optional<std::string> resolved; ///< the target resolved against its source, where it can be
    bool exists = false;                 ///< an internal target is a part of the package
};

/// An entry of a relationships part that is no relationship, because something in it is wrong.
struct RawEntry {
    std::string source;    ///< a part name, "/" for the package
    std::size_t index = 0; ///< among those of the source
    opc::model::RawRelationship raw;
};

/// The argument SOURCE, which `CommandOptions::part` holds.
void addSourceArgument(CLI::App& command, CommandOptions& options);

/// "relationship rId2 of /word/document.xml".
std::string relationshipText(const std::string& source, const std::string& id);

/// The path that an internal relationship leads to, without query and fragment; none when it leads out of the package
/// or has no valid target. It need not be the name of a part.
std::optional<std::u16string> targetPartOf(const opc::model::Relationship& relationship);

/// The part that a relationship of the package or a part leads to; none when it leads to no part that exists.
std::optional<opc::model::Part> findTarget(OpenPackage& package, const opc::model::Relationship& relationship);

/// @throws Failure when a relationship of the package in which something is wrong has one of the types, or could have.
void throwIfRawOfType(OpenPackage& package, const std::vector<std::u16string>& types);

/// What became of relationships that were removed.
struct Removal {
    bool isChanged = false;          ///< there were some
    std::vector<std::string> kept{}; ///< items that they lead to and that stay
};

/// Removes the relationships of the package of some types, and each part that they lead to and no other relationship
/// does.
Removal removeWithTargets(OpenPackage& package, const std::vector<std::u16string>& types);

/// Warns of each item that stays.
void noteKept(const Removal& removal, const std::string& file, Console& console);

/// The relationships of one source, in the order in which people count IDs: "rId2" comes before "rId10".
std::vector<RelationshipEntry> entriesOf(const opc::model::RelationshipSource& source,
                                         const std::set<std::u16string>& partKeys);

/// The entries of one source that are no relationships, in their order.
std::vector<RawEntry> rawEntriesOf(const opc::model::RelationshipSource& source);

/// Every relationship of the package and its parts by which some program may find a part, however its target is
/// written, except those of the part itself.
std::vector<RelationshipEntry> entriesLeadingTo(const opc::model::PartName& name, OpenPackage& package);

/// The same for an item that is not a part.
std::vector<RelationshipEntry> entriesLeadingToItem(const std::string& item, OpenPackage& package);

/// The same among the entries that are no relationships.
std::vector<RawEntry> rawEntriesLeadingTo(const opc::model::PartName& name, OpenPackage& package);

/// Entries that are no relationships are not changed, and other programs may take them for relationships.
/// @throws Failure for one that leads to a part.
void throwIfRawEntriesLeadTo(const opc::model::PartName& name, OpenPackage& package);

/// @param withSource true: the first column is the source.
std::string toTable(const std::vector<RelationshipEntry>& entries, bool withSource);

std::string toTable(const std::vector<RawEntry>& entries, bool withSource);

Json toJson(const RelationshipEntry& entry);
Json toJson(const RawEntry& entry);

} // namespace opcraft
