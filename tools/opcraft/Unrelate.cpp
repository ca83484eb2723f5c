// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"

#include <memory>

namespace opcraft {

namespace {

struct UnrelateOptions : ChangeOptions {
    std::string source;
    std::string id;
};

ExitCode unrelate(const UnrelateOptions& options, Console& console) {
    const opc::model::PartName name = toPartName(options.source);
    const std::u16string id = toUtf16(options.id);
    PackageChange change(options, console);
    change.getPackage().withSource(name, [&](opc::model::RelationshipSource& source) {
        if (!source.hasRelationship(id))
            throw Failure(ExitCode::NotProcessed, options.file, options.source,
                          "no relationship \"" + options.id + "\"; 'opcraft rels' shows the relationships of a source");
        source.deleteRelationship(id);
    });
    change.save(console);
    return ExitCode::Fine;
}

} // namespace

void addUnrelateCommand(Tool& tool) {
    const auto options = std::make_shared<UnrelateOptions>();
    CLI::App* command = addCommand(
        tool, "unrelate", "Remove a relationship of the package or of a part",
        "The part that it leads to stays.\n\nExample:\n  opcraft unrelate letter.docx /word/document.xml rId9");
    addChangeOptions(*command, *options);
    command->add_option("SOURCE", options->source, "The part that the relationship starts from; / is the package")
        ->required();
    command->add_option("ID", options->id, "The ID of the relationship, as 'opcraft rels' shows it")->required();
    command->callback([&tool, options] {
        tool.action = {options->file, options->source,
                       [options](Console& console) { return unrelate(*options, console); }};
    });
}

} // namespace opcraft
