// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>

#include "lint/Checks.hpp"

#include <algorithm>
#include <optional>
#include <string_view>

namespace opc::lint {

namespace {

using View = std::u16string_view;

// In lower case, as content types compare.
constexpr View MACRO_CONTENT_TYPES[] = {u"application/vnd.ms-office.vbaproject",
                                        u"application/vnd.ms-office.vbaprojectsignature",
                                        u"application/vnd.ms-excel.macrosheet",
                                        u"application/vnd.ms-excel.macrosheet+xml",
                                        u"application/vnd.ms-excel.intlmacrosheet",
                                        u"application/vnd.ms-excel.intlmacrosheet+xml",
                                        u"application/vnd.openxmlformats-officedocument.spreadsheetml.dialogsheet+xml",
                                        u"application/vnd.ms-office.activex",
                                        u"application/vnd.ms-office.activex+xml",
                                        u"application/vnd.ms-office.webextension+xml"};
constexpr View EMBEDDED_CONTENT_TYPES[] = {u"application/vnd.openxmlformats-officedocument.oleobject"};

/// Of programs and scripts that a system runs when they are opened.
constexpr View PROGRAM_EXTENSIONS[] = {u"bat", u"cmd", u"com",  u"dll", u"exe", u"hta", u"jar", u"js",  u"jse", u"lnk",
                                       u"msi", u"ps1", u"psm1", u"scr", u"sh",  u"vbe", u"vbs", u"wsf", u"wsh"};

// What follows the last slash in relationship types of office documents.
constexpr View MACRO_RELATIONSHIPS[] = {u"vbaProject", u"xlMacrosheet", u"xlIntlMacrosheet",    u"dialogsheet",
                                        u"control",    u"webextension", u"activeXControlBinary"};
constexpr View EMBEDDED_RELATIONSHIPS[] = {u"oleObject", u"package", u"aFChunk", u"subDocument"};

/// Of office documents, transitional and strict, and of extensions of them.
constexpr View OFFICE_RELATIONSHIPS[] = {u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/",
                                         u"http://purl.oclc.org/ooxml/officeDocument/relationships/",
                                         u"http://schemas.microsoft.com/office/2006/relationships/",
                                         u"http://schemas.microsoft.com/office/2011/relationships/"};

template <std::size_t size>
bool isOneOf(View text, const View (&texts)[size]) {
    return std::find(std::begin(texts), std::end(texts), text) != std::end(texts);
}

/// The kind of a relationship of an office document; empty for any other.
View officeKindOf(View type) {
    for (const View base : OFFICE_RELATIONSHIPS)
        if (type.substr(0, base.size()) == base)
            return type.substr(base.size());
    return {};
}

std::string kindText(View type) {
    return inQuotes(type.substr(type.rfind(u'/') + 1));
}

/// @return none for an ordinary target.
std::optional<RuleId> ruleOfExternal(View kind) {
    if (kind == u"attachedTemplate")
        return RuleId::ExternalTemplate;
    return kind == u"hyperlink" ? std::nullopt : std::optional(RuleId::ExternalTarget);
}

std::optional<RuleId> ruleOfInternal(View kind) {
    if (isOneOf(kind, MACRO_RELATIONSHIPS))
        return RuleId::Macros;
    return isOneOf(kind, EMBEDDED_RELATIONSHIPS) ? std::optional(RuleId::EmbeddedObject) : std::nullopt;
}

void noteExternal(Examination& examination, const Link& link, View kind) {
    const auto rule = ruleOfExternal(kind);
    if (!rule)
        return;
    const bool isTemplate = *rule == RuleId::ExternalTemplate;
    examination.reportLink(*rule, link,
                           "external Target " + inQuotes(link.relationship.getTarget()) +
                               (isTemplate ? " of a template" : " of the type " + kindText(link.type)));
}

} // namespace

void noteRawTarget(Examination& examination, const model::RelationshipSource& source,
                   const model::RawRelationship& raw) {
    const View kind = officeKindOf(raw.type);
    const bool isExternal = raw.targetMode == u"External";
    const auto rule = isExternal ? ruleOfExternal(kind) : ruleOfInternal(kind);
    if (!rule)
        return;
    ErrorPlace place{toText(source.getRelationshipsPartName().toString()),
                     raw.line,
                     raw.column,
                     "Relationship",
                     "Target",
                     toText(raw.target),
                     {},
                     toText(raw.id)};
    examination.report(*rule, std::move(place),
                       (isExternal ? "external Target " : "Target ") + inQuotes(raw.target) + " of the type " +
                           kindText(raw.type) + " in a relationship that is not valid");
}

void noteTarget(Examination& examination, const Link& link) {
    const View kind = officeKindOf(link.type);
    if (link.isExternal()) {
        noteExternal(examination, link, kind);
        return;
    }
    const auto rule = ruleOfInternal(kind);
    if (!rule || link.target == nullptr)
        return;
    // Each part once: by its content type, or else by a relationship.
    const std::u16string name = link.target->getName().toString();
    if (!examination.getFindings().has(*rule, toText(name)))
        examination.reportItem(*rule, name, "target of a relationship of the type " + inQuotes(kind));
}

void notePart(Examination& examination, const model::Part& part) {
    const std::u16string& type = examination.getMediaType(part);
    const std::u16string extension = toLowerASCIIString(part.getName().getExtension());
    const auto typeText = [&type] { return "content type " + inQuotes(type); };
    if (isOneOf(type, MACRO_CONTENT_TYPES))
        examination.reportItem(RuleId::Macros, part.getName().toString(), "macros: " + typeText());
    else if (isOneOf(extension, PROGRAM_EXTENSIONS))
        examination.reportItem(RuleId::Macros, part.getName().toString(),
                               "program or script: extension " + inQuotes(extension));
    if (isOneOf(type, EMBEDDED_CONTENT_TYPES))
        examination.reportItem(RuleId::EmbeddedObject, part.getName().toString(), "embedded object: " + typeText());
}

} // namespace opc::lint
