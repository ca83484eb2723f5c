// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/Tool.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
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

struct OtherEntry {
    std::string name;
    std::uint64_t size = 0;
    std::uint64_t compressedSize = 0;
    std::string reason; // why it is no part
};

struct ListReport {
    std::string file;
    std::vector<PartEntry> parts; // in the order of their names, as all
    std::vector<OtherEntry> otherItems;
};

std::map<std::u16string, ZipItem> partItems(const std::vector<ZipItem>& items) {
    std::map<std::u16string, ZipItem> found;
    for (const ZipItem& item : items)
        if (item.kind == ZipItemKind::Part)
            found[opc::toLowerASCIIString(item.partName)] = item;
    return found;
}

PartEntry entryOf(const opc::model::Part& part, const std::map<std::u16string, ZipItem>& items) {
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

ListReport makeReport(OpenPackage& package) {
    ListReport report;
    report.file = package.getName();
    const std::vector<ZipItem> items = package.getInput().getZip().getItems();
    const auto partsByName = partItems(items);
    for (const opc::model::Part& part : package.getModel().getParts())
        report.parts.push_back(entryOf(part, partsByName));
    for (const ZipItem& item : items)
        if (item.kind == ZipItemKind::Other)
            report.otherItems.push_back({item.name, item.size, item.compressedSize, item.reason});
    std::sort(report.otherItems.begin(), report.otherItems.end(),
              [](const OtherEntry& a, const OtherEntry& b) { return a.name < b.name; });
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
    for (const OtherEntry& entry : report.otherItems)
        others.addRow({std::to_string(entry.size), entry.name, entry.reason});
    return text + "\nOther items of the ZIP file, which are no parts:\n" + others.toString();
}

nlohmann::ordered_json toJson(const ListReport& report) {
    nlohmann::ordered_json json = makeJsonReport("list", report.file);
    json["parts"] = nlohmann::ordered_json::array();
    for (const PartEntry& entry : report.parts)
        json["parts"].push_back({{"name", entry.name},
                                 {"contentType", entry.contentType},
                                 {"size", entry.size},
                                 {"compressedSize", entry.compressedSize},
                                 {"relationships", entry.relationships}});
    json["otherItems"] = nlohmann::ordered_json::array();
    for (const OtherEntry& entry : report.otherItems)
        json["otherItems"].push_back({{"name", entry.name},
                                      {"size", entry.size},
                                      {"compressedSize", entry.compressedSize},
                                      {"reason", entry.reason}});
    return json;
}

ExitCode list(const ReadOptions& options, Console& console) {
    OpenPackage package(options);
    const ListReport report = makeReport(package);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report));
    return ExitCode::Fine;
}

} // namespace

void addListCommand(Tool& tool) {
    const auto options = std::make_shared<ReadOptions>();
    CLI::App* command =
        addCommand(tool, "list", "List the parts of a package",
                   "Parts come in the order of their names, each with its size in bytes, the number of its\n"
                   "relationships and its content type. Relationships parts are counted, not listed. Items of the\n"
                   "ZIP file that are no parts stand apart.\n\n"
                   "Example:\n  opcraft list letter.docx");
    addReadOptions(*command, *options);
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return list(*options, console); }};
    });
}

} // namespace opcraft
