// SPDX-License-Identifier: Apache-2.0
#include "opcraft/ItemSelection.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Exception.hpp>
#include <opc/storage/Extraction.hpp>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace opcraft {

namespace {

using opc::storage::ZipItem;

struct ExtractOptions : ReadOptions {
    std::string folder{};
    std::vector<std::string> items{};
    bool otherItems = false;
    bool force = false;
};

struct LeftOutItem {
    std::string name;
    std::string reason;
};

struct ExtractReport {
    std::string file;
    std::string folder;
    std::uint64_t files = 0;
    std::uint64_t size = 0; // bytes of all of them
    std::vector<LeftOutItem> leftOut{};
    std::size_t otherItems = 0; // that were not asked for
    std::size_t findings = 0;
};

class ReportingSink final : public opc::storage::ExtractionSink {
public:
    explicit ReportingSink(ExtractReport& report) : report_(report) {}

    void extracted(const ZipItem& item) override {
        report_.files += item.name.ends_with('/') ? 0 : 1;
        report_.size += item.size;
    }

    /// The message starts with the name of the file or that of the folder.
    void leftOut(const ZipItem& item, const opc::Exception& error) override {
        const opc::Exception shorter(toFailure(error, report_.folder, item.name).what());
        report_.leftOut.push_back({item.name, toFailure(shorter, report_.file, item.name).what()});
    }

private:
    ExtractReport& report_;
};

Failure extractFailure(const opc::Exception& error, const std::string& folder) {
    if (error.code() == boost::system::errc::directory_not_empty)
        return {ExitCode::NotProcessed, folder, "", "the folder is not empty; --force replaces the files in it"};
    return toFailure(error, folder, "");
}

/// Without their folders.
std::size_t countOtherItems(const std::vector<ZipItem>& items) {
    return static_cast<std::size_t>(std::count_if(
        items.begin(), items.end(),
        [](const ZipItem& each) {
            return each.kind == opc::storage::ZipItemKind::Other && !each.name.ends_with('/');
        }));
}

ExtractReport makeExtractReport(const ExtractOptions& options, PackageInput& input, const FindingList& findings) {
    ExtractReport report{input.getName(), options.folder};
    report.findings = findings.getAll().size();
    opc::storage::ExtractionOptions what;
    what.otherItems = options.otherItems;
    what.replaces = options.force;
    what.maximumFolders = options.limits.items;
    if (!options.items.empty())
        what.positions = selectItems(options, options.items, input.getStore().getItems(), findings,
                                     options.otherItems ? Matched::All : Matched::Parts);
    else if (!options.otherItems)
        report.otherItems = countOtherItems(input.getStore().getItems());
    ReportingSink sink(report);
    try {
        opc::storage::extract(input.getStore(), options.folder, what, sink);
    } catch (const opc::Exception& e) {
        throw extractFailure(e, options.folder);
    }
    return report;
}

std::string toText(const ExtractReport& report) {
    std::string text = countText(report.files, "file") + ", " + sizeText(report.size) + '\n';
    if (report.otherItems != 0)
        text += countText(report.otherItems, "other item") + " not extracted, without --other-items\n";
    if (report.leftOut.empty())
        return text;
    Table table({{"NAME"}, {"REASON"}});
    for (const LeftOutItem& item : report.leftOut)
        table.addRow({item.name, item.reason});
    return text + "\nNot extracted:\n" + table.toString();
}

Json toJson(const ExtractReport& report) {
    Json json = makeJsonReport("extract", report.file, report.findings);
    json["folder"] = report.folder;
    json["files"] = report.files;
    json["size"] = report.size;
    json["otherItems"] = report.otherItems;
    json["leftOut"] = toJsonArray(report.leftOut, [](const LeftOutItem& item) {
        return Json{{"name", item.name}, {"reason", item.reason}};
    });
    return json;
}

ExitCode extract(const ExtractOptions& options, Console& console) {
    PackageInput input(options);
    FindingList findings;
    openItems(input, options, findings);
    if (options.items.empty())
        input.expectReading();
    const ExtractReport report = makeExtractReport(options, input, findings);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report), "; the files themselves were written");
    findings.note(console, options.file);
    return report.leftOut.empty() ? ExitCode::Fine : ExitCode::Findings;
}

void addOptions(CLI::App& command, ExtractOptions& options) {
    addReadOptions(command, options);
    command.add_option("DIR", options.folder, "The folder, which is made when it is missing")
        ->required()
        ->check(notEmpty());
    addToleranceOptions(command, options);
    addTexts(command, "ITEM", options.items, "The items, or patterns of their names; without any, all parts")
        ->allow_extra_args()
        ->check(notEmpty());
    addFlag(command, "--other-items", options.otherItems, "Also items that are not parts");
    addFlag(command, "--force", options.force, "Write to a folder that is not empty, and replace files in it");
}

} // namespace

void addExtractCommand(Tool& tool) {
    addCommand<ExtractOptions>(
        tool, {"extract", "Take a package apart: write its parts to files",
               "Each file is named as its item is, with its percent-escapes, so that 'opcraft pack' makes the same\n"
               "package of them; a part in pieces becomes one file. The folder is new or empty, or else --force\n"
               "replaces files of the same names; others stay. Nothing is written outside of it, and no link in it\n"
               "is followed.\n"
               "ITEM is as for 'opcraft cat'. A pattern matches parts, relationships parts and the content types,\n"
               "and with --other-items all items. An item that cannot be a file by its name, cannot be read or has\n"
               "something else in its place is told and left out; then the exit code is 1.\n\n"
               "Example:\n  opcraft extract letter.docx letter",
               addOptions, extract, "every item that was asked for is a file", "some items are left out"});
}

} // namespace opcraft
