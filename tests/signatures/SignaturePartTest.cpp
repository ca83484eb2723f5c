// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"
#include "signatures/SignatureDocumentReader.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>

namespace opc::model::test {

namespace {

std::string fileText(const std::string& name) {
    const Bytes bytes = opc::test::readFile(std::string(OPCRAFT_TESTS) + "/signatures/" + name);
    return {bytes.begin(), bytes.end()};
}

TEST(SignaturePart, SaysTheSameWhenItIsLoadedAgain) {
    std::vector<DigitalSignature> made;
    const URI document = DOCUMENT.getURI();
    Bytes zip = changed(letter().toZip(), [&](Opened& opened) {
        made = {opened.manager.sign(
            {DOCUMENT, u"/word/styles.xml"},
            {{document, BY_ID, u"rId2"}, {document, BY_TYPE, u"urn:link"}, {URI(u"/"), BY_ID, u"rId1"}}, fixedKey(),
            {DigestMethod::SHA384, SignatureMethod::RSA1024})};
    });
    const Opened opened(zip, OpenMode::ReadOnly);
    const DigitalSignature loaded = opened.manager.getSignatures().at(0), copy = loaded;
    const DigitalSignatureData &read = *loaded.getImpl(), &written = *made[0].getImpl();
    std::ostringstream dump;
    EXPECT_EQ(&prettyPrint(dump, read), &dump);
    EXPECT_EQ(dump.str(), fileText("dump.txt"));
    EXPECT_EQ(loaded.getSignedTime(), boost::posix_time::time_from_string("2026-03-04 05:06:00")) << "in whole minutes";
    EXPECT_EQ(made[0].getSignedTime(), loaded.getSignedTime());
    EXPECT_EQ(made[0].getSignatureValue(), loaded.getSignatureValue());
    EXPECT_EQ(made[0].getSignedPartNames(), loaded.getSignedPartNames());
    EXPECT_EQ(made[0].getSignedRelationships(), loaded.getSignedRelationships());
    EXPECT_EQ(loaded.getSignedRelationships().size(), 3U) << "one is selected twice";
    EXPECT_EQ(loaded.getSignatureParams().getDigestMethod(), DigestMethod::SHA384);
    EXPECT_EQ(loaded.getSignatureParams().getSignatureMethod(), SignatureMethod::RSA1024);
    EXPECT_TRUE(loaded.getCertificate().isEmpty() && loaded.getCertificateChain().getCertificates().empty());
    EXPECT_EQ(read.publicKey, written.publicKey);
    EXPECT_EQ(read.partName, written.partName);
    EXPECT_EQ(read.relationshipSelectors, written.relationshipSelectors);
    EXPECT_TRUE(opened.manager.isSigned(DOCUMENT) && !opened.manager.isSigned(u"/_xmlsignatures/sig1.xml"));
    loaded.getImpl()->signatureId = u"7";
    EXPECT_EQ(copy.getName(), u"sig7") << "copies, and the manager's own, share the data";
    EXPECT_EQ(opened.manager.getSignatures().at(0).getName(), u"sig7");
}

TEST(SignaturePart, IsTracedWhileItIsRead) {
    Items items{signedInPart()};
    const Bytes part = toBytes(items[PART]);
    ByteArrayInAdaptor stream(part);
    std::ostringstream trace;
    SignatureDocumentReader().read(stream, rulesOf(SignatureForm::Library), trace);
    EXPECT_EQ(trace.str(), fileText("trace.txt"));
}

TEST(SignaturePart, TellsTheSignerAmongItsCertificates) {
    KeyRing ring;
    ring.issue("signer", "root", "");
    ring.issue("other", "root", "");
    ring.issueSized("ec");
    const auto element = [&](const std::string& name) {
        return "<X509Certificate>" + crypto::CryptoEngine::encodeBase64(ring.certificate(name).toDER()) +
               "</X509Certificate>";
    };
    std::map<std::string, std::string> written{{"/", "</X509Data><X509Data>"}, {"SKI", "<X509SKI>AAAA</X509SKI>"}};
    for (const std::string name : {"root", "signer", "other", "ec"})
        written[name] = element(name);
    const std::string key = "</X509Data>" + elementOf(Items(signedLetter())[PART], "KeyValue") + "<X509Data>";
    written["KEY"] = key + written["SKI"];
    for (int i = 0; i < 101; ++i)
        written["MANY"] += written["other"];
    Items items(changed(letter().toZip(), [&](Opened& opened) {
        opened.manager.sign({u"/word/styles.xml"}, {}, ring.keyOf("signer"), ring.certificate("signer"),
                            ring.chain("root"), noOptions(), params1024, ring.trust());
    }));
    const std::string own = elementOf(items[PART], "X509Data");
    EXPECT_EQ(own, "<X509Data>" + written["signer"] + written["root"] + "</X509Data>");
    const struct {
        std::string material, signer, chain, verdict;
    } rows[] = {
        {"signer root", "signer", "root", "valid"},
        {"root other signer", "signer", "root other", "valid"},
        {"root / SKI signer", "signer", "root", "valid"},
        {"ec signer", "signer", "ec", "valid"},
        {"signer signer", "signer", "signer", "valid"},
        {"other root", "other", "root", "invalid: the value"},
        {"signer root KEY", "", "", "invalid: the value"}, // the bare key decides, whatever comes first
        {"SKI", "", "",
         "refused \"Signature does not contain a default key or certificate. Please use a verify method which takes a "
         "key/cert.\""},
        {"ec", "-", "", "refused \"Input key size is not supported as a Signature Method.\""},
        {"MANY", "-", "", "refused \"XML signature: more than 100 certificates.\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.material);
        std::string data = "<X509Data>";
        std::istringstream names(row.material);
        for (std::string name; names >> name;)
            data += written.at(name);
        Items other = items;
        replaceIn(other[PART], own, data + "</X509Data>");
        Bytes zip = other.toZip();
        EXPECT_EQ(verdictOn(zip), row.verdict);
        if (row.signer == "-")
            continue; // it is not even loaded
        const Opened opened(zip, OpenMode::ReadOnly);
        const DigitalSignature found = opened.manager.getSignature(u"sig1");
        EXPECT_EQ(found.getCertificate(), row.signer.empty() ? X509Certificate() : ring.certificate(row.signer));
        EXPECT_EQ(found.getCertificateChain().getCertificates(), ring.chain(row.chain).getCertificates());
        const Bytes publicKey = ring.keyOf("signer", true);
        EXPECT_TRUE(opened.manager.verifySignature(found, publicKey).isValid()) << "whatever it carries";
        EXPECT_TRUE(opened.manager.verifySignature(found, ring.certificate("signer"), {}, noOptions(), {}).isValid());
    }
}

} // namespace

} // namespace opc::model::test
