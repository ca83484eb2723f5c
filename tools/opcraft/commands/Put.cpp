// SPDX-License-Identifier: Apache-2.0
#include "opcraft/FileInput.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Properties.hpp"
#include "opcraft/commands/Commands.hpp"

namespace opcraft {

namespace {

struct PutOptions : ChangeOptions {
    std::string from{};
    std::string type{};
};

ExitCode put(const PutOptions& options, Console& console) {
    const opc::model::PartName name = toPartNameOfPart(options.part);
    if (!options.type.empty())
        toContentTypeOfPart(options.type); // for its messages
    throwIfOneStream(options.file, options.from);
    PackageChange change(options, console);
    const opc::model::Part part = change.getPackage().getPart(name);
    if (!options.type.empty()) {
        throwIfCoreProperties(change.getPackage(), name, toContentType(options.type));
        change.getPackage().getModel().changeContentType(name, toContentType(options.type));
    }
    FileInput input(options.from);
    copyContent(input, *part.getOutputStream());
    change.save(console);
    return ExitCode::Fine;
}

void addPutOptions(CLI::App& command, PutOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    command.add_option("PART", options.part, "The part")->required();
    command.add_option("--from", options.from, "The file with the new content; - is the standard input")
        ->type_name("FILE")
        ->required()
        ->check(notEmpty());
    command.add_option("--type", options.type, "Its content type from now on")->type_name("TYPE")->check(notEmpty());
}

} // namespace

void addPutCommand(Tool& tool) {
    addCommand<PutOptions>(
        tool, {"put", "Give a part new content",
               std::string("Its relationships, those that lead to it and, without --type, its content type stay.\n\n") +
                   PART_NAME_HELP + "\n\nExample:\n  opcraft put letter.docx /word/document.xml --from document.xml",
               addPutOptions, put});
}

} // namespace opcraft
