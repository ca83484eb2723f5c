// SPDX-License-Identifier: Apache-2.0
#include "opcraft/ContentIds.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/commands/Commands.hpp"

namespace opcraft {

namespace {

struct UnrelateOptions : ChangeOptions {
    std::string id{};
    Take takenEntry = Take::Neither;
};

/// @throws Failure when there is no such entry, or there are several and the options take none of them.
RawEntry findRaw(const opc::model::RelationshipSource& source, const UnrelateOptions& options) {
    std::vector<RawEntry> found = rawEntriesOf(source);
    const std::u16string id = toUtf16(options.id);
    std::erase_if(found, [&](const RawEntry& each) { return each.raw.id != id; });
    if (found.empty())
        throw Failure(ExitCode::NotProcessed, options.file, options.part,
                      "no relationship \"" + options.id + "\"; 'opcraft rels' shows the relationships of a source");
    if (found.size() > 1 && options.takenEntry == Take::Neither)
        throw Failure(ExitCode::NotProcessed, options.file, options.part,
                      std::to_string(found.size()) + " entries have the ID \"" + options.id +
                          "\"; --take first or --take last removes one of them");
    return options.takenEntry == Take::First ? found.front() : found.back();
}

ExitCode unrelate(const UnrelateOptions& options, Console& console) {
    const opc::model::PartName name = toPartName(options.part);
    const std::u16string id = toUtf16(options.id);
    PackageChange change(options, console);
    change.getPackage().withSource(name, [&](opc::model::RelationshipSource& source) {
        if (source.hasRelationship(id))
            source.deleteRelationship(id);
        else
            source.deleteRawRelationship(findRaw(source, options).index);
    });
    const bool isMentioned = !findContentIds(change.getPackage(), toUtf8(name.toString()), {options.id}).found.empty();
    change.save(console);
    if (isMentioned)
        console.note(options.file + ": " + toUtf8(name.toString()) +
                     ": warning: the content of the part still mentions " + options.id);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, UnrelateOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    addTakeOption(command, options.takenEntry, "Of several entries with this ID");
    addSourceArgument(command, options);
    command.add_option("ID", options.id, "The ID of the relationship, as 'opcraft rels' shows it")->required();
}

} // namespace

void addUnrelateCommand(Tool& tool) {
    addCommand<UnrelateOptions>(
        tool,
        {"unrelate", "Remove a relationship of the package or of a part",
         "The part that it leads to stays. With --tolerant, ID may also be that of an entry in which something is\n"
         "wrong; 'opcraft relate --tolerant --id ID' puts a right one in its place.\n\n"
         "Examples:\n  opcraft unrelate letter.docx /word/document.xml rId9\n"
         "  opcraft unrelate letter.docx /word/document.xml rId9 --tolerant --take last",
         addOptions, unrelate});
}

} // namespace opcraft
