// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Properties.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

namespace opcraft {

namespace {

struct RetypeOptions : ChangeOptions {
    std::string type{};
};

ExitCode retype(const RetypeOptions& options, Console& console) {
    const opc::model::PartName name = toPartNameOfPart(options.part);
    const opc::model::ContentType type = toContentTypeOfPart(options.type);
    PackageChange change(options, console);
    const std::string former = toUtf8(change.getPackage().getPart(name).getContentType().toString());
    const std::string now = toUtf8(type.toString());
    throwIfCoreProperties(change.getPackage(), name, type);
    change.getPackage().getModel().changeContentType(name, type);
    change.save(console, former != now);
    if (former != now)
        change.report(console, escaped(toUtf8(name.toString()) + ": " + former + " is now " + now) + '\n');
    return ExitCode::Fine;
}

void addRetypeOptions(CLI::App& command, RetypeOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    command.add_option("PART", options.part, "The part")->required();
    command.add_option("TYPE", options.type, "Its content type from now on")->required();
}

} // namespace

void addRetypeCommand(Tool& tool) {
    addCommand<RetypeOptions>(
        tool, {"retype", "Give a part another content type",
               std::string("Its content and all relationships stay.\n\n") + PART_NAME_HELP +
                   "\n\nExample:\n  opcraft retype letter.docx /customXml/note.xml application/vnd.example.note+xml",
               addRetypeOptions, retype});
}

} // namespace opcraft
