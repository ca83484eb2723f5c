// SPDX-License-Identifier: Apache-2.0
#include "signatures/StandardSignatureWriter.hpp"

#include <opc/core/Strings.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "crypto/KeyValue.hpp"
#include "signatures/Base64.hpp"
#include "signatures/SignatureFormRules.hpp"
#include "signatures/X509Data.hpp"
#include "signatures/XmlText.hpp"
#include "xml/XmlBounds.hpp"

namespace opc::model {

namespace {

using ReferenceData = DigitalSignatureData::ReferenceData;

constexpr char16_t XADES_NAMESPACE[] = u"http://uri.etsi.org/01903/v1.3.2#";
constexpr char16_t OFFICE_NAMESPACE[] = u"http://schemas.microsoft.com/office/2006/digsig";
constexpr char16_t EC_KEY_NAMESPACE[] = u"http://www.w3.org/2009/xmldsig11#";

/// How the namespaces are declared by which an element in the document is canonical.
const std::string DSIG_DECLARATION = " xmlns=\"" + toASCIIString(DSIG_NAMESPACE) + '"';
const std::string XADES_DECLARATION = " xmlns:xd=\"" + toASCIIString(XADES_NAMESPACE) + '"';

/// An element in its place: without the declarations that its ancestors have.
std::string inPlace(std::string canonical) {
    for (const std::string* declaration : {&XADES_DECLARATION, &DSIG_DECLARATION}) {
        const std::size_t tagEnd = canonical.find('>');
        const std::size_t found = canonical.find(*declaration);
        if (found < tagEnd)
            canonical.erase(found, declaration->size());
    }
    return canonical;
}

void writeAlgorithm(XmlText& xml, const char* name, const std::u16string& identifier) {
    xml.start(name, {{"Algorithm", identifier}});
    xml.end();
}

void writeSelectors(XmlText& xml, const ReferenceData& reference) {
    for (const std::u16string& id : reference.relationshipSourceIds) {
        xml.start("mdssi:RelationshipReference", {{"xmlns:mdssi", PACKAGE_SIGNATURE_NAMESPACE}, {"SourceId", id}});
        xml.end();
    }
    for (const std::u16string& type : reference.relationshipSourceTypes) {
        xml.start("mdssi:RelationshipsGroupReference",
                  {{"xmlns:mdssi", PACKAGE_SIGNATURE_NAMESPACE}, {"SourceType", type}});
        xml.end();
    }
}

void writeTransforms(XmlText& xml, const ReferenceData& reference) {
    if (reference.transforms.empty())
        return;
    xml.start("Transforms", {});
    for (const std::u16string& identifier : reference.transforms) {
        xml.start("Transform", {{"Algorithm", identifier}});
        if (rulesOf(SignatureForm::Standard).isRelationshipTransform(identifier))
            writeSelectors(xml, reference);
        xml.end();
    }
    xml.end();
}

void writeReferences(XmlText& xml, const std::vector<ReferenceData>& references) {
    for (const ReferenceData& reference : references) {
        const std::u16string uri = reference.uri.toString();
        if (reference.type.empty())
            xml.start("Reference", {{"URI", uri}});
        else
            xml.start("Reference", {{"Type", reference.type}, {"URI", uri}});
        writeTransforms(xml, reference);
        writeAlgorithm(xml, "DigestMethod", reference.digestMethod);
        xml.element("DigestValue", reference.digestValue);
        xml.end();
    }
}

void writeProperty(XmlText& xml, const DigitalSignatureData::SignaturePropertyData& property) {
    xml.start("SignatureProperty", {{"Id", property.id}, {"Target", property.target}});
    xml.start("mdssi:SignatureTime", {{"xmlns:mdssi", PACKAGE_SIGNATURE_NAMESPACE}});
    xml.element("mdssi:Format", property.format);
    xml.element("mdssi:Value", property.value);
    xml.end();
    xml.end();
}

void writeCertificateClaim(XmlText& xml, const SignedProperties::CertificateReference& claim) {
    xml.start("xd:Cert", {});
    xml.start("xd:CertDigest", {});
    writeAlgorithm(xml, "DigestMethod", claim.digestMethod);
    xml.element("DigestValue", claim.digestValue);
    xml.end();
    xml.start("xd:IssuerSerial", {});
    xml.element("X509IssuerName", claim.issuer);
    xml.element("X509SerialNumber", claim.serialNumber);
    xml.end();
    xml.end();
}

void writeBareKey(XmlText& xml, const crypto::PublicKey& key) {
    const crypto::KeyValue value = crypto::keyValueOf(key);
    xml.start("KeyValue", {});
    if (value.curve.empty()) {
        xml.start("RSAKeyValue", {});
        xml.element("Modulus", toBase64(value.modulus));
        xml.element("Exponent", toBase64(value.exponent));
    } else {
        const std::u16string curve = u"urn:oid:" + toString(value.curve);
        xml.start("dsig11:ECKeyValue", {{"xmlns:dsig11", EC_KEY_NAMESPACE}});
        xml.start("dsig11:NamedCurve", {{"URI", curve}});
        xml.end();
        xml.element("dsig11:PublicKey", toBase64(value.point));
    }
    xml.end();
    xml.end();
}

std::string makeKeyInfo(const DigitalSignatureData& signature) {
    XmlText xml(EmptyElements::AsTwoTags);
    xml.start("KeyInfo", {});
    if (signature.certificate.isEmpty())
        writeBareKey(xml, signature.standard.keyValue.value());
    else
        writeX509Data(xml, signature);
    xml.end();
    return xml.get();
}

std::string makeObjects(const DigitalSignatureData& signature) {
    std::string text;
    for (const ReferenceData& reference : signature.signedInfoReferences) {
        const std::u16string id = reference.uri.getFragment();
        const std::string& canonical = signature.standard.elements.at(id);
        if (id == SIGNED_PROPERTIES_ID)
            text += "<Object><xd:QualifyingProperties" + XADES_DECLARATION + " Target=\"#" +
                    toASCIIString(signature.standard.documentId) + "\">" + inPlace(canonical) +
                    "</xd:QualifyingProperties></Object>";
        else
            text += inPlace(canonical);
    }
    return text;
}

} // namespace

std::string makeStandardPackageObject(const DigitalSignatureData& signature) {
    XmlText xml(EmptyElements::AsTwoTags);
    xml.start("Object", {{"xmlns", DSIG_NAMESPACE}, {"Id", PACKAGE_OBJECT_ID}});
    xml.start("Manifest", {});
    writeReferences(xml, signature.manifestReferences);
    xml.end();
    xml.start("SignatureProperties", {});
    for (const auto& property : signature.signatureProperties)
        writeProperty(xml, property);
    xml.end();
    xml.end();
    return xml.get();
}

std::string makeOfficeObject(const std::u16string& digestMethod, const std::u16string& comments) {
    // What it says of the machine has no meaning for a program without a screen; these values are usual.
    const std::pair<const char*, std::u16string_view> details[] = {
        {"SetupID", u""},
        {"SignatureText", u""},
        {"SignatureImage", u""},
        {"SignatureComments", comments},
        {"WindowsVersion", u"6.1"},
        {"OfficeVersion", u"16.0"},
        {"ApplicationVersion", u"16.0"},
        {"Monitors", u"1"},
        {"HorizontalResolution", u"1280"},
        {"VerticalResolution", u"800"},
        {"ColorDepth", u"32"},
        {"SignatureProviderId", u"{00000000-0000-0000-0000-000000000000}"},
        {"SignatureProviderUrl", u""},
        {"SignatureProviderDetails", u"9"},
        {"ManifestHashAlgorithm", digestMethod},
        {"SignatureType", u"1"},
    };
    const std::u16string target = u"#" + std::u16string(STANDARD_SIGNATURE_ID);
    XmlText xml(EmptyElements::AsTwoTags);
    xml.start("Object", {{"xmlns", DSIG_NAMESPACE}, {"Id", OFFICE_OBJECT_ID}});
    xml.start("SignatureProperties", {});
    xml.start("SignatureProperty", {{"Id", u"idOfficeV1Details"}, {"Target", target}});
    xml.start("SignatureInfoV1", {{"xmlns", OFFICE_NAMESPACE}});
    for (const auto& [name, value] : details)
        xml.element(name, value);
    for (int open = 4; open > 0; --open)
        xml.end();
    return xml.get();
}

std::string makeSignedProperties(const DigitalSignatureData& signature) {
    const SignedProperties& properties = signature.standard.properties;
    XmlText xml(EmptyElements::AsTwoTags);
    xml.start("xd:SignedProperties",
              {{"xmlns", DSIG_NAMESPACE}, {"xmlns:xd", XADES_NAMESPACE}, {"Id", SIGNED_PROPERTIES_ID}});
    xml.start("xd:SignedSignatureProperties", {});
    xml.element("xd:SigningTime", properties.signingTimeText);
    if (!properties.certificates.empty()) {
        xml.start("xd:SigningCertificate", {});
        for (const auto& certificate : properties.certificates)
            writeCertificateClaim(xml, certificate);
        xml.end();
    }
    xml.start("xd:SignaturePolicyIdentifier", {});
    xml.element("xd:SignaturePolicyImplied", u"");
    xml.end();
    xml.end();
    xml.end();
    return xml.get();
}

std::string makeStandardSignedInfo(const DigitalSignatureData& signature) {
    XmlText xml(EmptyElements::AsTwoTags);
    xml.start("SignedInfo", {{"xmlns", DSIG_NAMESPACE}});
    writeAlgorithm(xml, "CanonicalizationMethod", signature.canonicalizationMethod);
    writeAlgorithm(xml, "SignatureMethod", signature.signatureMethod);
    writeReferences(xml, signature.signedInfoReferences);
    xml.end();
    return xml.get();
}

std::string makeStandardSignature(const DigitalSignatureData& signature) {
    const std::string id = toASCIIString(signature.standard.documentId);
    const std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Signature" + DSIG_DECLARATION + " Id=\"" +
                             id + "\">" + inPlace(signature.standard.signedInfo) + "<SignatureValue>" +
                             toASCIIString(signature.signatureValue) + "</SignatureValue>" + makeKeyInfo(signature) +
                             makeObjects(signature) + "</Signature>";
    throwIfTooLarge(text.size(), XercesHelper::MAX_XML_SIZE);
    return text;
}

} // namespace opc::model
