// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Strings.hpp>

#include <vector>

namespace opcraft {

namespace {

struct RmOptions : ChangeOptions {
    bool force = false;
};

ExitCode refuse(const PackageChange& change, const std::vector<RelationshipEntry>& entries, const RmOptions& options,
                const opc::model::PartName& name, Console& console) {
    change.report(console, toTable(entries, true));
    const bool isOne = entries.size() == 1;
    console.note(options.file + ": " + toUtf8(name.toString()) + ": " + countText(entries.size(), "relationship") +
                 (isOne ? " points" : " point") + " at this part; --force removes " + (isOne ? "it" : "them") + " too");
    return ExitCode::Findings;
}

/// Entries that are no relationships are not removed, and other programs may take them for relationships.
void throwIfRawEntriesLeadTo(const opc::model::PartName& name, OpenPackage& package) {
    for (const RawEntry& entry : rawEntriesLeadingTo(name, package))
        throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(name.toString()),
                      relationshipText(entry.source, toUtf8(entry.raw.id)) +
                          ", in which something is wrong, points at this part: " + entry.raw.reason +
                          "; 'opcraft unrelate --tolerant' removes it");
}

void removeRelationships(OpenPackage& package, const std::vector<RelationshipEntry>& entries) {
    for (const RelationshipEntry& entry : entries)
        package.withSource(
            opc::toString(entry.source),
            [&](opc::model::RelationshipSource& source) { source.deleteRelationship(opc::toString(entry.id)); });
}

ExitCode rm(const RmOptions& options, Console& console) {
    const opc::model::PartName name = toPartNameOfPart(options.part);
    PackageChange change(options, console);
    const opc::model::Part part = change.getPackage().getPart(name);
    throwIfRawEntriesLeadTo(name, change.getPackage());
    const std::vector<RelationshipEntry> entries = entriesLeadingTo(name, change.getPackage());
    if (!entries.empty() && !options.force)
        return refuse(change, entries, options, name, console);
    std::vector<RelationshipEntry> removed = entriesOf(part, change.getPackage().getPartKeys());
    removed.insert(removed.begin(), entries.begin(), entries.end());
    removeRelationships(change.getPackage(), entries);
    change.getPackage().getModel().deletePart(name);
    change.save(console);
    if (options.force && !removed.empty())
        change.report(console, "Removed with the part:\n" + toTable(removed, true));
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, RmOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    command.add_option("PART", options.part, "The part")->required();
    addFlag(command, "--force", options.force, "Remove the relationships that point at the part too");
}

} // namespace

void addRmCommand(Tool& tool) {
    addCommand<RmOptions>(
        tool, {"rm", "Remove a part and its own relationships",
               std::string(
                   "While relationships of the package or of other parts point at the part, nothing is changed: they\n"
                   "are listed, and the exit code is 1. With --force they go too, and all relationships that went\n"
                   "with the part are listed, its own as well.\n\n") +
                   PART_NAME_HELP + "\n\nExample:\n  opcraft rm letter.docx /customXml/note.xml --force",
               addOptions, rm});
}

} // namespace opcraft
