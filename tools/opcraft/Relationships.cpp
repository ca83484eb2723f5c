// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Relationships.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <tuple>

namespace opcraft {

namespace {

using opc::model::Relationship;
using opc::model::TargetMode;
using opc::model::URI;

std::optional<URI> resolvedTarget(const Relationship& relationship) {
    try {
        return relationship.getTargetURI();
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
}

RelationshipEntry entryOf(const Relationship& relationship, const std::set<std::u16string>& partKeys) {
    RelationshipEntry entry;
    entry.source = toUtf8(relationship.getSourceURI().toString());
    entry.id = toUtf8(relationship.getID());
    entry.type = toUtf8(relationship.getType());
    entry.target = toUtf8(relationship.getTarget());
    entry.isExternal = relationship.getTargetMode() == TargetMode::External;
    if (const auto resolved = resolvedTarget(relationship))
        entry.resolved = toUtf8(resolved->toString());
    const auto part = targetPartOf(relationship);
    entry.exists = part && partKeys.count(opc::toLowerASCIIString(*part)) != 0;
    return entry;
}

/// What stands before the number at the end, and the number, which compares by its length first.
auto countingKey(const std::string& id) {
    const std::size_t digits = id.find_last_not_of("0123456789") + 1;
    return std::make_tuple(id.substr(0, digits), id.size() - digits, id.substr(digits));
}

std::string resolvedText(const RelationshipEntry& entry) {
    if (!entry.resolved)
        return "-";
    return *entry.resolved + (entry.isExternal || entry.exists ? "" : " (missing)");
}

} // namespace

std::optional<std::u16string> targetPartOf(const Relationship& relationship) {
    const std::optional<URI> target = resolvedTarget(relationship);
    if (relationship.getTargetMode() == TargetMode::External || !target || target->hasScheme() ||
        target->hasAuthority())
        return std::nullopt;
    return target->getPath();
}

std::vector<RelationshipEntry> entriesOf(const opc::model::RelationshipSource& source,
                                         const std::set<std::u16string>& partKeys) {
    std::vector<RelationshipEntry> entries;
    for (const Relationship& relationship : source.getRelationships())
        entries.push_back(entryOf(relationship, partKeys));
    std::stable_sort(entries.begin(), entries.end(), [](const RelationshipEntry& a, const RelationshipEntry& b) {
        return countingKey(a.id) < countingKey(b.id);
    });
    return entries;
}

std::vector<RelationshipEntry> entriesLeadingTo(const opc::model::PartName& name, OpenPackage& package) {
    const std::set<std::u16string> partKeys = package.getPartKeys();
    std::vector<RelationshipEntry> entries;
    package.forEachSource([&](const opc::model::RelationshipSource& source) {
        if (source.getSourceURI() == name.getURI())
            return;
        for (const Relationship& relationship : source.getRelationships()) {
            const auto part = targetPartOf(relationship);
            if (part && opc::caselessCompare(*part, name.toString()) == 0)
                entries.push_back(entryOf(relationship, partKeys));
        }
    });
    return entries;
}

std::string toTable(const std::vector<RelationshipEntry>& entries, bool withSource) {
    std::vector<Table::Column> columns{{"ID"}, {"MODE"}, {"TARGET"}, {"RESOLVED"}, {"TYPE"}};
    if (withSource)
        columns.insert(columns.begin(), {"SOURCE"});
    Table table(columns);
    for (const RelationshipEntry& entry : entries) {
        std::vector<std::string> cells{entry.id, entry.isExternal ? "external" : "internal", entry.target,
                                       resolvedText(entry), entry.type};
        if (withSource)
            cells.insert(cells.begin(), entry.source);
        table.addRow(cells);
    }
    return table.toString();
}

nlohmann::ordered_json toJson(const RelationshipEntry& entry) {
    nlohmann::ordered_json json;
    json["source"] = entry.source;
    json["id"] = entry.id;
    json["type"] = entry.type;
    json["target"] = entry.target;
    json["mode"] = entry.isExternal ? "external" : "internal";
    json["resolved"] = entry.resolved ? nlohmann::ordered_json(*entry.resolved) : nlohmann::ordered_json();
    json["exists"] = entry.isExternal ? nlohmann::ordered_json() : nlohmann::ordered_json(entry.exists);
    return json;
}

} // namespace opcraft
