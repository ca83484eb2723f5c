// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <vector>

namespace opcraft {

namespace {

struct RelsOptions : ReadOptions {
    bool all = false;
};

/// A relationships part of which nothing can be read.
struct UnreadRelationships {
    std::string source;
    std::string part;
    std::string reason;
};

struct RelsReport {
    std::string file;
    bool withSource = false;
    std::vector<RelationshipEntry> relationships{};
    std::vector<RawEntry> raw{};
    std::vector<UnreadRelationships> unread{};
    std::size_t findings = 0;
};

RelsReport makeReport(const RelsOptions& options, OpenPackage& package) {
    RelsReport report{options.file, options.all};
    report.findings = package.getFindings().getAll().size();
    const std::set<std::u16string> partKeys = package.getPartKeys();
    const auto add = [&](const opc::model::RelationshipSource& source) {
        const std::vector<RelationshipEntry> entries = entriesOf(source, partKeys);
        report.relationships.insert(report.relationships.end(), entries.begin(), entries.end());
        const std::vector<RawEntry> raw = rawEntriesOf(source);
        report.raw.insert(report.raw.end(), raw.begin(), raw.end());
        const std::string part = toUtf8(source.getRelationshipsPartName().toString());
        if (source.hasUnreadableRelationships())
            report.unread.push_back(
                {toUtf8(source.getSourceURI().toString()), part, package.getFindings().reasonFor(part)});
    };
    if (options.all)
        package.forEachSource(add);
    else
        package.withSource(toPartName(options.part), add);
    return report;
}

std::string toText(const RelsReport& report) {
    std::string text =
        report.relationships.empty() ? "No relationships.\n" : toTable(report.relationships, report.withSource);
    if (!report.raw.empty())
        text += "\nEntries that are not relationships, since something in them is wrong:\n" +
                toTable(report.raw, report.withSource);
    for (const UnreadRelationships& each : report.unread)
        text += '\n' + escaped(each.part + " cannot be read: " + each.reason) + '\n';
    return text;
}

Json toJson(const RelsReport& report) {
    Json json = makeJsonReport("rels", report.file, report.findings);
    json["relationships"] = toJsonArray(
        report.relationships, [](const RelationshipEntry& entry) { return toJson(entry); });
    json["rawRelationships"] = toJsonArray(
        report.raw, [](const RawEntry& entry) { return toJson(entry); });
    json["unread"] = toJsonArray(report.unread, [](const UnreadRelationships& each) {
        return Json{{"source", each.source}, {"part", each.part}, {"reason", each.reason}};
    });
    return json;
}

ExitCode rels(const RelsOptions& options, Console& console) {
    toPartName(options.part); // for its messages
    OpenPackage package(options);
    const RelsReport report = makeReport(options, package);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report));
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, RelsOptions& options) {
    addReadOptions(command, options);
    addToleranceOptions(command, options);
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
               "is not in the package is marked \"(missing)\". Entries in which something is wrong come after them,\n"
               "each with what is wrong and with its XML; 'opcraft unrelate --tolerant' removes one.\n\n"
               "Examples:\n  opcraft rels letter.docx\n  opcraft rels letter.docx /word/document.xml",
               addOptions, rels});
}

} // namespace opcraft
