// SPDX-License-Identifier: Apache-2.0
#include "opcraft/FileInput.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/edit/CopyParts.hpp>
#include <opc/model/PartName.hpp>

#include <vector>

namespace opcraft {

namespace {

struct CpOptions : ChangeOptions {
    std::string from{};
    std::vector<std::string> parts{};
    bool tree = false;
    bool json = false;
};

using opc::edit::CopyReport;

Json toJson(const std::vector<std::u16string>& names) {
    return toJsonArray(
        names, [](const std::u16string& name) { return toUtf8(name); });
}

Json toJson(const CopyReport& report, const CpOptions& options) {
    Json json = makeJsonReport("cp", options.file);
    json["from"] = options.from;
    json["copied"] = toJson(report.copied);
    json["shared"] = toJson(report.shared);
    json["conflicts"] = toJsonArray(
        report.conflicts,
        [](const opc::edit::CopyConflict& each) {
            return Json{{"name", toUtf8(each.name)}, {"reason", each.reason}};
        });
    json["dangling"] = toJsonArray(report.dangling, [](const opc::edit::DanglingCopy& each) {
        return Json{{"source", toUtf8(each.source)}, {"id", toUtf8(each.id)}, {"target", toUtf8(each.target)}};
    });
    json["unrelated"] = toJson(report.unrelated);
    return json;
}

std::string toText(const CopyReport& report) {
    Table table({{"RESULT"}, {"NAME"}});
    for (const std::u16string& name : report.copied)
        table.addRow({"copied", toUtf8(name)});
    for (const std::u16string& name : report.shared)
        table.addRow({"there already", toUtf8(name)});
    return table.toString();
}

void noteWarnings(const CopyReport& report, const CpOptions& options, Console& console) {
    for (const opc::edit::DanglingCopy& each : report.dangling)
        console.note(options.file + ": " + toUtf8(each.source) + ": warning: relationship " + toUtf8(each.id) +
                     " leads to " + toUtf8(each.target) + ", which the package does not have" +
                     (options.tree ? "" : "; --tree copies what relationships lead to"));
    for (const std::u16string& name : report.unrelated)
        console.note(options.file + ": " + toUtf8(name) +
                     ": warning: no relationship leads to this part; 'opcraft relate' adds one");
}

std::vector<opc::model::PartName> toPartNames(const std::vector<std::string>& arguments) {
    std::vector<opc::model::PartName> names;
    for (const std::string& argument : arguments)
        names.push_back(toPartNameOfPart(argument));
    return names;
}

ExitCode refuse(const PackageChange& change, const CopyReport& report, const CpOptions& options, Console& console) {
    if (options.json)
        change.report(console, toJsonText(toJson(report, options)));
    for (const opc::edit::CopyConflict& each : report.conflicts)
        console.note(options.file + ": " + toUtf8(each.name) + ": " + each.reason);
    console.note(options.file + ": nothing was copied");
    return ExitCode::NotProcessed;
}

ExitCode cp(const CpOptions& options, Console& console) {
    const std::vector<opc::model::PartName> names = toPartNames(options.parts);
    throwIfSharedInput({options.from, options.file});
    InputOptions source;
    source.file = options.from;
    source.limits = options.limits;
    OpenPackage from(source);
    for (const opc::model::PartName& name : names)
        from.getPart(name);
    PackageChange change(options, console);
    const CopyReport report =
        opc::edit::copyParts(from.getModel(), change.getPackage().getModel(), names, {options.tree});
    if (!report.conflicts.empty())
        return refuse(change, report, options, console);
    change.save(console, !report.copied.empty());
    change.report(console, options.json ? toJsonText(toJson(report, options)) : toText(report));
    if (!options.json)
        noteWarnings(report, options, console);
    return ExitCode::Fine;
}

void addCpOptions(CLI::App& command, CpOptions& options) {
    command.add_option("FROM", options.from, "The package with the parts; - is the standard input")
        ->required()
        ->check(notEmpty());
    addChangeOptions(command, options, options.parts, "PART", "The parts, and behind them the package to copy to");
    addTolerantFlag(command, options);
    addFlag(command, "--tree", options.tree, "Copy what the parts lead to too, and what that leads to, and so on");
    addFlag(command, "--json", options.json, "Write the report as JSON");
}

} // namespace

void addCpCommand(Tool& tool) {
    addCommand<CpOptions>(
        tool,
        {"cp", "Copy parts into another package",
         std::string("Each comes with its name, content type, content and relationships. A part of that name that is\n"
                     "equal in all of these is shared; if another one has the name of any part, nothing is copied,\n"
                     "all such parts are named, and the exit code is 2. Relationships of the package are not copied.\n"
                     "What leads to nothing now, and what nothing leads to, is said.\n\n") +
             PART_NAME_HELP + "\n\nExample:\n  opcraft cp report.docx /word/media/image1.png letter.docx",
         addCpOptions, cp});
}

} // namespace opcraft
