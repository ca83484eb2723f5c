// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Kind.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Signatures.hpp"
#include "opcraft/StoredProperties.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/Tool.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace opcraft {

namespace {

/// Items that are no parts, for one reason.
struct OtherItems {
    std::string reason;
    std::vector<std::string> names;
};

struct InfoReport {
    std::string file;
    Kind kind;
    std::string mainContentType;
    std::uint64_t parts = 0;
    std::uint64_t relationshipsParts = 0;
    std::uint64_t packageRelationships = 0;
    std::uint64_t relationships = 0; // those of the package too
    std::vector<CorePropertiesEntry> coreProperties;
    std::vector<std::string> otherItems;
    std::vector<OtherItems> reasons; // the same items, in the order in which a reason first applies
    std::uint64_t items = 0;
    std::uint64_t fileSize = 0;
    std::uint64_t uncompressedSize = 0; // of all items
    std::uint64_t compressedSize = 0;
    Signatures signatures;
};

void addReason(const opc::storage::ZipItem& item, std::vector<OtherItems>& reasons) {
    auto found = std::find_if(reasons.begin(), reasons.end(),
                              [&](const OtherItems& each) { return each.reason == item.reason; });
    if (found == reasons.end())
        found = reasons.insert(found, {item.reason, {}});
    found->names.push_back(item.name);
}

void countItems(const opc::storage::ZipPackage& zip, InfoReport& report) {
    for (const opc::storage::ZipItem& item : zip.getItems()) {
        ++report.items;
        report.uncompressedSize += item.size;
        report.compressedSize += item.compressedSize;
        if (item.kind == opc::storage::ZipItemKind::Part && opc::detail::isRelationshipsPartName(item.partName))
            ++report.relationshipsParts;
        if (item.kind == opc::storage::ZipItemKind::Other)
            addReason(item, report.reasons);
    }
    report.otherItems = zip.getOtherItems();
}

InfoReport makeReport(OpenPackage& package) {
    InfoReport report;
    report.file = package.getName();
    report.kind = guessKind(package);
    if (!report.kind.mainPart.empty())
        report.mainContentType =
            toUtf8(package.getModel().getPart(opc::toString(report.kind.mainPart)).getContentType().toString());
    report.parts = package.getModel().getParts().size();
    report.packageRelationships = package.getModel().getRelationships().size();
    package.forEachSource([&](const opc::model::RelationshipSource& source) {
        report.relationships += source.getRelationships().size();
    });
    report.coreProperties = findCoreProperties(package);
    countItems(package.getInput().getZip(), report);
    report.fileSize = package.getInput().getSize();
    report.signatures = findSignatures(package);
    return report;
}

std::string line(const std::string& title, const std::string& text) {
    constexpr std::size_t width = 15;
    return title + std::string(width - title.size(), ' ') + escaped(text) + '\n';
}

std::string signatureLines(const Signatures& signatures) {
    std::string text;
    for (const std::string& name : signatures.xml)
        text += line(text.empty() ? "Signatures" : "", name + " (XML signature)");
    for (const std::string& name : signatures.pkcs7)
        text += line(text.empty() ? "Signatures" : "", name + " (PKCS#7 signature of the file)");
    if (!signatures.standard.empty())
        text += line("", notCheckedText(signatures.standard.size()));
    if (!text.empty())
        return text;
    return line("Signatures", signatures.origins.empty() ? "none" : "none, but an origin for them");
}

std::string otherItemsLines(const InfoReport& report) {
    constexpr std::size_t shown = 3;
    std::string text =
        line("Other items", std::to_string(report.otherItems.size()) +
                                (report.otherItems.empty() ? "" : ", which are no parts and are kept as they are"));
    for (const OtherItems& each : report.reasons) {
        std::string names;
        for (std::size_t i = 0; i < std::min(shown, each.names.size()); ++i)
            names += (i == 0 ? "" : ", ") + each.names[i];
        if (each.names.size() > shown)
            names += " and " + std::to_string(each.names.size() - shown) + " more";
        text += line("", each.reason + ": " + names);
    }
    return text;
}

std::string corePropertiesText(const std::vector<CorePropertiesEntry>& entries) {
    std::string text;
    for (const CorePropertiesEntry& entry : entries)
        text += (text.empty() ? "" : ", ") + entry.target + (entry.part ? "" : " (missing)") +
                (entry.isStandard ? "" : " (related by " + entry.type + ')');
    return text.empty() ? "none" : text;
}

std::string toText(const InfoReport& report) {
    std::string kind = report.kind.name;
    if (!report.kind.extension.empty())
        kind += " (." + report.kind.extension + ')';
    const std::string mainPart = report.kind.mainPart + " (" + report.mainContentType + ')';
    return line("File", report.file) + line("Kind", kind) +
           line("Main part", report.kind.mainPart.empty() ? "not found" : mainPart) +
           line("Parts", std::to_string(report.parts)) +
           line("Relationships", std::to_string(report.relationships) + " (" +
                                     std::to_string(report.packageRelationships) + " of the package, " +
                                     std::to_string(report.relationships - report.packageRelationships) +
                                     " of parts)") +
           line("Size", sizeText(report.fileSize)) +
           line("Content", sizeText(report.uncompressedSize) + " in " + countText(report.items, "item") +
                               ", compressed to " + sizeText(report.compressedSize)) +
           line("Properties", corePropertiesText(report.coreProperties)) + otherItemsLines(report) +
           signatureLines(report.signatures);
}

nlohmann::ordered_json textOrNull(const std::string& text) {
    return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

nlohmann::ordered_json mainPartJson(const InfoReport& report) {
    if (report.kind.mainPart.empty())
        return {};
    return {{"name", report.kind.mainPart}, {"contentType", report.mainContentType}};
}

/// What `props` shows.
nlohmann::ordered_json corePropertiesJson(const std::vector<CorePropertiesEntry>& entries) {
    if (entries.empty())
        return {};
    const CorePropertiesEntry& first = entries.front();
    return {{"part", textOrNull(first.part ? first.target : "")}, {"relationshipType", first.type}};
}

nlohmann::ordered_json toJson(const InfoReport& report) {
    nlohmann::ordered_json json = makeJsonReport("info", report.file);
    json["kind"] = report.kind.name;
    json["extension"] = textOrNull(report.kind.extension);
    json["mainPart"] = mainPartJson(report);
    json["parts"] = report.parts;
    json["relationshipsParts"] = report.relationshipsParts;
    json["relationships"] = {{"package", report.packageRelationships}, {"total", report.relationships}};
    json["size"] = report.fileSize;
    json["items"] = {{"count", report.items},
                     {"uncompressedSize", report.uncompressedSize},
                     {"compressedSize", report.compressedSize}};
    json["coreProperties"] = corePropertiesJson(report.coreProperties);
    json["otherItems"] = report.otherItems;
    json["otherItemReasons"] = nlohmann::ordered_json::array();
    for (const OtherItems& each : report.reasons)
        json["otherItemReasons"].push_back({{"reason", each.reason}, {"items", each.names}});
    json["signatures"] = {{"origins", report.signatures.origins},
                          {"xml", report.signatures.xml},
                          {"pkcs7", report.signatures.pkcs7},
                          {"standard", report.signatures.standard}};
    return json;
}

ExitCode info(const ReadOptions& options, Console& console) {
    OpenPackage package(options);
    const InfoReport report = makeReport(package);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report));
    return ExitCode::Fine;
}

} // namespace

void addInfoCommand(Tool& tool) {
    const auto options = std::make_shared<ReadOptions>();
    CLI::App* command =
        addCommand(tool, "info", "Say what a package is and what it holds",
                   "The kind is guessed from the main part. Other items are items of the ZIP file that\n"
                   "are no parts. Signatures are found, not verified.\n\n"
                   "Example:\n  opcraft info letter.docx");
    addReadOptions(*command, *options);
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return info(*options, console); }};
    });
}

} // namespace opcraft
