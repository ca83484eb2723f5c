// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/UnseenReferrers.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/FoldedNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/edit/MovePart.hpp>
#include <opc/errors/Errors.hpp>

namespace opcraft {

namespace {

struct MvOptions : ChangeOptions {
    std::string newName{};
    bool json = false;
};

std::string toText(const opc::edit::MoveReport& report) {
    if (report.targets.empty())
        return "No target had to be changed.\n";
    Table table({{"SOURCE"}, {"ID"}, {"FORMER TARGET"}, {"TARGET"}});
    for (const opc::edit::ChangedTarget& each : report.targets)
        table.addRow({toUtf8(each.source), toUtf8(each.id), toUtf8(each.former), toUtf8(each.target)});
    return table.toString();
}

Json toJson(const opc::edit::MoveReport& report, const MvOptions& options) {
    Json json = makeJsonReport("mv", options.file);
    json["targets"] = toJsonArray(report.targets, [](const opc::edit::ChangedTarget& each) {
        return Json{{"source", toUtf8(each.source)},
                    {"id", toUtf8(each.id)},
                    {"type", toUtf8(each.type)},
                    {"former", toUtf8(each.former)},
                    {"target", toUtf8(each.target)}};
    });
    return json;
}

void throwIfOnto(OpenPackage& package, const opc::model::PartName& name, const opc::model::PartName& newName) {
    const bool isSame = name.toString() == newName.toString();
    if (isSame || (name != newName && package.getModel().hasPart(newName)))
        throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(newName.toString()),
                      "the package has a part of this name");
}

/// What leads to the part by its former name and by a target that cannot be written anew, as some programs follow.
void throwIfLeftBehind(OpenPackage& package, const opc::model::PartName& name, const opc::model::PartName& newName) {
    if (opc::detail::foldName(toUtf8(name.toString())) == opc::detail::foldName(toUtf8(newName.toString())))
        return;
    for (const RelationshipEntry& entry : entriesLeadingTo(name, package))
        if (!entry.exists)
            throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(name.toString()),
                          relationshipText(entry.source, entry.id) + " leads to this part by the target \"" +
                              entry.target + "\", which cannot be written anew");
}

ExitCode mv(const MvOptions& options, Console& console) {
    const opc::model::PartName name = toPartNameOfPart(options.part);
    const opc::model::PartName newName = toPartNameOfPart(options.newName);
    if (newName.isRelationshipName())
        throw wrongArgument(options.newName, "this is the name of a relationships part");
    PackageChange change(options, console);
    change.getPackage().getPart(name);
    throwIfOnto(change.getPackage(), name, newName);
    throwIfRawEntriesLeadTo(name, change.getPackage());
    for (const std::string& referrer : findUnseenReferrers(toUtf8(name.toString()), change.getPackage()))
        console.note(options.file + ": " + toUtf8(name.toString()) + ": warning: " + referrer +
                     "; nothing there is changed");
    const opc::edit::MoveReport report = opc::edit::movePart(change.getPackage().getModel(), name, newName);
    throwIfLeftBehind(change.getPackage(), name, newName);
    change.save(console);
    change.report(console, options.json ? toJsonText(toJson(report, options)) : toText(report));
    if (!options.json)
        console.note(options.file + ": references to the part in the content of parts are not changed");
    return ExitCode::Fine;
}

void addMvOptions(CLI::App& command, MvOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    command.add_option("PART", options.part, "The part")->required();
    command.add_option("NAME", options.newName, "Its new name")->required();
    addFlag(command, "--json", options.json, "Write the report as JSON");
}

} // namespace

void addMvCommand(Tool& tool) {
    addCommand<MvOptions>(
        tool,
        {"mv", "Give a part another name, with all relationships that lead to it",
         std::string("Its relationships part goes with it. Relationships of the package and of all parts that\n"
                     "lead to the part lead to it by its new name, and its own lead where they led; relative\n"
                     "targets stay relative, and IDs stay. Each target that was changed is listed. References in\n"
                     "the content of parts are not changed. A change of case alone is possible.\n\n") +
             PART_NAME_HELP + "\n\nExample:\n  opcraft mv letter.docx /word/document.xml /word/letter.xml",
         addMvOptions, mv});
}

} // namespace opcraft
