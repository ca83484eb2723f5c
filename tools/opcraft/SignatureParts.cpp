// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SignatureParts.hpp"

#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include <algorithm>
#include <iterator>
#include <optional>

namespace opcraft {

namespace {

using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;

using PartNames = std::set<PartName>;

using Form = opc::model::SignatureIdentifiers;

const Form& STANDARD_FORM = opc::model::getSignatureIdentifiers(opc::model::SignatureForm::Standard);
const Form& OWN_FORM = opc::model::getSignatureIdentifiers(opc::model::SignatureForm::Library);
const Form* const FORMS[] = {&STANDARD_FORM, &OWN_FORM};

/// Extensions of items that sign the file as a whole.
constexpr const char16_t* PKCS7_EXTENSIONS[] = {u"p7s", u"p7x"};

/// None when the target cannot be a part.
std::optional<PartName> partNameOf(const Relationship& relationship) {
    const auto target = targetPartOf(relationship);
    try {
        return target ? std::optional<PartName>(*target) : std::nullopt;
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
}

/// The parts that the relationships of a type of a source lead to.
PartNames targetsOf(const Package& package, const opc::model::RelationshipSource& source, const char16_t* type) {
    PartNames names;
    for (const Relationship& relationship : source.getRelationshipsByType(type))
        if (const auto name = partNameOf(relationship); name && package.hasPart(*name))
            names.insert(package.getPart(*name).getName());
    return names;
}

PartNames partsWithContentType(const Package& package, const opc::model::ContentType& type) {
    PartNames names;
    for (const Part& part : package.getParts())
        if (part.getContentType() == type)
            names.insert(part.getName());
    return names;
}

/// The origins that relationships of the package lead to.
PartNames findRelatedOrigins(const Package& package) {
    PartNames origins;
    for (const Form* form : FORMS)
        origins.merge(targetsOf(package, package, form->originRelationshipType));
    return origins;
}

PartNames findOrigins(const Package& package) {
    PartNames origins = partsWithContentType(package, STANDARD_FORM.originContentType);
    origins.merge(findRelatedOrigins(package));
    return origins;
}

PartNames findRelated(const Package& package, const PartNames& origins, const Form& form) {
    PartNames found;
    for (const PartName& origin : origins)
        found.merge(targetsOf(package, package.getPart(origin), form.signatureRelationshipType));
    return found;
}

/// The signatures of both forms.
PartNames findRelated(const Package& package, const PartNames& origins) {
    PartNames related;
    for (const Form* form : FORMS)
        related.merge(findRelated(package, origins, *form));
    return related;
}

/// These, and the parts with a content type of signatures.
PartNames findAll(const Package& package, const PartNames& origins) {
    PartNames all = findRelated(package, origins);
    for (const Form* form : FORMS)
        all.merge(partsWithContentType(package, form->signatureContentType));
    return all;
}

PartNames findLoose(const Package& package) {
    const PartNames origins = findRelatedOrigins(package);
    PartNames loose = findOrigins(package);
    loose.merge(findAll(package, loose));
    for (const PartName& name : findRelated(package, origins))
        loose.erase(name);
    for (const PartName& name : origins)
        loose.erase(name);
    return loose;
}

std::set<std::string> toTexts(const PartNames& names) {
    std::set<std::string> texts;
    for (const PartName& name : names)
        texts.insert(toUtf8(name.toString()));
    return texts;
}

void findXmlSignatures(const Package& package, Signatures& signatures) {
    const PartNames origins = findOrigins(package);
    const PartNames own = findRelated(package, targetsOf(package, package, OWN_FORM.originRelationshipType), OWN_FORM);
    PartNames standard = findRelated(package, origins, STANDARD_FORM);
    standard.merge(partsWithContentType(package, STANDARD_FORM.signatureContentType));
    for (const PartName& name : own)
        standard.erase(name);
    signatures.origins = toTexts(origins);
    signatures.xml = toTexts(findAll(package, origins));
    signatures.standard = toTexts(standard);
    signatures.loose = toTexts(findLoose(package));
}

} // namespace

Signatures findSignatures(OpenPackage& package) {
    Signatures signatures;
    findXmlSignatures(package.getModel(), signatures);
    for (const opc::storage::ZipItem& item : package.getInput().getStore().getItems()) {
        const std::u16string extension = opc::detail::getExtension(opc::toString(item.name, false));
        if (std::any_of(std::begin(PKCS7_EXTENSIONS), std::end(PKCS7_EXTENSIONS),
                        [&](const char16_t* each) { return opc::caselessCompare(extension, each) == 0; }))
            signatures.pkcs7.insert(item.name);
    }
    return signatures;
}

std::string pkcs7Text(std::size_t count) {
    return count == 0 ? std::string() : countText(count, "PKCS#7 signature") + " of the file, not checked\n";
}

} // namespace opcraft
