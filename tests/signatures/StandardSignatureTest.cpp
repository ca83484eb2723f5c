// SPDX-License-Identifier: Apache-2.0
#include "signatures/Base64.hpp"
#include "signatures/CertificateParts.hpp"
#include "signatures/Digests.hpp"
#include "signatures/Fixture.hpp"
#include "signatures/ReferenceExaminer.hpp"
#include "signatures/StandardSignatureReader.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>

#include <array>

namespace opc::model::test {

namespace {

using Reference = DigitalSignatureData::ReferenceData;

/// With what stands for long texts in tables.
std::string written(std::string text) {
    static const std::vector<std::pair<std::string, std::string>> shortForms{
        {"$dsig", "http://www.w3.org/2000/09/xmldsig"},
        {"$more", "http://www.w3.org/2001/04/xmldsig-more"},
        {"$enc", "http://www.w3.org/2001/04/xmlenc"},
        {"$c14n", "http://www.w3.org/TR/2001/REC-xml-c14n-20010315"},
        {"$opc", "http://schemas.openxmlformats.org/package/2006"},
        {"$rels", "application/vnd.openxmlformats-package.relationships+xml"},
        {"$modulus", std::string(opc::test::FIXED_MODULUS)},
        {"\\n", "\n"},
        {"\\t", "\t"},
    };
    for (const auto& [from, to] : shortForms)
        boost::replace_all(text, from, to);
    return text;
}

std::string baseDocument() {
    const Bytes bytes = opc::test::readFile(std::string(OPCRAFT_TESTS) + "/signatures/standard-document.txt");
    return written({bytes.begin(), bytes.end()});
}

DigitalSignatureData readStandard(const std::string& document, const Limits& limits = {}) {
    const Bytes bytes = toBytes(document);
    ByteArrayInAdaptor stream(bytes);
    return readStandardSignature(stream, limits);
}

Bytes digestOf(const DigitalSignatureData& data, const Reference& reference) {
    auto engine = crypto::CryptoEngine::createDigestEngine(
        toDigestAlgorithm(AlgorithmURIMap::getDigestMethod(reference.digestMethod)));
    engine.update(toBytes(data.standard.elements.at(reference.uri.getFragment())));
    return engine.finish();
}

/// As the owner of the fixed key; the texts of the digests and of the value are different ones.
void signStandard(std::string& document) {
    for (const Reference& each : readStandard(document).signedInfoReferences)
        replaceIn(document, ">" + detail::toUTF8String(each.digestValue) + "<",
                  ">" + crypto::CryptoEngine::encodeBase64(digestOf(readStandard(document), each)) + "<");
    auto signer = crypto::CryptoEngine::createRSASigner(crypto::RSAPrivateKey::fromDER(fixedKey()),
                                                        crypto::DigestAlgorithm::SHA256);
    signer.update(toBytes(readStandard(document).standard.signedInfo));
    replaceIn(document, ">value<", ">" + crypto::CryptoEngine::encodeBase64(signer.sign()) + "<");
}

/// "valid", or "changed" when a digest or the value differs; "evil" when a manifest counts that was not signed.
std::string verdictOf(const DigitalSignatureData& data, const crypto::PublicKey& key) {
    bool holds = isSignatureValueValid(data, key);
    for (const Reference& each : data.signedInfoReferences)
        holds = holds && fromBase64(each.digestValue) == digestOf(data, each);
    for (const Reference& each : data.manifestReferences)
        if (holds && each.uri.getPath() == u"/evil.xml")
            return "evil";
    return holds ? "valid" : "changed";
}

/// What comes of the base document when a row edits it.
std::string outcomeOfRow(const Fields& row) {
    std::string document = baseDocument();
    bool isSigned = false;
    try {
        for (std::size_t i = 1; i < row.size(); i += 2)
            if (row[i] == "then") {
                signStandard(document);
                isSigned = true;
                --i;
            } else {
                replaceIn(document, written(row[i]), written(row.at(i + 1)));
            }
        if (!isSigned)
            signStandard(document);
        const DigitalSignatureData data = readStandard(document);
        return verdictOf(data, data.standard.keyValue.value());
    } catch (const InvalidPartContent& e) {
        return boost::replace_first_copy(std::string(e.what()), "XML signature: ", "");
    }
}

TEST(StandardSignature, IsReadWhateverItsSpellingAndRefusedWhereItIsAmbiguous) {
    for (const Fields& row : opc::test::readTable("signatures/standard-documents.tsv")) {
        const std::string outcome = outcomeOfRow(row), expected = written(row[0]);
        if (expected[0] == '?') // how a message starts
            EXPECT_EQ(outcome.substr(0, expected.size() - 1), expected.substr(1)) << boost::join(row, " | ");
        else
            EXPECT_EQ(outcome, expected) << boost::join(row, " | ");
    }
}

/// By other programs: the folder of OPCRAFT_SAMPLES has a table of what their signatures are.
TEST(StandardSignature, OfOtherProgramsIsReadAndTheirDigestsMatch) {
    const char* folder = std::getenv("OPCRAFT_SAMPLES");
    if (folder == nullptr)
        GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    for (const Fields& row : opc::test::readRows(std::string(folder) + "/SIGNATURES.tsv")) {
        if (row[0] == "file") // the header
            continue;
        SCOPED_TRACE(row[0] + " " + row[1]);
        const auto items = Items(opc::test::readFile(std::string(folder) + "/" + row[0])).byName();
        const DigitalSignatureData data = readStandard(items.at(row[1]));
        EXPECT_EQ(verdictOf(data, data.certificate.getSubjectPublicKey()), "valid");
        EXPECT_EQ(std::to_string(data.manifestReferences.size()), row[6]);
        EXPECT_EQ(row[4].substr(row[4].find(' ') + 1), std::to_string(data.standard.algorithm.keySize));
        EXPECT_EQ(row[14], detail::toUTF8String(data.signatureProperties.at(0).format + u" " +
                                                data.signatureProperties.at(0).value));
        EXPECT_EQ(data.form, SignatureForm::Office);
        EXPECT_EQ(ReferenceExaminer::findUncoveredObjects(data), std::vector<std::u16string>());
        EXPECT_EQ(row[12], data.standard.arePropertiesSigned ? "yes" : "no");
    }
}

/// A text some times, with the number of each time in place of "@".
std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += boost::replace_all_copy(text, "@", std::to_string(i));
    return all;
}

TEST(StandardSignature, IsReadWithinBounds) {
    const std::string digest =
        written("<DigestMethod Algorithm=\"$enc#sha256\"/><DigestValue>AA==</DigestValue></Reference>");
    const std::string certificate = crypto::CryptoEngine::encodeBase64(KeyRing().certificate("leaf").toDER());
    const auto edited = [](const std::string& before, const std::string& more) {
        return boost::replace_first_copy(baseDocument(), before, more + before);
    };
    const std::string many =
        edited("</Manifest>", repeated("<Reference URI=\"/p@.xml?ContentType=a/b\">" + digest, 10'000));
    EXPECT_EQ(readStandard(many).manifestReferences.size(), 10'002U);
    const std::pair<std::string, std::string> rows[] = {
        {edited("</KeyInfo>",
                "<X509Data>" + repeated("<X509Certificate>" + certificate + "</X509Certificate>", 101) + "</X509Data>"),
         "more than 100 certificates."},
        {boost::replace_first_copy(edited("</SignedInfo>", repeated("<Reference URI=\"#p@\">" + digest, 98)),
                                   "<SignatureProperty Id=\"innermost\"",
                                   repeated("<SignatureProperty Id=\"p@\"/>", 98) +
                                       "<SignatureProperty Id=\"innermost\""),
         "SignedInfo has more than 100 References."},
        {edited("</SignedInfo>", std::string(1024 * 1024, ' ')), "SignedInfo is longer than 1048576 bytes."},
    };
    for (const auto& [document, message] : rows)
        EXPECT_EQ(outcomeOf([&] { readStandard(document); }), "InvalidPartContent: XML signature: " + message);
    Limits limits;
    const std::string nested = boost::replace_first_copy(
        boost::replace_first_copy(
            edited("</SignatureProperty></SignatureProperties></Object>\n<Object>", std::string(9000, ' ')), "#claims",
            "#inner"),
        "#package", "#innermost");
    limits.xmlSize = nested.size();
    EXPECT_EQ(outcomeOf([&] { readStandard(nested, limits); }),
              "InvalidPartContent: XML signature: what SignedInfo refers to is longer than " +
                  std::to_string(nested.size()) + " bytes.");
}

TEST(StandardSignature, FindsCertificatesInPartsOfTheirOwn) {
    KeyRing ring;
    ring.issue("other");
    Items items = letter();
    const std::string type =
        "http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/certificate";
    std::string relationships;
    for (const std::string target :
         {"root.cer", "leaf.cer", "gone.cer", "/word/styles.xml", "leaf.cer", "%20/.", "leaf.pem"})
        relationships += "<Relationship Id=\"r" + std::to_string(relationships.size()) + "\" Type=\"" + type +
                         "\" Target=\"" + target + "\"/>";
    for (const std::string name : {"root", "leaf"}) {
        const Bytes der = ring.certificate(name).toDER();
        items["s/" + name + ".cer"] = {der.begin(), der.end()};
    }
    items["s/leaf.pem"] = ring.text("leaf");
    items["s/sig.xml"] = "<a/>";
    items["s/_rels/sig.xml.rels"] =
        "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">" + relationships +
        "</Relationships>";
    replaceIn(items["[Content_Types].xml"], "<Override",
              "<Default Extension=\"cer\" ContentType=\"a/cer\"/>"
              "<Default Extension=\"pem\" ContentType=\"a/pem\"/><Override");
    Bytes zip = items.toZip();
    const Opened opened(zip, OpenMode::ReadOnly);
    const auto x509Data = [&ring](const std::string& name) {
        return name.empty() ? ""
                            : "<X509Data><X509Certificate>" +
                                  crypto::CryptoEngine::encodeBase64(ring.certificate(name).toDER()) +
                                  "</X509Certificate></X509Data>";
    };
    // What X509Data has, the signer, and the chain. The key is that of "leaf" and "other".
    const std::array<std::string, 3> rows[] = {
        {"", "leaf", "root"}, {"other", "other", "root leaf"}, {"root", "leaf", "root"}};
    for (const auto& [embedded, signer, chain] : rows) {
        std::string document = baseDocument();
        signStandard(document);
        replaceIn(document, "</KeyInfo>", x509Data(embedded) + "</KeyInfo>");
        DigitalSignatureData data = readStandard(document);
        addCertificateParts(opened.package, opened.package.getPart(u"/s/sig.xml"), data);
        EXPECT_EQ(data.standard.certificateParts, (std::vector<PartName>{u"/s/root.cer", u"/s/leaf.cer"}));
        EXPECT_EQ(data.certificate, ring.certificate(signer)) << embedded;
        EXPECT_EQ(data.certificateChain.getCertificates(), ring.chain(chain).getCertificates()) << embedded;
    }
}

} // namespace
} // namespace opc::model::test
