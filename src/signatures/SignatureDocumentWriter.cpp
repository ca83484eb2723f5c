// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>

#include "signatures/SignatureDocumentWriter.hpp"
#include "signatures/SignatureForm.hpp"
#include "xml/TreeWalk.hpp"
#include "xml/XercesErrors.hpp"

#include <xercesc/dom/DOMText.hpp>

namespace opc::model {

namespace {

using xercesc::DOMElement;
using ReferenceData = DigitalSignatureData::ReferenceData;

// The documents are built of names and attributes alone, the declarations of namespaces too: so a serializer writes
// every one of them where it stands, and nowhere else.

DOMElement* append(DOMElement* parent, const char16_t* name) {
    return XercesHelper::appendElement(parent, XercesString(name));
}

DOMElement* appendText(DOMElement* parent, const char16_t* name, const std::u16string& text) {
    DOMElement* element = append(parent, name);
    XercesHelper::setElementText(element, text);
    return element;
}

void setAttribute(DOMElement* element, const char16_t* name, const std::u16string& value) {
    XercesHelper::setElementAttribute(element, XercesString(name), value);
}

void appendAlgorithm(DOMElement* parent, const char16_t* name, const std::u16string& identifier) {
    setAttribute(append(parent, name), u"Algorithm", identifier);
}

std::u16string toBase64(const std::vector<unsigned char>& bytes) {
    return toString(crypto::CryptoEngine::encodeBase64(bytes));
}

void appendRelationshipTransform(DOMElement* transforms, const ReferenceData& reference) {
    const SignatureForm& form = libraryForm();
    const std::u16string prefix = u"pds:";
    DOMElement* transform = append(transforms, u"Transform");
    setAttribute(transform, u"Algorithm", form.relationshipTransform);
    for (const std::u16string& id : reference.relationshipSourceIds)
        setAttribute(append(transform, u"pds:RelationshipReference"), u"SourceId", id);
    for (const std::u16string& type : reference.relationshipSourceTypes)
        setAttribute(append(transform, (prefix + form.groupReferenceElement).c_str()), u"SourceType", type);
}

void appendTransforms(DOMElement* element, const ReferenceData& reference) {
    const bool selects = !reference.relationshipSourceIds.empty() || !reference.relationshipSourceTypes.empty();
    if (reference.transforms.empty() && !selects)
        return;
    DOMElement* transforms = append(element, u"Transforms");
    for (const std::u16string& identifier : reference.transforms)
        appendAlgorithm(transforms, u"Transform", identifier);
    if (selects)
        appendRelationshipTransform(transforms, reference);
}

void appendReferences(DOMElement* parent, const std::vector<ReferenceData>& references) {
    for (const ReferenceData& reference : references) {
        DOMElement* element = append(parent, u"Reference");
        setAttribute(element, u"URI", reference.uri.toString());
        if (!reference.id.empty())
            setAttribute(element, u"Id", reference.id);
        if (!reference.type.empty())
            setAttribute(element, u"Type", reference.type);
        appendTransforms(element, reference);
        appendAlgorithm(element, u"DigestMethod", reference.digestMethod);
        appendText(element, u"DigestValue", reference.digestValue);
    }
}

DocumentHandle makePackageObjectDocument(const DigitalSignatureData& signature) {
    DocumentHandle document = XercesHelper::createDocument();
    DOMElement* object = XercesHelper::appendElement(document.get(), XercesString(u"Object"));
    setAttribute(object, u"Id", packageObjectId);
    setAttribute(object, u"xmlns:pds", packageSignatureNamespace);
    appendReferences(append(object, u"Manifest"), signature.manifestReferences);
    DOMElement* properties = append(object, u"SignatureProperties");
    for (const auto& data : signature.signatureProperties) {
        DOMElement* property = append(properties, u"SignatureProperty");
        setAttribute(property, u"Id", data.id);
        setAttribute(property, u"Target", data.target);
        DOMElement* time = append(property, u"pds:SignatureTime");
        appendText(time, u"pds:Format", data.format);
        appendText(time, u"pds:Value", data.value);
    }
    return document;
}

/// An empty text keeps a serializer from writing an empty element as one tag.
void openEmptyElements(xercesc::DOMDocument& document) {
    translatingXercesErrors([&document] {
        TreeWalk walk(&document);
        while (xercesc::DOMNode* node = walk.next())
            if (node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE && node->getFirstChild() == nullptr)
                node->appendChild(document.createTextNode(u""));
    });
}

DocumentHandle makeSignedInfoDocument(const DigitalSignatureData& signature, SignedInfoForm form) {
    DocumentHandle document = XercesHelper::createDocument();
    DOMElement* signedInfo = XercesHelper::appendElement(document.get(), XercesString(u"SignedInfo"));
    setAttribute(signedInfo, u"xmlns", dsigNamespace);
    appendAlgorithm(signedInfo, u"CanonicalizationMethod", signature.canonicalizationMethod);
    appendAlgorithm(signedInfo, u"SignatureMethod", signature.signatureMethod);
    appendReferences(signedInfo, signature.signedInfoReferences);
    if (form == SignedInfoForm::Canonical)
        openEmptyElements(*document);
    return document;
}

void import(DOMElement* parent, const xercesc::DOMDocument& document) {
    translatingXercesErrors(
        [&] { parent->appendChild(parent->getOwnerDocument()->importNode(document.getDocumentElement(), true)); });
}

void appendKeyInfo(DOMElement* root, const DigitalSignatureData& signature) {
    if (signature.certificate.isEmpty() && !signature.publicKey)
        throw InvalidPartContent("Could not serialize key info element for this signature method.");
    DOMElement* keyInfo = append(root, u"KeyInfo");
    if (signature.certificate.isEmpty()) {
        DOMElement* keyValue = append(append(keyInfo, u"KeyValue"), u"RSAKeyValue");
        appendText(keyValue, u"Modulus", toBase64(signature.publicKey->getModulus()));
        appendText(keyValue, u"Exponent", toBase64(signature.publicKey->getExponent()));
        return;
    }
    DOMElement* data = append(keyInfo, u"X509Data");
    appendText(data, u"X509Certificate", toBase64(signature.certificate.toDER()));
    for (const auto& certificate : signature.certificateChain.getCertificates())
        appendText(data, u"X509Certificate", toBase64(certificate.toDER()));
}

void appendObject(DOMElement* root, const DigitalSignatureData& signature,
                  const DigitalSignatureData::ObjectData& object) {
    if (object.id == packageObjectId)
        return import(root, *makePackageObjectDocument(signature));
    DOMElement* element = appendText(root, u"Object", object.xmlBytes);
    setAttribute(element, u"Id", object.id);
    setAttribute(element, u"xmlns:pds", packageSignatureNamespace);
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

SignatureDocumentWriter::SignatureDocumentWriter() : writer_(XercesHelper::createWriter()) {}

std::u16string SignatureDocumentWriter::makePackageObject(const DigitalSignatureData& signature) {
    return translatingInvalidXml([&] {
        std::u16string text;
        XercesHelper::writeDocumentToString(*writer_, makePackageObjectDocument(signature).get(), text,
                                            XmlDeclaration::Omit);
        return text;
    });
}

std::vector<unsigned char> SignatureDocumentWriter::makeSignedInfo(const DigitalSignatureData& signature,
                                                                   SignedInfoForm form) {
    return translatingInvalidXml([&] {
        std::vector<unsigned char> bytes;
        ByteArrayOutAdaptor out(bytes);
        XercesHelper::writeDocumentHelper(*writer_, makeSignedInfoDocument(signature, form).get(), out,
                                          XercesHelper::XercesEncoding::Default, XmlDeclaration::Omit);
        return bytes;
    });
}

std::vector<unsigned char> SignatureDocumentWriter::makeDocument(const DigitalSignatureData& signature) {
    return translatingInvalidXml([&] {
        const DocumentHandle document = XercesHelper::createDocument();
        DOMElement* root = XercesHelper::appendElement(document.get(), XercesString(u"Signature"));
        setAttribute(root, u"Id", u"Signature" + signature.signatureId);
        setAttribute(root, u"xmlns", dsigNamespace);
        import(root, *makeSignedInfoDocument(signature, SignedInfoForm::Canonical));
        appendText(root, u"SignatureValue", signature.signatureValue);
        appendKeyInfo(root, signature);
        for (const auto& object : signature.objects)
            appendObject(root, signature, object);
        std::vector<unsigned char> bytes;
        ByteArrayOutAdaptor out(bytes);
        XercesHelper::writeDocumentToStream(*writer_, document.get(), out);
        return bytes;
    });
}

} // namespace opc::model
