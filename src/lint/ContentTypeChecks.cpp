// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/core/XmlPieces.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include "lint/Checks.hpp"
#include "lint/MarkupCompatibility.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace opc::lint {

namespace {

constexpr const char* ITEM = "[Content_Types].xml";
constexpr const char16_t* ESCAPED_NAME = u"/%5BContent_Types%5D.xml";

/// Whether a content type is one of those that the standard defines (ECMA-376-2 Annex E).
bool isOfStandard(std::u16string_view mediaType) {
    const auto& signatures = model::getSignatureIdentifiers(model::SignatureForm::Standard);
    const std::u16string types[] = {model::PackageHelper::getRelationshipContentType().toString(),
                                    model::PackageHelper::getCorePropertiesContentType().toString(),
                                    signatures.originContentType, signatures.signatureContentType,
                                    signatures.certificateContentType};
    return std::any_of(std::begin(types), std::end(types),
                       [&](const std::u16string& each) { return isSame(each, mediaType); });
}

bool hasForbiddenParameter(const std::string& contentType) {
    const std::size_t end = contentType.find(';');
    if (end == std::string::npos)
        return false;
    const std::size_t last = contentType.find_last_not_of(" \t\r\n", end == 0 ? 0 : end - 1);
    return last != std::string::npos && isOfStandard(toString(contentType.substr(0, last + 1), false));
}

void reportAttribute(Examination& examination, RuleId rule, const detail::XmlTag& tag, detail::XmlPosition position,
                     const char* attribute, const std::string& problem) {
    ErrorPlace place;
    place.item = ITEM;
    place.line = position.line;
    place.column = position.column;
    place.element = tag.name;
    place.attribute = attribute;
    place.value = *tag.attribute(attribute);
    const std::string message = attribute + (' ' + inQuotes(place.value)) + ' ' + problem;
    examination.report(rule, std::move(place), message);
}

void checkEntry(Examination& examination, const detail::XmlTag& tag, detail::XmlPosition position) {
    const std::string* type = tag.attribute("ContentType");
    if (type != nullptr && hasForbiddenParameter(*type))
        reportAttribute(examination, RuleId::ContentTypeParameters, tag, position, "ContentType",
                        "is a content type of the standard with a parameter");
    const std::string* name = tag.attribute("PartName");
    if (name != nullptr && isSame(toString(*name, false), ESCAPED_NAME))
        reportAttribute(examination, RuleId::ContentTypesNoPart, tag, position, "PartName",
                        "names the content types stream, which is not a part");
}

} // namespace

void checkContentTypes(Examination& examination) {
    if (!examination.getStore().hasContentTypeStream())
        return;
    examination.readItem(toString(ITEM), [&] {
        const auto bytes = readAll(*examination.getStore().getContentTypeInputStream());
        const detail::XmlPieces pieces = detail::splitXml(bytes, examination.getOptions().limits);
        for (const detail::XmlChild& child : pieces.children)
            checkEntry(examination, detail::readXmlTag(pieces.textOf(child)), child.tagEnd);
        checkCompatibility(examination, RuleId::ContentTypesCompatibility, ITEM, bytes);
    });
}

} // namespace opc::lint
