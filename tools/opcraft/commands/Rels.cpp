// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/commands/Commands.hpp"

#include <vector>

namespace opcraft {

namespace {

struct RelsOptions : ReadOptions {
    bool all = false;
};

struct RelsReport {
    std::string file;
    bool withSource = false;
    std::vector<RelationshipEntry> relationships;
};

RelsReport makeReport(const RelsOptions& options) {
    const opc::model::PartName name = toPartName(options.part);
    OpenPackage package(options);
    RelsReport report{options.file, options.all, {}};
    const std::set<std::u16string> partKeys = package.getPartKeys();
    const auto add = [&](const opc::model::RelationshipSource& source) {
        const std::vector<RelationshipEntry> entries = entriesOf(source, partKeys);
        report.relationships.insert(report.relationships.end(), entries.begin(), entries.end());
    };
    if (options.all)
        package.forEachSource(add);
    else
        package.withSource(name, add);
    return report;
}

std::string toText(const RelsReport& report) {
    return report.relationships.empty() ? "No relationships.\n" : toTable(report.relationships, report.withSource);
}

Json toJson(const RelsReport& report) {
    Json json = makeJsonReport("rels", report.file);
    json["relationships"] =
        toJsonArray(report.relationships, [](const RelationshipEntry& entry) { return toJson(entry); });
    return json;
}

ExitCode rels(const RelsOptions& options, Console& console) {
    const RelsReport report = makeReport(options);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report));
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, RelsOptions& options) {
    addReadOptions(command, options);
    options.part = "/";
    options.hidesPackage = true;
    CLI::Option* part =
        command.add_option("PART", options.part, "The part; without it, or with /, the package")->check(notEmpty());
    addFlag(command, "--all", options.all, "Those of the package and of all parts")->excludes(part);
}

} // namespace

void addRelsCommand(Tool& tool) {
    addCommand<RelsOptions>(
        tool, {"rels", "List the relationships of the package or of a part",
               "Each comes with its target as written and as resolved against its source; an internal target that\n"
               "is not in the package is marked \"(missing)\".\n\n"
               "Examples:\n  opcraft rels letter.docx\n  opcraft rels letter.docx /word/document.xml",
               addOptions, rels});
}

} // namespace opcraft
