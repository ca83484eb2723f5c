// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Kind.hpp"

#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>

#include <optional>
#include <string_view>

namespace opcraft {

namespace {

struct Format {
    const char* contentType; // of the main part; null for any
    const char* name;
    const char* extension;
};

// The content types of ECMA-376-1 §11-§13 and of the macro-enabled and binary forms of the same documents.
constexpr Format officeFormats[] = {
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

constexpr Format visioFormats[] = {
    {"application/vnd.ms-visio.drawing.main+xml", "Visio drawing", "vsdx"},
    {"application/vnd.ms-visio.template.main+xml", "Visio template", "vstx"},
    {"application/vnd.ms-visio.stencil.main+xml", "Visio stencil", "vssx"},
    {"application/vnd.ms-visio.drawing.macroenabled.main+xml", "Visio drawing with macros", "vsdm"},
    {"application/vnd.ms-visio.template.macroenabled.main+xml", "Visio template with macros", "vstm"},
    {"application/vnd.ms-visio.stencil.macroenabled.main+xml", "Visio stencil with macros", "vssm"},
};

constexpr Format xps[] = {{nullptr, "XPS document", "xps"}};
constexpr Format openXps[] = {{nullptr, "OpenXPS document", "oxps"}};
constexpr Format model3mf[] = {{nullptr, "3MF model", "3mf"}};
constexpr Format nuget[] = {{nullptr, "NuGet package", "nupkg"}};
constexpr Format aasx[] = {{nullptr, "Asset Administration Shell package", "aasx"}};

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

constexpr MainRelationship mainRelationships[] = {
    leadsTo(u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument", officeFormats),
    leadsTo(u"http://purl.oclc.org/ooxml/officeDocument/relationships/officeDocument", officeFormats, " (strict)"),
    leadsTo(u"http://schemas.microsoft.com/visio/2010/relationships/document", visioFormats),
    leadsTo(u"http://schemas.microsoft.com/xps/2005/06/fixedrepresentation", xps),
    leadsTo(u"http://schemas.openxps.org/oxps/v1.0/fixedrepresentation", openXps),
    leadsTo(u"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel", model3mf),
    leadsTo(u"http://schemas.microsoft.com/packaging/2010/07/manifest", nuget),
    leadsTo(u"http://admin-shell.io/aasx/relationships/aasx-origin", aasx),
    leadsTo(u"http://www.admin-shell.io/aasx/relationships/aasx-origin", aasx),
};

/// Formats whose readers start from an item of a fixed name and not from a relationship.
struct WellKnownItem {
    const char16_t* name;
    Format format;
};

constexpr WellKnownItem wellKnownItems[] = {
    {u"appxmanifest.xml", {nullptr, "MSIX or APPX package", "msix"}},
    {u"appxmetadata/appxbundlemanifest.xml", {nullptr, "MSIX or APPX bundle", "msixbundle"}},
    {u"extension.vsixmanifest", {nullptr, "VSIX extension", "vsix"}},
};

std::string mediaType(const opc::model::Part& part) {
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

/// The first part that a package relationship of this type leads to.
std::optional<opc::model::Part> findTarget(opc::model::Package& package, const char16_t* type) {
    for (const opc::model::Relationship& relationship : package.getRelationshipsByType(type)) {
        const std::optional<std::u16string> target = targetPartOf(relationship);
        if (target && package.hasPart(*target))
            return package.getPart(*target);
    }
    return std::nullopt;
}

std::optional<Kind> guessFromRelationships(opc::model::Package& package) {
    std::optional<Kind> kind;
    for (const MainRelationship& relationship : mainRelationships) {
        const std::optional<opc::model::Part> part = findTarget(package, relationship.type);
        if (!part)
            continue;
        const Format* format = findFormat(relationship, mediaType(*part));
        const std::string name = toUtf8(part->getName().toString());
        if (format != nullptr)
            return Kind{std::string(format->name) + relationship.suffix, format->extension, name};
        if (!kind)
            kind = Kind{"", "", name};
    }
    return kind;
}

std::optional<Kind> guessFromItems(OpenPackage& package) {
    for (const opc::storage::ZipItem& item : package.getInput().getZip().getItems())
        for (const WellKnownItem& known : wellKnownItems)
            if (opc::caselessCompare(opc::toString(item.name, false), known.name) == 0)
                return Kind{known.format.name, known.format.extension, toUtf8(item.partName)};
    return std::nullopt;
}

} // namespace

Kind guessKind(OpenPackage& package) {
    Kind kind = guessFromRelationships(package.getModel()).value_or(Kind{});
    if (kind.name.empty() && kind.mainPart.empty())
        kind = guessFromItems(package).value_or(Kind{});
    if (kind.name.empty())
        kind.name = "OPC package";
    return kind;
}

} // namespace opcraft
