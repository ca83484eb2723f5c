// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Properties.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/SignatureParts.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace opcraft {

namespace {

using opc::model::Part;
using opc::storage::ZipItem;

/// What a package is to its users.
struct Kind {
    std::string name;      ///< "Word document"; "OPC package" when it is not known
    std::string extension; ///< the usual one, without the dot; empty when the kind is not known
    std::string mainPart;  ///< the part that a reader starts from; empty when it is not found
    std::string missing{}; ///< what would be the main part, and is not a part; may be empty
};

struct Format {
    const char* contentType; // of the main part; null for any
    const char* name;
    const char* extension;
};

// The content types of ECMA-376-1 §11-§13 and of the macro-enabled and binary forms of the same documents.
constexpr Format OFFICE_FORMATS[] = {
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml", "Word document", "docx"},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.template.main+xml", "Word template", "dotx"},
    {"application/vnd.ms-word.document.macroenabled.main+xml", "Word document with macros", "docm"},
    {"application/vnd.ms-word.template.macroenabledtemplate.main+xml", "Word template with macros", "dotm"},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml", "Excel workbook", "xlsx"},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.template.main+xml", "Excel template", "xltx"},
    {"application/vnd.ms-excel.sheet.macroenabled.main+xml", "Excel workbook with macros", "xlsm"},
    {"application/vnd.ms-excel.template.macroenabled.main+xml", "Excel template with macros", "xltm"},
    {"application/vnd.ms-excel.addin.macroenabled.main+xml", "Excel add-in", "xlam"},
    {"application/vnd.ms-excel.sheet.binary.macroenabled.main", "Excel binary workbook", "xlsb"},
    {"application/vnd.openxmlformats-officedocument.presentationml.presentation.main+xml", "PowerPoint presentation",
     "pptx"},
    {"application/vnd.openxmlformats-officedocument.presentationml.template.main+xml", "PowerPoint template", "potx"},
    {"application/vnd.openxmlformats-officedocument.presentationml.slideshow.main+xml", "PowerPoint slide show",
     "ppsx"},
    {"application/vnd.ms-powerpoint.presentation.macroenabled.main+xml", "PowerPoint presentation with macros", "pptm"},
    {"application/vnd.ms-powerpoint.template.macroenabled.main+xml", "PowerPoint template with macros", "potm"},
    {"application/vnd.ms-powerpoint.slideshow.macroenabled.main+xml", "PowerPoint slide show with macros", "ppsm"},
    {"application/vnd.ms-powerpoint.addin.macroenabled.main+xml", "PowerPoint add-in", "ppam"},
};

constexpr Format VISIO_FORMATS[] = {
    {"application/vnd.ms-visio.drawing.main+xml", "Visio drawing", "vsdx"},
    {"application/vnd.ms-visio.template.main+xml", "Visio template", "vstx"},
    {"application/vnd.ms-visio.stencil.main+xml", "Visio stencil", "vssx"},
    {"application/vnd.ms-visio.drawing.macroenabled.main+xml", "Visio drawing with macros", "vsdm"},
    {"application/vnd.ms-visio.template.macroenabled.main+xml", "Visio template with macros", "vstm"},
    {"application/vnd.ms-visio.stencil.macroenabled.main+xml", "Visio stencil with macros", "vssm"},
};

constexpr Format XPS[] = {{nullptr, "XPS document", "xps"}};
constexpr Format OPEN_XPS[] = {{nullptr, "OpenXPS document", "oxps"}};
constexpr Format MODEL3MF[] = {{nullptr, "3MF model", "3mf"}};
constexpr Format NUGET[] = {{nullptr, "NuGet package", "nupkg"}};
constexpr Format AASX[] = {{nullptr, "Asset Administration Shell package", "aasx"}};

struct MainRelationship {
    const char16_t* type;
    const Format* formats;
    std::size_t count;
    const char* suffix; // to the name of the format
};

template <std::size_t COUNT>
constexpr MainRelationship leadsTo(const char16_t* type, const Format (&formats)[COUNT], const char* suffix = "") {
    return {type, formats, COUNT, suffix};
}

constexpr MainRelationship MAIN_RELATIONSHIPS[] = {
    leadsTo(u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument", OFFICE_FORMATS),
    leadsTo(u"http://purl.oclc.org/ooxml/officeDocument/relationships/officeDocument", OFFICE_FORMATS, " (strict)"),
    leadsTo(u"http://schemas.microsoft.com/visio/2010/relationships/document", VISIO_FORMATS),
    leadsTo(u"http://schemas.microsoft.com/xps/2005/06/fixedrepresentation", XPS),
    leadsTo(u"http://schemas.openxps.org/oxps/v1.0/fixedrepresentation", OPEN_XPS),
    leadsTo(u"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel", MODEL3MF),
    leadsTo(u"http://schemas.microsoft.com/packaging/2010/07/manifest", NUGET),
    leadsTo(u"http://admin-shell.io/aasx/relationships/aasx-origin", AASX),
    leadsTo(u"http://www.admin-shell.io/aasx/relationships/aasx-origin", AASX),
};

/// Formats whose readers start from an item of a fixed name and not from a relationship.
struct WellKnownItem {
    const char16_t* name;
    Format format;
};

constexpr WellKnownItem WELL_KNOWN_ITEMS[] = {
    {u"appxmanifest.xml", {nullptr, "MSIX or APPX package", "msix"}},
    {u"appxmetadata/appxbundlemanifest.xml", {nullptr, "MSIX or APPX bundle", "msixbundle"}},
    {u"extension.vsixmanifest", {nullptr, "VSIX extension", "vsix"}},
};

std::string mediaType(const Part& part) {
    const opc::model::ContentType type = part.getContentType();
    return toUtf8(opc::toLowerASCIIString(type.getType() + u'/' + type.getSubType()));
}

const Format* findFormat(const MainRelationship& relationship, const std::string& type) {
    for (std::size_t i = 0; i < relationship.count; ++i) {
        const Format& format = relationship.formats[i];
        if (format.contentType == nullptr || format.contentType == type)
            return &format;
    }
    return nullptr;
}

/// The first existing part that a package relationship of a type leads to.
std::optional<Part> findTarget(opc::model::Package& package, const char16_t* type) {
    for (const opc::model::Relationship& relationship : package.getRelationshipsByType(type)) {
        const std::optional<std::u16string> target = targetPartOf(relationship);
        if (target && package.hasPart(*target))
            return package.getPart(*target);
    }
    return std::nullopt;
}

/// The target of the first internal relationship of a type; empty when there is none.
std::string firstTarget(const opc::model::Package& package, const char16_t* type) {
    for (const opc::model::Relationship& relationship : package.getRelationshipsByType(type))
        if (const auto target = targetPartOf(relationship))
            return toUtf8(*target);
    return {};
}

std::optional<Kind> guessFromRelationships(opc::model::Package& package) {
    std::optional<Kind> kind;
    for (const MainRelationship& relationship : MAIN_RELATIONSHIPS) {
        const std::optional<Part> part = findTarget(package, relationship.type);
        if (!part) {
            if (std::string missing = firstTarget(package, relationship.type); !kind && !missing.empty())
                kind = Kind{"", "", "", std::move(missing)};
            continue;
        }
        const Format* format = findFormat(relationship, mediaType(*part));
        const std::string name = toUtf8(part->getName().toString());
        if (format != nullptr)
            return Kind{std::string(format->name) + relationship.suffix, format->extension, name};
        if (!kind || kind->mainPart.empty())
            kind = Kind{"", "", name};
    }
    return kind;
}

std::optional<Kind> guessFromItems(OpenPackage& package) {
    for (const ZipItem& item : package.getItems())
        for (const WellKnownItem& known : WELL_KNOWN_ITEMS)
            if (opc::caselessCompare(opc::toString(item.name, false), known.name) == 0)
                return Kind{known.format.name, known.format.extension, toUtf8(item.partName),
                            item.partName.empty() ? item.name : ""};
    return std::nullopt;
}

bool hasContentTypes(const OpenPackage& package) {
    const auto items = package.getItems();
    return std::any_of(items.begin(), items.end(),
                       [](const ZipItem& item) { return opc::detail::foldName(item.name) == "[content_types].xml"; });
}

/// Guesses the kind from the package relationship to the main part and its content type, or from a well-known item.
Kind guessKind(OpenPackage& package) {
    Kind kind = guessFromRelationships(package.getModel()).value_or(Kind{});
    if (kind.name.empty() && kind.mainPart.empty())
        kind = guessFromItems(package).value_or(kind);
    if (kind.name.empty())
        kind.name = hasContentTypes(package) ? "OPC package"
                                             : package.getInput().getKind() + std::string(" without content types");
    return kind;
}

/// Items that are not parts, for one reason.
struct OtherItems {
    std::string reason;
    std::vector<std::string> names;
};

/// What is wrong in one item.
struct ItemFindings {
    std::string item;    ///< empty for the package as a whole
    std::string message; ///< of the first finding
    std::size_t count = 0;
};

struct InfoReport {
    std::string file;
    Kind kind;
    std::string mainContentType;
    std::uint64_t parts = 0;
    std::uint64_t relationshipsParts = 0;
    std::uint64_t packageRelationships = 0;
    std::uint64_t relationships = 0; // including those of the package
    std::vector<CorePropertiesEntry> coreProperties;
    std::vector<std::string> otherItems;
    std::vector<OtherItems> reasons; // the same items, in the order in which a reason first applies
    std::uint64_t items = 0;
    std::uint64_t fileSize = 0;
    std::uint64_t uncompressedSize = 0; // of all items
    std::uint64_t compressedSize = 0;
    bool isFolder = false;
    std::uint64_t rawRelationships = 0; // entries that are none
    std::size_t findings = 0;
    std::vector<ItemFindings> itemFindings;
    opc::model::FoundSignatures signatures;
};

void countFindings(const std::vector<opc::Finding>& findings, InfoReport& report) {
    report.findings = findings.size();
    std::map<std::string, std::size_t> items; // their indexes in the report
    for (const opc::Finding& finding : findings) {
        const auto [known, isNew] = items.try_emplace(finding.place.item, report.itemFindings.size());
        if (isNew)
            report.itemFindings.push_back({finding.place.item, finding.message});
        ++report.itemFindings[known->second].count;
    }
}

void countItems(const std::vector<ZipItem>& items, InfoReport& report) {
    std::map<std::string, std::size_t> reasons; // their indexes in the report
    for (const ZipItem& item : items) {
        ++report.items;
        report.uncompressedSize += item.size;
        report.compressedSize += item.compressedSize;
        if (item.kind == opc::storage::ZipItemKind::Part && opc::detail::isRelationshipsPartName(item.partName))
            ++report.relationshipsParts;
        if (item.kind != opc::storage::ZipItemKind::Other)
            continue;
        const auto [known, isNew] = reasons.try_emplace(item.reason, report.reasons.size());
        if (isNew)
            report.reasons.push_back({item.reason, {}});
        report.reasons[known->second].names.push_back(item.name);
        report.otherItems.push_back(item.name);
    }
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
        report.rawRelationships += source.getRawRelationships().size();
    });
    report.coreProperties = findCoreProperties(package);
    countItems(package.getItems(), report);
    countFindings(package.getFindings().getAll(), report);
    report.fileSize = package.getInput().getSize();
    report.isFolder = package.getInput().isFolder();
    report.signatures = findSignatures(package);
    return report;
}

std::string line(const std::string& title, const std::string& text) {
    return titledLine(title, 15, text);
}

std::string signatureLines(const opc::model::FoundSignatures& signatures) {
    std::string text;
    for (const std::string& name : signatures.xml)
        text += line(text.empty() ? "Signatures" : "",
                     name + (signatures.standard.contains(name) ? " (XML signature, standard form)"
                                                                : " (XML signature, library form)"));
    for (const std::string& name : signatures.pkcs7)
        text += line(text.empty() ? "Signatures" : "", name + " (PKCS#7 signature of the file)");
    if (!text.empty())
        return text;
    return line("Signatures", signatures.origins.empty() ? "none" : "none, but an origin for them");
}

std::string otherItemsLines(const InfoReport& report) {
    std::string text =
        line("Other items", std::to_string(report.otherItems.size()) +
                                (report.otherItems.empty() ? "" : ", which are not parts and are kept as they are"));
    for (const OtherItems& each : report.reasons)
        text += line("", each.reason + ": " + listText(each.names, 3));
    return text;
}

std::string corePropertiesText(const std::vector<CorePropertiesEntry>& entries) {
    std::string text;
    for (const CorePropertiesEntry& entry : entries)
        text += (text.empty() ? "" : ", ") + entry.target + (entry.part ? "" : " (missing)") +
                (entry.isStandard ? "" : " (related by " + entry.type + ')');
    return text.empty() ? "none" : text;
}

std::string findingsLines(const InfoReport& report) {
    if (report.findings == 0)
        return {};
    std::string text = line("Findings", std::to_string(report.findings) + ", which 'opcraft lint' explains");
    for (std::size_t i = 0; i < std::min(report.itemFindings.size(), SHOWN_NAMES); ++i) {
        const ItemFindings& each = report.itemFindings[i];
        text += line("", (each.item.empty() ? "" : each.item + ": ") + each.message +
                             (each.count == 1 ? "" : ", and " + std::to_string(each.count - 1) + " more"));
    }
    if (report.itemFindings.size() > SHOWN_NAMES)
        text += line("", "and in " + countText(report.itemFindings.size() - SHOWN_NAMES, "more item"));
    return text;
}

std::string mainPartText(const InfoReport& report) {
    if (!report.kind.mainPart.empty())
        return report.kind.mainPart + " (" + report.mainContentType + ')';
    return report.kind.missing.empty() ? "not found" : report.kind.missing + " (missing or not a part)";
}

std::string relationshipsText(const InfoReport& report) {
    return std::to_string(report.relationships) + " (" + std::to_string(report.packageRelationships) +
           " of the package, " + std::to_string(report.relationships - report.packageRelationships) + " of parts)" +
           (report.rawRelationships == 0
                ? ""
                : ", and " + std::to_string(report.rawRelationships) + " in which something is wrong");
}

std::string toText(const InfoReport& report) {
    std::string kind = report.kind.name;
    if (!report.kind.extension.empty())
        kind += " (." + report.kind.extension + ')';
    return line("File", report.file) + line("Kind", kind) + line("Main part", mainPartText(report)) +
           line("Parts", std::to_string(report.parts)) + line("Relationships", relationshipsText(report)) +
           line("Size", sizeText(report.fileSize)) +
           line("Content", sizeText(report.uncompressedSize) + " in " + countText(report.items, "item") +
                               (report.isFolder ? "" : ", compressed to " + sizeText(report.compressedSize))) +
           line("Properties", corePropertiesText(report.coreProperties)) + otherItemsLines(report) +
           signatureLines(report.signatures) + findingsLines(report);
}

Json mainPartJson(const InfoReport& report) {
    if (report.kind.mainPart.empty())
        return {};
    return {{"name", report.kind.mainPart}, {"contentType", report.mainContentType}};
}

/// What `props` shows.
Json corePropertiesJson(const std::vector<CorePropertiesEntry>& entries) {
    if (entries.empty())
        return {};
    const CorePropertiesEntry& first = entries.front();
    return {{"part", textOrNull(first.part ? first.target : "")}, {"relationshipType", first.type}};
}

Json toJson(const InfoReport& report) {
    Json json = makeJsonReport("info", report.file, report.findings);
    json["kind"] = report.kind.name;
    json["extension"] = textOrNull(report.kind.extension);
    json["mainPart"] = mainPartJson(report);
    json["missingMainPart"] = textOrNull(report.kind.mainPart.empty() ? report.kind.missing : "");
    json["parts"] = report.parts;
    json["relationshipsParts"] = report.relationshipsParts;
    json["relationships"] = {
        {"package", report.packageRelationships}, {"total", report.relationships}, {"raw", report.rawRelationships}};
    json["itemFindings"] = toJsonArray(report.itemFindings, [](const ItemFindings& each) {
        return Json{{"item", textOrNull(each.item)}, {"count", each.count}, {"message", each.message}};
    });
    json["size"] = report.fileSize;
    json["items"] = {{"count", report.items},
                     {"uncompressedSize", report.uncompressedSize},
                     {"compressedSize", report.compressedSize}};
    json["coreProperties"] = corePropertiesJson(report.coreProperties);
    json["otherItems"] = report.otherItems;
    json["otherItemReasons"] = toJsonArray(report.reasons, [](const OtherItems& each) {
        return Json{{"reason", each.reason}, {"items", each.names}};
    });
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
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, ReadOptions& options) {
    addReadOptions(command, options);
    addToleranceOptions(command, options);
}

} // namespace

void addInfoCommand(Tool& tool) {
    addCommand<ReadOptions>(
        tool, {"info", "Say what a package is and what it holds",
               "The kind is guessed from the main part. Other items are items of the package that\n"
               "are not parts. Signatures are found, not read; 'opcraft signatures' and 'opcraft verify' do that.\n\n"
               "Example:\n  opcraft info letter.docx",
               addOptions, info});
}

} // namespace opcraft
