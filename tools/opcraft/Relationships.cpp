// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Relationships.hpp"

#include "opcraft/Text.hpp"
#include "opcraft/UnseenReferrers.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <map>
#include <tuple>

namespace opcraft {

namespace {

using opc::model::PartName;
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

RelationshipEntry relationshipEntryOf(const Relationship& relationship, const std::set<std::u16string>& partKeys) {
    RelationshipEntry entry;
    entry.source = toUtf8(relationship.getSourceURI().toString());
    entry.id = toUtf8(relationship.getID());
    entry.type = toUtf8(relationship.getType());
    entry.target = toUtf8(relationship.getTarget());
    entry.isExternal = relationship.getTargetMode() == TargetMode::External;
    if (const auto resolved = resolvedTarget(relationship))
        entry.resolved = toUtf8(resolved->toString());
    const auto part = targetPartOf(relationship);
    entry.exists = part && partKeys.contains(opc::toLowerASCIIString(*part));
    return entry;
}

/// The text before the number at the end, and the number, compared by its length first.
auto countingKey(const std::string& id) {
    const std::size_t digits = id.find_last_not_of("0123456789") + 1;
    return std::make_tuple(id.substr(0, digits), id.size() - digits, id.substr(digits));
}

/// The folded names of the parts that some program may find by a relationship; none for an external one.
std::set<std::string> foldedTargets(const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External)
        return {};
    return opc::detail::foldTarget(relationship.getSourceURI().getPath(), relationship.getTarget());
}

/// The same for an entry that other programs may take for a relationship.
std::set<std::string> foldedTargets(const opc::model::RelationshipSource& source,
                                    const opc::model::RawRelationship& raw) {
    if (raw.targetMode == u"External")
        return {};
    return opc::detail::foldTarget(source.getSourceURI().getPath(), raw.target);
}

std::string resolvedText(const RelationshipEntry& entry) {
    if (!entry.resolved)
        return "-";
    return *entry.resolved + (entry.isExternal || entry.exists ? "" : " (missing)");
}

} // namespace

void addSourceArgument(CLI::App& command, CommandOptions& options) {
    command.add_option("SOURCE", options.part, "The part that the relationship starts from; / is the package")
        ->required();
}

std::string relationshipText(const std::string& source, const std::string& id) {
    return "relationship " + id + " of " + (source == "/" ? "the package" : source);
}

std::optional<std::u16string> targetPartOf(const Relationship& relationship) {
    const std::optional<URI> target = resolvedTarget(relationship);
    if (relationship.getTargetMode() == TargetMode::External || !target || target->hasScheme() ||
        target->hasAuthority())
        return std::nullopt;
    return target->getPath();
}

std::optional<opc::model::Part> findTarget(OpenPackage& package, const Relationship& relationship) {
    const auto target = targetPartOf(relationship);
    if (!target || !opc::detail::isPartName(*target) || !package.getModel().hasPart(PartName(*target)))
        return std::nullopt;
    return package.getModel().getPart(PartName(*target));
}

void throwIfRawOfType(OpenPackage& package, const std::vector<std::u16string>& types) {
    const opc::model::Package& model = package.getModel();
    if (model.hasUnreadableRelationships())
        throw Failure(ExitCode::NotProcessed, package.getName(), "",
                      "the relationships of the package cannot be read, and may lead to what is to be changed");
    for (const opc::model::RawRelationship& raw : model.getRawRelationships())
        if (std::find(types.begin(), types.end(), raw.type) != types.end())
            throw Failure(ExitCode::NotProcessed, package.getName(), "",
                          relationshipText("/", toUtf8(raw.id)) +
                              ", in which something is wrong, leads to what is to be changed: " + raw.reason +
                              "; 'opcraft unrelate --tolerant' removes it");
}

Removal removeWithTargets(OpenPackage& package, const std::vector<std::u16string>& types) {
    throwIfRawOfType(package, types);
    opc::model::Package& model = package.getModel();
    Removal removal;
    std::map<std::string, PartName> targets; // by folded name
    std::set<std::string> meant;
    for (const std::u16string& type : types)
        for (const Relationship& relationship : model.getRelationshipsByType(type)) {
            if (const auto part = findTarget(package, relationship))
                targets.try_emplace(opc::detail::foldName(toUtf8(part->getName().toString())), part->getName());
            meant.merge(foldedTargets(relationship));
            model.deleteRelationship(relationship.getID());
            removal.isChanged = true;
        }
    package.forEachSource([&targets](const opc::model::RelationshipSource& source) {
        const auto keep = [&](const std::set<std::string>& names) {
            for (const std::string& name : names)
                if (const auto found = targets.find(name);
                    found != targets.end() && found->second.getURI() != source.getSourceURI())
                    targets.erase(found);
        };
        for (const Relationship& relationship : source.getRelationships())
            keep(foldedTargets(relationship));
        for (const opc::model::RawRelationship& raw : source.getRawRelationships())
            keep(foldedTargets(source, raw));
        if (source.hasUnreadableRelationships()) // which may lead anywhere
            targets.clear();
    });
    std::erase_if(targets, [&](const auto& target) {
        return !findUnseenReferrers(toUtf8(target.second.toString()), package).empty();
    });
    for (const opc::storage::ZipItem& item : package.getItems())
        if (const std::string folded = opc::detail::foldName(item.name);
            meant.contains(folded) && !targets.contains(folded))
            removal.kept.push_back(item.name);
    for (const auto& [folded, name] : targets)
        model.deletePart(name);
    return removal;
}

void noteKept(const Removal& removal, const std::string& file, Console& console) {
    for (const std::string& item : removal.kept)
        console.note(file + ": warning: the item \"" + item +
                     "\" stays, since it is not a part or something else may lead to it; 'opcraft rm' removes it");
}

std::vector<RelationshipEntry> entriesOf(const opc::model::RelationshipSource& source,
                                         const std::set<std::u16string>& partKeys) {
    std::vector<RelationshipEntry> entries;
    for (const Relationship& relationship : source.getRelationships())
        entries.push_back(relationshipEntryOf(relationship, partKeys));
    std::stable_sort(entries.begin(), entries.end(), [](const RelationshipEntry& a, const RelationshipEntry& b) {
        return countingKey(a.id) < countingKey(b.id);
    });
    return entries;
}

std::vector<RawEntry> rawEntriesOf(const opc::model::RelationshipSource& source) {
    std::vector<RawEntry> entries;
    for (const opc::model::RawRelationship& raw : source.getRawRelationships())
        entries.push_back({toUtf8(source.getSourceURI().toString()), entries.size(), raw});
    return entries;
}

std::vector<RawEntry> rawEntriesLeadingTo(const PartName& name, OpenPackage& package) {
    const std::string foldedName = opc::detail::foldName(toUtf8(name.toString()));
    std::vector<RawEntry> entries;
    package.forEachSource([&](const opc::model::RelationshipSource& source) {
        if (source.getSourceURI() != name.getURI())
            for (const RawEntry& entry : rawEntriesOf(source))
                if (foldedTargets(source, entry.raw).contains(foldedName))
                    entries.push_back(entry);
    });
    return entries;
}

void throwIfRawEntriesLeadTo(const PartName& name, OpenPackage& package) {
    for (const RawEntry& entry : rawEntriesLeadingTo(name, package))
        throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(name.toString()),
                      relationshipText(entry.source, toUtf8(entry.raw.id)) +
                          ", in which something is wrong, points at this part: " + entry.raw.reason +
                          "; 'opcraft unrelate --tolerant' removes it");
}

std::vector<RelationshipEntry> entriesLeadingTo(const PartName& name, OpenPackage& package) {
    std::vector<RelationshipEntry> entries = entriesLeadingToItem(toUtf8(name.toString()), package);
    std::erase_if(entries,
                  [&](const RelationshipEntry& entry) { return URI(opc::fromUTF8(entry.source)) == name.getURI(); });
    return entries;
}

std::vector<RelationshipEntry> entriesLeadingToItem(const std::string& item, OpenPackage& package) {
    const std::set<std::u16string> partKeys = package.getPartKeys();
    const std::string foldedName = opc::detail::foldName(item);
    std::vector<RelationshipEntry> entries;
    package.forEachSource([&](const opc::model::RelationshipSource& source) {
        for (const Relationship& relationship : source.getRelationships())
            if (foldedTargets(relationship).contains(foldedName))
                entries.push_back(relationshipEntryOf(relationship, partKeys));
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

std::string toTable(const std::vector<RawEntry>& entries, bool withSource) {
    std::vector<Table::Column> columns{{"LINE", Table::Align::Right}, {"ID"}, {"REASON"}, {"XML"}};
    if (withSource)
        columns.insert(columns.begin(), {"SOURCE"});
    Table table(columns);
    for (const RawEntry& entry : entries) {
        const opc::model::RawRelationship& raw = entry.raw;
        std::vector<std::string> cells{std::to_string(raw.line), raw.id.empty() ? "-" : toUtf8(raw.id), raw.reason,
                                       raw.text};
        if (withSource)
            cells.insert(cells.begin(), entry.source);
        table.addRow(cells);
    }
    return table.toString();
}

Json toJson(const RawEntry& entry) {
    const opc::model::RawRelationship& raw = entry.raw;
    return {{"source", entry.source},
            {"id", textOrNull(toUtf8(raw.id))},
            {"type", textOrNull(toUtf8(raw.type))},
            {"target", textOrNull(toUtf8(raw.target))},
            {"mode", textOrNull(toUtf8(raw.targetMode))},
            {"xml", raw.text},
            {"line", raw.line},
            {"column", raw.column},
            {"reason", raw.reason}};
}

Json toJson(const RelationshipEntry& entry) {
    Json json;
    json["source"] = entry.source;
    json["id"] = entry.id;
    json["type"] = entry.type;
    json["target"] = entry.target;
    json["mode"] = entry.isExternal ? "external" : "internal";
    json["resolved"] = entry.resolved ? Json(*entry.resolved) : Json();
    json["exists"] = entry.isExternal ? Json() : Json(entry.exists);
    return json;
}

} // namespace opcraft
