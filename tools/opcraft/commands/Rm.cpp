// SPDX-License-Identifier: Apache-2.0
#include "opcraft/ContentIds.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/UnseenReferrers.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

namespace opcraft {

namespace {

struct RmOptions : ChangeOptions {
    bool force = false;
};

/// "1 relationship points".
std::string pointingText(const std::vector<RelationshipEntry>& entries) {
    return countText(entries.size(), "relationship") + (entries.size() == 1 ? " points" : " point");
}

ExitCode refuse(const PackageChange& change, const std::vector<RelationshipEntry>& entries, const RmOptions& options,
                const std::string& name, const std::string& reason, Console& console) {
    change.report(console, toTable(entries, true));
    console.note(options.file + ": " + name + ": " + pointingText(entries) + reason);
    return ExitCode::Findings;
}

/// Without `--force` nothing may lead to the part that is not seen as a relationship, and so stays.
void throwIfNotAllAreSeen(const RmOptions& options, const std::string& name, OpenPackage& package, Console& console) {
    for (const std::string& referrer : findUnseenReferrers(name, package)) {
        if (!options.force)
            throw Failure(ExitCode::NotProcessed, package.getName(), name, referrer + "; see --force");
        console.note(options.file + ": " + name + ": warning: " + referrer);
    }
}

void removeRelationships(OpenPackage& package, const std::vector<RelationshipEntry>& entries) {
    for (const RelationshipEntry& entry : entries)
        package.withSource(
            opc::toString(entry.source),
            [&](opc::model::RelationshipSource& source) { source.deleteRelationship(opc::toString(entry.id)); });
}

/// The relationships that the content of their source mentions.
std::vector<std::string> findMentioning(OpenPackage& package, const std::vector<RelationshipEntry>& entries) {
    std::map<std::string, std::set<std::string>> ids;
    for (const RelationshipEntry& entry : entries)
        ids[entry.source].insert(entry.id);
    std::vector<std::string> mentioning;
    for (const auto& [source, sought] : ids)
        for (const std::string& id : findContentIds(package, source, sought).found)
            mentioning.push_back(relationshipText(source, id));
    return mentioning;
}

/// What an argument means in the package.
struct RmTarget {
    std::optional<opc::model::PartName> part{};
    std::size_t position = 0; ///< in the stored items, when it is no part
    std::string item{};
};

/// The position of the only stored item of a name.
std::size_t storedPosition(OpenPackage& package, const std::string& name) {
    const auto items = package.getInput().getZip().getStoredItems();
    const auto hasName = [&](const opc::interfaces::IPhysicalItems::Item& item) { return item.name == name; };
    const auto found = std::find_if(items.begin(), items.end(), hasName);
    if (found == items.end() || std::find_if(found + 1, items.end(), hasName) != items.end())
        throw Failure(ExitCode::NotProcessed, package.getName(), name,
                      "several items have this name; 'opcraft repair' keeps one of them");
    return static_cast<std::size_t>(found - items.begin());
}

RmTarget findTarget(const RmOptions& options, OpenPackage& package) {
    using opc::storage::ZipItemKind;
    const auto items = package.getItems();
    const auto found = findItems(items, options.part);
    if (found.empty() || items[found.front()].kind == ZipItemKind::Part)
        return {package.getPart(toPartNameOfPart(options.part)).getName()};
    std::vector<std::string> names;
    for (const std::size_t each : found)
        names.push_back(items[each].name);
    if (items[found.front()].kind == ZipItemKind::ContentTypes)
        throw Failure(ExitCode::NotProcessed, options.file, names.front(),
                      "a package cannot do without its content types");
    if (found.size() > 1)
        throw Failure(ExitCode::NotProcessed, options.file, options.part,
                      "this may mean any of " + listText(names, names.size()));
    return {std::nullopt, storedPosition(package, names.front()), names.front()};
}

/// Relationships that lead to the item stay, since it is no part either way.
ExitCode removeItem(PackageChange& change, const RmTarget& target, const RmOptions& options, Console& console) {
    throwIfNotAllAreSeen(options, target.item, change.getPackage(), console);
    const std::vector<RelationshipEntry> entries = entriesLeadingToItem(target.item, change.getPackage());
    if (!entries.empty() && !options.force)
        return refuse(change, entries, options, target.item,
                      " at this item, which is not a part; --force removes the item alone", console);
    opc::interfaces::IPhysicalItems::Change deletion;
    deletion.position = target.position;
    deletion.isDeleted = true;
    change.getPackage().getInput().getZip().changeItems({deletion}, false);
    change.save(console);
    change.report(console, "Removed the item " + escaped(target.item) + ", which was not a part\n");
    if (!entries.empty())
        console.note(options.file + ": warning: " + pointingText(entries) + " at what was removed");
    return ExitCode::Fine;
}

ExitCode rm(const RmOptions& options, Console& console) {
    PackageChange change(options, console);
    const RmTarget target = findTarget(options, change.getPackage());
    if (!target.part)
        return removeItem(change, target, options, console);
    const opc::model::PartName& name = *target.part;
    const opc::model::Part part = change.getPackage().getPart(name);
    throwIfRawEntriesLeadTo(name, change.getPackage());
    throwIfNotAllAreSeen(options, toUtf8(name.toString()), change.getPackage(), console);
    const std::vector<RelationshipEntry> entries = entriesLeadingTo(name, change.getPackage());
    if (!entries.empty() && !options.force)
        return refuse(change, entries, options, toUtf8(name.toString()),
                      std::string(" at this part; --force removes ") + (entries.size() == 1 ? "it" : "them") + " too",
                      console);
    std::vector<RelationshipEntry> removed = entriesOf(part, change.getPackage().getPartKeys());
    removed.insert(removed.begin(), entries.begin(), entries.end());
    const std::vector<std::string> mentioning = findMentioning(change.getPackage(), entries);
    removeRelationships(change.getPackage(), entries);
    const bool isUnread = part.hasUnreadableRelationships();
    change.getPackage().getModel().deletePart(name);
    change.save(console);
    if (isUnread)
        console.note(options.file + ": " + toUtf8(name.toString()) +
                     ": warning: its relationships, which cannot be read, were removed with it");
    if (!mentioning.empty())
        console.note(options.file + ": warning: content still mentions what was removed: " + listText(mentioning));
    if (options.force && !removed.empty())
        change.report(console, "Removed with the part:\n" + toTable(removed, true));
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, RmOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    command.add_option("PART", options.part, "The part, or another item")->required();
    addFlag(command, "--force", options.force, "Remove the relationships that point at the part too");
}

} // namespace

void addRmCommand(Tool& tool) {
    addCommand<RmOptions>(
        tool, {"rm", "Remove a part and its own relationships, or an item that is not a part",
               std::string(
                   "While relationships of the package or of other parts point at the part, nothing is changed: they\n"
                   "are listed, and the exit code is 1. With --force they go too, and all relationships that went\n"
                   "with the part are listed, its own as well. An item of the ZIP file that is not a part goes by its "
                   "name;\n"
                   "relationships that point at it stay.\n\n") +
                   PART_NAME_HELP + "\n\nExample:\n  opcraft rm letter.docx /customXml/note.xml --force",
               addOptions, rm, "the part is removed", "relationships point at the part and nothing is removed"});
}

} // namespace opcraft
