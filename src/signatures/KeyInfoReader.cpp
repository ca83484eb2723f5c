// SPDX-License-Identifier: Apache-2.0
#include "signatures/KeyInfoReader.hpp"

#include "signatures/SignatureElements.hpp"
#include "signatures/SignatureKeys.hpp"
#include "signatures/StandardSignatureReader.hpp"
#include "xml/ChildElements.hpp"

#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>

#include <algorithm>
#include <set>
#include <utility>

namespace opc::model {

namespace {

using certificates::X509Certificate;
using crypto::PublicKey;
using xercesc::DOMElement;
using Bytes = std::vector<unsigned char>;

constexpr char16_t DSIG_11_NAMESPACE[] = u"http://www.w3.org/2009/xmldsig11#";
constexpr std::u16string_view OBJECT_IDENTIFIER = u"urn:oid:";

Bytes bytesOf(const DOMElement& element) {
    return crypto::CryptoEngine::decodeBase64(onlyTextOf(element));
}

PublicKey readRSAKeyValue(const DOMElement& element) {
    ElementSequence sequence(element);
    const DOMElement& modulus = sequence.required(u"Modulus");
    const DOMElement& exponent = sequence.required(u"Exponent");
    sequence.end();
    return PublicKey::fromRSAKeyValue(bytesOf(modulus), bytesOf(exponent));
}

PublicKey readECKeyValue(const DOMElement& element) {
    ElementSequence sequence(element);
    const std::u16string curve = requiredAttributeOf(sequence.required(u"NamedCurve", DSIG_11_NAMESPACE), u"URI");
    const DOMElement& point = sequence.required(u"PublicKey", DSIG_11_NAMESPACE);
    sequence.end();
    if (!curve.starts_with(OBJECT_IDENTIFIER))
        refuseSignature("the curve is not named by an object identifier: " + narrow(curve));
    return PublicKey::fromECKeyValue(narrow(curve.substr(OBJECT_IDENTIFIER.size())), bytesOf(point));
}

/// What else may stand behind Y is about how the numbers were made.
PublicKey readDSAKeyValue(const DOMElement& element) {
    ElementSequence sequence(element);
    const DOMElement& p = sequence.required(u"P");
    const DOMElement& q = sequence.required(u"Q");
    const DOMElement& g = sequence.required(u"G");
    const DOMElement& y = sequence.required(u"Y");
    return PublicKey::fromDSAKeyValue(bytesOf(p), bytesOf(q), bytesOf(g), bytesOf(y));
}

/// Adds the name of the element to errors in what it says.
template <class Action>
auto within(const DOMElement& element, Action action) -> decltype(action()) {
    try {
        return action();
    } catch (const InvalidPartContent&) {
        throw;
    } catch (const Exception& e) {
        refuseSignature(nameOf(element) + ": " + e.what());
    }
}

class Reading {
public:
    explicit Reading(DigitalSignatureData& data) : data_(data) {}

    std::vector<X509Certificate> read(const DOMElement& keyInfo) {
        for (const DOMElement* element : children(&keyInfo))
            if (isElement(*element, DSIG_NAMESPACE, u"KeyValue"))
                readKeyValue(*element);
            else if (isElement(*element, DSIG_NAMESPACE, u"X509Data"))
                readX509Data(*element);
            else
                addHint(*element);
        return std::move(certificates_);
    }

private:
    void readKeyValue(const DOMElement& keyValue) {
        const std::vector<DOMElement*> values = children(&keyValue);
        if (values.size() != 1 || data_.standard.keyValue)
            refuseSignature("KeyInfo has not exactly one key in KeyValue.");
        const DOMElement& value = *values.front();
        within(value, [&] {
            if (isElement(value, DSIG_NAMESPACE, u"RSAKeyValue"))
                data_.standard.keyValue = readRSAKeyValue(value);
            else if (isElement(value, DSIG_11_NAMESPACE, u"ECKeyValue"))
                data_.standard.keyValue = readECKeyValue(value);
            else if (isElement(value, DSIG_NAMESPACE, u"DSAKeyValue"))
                data_.standard.keyValue = readDSAKeyValue(value);
            else
                addHint(value);
        });
    }

    void readX509Data(const DOMElement& x509Data) {
        for (const DOMElement* element : children(&x509Data))
            if (isElement(*element, DSIG_NAMESPACE, u"X509Certificate"))
                readCertificate(*element);
            else
                addHint(*element);
    }

    void readCertificate(const DOMElement& element) {
        if (certificates_.size() >= MAXIMUM_CERTIFICATES)
            refuseSignature("more than " + std::to_string(MAXIMUM_CERTIFICATES) + " certificates.");
        within(element, [&] { certificates_.push_back(X509Certificate::fromDER(bytesOf(element))); });
    }

    void addHint(const DOMElement& element) {
        if (hints_.insert(element.getLocalName()).second)
            data_.standard.keyHints.emplace_back(element.getLocalName());
    }

    DigitalSignatureData& data_;
    std::vector<X509Certificate> certificates_;
    std::set<std::u16string> hints_;
};

} // namespace

std::vector<X509Certificate> readKeyInfo(const DOMElement& keyInfo, DigitalSignatureData& data) {
    return Reading(data).read(keyInfo);
}

bool isSignedBy(const DigitalSignatureData& data, const X509Certificate& certificate) {
    try {
        return isSignatureValueValid(data, certificate.getSubjectPublicKey());
    } catch (const Exception&) {
        return false;
    }
}

void chooseStandardSigner(DigitalSignatureData& data, std::vector<X509Certificate> certificates) {
    if (certificates.empty())
        return;
    std::set<std::vector<unsigned char>> tried; // each once, since a key takes long
    const auto found = std::find_if(certificates.begin(), certificates.end(), [&](const X509Certificate& each) {
        return tried.insert(each.toDER()).second && isSignedBy(data, each);
    });
    const auto signer = found == certificates.end() ? certificates.begin() : found;
    data.certificate = *signer;
    certificates.erase(signer);
    data.certificateChain = certificates::X509CertificateChain(std::move(certificates));
    describeStandardKey(data);
}

void describeStandardKey(DigitalSignatureData& data) {
    SignatureAlgorithm& algorithm = data.standard.algorithm;
    if (!data.certificate.isEmpty())
        algorithm.keySize = data.certificate.getKeySize();
    else if (data.standard.keyValue)
        algorithm.keySize = data.standard.keyValue->getKeySize();
    if (algorithm.keyKind != crypto::KeyKind::RSA)
        return;
    try {
        data.signatureParams = {*algorithm.digestMethod, toSignatureMethod(algorithm.keySize)};
    } catch (const Exception&) { // another size
    }
}

} // namespace opc::model
