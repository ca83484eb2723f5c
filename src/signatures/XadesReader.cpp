// SPDX-License-Identifier: Apache-2.0
#include "signatures/XadesReader.hpp"

#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>

#include "certificates/IssuerSerial.hpp"
#include "signatures/Base64.hpp"
#include "signatures/CanonicalizationMethods.hpp"
#include "signatures/SignatureElements.hpp"
#include "xml/CanonicalXml.hpp"
#include "xml/ChildElements.hpp"
#include "xml/TreeWalk.hpp"

#include <xercesc/dom/DOMDocument.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace opc::model {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;
using Stamp = UnsignedProperties::TimeStamp;

constexpr char16_t XADES_NAMESPACE[] = u"http://uri.etsi.org/01903/v1.3.2#";
constexpr std::u16string_view ANY_XADES_NAMESPACE = u"http://uri.etsi.org/01903/v";

/// More are listed and not examined: each costs some signature verifications.
constexpr std::size_t MOST_TIME_STAMPS = 20;

/// In bytes; the value of the longest key has 1368.
constexpr std::size_t LONGEST_IMPRINT = 1 << 16;

struct ImprintMethod {
    std::u16string_view identifier;
    decltype(&canonicalize) write;
    CanonicalComments comments;
};
constexpr ImprintMethod IMPRINT_METHODS[] = {
    {C14N, canonicalize, CanonicalComments::Omit},
    {C14N_WITH_COMMENTS, canonicalize, CanonicalComments::Keep},
    {u"http://www.w3.org/2001/10/xml-exc-c14n#", canonicalizeExclusively, CanonicalComments::Omit},
    {u"http://www.w3.org/2001/10/xml-exc-c14n#WithComments", canonicalizeExclusively, CanonicalComments::Keep},
};

constexpr std::u16string_view ENCODINGS[] = {u"", u"http://uri.etsi.org/01903/v1.2.2#DER",
                                             u"http://uri.etsi.org/01903/v1.2.2#BER"};

/// The child of that name, which may be there once; null when there is none, or no parent.
const DOMElement* onlyChild(const DOMElement* parent, const char16_t* name,
                            const char16_t* namespaceURI = XADES_NAMESPACE) {
    if (parent == nullptr)
        return nullptr;
    const auto found = children(parent, namespaceURI, name);
    if (found.size() > 1)
        refuseSignature(nameOf(*parent) + " contains more than one " + narrow(name) + ".");
    return found.empty() ? nullptr : found.front();
}

/// All text of an element, comments left out, without white space around it; empty for null.
std::u16string textIn(const DOMElement* element) {
    std::u16string text;
    TreeWalk walk(element);
    while (const DOMNode* node = element == nullptr ? nullptr : walk.next())
        if (node->getNodeType() == DOMNode::TEXT_NODE || node->getNodeType() == DOMNode::CDATA_SECTION_NODE)
            text += node->getNodeValue();
    return trimmed(text);
}

std::u16string attributeIn(const DOMElement* element, const char16_t* name) {
    return element == nullptr ? std::u16string() : attributeOf(*element, name);
}

void addText(std::vector<std::u16string>& texts, const DOMElement* element) {
    if (std::u16string text = textIn(element); !text.empty())
        texts.push_back(std::move(text));
}

// ---- signed properties

using CertificateReference = SignedProperties::CertificateReference;

/// What the second version has in DER. It is not compared with anything, so that a malformed one counts as none.
void readIssuerSerialV2(const DOMElement* element, CertificateReference& reference) {
    const auto der = element == nullptr ? std::nullopt : fromBase64(textIn(element));
    if (!der)
        return;
    try {
        const certificates::IssuerSerial name = certificates::readIssuerSerial(*der);
        reference.issuer = toString(name.issuer, false);
        reference.serialNumber = toString(name.serialNumber);
    } catch (const Exception&) { // as said
    }
}

void readCertificates(const DOMElement* signingCertificate, SignedProperties& properties) {
    if (signingCertificate == nullptr)
        return;
    for (const DOMElement* certificate : children(signingCertificate, XADES_NAMESPACE, u"Cert")) {
        const DOMElement* const digest = onlyChild(certificate, u"CertDigest");
        const DOMElement* const name = onlyChild(certificate, u"IssuerSerial");
        CertificateReference reference{attributeIn(onlyChild(digest, u"DigestMethod", DSIG_NAMESPACE), u"Algorithm"),
                                       textIn(onlyChild(digest, u"DigestValue", DSIG_NAMESPACE)),
                                       textIn(onlyChild(name, u"X509IssuerName", DSIG_NAMESPACE)),
                                       textIn(onlyChild(name, u"X509SerialNumber", DSIG_NAMESPACE))};
        readIssuerSerialV2(onlyChild(certificate, u"IssuerSerialV2"), reference);
        properties.certificates.push_back(std::move(reference));
    }
}

void readPolicy(const DOMElement* policy, SignedProperties& properties) {
    if (onlyChild(policy, u"SignaturePolicyImplied") != nullptr)
        properties.policy = u"implied";
    else
        properties.policy =
            textIn(onlyChild(onlyChild(onlyChild(policy, u"SignaturePolicyId"), u"SigPolicyId"), u"Identifier"));
}

void readPlace(const DOMElement* place, SignedProperties& properties) {
    for (const char16_t* name : {u"City", u"StreetAddress", u"StateOrProvince", u"PostalCode", u"CountryName"})
        addText(properties.place, onlyChild(place, name));
}

void readRoles(const DOMElement* signerRole, SignedProperties& properties) {
    if (const DOMElement* const roles = onlyChild(signerRole, u"ClaimedRoles"))
        for (const DOMElement* role : children(roles, XADES_NAMESPACE, u"ClaimedRole"))
            addText(properties.roles, role);
}

void readCommitments(const DOMElement* dataObjectProperties, SignedProperties& properties) {
    if (dataObjectProperties == nullptr)
        return;
    for (const DOMElement* commitment : children(dataObjectProperties, XADES_NAMESPACE, u"CommitmentTypeIndication")) {
        const DOMElement* const type = onlyChild(commitment, u"CommitmentTypeId");
        addText(properties.commitments, onlyChild(type, u"Identifier"));
        addText(properties.commitmentTexts, onlyChild(type, u"Description"));
        if (const DOMElement* const qualifiers = onlyChild(commitment, u"CommitmentTypeQualifiers"))
            for (const DOMElement* qualifier : children(qualifiers, XADES_NAMESPACE, u"CommitmentTypeQualifier"))
                addText(properties.commitmentTexts, qualifier);
    }
}

SignedProperties readSignedProperties(const DOMElement* element) {
    SignedProperties properties;
    properties.id = attributeIn(element, u"Id");
    const DOMElement* const ofSignature = onlyChild(element, u"SignedSignatureProperties");
    properties.signingTimeText = textIn(onlyChild(ofSignature, u"SigningTime"));
    properties.signingTime = convertStringToTime(properties.signingTimeText);
    for (const char16_t* name : {u"SigningCertificate", u"SigningCertificateV2"})
        readCertificates(onlyChild(ofSignature, name), properties);
    readPolicy(onlyChild(ofSignature, u"SignaturePolicyIdentifier"), properties);
    for (const char16_t* name : {u"SignatureProductionPlace", u"SignatureProductionPlaceV2"})
        readPlace(onlyChild(ofSignature, name), properties);
    for (const char16_t* name : {u"SignerRole", u"SignerRoleV2"})
        readRoles(onlyChild(ofSignature, name), properties);
    readCommitments(onlyChild(element, u"SignedDataObjectProperties"), properties);
    return properties;
}

// ---- unsigned properties

std::string problemOf(const char* before, std::u16string_view name, const char* after) {
    return before + narrow(name) + after;
}

/// Puts the octets of the imprint or the problem into the stamp, which has its method.
void canonicalizeValue(const DOMElement* signatureValue, Stamp& stamp) {
    const auto* const method =
        std::find_if(std::begin(IMPRINT_METHODS), std::end(IMPRINT_METHODS),
                     [&](const auto& each) { return each.identifier == stamp.canonicalizationMethod; });
    if (method == std::end(IMPRINT_METHODS)) {
        stamp.problem = problemOf("The canonicalization method \"", stamp.canonicalizationMethod,
                                  "\" of the time stamp is not supported.");
        return;
    }
    try {
        stamp.imprint = method->write(*signatureValue, method->comments);
    } catch (const InvalidXMLDocument& e) {
        stamp.problem = e.what();
    }
    if (stamp.imprint.size() <= LONGEST_IMPRINT)
        return;
    stamp.imprint.clear();
    stamp.problem = "The SignatureValue that the time stamp is over is too long.";
}

/// A SignatureTimeStamp: the implied form is read, in which nothing says what the imprint is over (XAdES §7.1.4.3.1).
class TimeStamps {
public:
    TimeStamps(const DOMElement* signatureValue, UnsignedProperties& properties)
        : signatureValue_(signatureValue), properties_(properties) {}

    /// @return false when there are too many.
    bool read(const DOMElement& element) {
        Stamp common = imprintOf(element);
        std::vector<const DOMElement*> tokens;
        for (const DOMElement* child : children(&element))
            if (isElement(*child, XADES_NAMESPACE, u"EncapsulatedTimeStamp"))
                tokens.push_back(child);
            else if (!isElement(*child, DSIG_NAMESPACE, u"CanonicalizationMethod"))
                common.problem =
                    problemOf("The element ", child->getLocalName(), " of the time stamp is not supported.");
        if (properties_.timeStamps.size() + tokens.size() > MOST_TIME_STAMPS)
            return false;
        if (tokens.empty() && common.problem.empty())
            common.problem = "The time stamp contains no token.";
        if (!common.problem.empty())
            properties_.timeStamps.push_back(std::move(common));
        else
            for (const DOMElement* token : tokens)
                properties_.timeStamps.push_back(withToken(common, *token));
        return true;
    }

private:
    Stamp imprintOf(const DOMElement& element) {
        const auto methods = children(&element, DSIG_NAMESPACE, u"CanonicalizationMethod");
        Stamp stamp;
        stamp.canonicalizationMethod = methods.empty() ? std::u16string(C14N) : attributeOf(*methods[0], u"Algorithm");
        if (methods.size() > 1 || (!methods.empty() && methods[0]->getFirstElementChild() != nullptr))
            stamp.problem = "The time stamp has more than one canonicalization method, or one with parameters.";
        else if (signatureValue_ == nullptr)
            stamp.problem = "There is no SignatureValue that the time stamp is over.";
        if (!stamp.problem.empty())
            return stamp;
        const auto [known, isNew] = byMethod_.try_emplace(stamp.canonicalizationMethod, stamp);
        if (isNew)
            canonicalizeValue(signatureValue_, known->second);
        return known->second;
    }

    static Stamp withToken(Stamp stamp, const DOMElement& token) {
        const std::u16string encoding = attributeOf(token, u"Encoding");
        auto der = fromBase64(textIn(&token));
        if (std::find(std::begin(ENCODINGS), std::end(ENCODINGS), encoding) == std::end(ENCODINGS))
            stamp.problem = problemOf("The encoding \"", encoding, "\" of the time stamp is not supported.");
        else if (!der)
            stamp.problem = "The time stamp is not base64.";
        else
            stamp.token = std::move(*der);
        return stamp;
    }

    const DOMElement* signatureValue_;
    UnsignedProperties& properties_;
    std::map<std::u16string, Stamp> byMethod_; ///< without token
};

void readUnsignedProperties(const DOMElement& qualifyingProperties, UnsignedProperties& properties) {
    const DOMElement* const signature = qualifyingProperties.getOwnerDocument()->getDocumentElement();
    TimeStamps timeStamps(firstChild(signature, DSIG_NAMESPACE, u"SignatureValue"), properties);
    for (const DOMElement* all : children(&qualifyingProperties, XADES_NAMESPACE, u"UnsignedProperties"))
        for (const DOMElement* group : children(all))
            for (const DOMElement* property : children(group))
                if (!isElement(*property, XADES_NAMESPACE, u"SignatureTimeStamp") || !timeStamps.read(*property))
                    properties.others.emplace_back(property->getLocalName());
}

} // namespace

bool isQualifyingProperties(const DOMElement& element) {
    return element.getNamespaceURI() != nullptr &&
           std::u16string_view(element.getNamespaceURI()).starts_with(ANY_XADES_NAMESPACE) &&
           std::u16string_view(element.getLocalName()) == u"QualifyingProperties";
}

void readQualifyingProperties(const DOMElement& qualifyingProperties, DigitalSignatureData& data) {
    DigitalSignatureData::StandardData& standard = data.standard;
    if (standard.hasProperties)
        refuseSignature("there is more than one QualifyingProperties.");
    const std::u16string target = attributeOf(qualifyingProperties, u"Target");
    if (standard.documentId.empty() || target != u"#" + standard.documentId)
        refuseSignature("the Target of QualifyingProperties, \"" + narrow(target) + "\", is not the signature.");
    standard.hasProperties = true;
    if (!isElement(qualifyingProperties, XADES_NAMESPACE, u"QualifyingProperties")) {
        standard.unsignedProperties.others.emplace_back(u"QualifyingProperties");
        return;
    }
    standard.properties = readSignedProperties(onlyChild(&qualifyingProperties, u"SignedProperties"));
    readUnsignedProperties(qualifyingProperties, standard.unsignedProperties);
}

} // namespace opc::model
