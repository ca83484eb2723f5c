// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureDocumentWriter.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "signatures/Base64.hpp"
#include "signatures/SignatureFormRules.hpp"
#include "signatures/X509Data.hpp"
#include "signatures/XmlText.hpp"

namespace opc::model {

namespace {

using ReferenceData = DigitalSignatureData::ReferenceData;

/// An empty element with an algorithm.
void writeAlgorithm(XmlText& xml, const char* name, const std::u16string& identifier) {
    xml.start(name, {{"Algorithm", identifier}});
    xml.end();
}

void writeRelationshipTransform(XmlText& xml, const ReferenceData& reference, const SignatureFormRules& form) {
    const std::string groupReference = "pds:" + toASCIIString(form.groupReferenceElement);
    xml.start("Transform", {{"Algorithm", form.relationshipTransform}});
    for (const std::u16string& id : reference.relationshipSourceIds) {
        xml.start("pds:RelationshipReference", {{"SourceId", id}});
        xml.end();
    }
    for (const std::u16string& type : reference.relationshipSourceTypes) {
        xml.start(groupReference.c_str(), {{"SourceType", type}});
        xml.end();
    }
    xml.end();
}

void writeTransforms(XmlText& xml, const ReferenceData& reference, const SignatureFormRules& form) {
    const bool selects = !reference.relationshipSourceIds.empty() || !reference.relationshipSourceTypes.empty();
    if (reference.transforms.empty() && !selects)
        return;
    xml.start("Transforms", {});
    for (const std::u16string& identifier : reference.transforms)
        writeAlgorithm(xml, "Transform", identifier);
    if (selects)
        writeRelationshipTransform(xml, reference, form);
    xml.end();
}

/// Attributes in the order of canonical XML; empty ones are omitted.
void startReference(XmlText& xml, const ReferenceData& reference) {
    const std::u16string uri = reference.uri.toString();
    if (reference.id.empty() && reference.type.empty())
        xml.start("Reference", {{"URI", uri}});
    else if (reference.id.empty())
        xml.start("Reference", {{"Type", reference.type}, {"URI", uri}});
    else if (reference.type.empty())
        xml.start("Reference", {{"Id", reference.id}, {"URI", uri}});
    else
        xml.start("Reference", {{"Id", reference.id}, {"Type", reference.type}, {"URI", uri}});
}

void writeReferences(XmlText& xml, const std::vector<ReferenceData>& references, const SignatureFormRules& form) {
    for (const ReferenceData& reference : references) {
        startReference(xml, reference);
        writeTransforms(xml, reference, form);
        writeAlgorithm(xml, "DigestMethod", reference.digestMethod);
        xml.element("DigestValue", reference.digestValue);
        xml.end();
    }
}

XmlText packageObject(const DigitalSignatureData& signature) {
    XmlText xml(EmptyElements::AsOneTag);
    xml.start("Object", {{"Id", PACKAGE_OBJECT_ID}, {"xmlns:pds", PACKAGE_SIGNATURE_NAMESPACE}});
    xml.start("Manifest", {});
    writeReferences(xml, signature.manifestReferences, rulesOf(signature.form));
    xml.end();
    xml.start("SignatureProperties", {});
    for (const auto& property : signature.signatureProperties) {
        xml.start("SignatureProperty", {{"Id", property.id}, {"Target", property.target}});
        xml.start("pds:SignatureTime", {});
        xml.element("pds:Format", property.format);
        xml.element("pds:Value", property.value);
        xml.end();
        xml.end();
    }
    xml.end();
    xml.end();
    return xml;
}

XmlText signedInfo(const DigitalSignatureData& signature, SignedInfoForm form) {
    XmlText xml(form == SignedInfoForm::Canonical ? EmptyElements::AsTwoTags : EmptyElements::AsOneTag);
    xml.start("SignedInfo", {{"xmlns", DSIG_NAMESPACE}});
    writeAlgorithm(xml, "CanonicalizationMethod", signature.canonicalizationMethod);
    writeAlgorithm(xml, "SignatureMethod", signature.signatureMethod);
    writeReferences(xml, signature.signedInfoReferences, rulesOf(signature.form));
    xml.end();
    return xml;
}

void writeKeyInfo(XmlText& xml, const DigitalSignatureData& signature) {
    if (signature.certificate.isEmpty() && !signature.publicKey)
        throw InvalidPartContent("Could not serialize key info element for this signature method.");
    xml.start("KeyInfo", {});
    if (signature.certificate.isEmpty()) {
        xml.start("KeyValue", {});
        xml.start("RSAKeyValue", {});
        xml.element("Modulus", toBase64(signature.publicKey->getModulus()));
        xml.element("Exponent", toBase64(signature.publicKey->getExponent()));
        xml.end();
        xml.end();
    } else {
        writeX509Data(xml, signature);
    }
    xml.end();
}

void writeObject(XmlText& xml, const DigitalSignatureData& signature, const DigitalSignatureData::ObjectData& object) {
    if (object.id == PACKAGE_OBJECT_ID)
        return xml.raw(packageObject(signature));
    xml.start("Object", {{"Id", object.id}, {"xmlns:pds", PACKAGE_SIGNATURE_NAMESPACE}});
    xml.text(object.xmlBytes);
    xml.end();
}

template <class Action>
auto translatingInvalidXml(Action action) -> decltype(action()) {
    try {
        return action();
    } catch (const InvalidXMLDocument& e) {
        throw InvalidPartContent(e.what());
    }
}

} // namespace

std::string SignatureDocumentWriter::makePackageObject(const DigitalSignatureData& signature) {
    return translatingInvalidXml([&] { return packageObject(signature).get(); });
}

std::string SignatureDocumentWriter::makeSignedInfo(const DigitalSignatureData& signature, SignedInfoForm form) {
    return translatingInvalidXml([&] { return signedInfo(signature, form).get(); });
}

std::string SignatureDocumentWriter::makeDocument(const DigitalSignatureData& signature) {
    return translatingInvalidXml([&] {
        XmlText xml(EmptyElements::AsOneTag);
        const std::u16string id = u"Signature" + signature.signatureId;
        xml.start("Signature", {{"Id", id}, {"xmlns", DSIG_NAMESPACE}});
        xml.raw(signedInfo(signature, SignedInfoForm::Canonical));
        xml.element("SignatureValue", signature.signatureValue);
        writeKeyInfo(xml, signature);
        for (const auto& object : signature.objects)
            writeObject(xml, signature, object);
        xml.end();
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + xml.get();
    });
}

} // namespace opc::model
