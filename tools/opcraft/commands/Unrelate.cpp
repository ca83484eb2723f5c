// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/commands/Commands.hpp"

namespace opcraft {

namespace {

struct UnrelateOptions : ChangeOptions {
    std::string id{};
};

ExitCode unrelate(const UnrelateOptions& options, Console& console) {
    const opc::model::PartName name = toPartName(options.part);
    const std::u16string id = toUtf16(options.id);
    PackageChange change(options, console);
    change.getPackage().withSource(name, [&](opc::model::RelationshipSource& source) {
        if (!source.hasRelationship(id))
            throw Failure(ExitCode::NotProcessed, options.file, options.part,
                          "no relationship \"" + options.id + "\"; 'opcraft rels' shows the relationships of a source");
        source.deleteRelationship(id);
    });
    change.save(console);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, UnrelateOptions& options) {
    addChangeOptions(command, options);
    addSourceArgument(command, options);
    command.add_option("ID", options.id, "The ID of the relationship, as 'opcraft rels' shows it")->required();
}

} // namespace

void addUnrelateCommand(Tool& tool) {
    addCommand<UnrelateOptions>(
        tool, {"unrelate", "Remove a relationship of the package or of a part",
               "The part that it leads to stays.\n\nExample:\n  opcraft unrelate letter.docx /word/document.xml rId9",
               addOptions, unrelate});
}

} // namespace opcraft
