// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

namespace opcraft {

namespace {

using opc::storage::ZipItem;
using opc::storage::ZipItemKind;

struct PartEntry {
    std::string name;
    std::string contentType;
    std::uint64_t size = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t relationships = 0;
};

struct ListReport {
    std::string file;
    std::vector<PartEntry> parts; // in the order of their names, as the other items
    std::vector<ZipItem> otherItems;
    std::size_t findings = 0;
};

std::map<std::u16string, ZipItem> partItems(const std::vector<ZipItem>& items) {
    std::map<std::u16string, ZipItem> found;
    for (const ZipItem& item : items)
        if (item.kind == ZipItemKind::Part)
            found[opc::toLowerASCIIString(item.partName)] = item;
    return found;
}

PartEntry partEntryOf(const opc::model::Part& part, const std::map<std::u16string, ZipItem>& items) {
    PartEntry entry;
    const std::u16string name = part.getName().toString();
    entry.name = toUtf8(name);
    entry.contentType = toUtf8(part.getContentType().toString());
    entry.relationships = part.getRelationships().size();
    const auto item = items.find(opc::toLowerASCIIString(name));
    if (item != items.end()) {
        entry.size = item->second.size;
        entry.compressedSize = item->second.compressedSize;
    }
    return entry;
}

ListReport makeListReport(OpenPackage& package) {
    ListReport report;
    report.file = package.getName();
    report.findings = package.getFindings().getAll().size();
    const std::vector<ZipItem> items = package.getItems();
    const auto partsByName = partItems(items);
    for (const opc::model::Part& part : package.getModel().getParts())
        report.parts.push_back(partEntryOf(part, partsByName));
    for (const ZipItem& item : items)
        if (item.kind == ZipItemKind::Other)
            report.otherItems.push_back(item);
    std::sort(report.otherItems.begin(), report.otherItems.end(),
              [](const ZipItem& a, const ZipItem& b) { return a.name < b.name; });
    return report;
}

std::string toText(const ListReport& report) {
    using Align = Table::Align;
    Table parts({{"SIZE", Align::Right}, {"RELS", Align::Right}, {"NAME"}, {"TYPE"}});
    for (const PartEntry& entry : report.parts)
        parts.addRow({std::to_string(entry.size), std::to_string(entry.relationships), entry.name, entry.contentType});
    std::string text = report.parts.empty() ? "No parts.\n" : parts.toString();
    if (report.otherItems.empty())
        return text;

    Table others({{"SIZE", Align::Right}, {"NAME"}, {"REASON"}});
    for (const ZipItem& item : report.otherItems)
        others.addRow({std::to_string(item.size), item.name, item.reason});
    return text + "\nOther items of the ZIP file, which are not parts:\n" + others.toString();
}

Json toJson(const ListReport& report) {
    Json json = makeJsonReport("list", report.file, report.findings);
    json["parts"] = toJsonArray(
        report.parts,
        [](const PartEntry& entry) {
            return Json{{"name", entry.name},
                        {"contentType", entry.contentType},
                        {"size", entry.size},
                        {"compressedSize", entry.compressedSize},
                        {"relationships", entry.relationships}};
        });
    json["otherItems"] = toJsonArray(report.otherItems, [](const ZipItem& item) {
        return Json{
            {"name", item.name}, {"size", item.size}, {"compressedSize", item.compressedSize}, {"reason", item.reason}};
    });
    return json;
}

ExitCode list(const ReadOptions& options, Console& console) {
    OpenPackage package(options);
    const ListReport report = makeListReport(package);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report));
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

void addListOptions(CLI::App& command, ReadOptions& options) {
    addReadOptions(command, options);
    addToleranceOptions(command, options);
}

} // namespace

void addListCommand(Tool& tool) {
    addCommand<ReadOptions>(
        tool, {"list", "List the parts of a package",
               "Parts come in the order of their names, each with its size in bytes, the number of its\n"
               "relationships and its content type. Relationships parts are counted, not listed. Items of the\n"
               "ZIP file that are not parts stand apart.\n\n"
               "Example:\n  opcraft list letter.docx",
               addListOptions, list});
}

} // namespace opcraft
