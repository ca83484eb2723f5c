// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Signatures.hpp"

#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <iterator>

namespace opcraft {

namespace {

// Of each identifier, the one that the standard fixes (ECMA-376-2 Annex E) and the one that the library writes.
constexpr const char16_t* originTypes[] = {
    u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/origin",
    u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/origin",
};
constexpr const char16_t* signatureTypes[] = {
    u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/signature",
    u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/signature",
};
constexpr const char16_t* signatureContentTypes[] = {
    u"application/vnd.openxmlformats-package.digital-signature-xmlsignature+xml",
    u"application/vnd.openxmlformats-package.digital-signaturexmlsignature+xml",
};
constexpr const char16_t* originContentType = u"application/vnd.openxmlformats-package.digital-signature-origin";

/// Extensions of items that sign the file as a whole.
constexpr const char16_t* pkcs7Extensions[] = {u"p7s", u"p7x"};

bool isOneOf(const std::u16string& text, const char16_t* const* first, const char16_t* const* last) {
    return std::any_of(first, last, [&](const char16_t* each) { return opc::caselessCompare(text, each) == 0; });
}

/// The parts that relationships of these types lead to from a source.
std::set<std::u16string> targetsOf(const opc::model::RelationshipSource& source, const char16_t* const* first,
                                   const char16_t* const* last) {
    std::set<std::u16string> targets;
    for (auto type = first; type != last; ++type)
        for (const opc::model::Relationship& relationship : source.getRelationshipsByType(*type))
            if (const auto part = targetPartOf(relationship))
                targets.insert(*part);
    return targets;
}

void findXmlSignatures(opc::model::Package& package, Signatures& signatures) {
    std::set<opc::model::PartName> origins;
    std::set<opc::model::PartName> found;
    const auto add = [&](std::set<opc::model::PartName>& names, const std::set<std::u16string>& targets) {
        for (const std::u16string& target : targets)
            if (package.hasPart(target))
                names.insert(package.getPart(target).getName());
    };
    add(origins, targetsOf(package, std::begin(originTypes), std::end(originTypes)));
    for (const opc::model::Part& part : package.getParts()) {
        const std::u16string type = part.getContentType().toString();
        if (opc::caselessCompare(type, originContentType) == 0)
            origins.insert(part.getName());
        if (isOneOf(type, std::begin(signatureContentTypes), std::end(signatureContentTypes)))
            found.insert(part.getName());
    }
    for (const opc::model::PartName& origin : origins)
        add(found, targetsOf(package.getPart(origin), std::begin(signatureTypes), std::end(signatureTypes)));
    for (const opc::model::PartName& name : origins)
        signatures.origins.insert(toUtf8(name.toString()));
    for (const opc::model::PartName& name : found)
        signatures.xml.insert(toUtf8(name.toString()));
}

} // namespace

Signatures findSignatures(OpenPackage& package) {
    Signatures signatures;
    findXmlSignatures(package.getModel(), signatures);
    for (const opc::storage::ZipItem& item : package.getInput().getZip().getItems()) {
        const std::u16string extension = opc::detail::getExtension(opc::toString(item.name, false));
        if (isOneOf(extension, std::begin(pkcs7Extensions), std::end(pkcs7Extensions)))
            signatures.pkcs7.insert(item.name);
    }
    return signatures;
}

} // namespace opcraft
