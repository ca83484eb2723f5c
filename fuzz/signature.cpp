// SPDX-License-Identifier: Apache-2.0
// A signature part in a package that was signed. The input is the part.
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Fuzz.hpp"
#include "signatures/ObjectText.hpp"
#include "signatures/PlainSignatureReader.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureKeys.hpp"
#include "signatures/SigningClock.hpp"
#include "signatures/SigningData.hpp"
#include "signatures/StandardSignatureReader.hpp"
#include "support/Bytes.hpp"
#include "support/FixedKey.hpp"
#include "support/PackageContent.hpp"
#include "xml/CanonicalXml.hpp"
#include "xml/ChildElements.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <algorithm>
#include <sstream>

namespace {

using namespace opc::model;
using opc::crypto::CryptoEngine;
using opc::fuzz::Bytes;
using opc::interfaces::OpenMode;

constexpr char16_t signaturePart[] = u"/_xmlsignatures/sig1.xml";

struct FixedPart {
    std::u16string contentType;
    std::string content;
};

const std::map<std::u16string, FixedPart> parts = {
    {u"/word/document.xml", {u"application/xml", "<document/>"}},
    {u"/media/image.png", {u"image/png", "\x89PNG"}},
};

/// What of a part is signed: `SignedInfo` and the package object, each in its canonical form.
std::pair<std::string, std::string> signedTexts(const Bytes& part) {
    const ParserHandle parser = XercesHelper::createParser();
    opc::ByteArrayInAdaptor stream(part);
    const auto* root = XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"")->getDocumentElement();
    const char16_t dsig[] = u"http://www.w3.org/2000/09/xmldsig#";
    std::pair<std::string, std::string> texts;
    texts.first = canonicalize(*children(root, dsig, u"SignedInfo").at(0), CanonicalComments::Keep);
    for (const xercesc::DOMElement* object : children(root, dsig, u"Object"))
        if (object->getAttribute(u"Id") == std::u16string_view(u"idPackageObject"))
            texts.second += canonicalize(*object, CanonicalComments::Keep);
    return texts;
}

Bytes digest(const std::string& text, DigestMethod method) {
    // Both count the same digests in the same order.
    auto engine = CryptoEngine::createDigestEngine(static_cast<opc::crypto::DigestAlgorithm>(method));
    engine.update(opc::test::toBytes(text));
    return engine.finish();
}

/// As if the owner of the key had signed just this: so the references of the manifest are looked at, whatever they
/// claim.
void signAgain(DigitalSignatureData& data, const opc::crypto::RSAPrivateKey& key) {
    data.publicKey = key.getPublicKey();
    data.certificate = {};
    data.signatureParams = {DigestMethod::SHA256, SignatureMethod::RSA1024};
    data.signatureMethod = AlgorithmURIMap::getAlgorithmURI(DigestMethod::SHA256, SignatureMethod::RSA1024);
    for (auto& reference : data.signedInfoReferences)
        for (const auto& object : data.objects)
            if (reference.uri.getFragment() == object.id) {
                std::string text;
                forEachDigestedBlock(object.xmlBytes, [&text](std::string_view block) { text += block; });
                reference.digestMethod = AlgorithmURIMap::getAlgorithmURI(DigestMethod::SHA256);
                reference.digestValue = opc::toString(CryptoEngine::encodeBase64(digest(text, DigestMethod::SHA256)));
            }
    auto signer = CryptoEngine::createRSASigner(key, opc::crypto::DigestAlgorithm::SHA256);
    signer.update(opc::test::toBytes(getOctetsToSign(data)));
    data.signatureValue = opc::toString(CryptoEngine::encodeBase64(signer.sign()));
}

/// A valid signature claims of every part that it names the content type and the digest that the part has.
void checkClaims(const DigitalSignatureData& data) {
    std::size_t claimed = 0;
    for (const auto& reference : data.manifestReferences) {
        const auto part = parts.find(reference.uri.getPath());
        if (part == parts.end())
            continue; // relationships, or a name in other letters
        ++claimed;
        const ContentType contentType(reference.uri.getQuery().substr(std::size("ContentType=") - 1));
        OPCRAFT_REQUIRE(contentType.toString() == part->second.contentType);
        const DigestMethod method = AlgorithmURIMap::getDigestMethod(reference.digestMethod);
        OPCRAFT_REQUIRE(CryptoEngine::decodeBase64(reference.digestValue) == digest(part->second.content, method));
    }
    OPCRAFT_REQUIRE(claimed <= data.signedPartNames.size());
}

std::string dump(const DigitalSignatureData& data) {
    std::ostringstream text;
    prettyPrint(text, data);
    return text.str();
}

/// What is read without a parser is what the validating reader says.
void comparePlain(const Bytes& part, SignatureDocumentReader& reader) {
    const auto plain = readPlainSignature(part, rulesOf(SignatureForm::Library), opc::Limits{});
    if (!plain)
        return;
    std::ostringstream log; // so that it is validated
    opc::ByteArrayInAdaptor stream(part);
    const DigitalSignatureData data = reader.read(stream, rulesOf(SignatureForm::Library), log);
    OPCRAFT_REQUIRE(dump(*plain) == dump(data));
    OPCRAFT_REQUIRE(plain->publicKey == data.publicKey && plain->certificate == data.certificate &&
                    plain->certificateChain.getCertificates() == data.certificateChain.getCertificates());
}

/// A package that is signed by the fixed key, into which other signature parts are put.
class SignedPackage {
public:
    SignedPackage() {
        setSigningClock([] { return boost::posix_time::time_from_string("2026-03-04 05:06:00"); });
        package_.open(OpenMode::CreateOnly);
        for (const auto& [name, part] : parts) {
            auto& stream = *package_.createPart(name, part.contentType, StandardPartInfo()).getOutputStream();
            opc::fuzz::write(stream, part.content);
            stream.close();
        }
        package_.createInternalRelationship(u"urn:main", URI(u"word/document.xml"), u"rId1");
        auto document = package_.getPart(u"/word/document.xml");
        document.createInternalRelationship(u"urn:image", URI(u"../media/image.png"), u"rId1");
        document.createExternalRelationship(u"urn:link", u"http://h/a", u"rId2");
        package_.close();
        package_.open(OpenMode::ReadWrite);
        manager_.signPackage(privateKey_, {DigestMethod::SHA256, SignatureMethod::RSA1024});
        package_.close();
        package_.open(OpenMode::ReadOnly);
        signedTexts_ = signedTexts(opc::test::toBytes(opc::test::bytesOf(package_.getPart(signaturePart))));
        OPCRAFT_REQUIRE(isValid(manager_.getSignatures().front()));
        OPCRAFT_REQUIRE(!signedTexts_.first.empty() && !signedTexts_.second.empty());
        package_.close();
    }

    void take(const Bytes& part) {
        comparePlain(part, reader_);
        std::ostream nowhere(nullptr);
        opc::ByteArrayInAdaptor stream(part);
        try {
            reader_.read(stream, rulesOf(SignatureForm::Library), nowhere);
        } catch (const InvalidPartContent&) { // the reader says no in one way
            return;
        }
        put(part);
        try {
            package_.open(OpenMode::ReadOnly);
        } catch (const InvalidSignature&) {
            OPCRAFT_REQUIRE(!package_.isOpen());
            return;
        }
        OPCRAFT_REQUIRE(manager_.getSignatures().size() == 1);
        const DigitalSignature signature = manager_.getSignatures().front();
        prettyPrint(nowhere, *signature.getImpl());
        if (isValid(signature))
            OPCRAFT_REQUIRE(signedTexts(part) == signedTexts_);
        signAgain(*signature.getImpl(), key_);
        if (isValid(signature))
            checkClaims(*signature.getImpl());
        package_.close();
    }

private:
    void put(const Bytes& part) {
        physical_.open(OpenMode::ReadWrite);
        for (auto* each : physical_.getParts())
            if (each->getName() == signaturePart) {
                each->getOutputStream()->write(part.data(), part.size());
                each->getOutputStream()->close();
            }
        physical_.close(false);
    }

    /// By the key of the package. What cannot be verified at all is refused in one way.
    bool isValid(const DigitalSignature& signature) const {
        try {
            manager_.examineCoverage(manager_.examineAllSignatures({}, {}));
        } catch (const InvalidSignature&) { // by what it carries
        }
        try {
            const SignatureReport report = manager_.examineSignature(signature, key_.getPublicKey().toDER());
            OPCRAFT_REQUIRE(report.getStatus().isSignatureValid() == report.isSignatureValid());
            return report.isSignatureValid();
        } catch (const InvalidSignature&) {
            return false;
        }
    }

    const Bytes privateKey_ = CryptoEngine::decodeBase64(opc::test::FIXED_PRIVATE_KEY);
    const opc::crypto::RSAPrivateKey key_ = opc::crypto::RSAPrivateKey::fromDER(privateKey_);
    opc::storage::MemoryPackage physical_;
    Package package_{physical_};
    DigitalSignatureManager manager_{package_};
    SignatureDocumentReader reader_;
    std::pair<std::string, std::string> signedTexts_;
};

/// What the fixed key signed in a standard form, in one of the seeds. It signed nothing else in that form.
constexpr char16_t signedStatement[] =
    u"2026-03-04T05:06:07Z 2026-03-04T05:06:07Z /word/document.xml?ContentType=application/xml AA== "
    u"/_rels/.rels?ContentType=application/vnd.openxmlformats-package.relationships+xml AA== rId1 urn:main ";

bool isValid(const DigitalSignatureData& data) {
    static const auto key = opc::crypto::PublicKey::fromDER(
        opc::crypto::RSAPrivateKey::fromDER(CryptoEngine::decodeBase64(opc::test::FIXED_PRIVATE_KEY))
            .getPublicKey()
            .toDER());
    return isSignatureValueValid(data, key) &&
           std::all_of(data.signedInfoReferences.begin(), data.signedInfoReferences.end(), [&](const auto& each) {
               const std::string& octets = data.standard.elements.at(each.uri.getFragment());
               return CryptoEngine::decodeBase64(each.digestValue) ==
                      digest(octets, AlgorithmURIMap::getDigestMethod(each.digestMethod));
           });
}

void takeStandard(const Bytes& part) {
    opc::ByteArrayInAdaptor stream(part);
    DigitalSignatureData data;
    try {
        data = readStandardSignature(stream, opc::Limits{});
    } catch (const InvalidPartContent&) { // the reader says no in one way
        return;
    }
    if (!isValid(data))
        return;
    std::u16string statement =
        data.signatureProperties.at(0).value + u' ' + data.standard.properties.signingTimeText + u' ';
    for (const auto& each : data.manifestReferences) {
        statement += each.uri.toString() + u' ' + each.digestValue + u' ';
        for (const auto* texts : {&each.relationshipSourceIds, &each.relationshipSourceTypes})
            for (const std::u16string& text : *texts)
                statement += text + u' ';
    }
    OPCRAFT_REQUIRE(statement == signedStatement);
}

const auto target = opc::fuzz::targets().emplace("signature", [](const Bytes& part) {
    static const XercesGuard guard;
    static SignedPackage package;
    package.take(part);
    takeStandard(part);
});

} // namespace
