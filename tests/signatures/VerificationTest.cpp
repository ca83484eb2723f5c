// SPDX-License-Identifier: Apache-2.0
#include "signatures/KeyRing.hpp"
#include "support/FailingPackage.hpp"

namespace opc::model::test {

namespace {

/// root <- middle <- leaf, and others for the same key, with which the letter is signed.
class Verification : public testing::Test {
protected:
    Verification() {
        ring.issue("middle", "root", "", KeyRing::CA, "2050");
        ring.issue("leaf", "middle");
    }

    /// What a verification comes to.
    template <class Action>
    static std::string verdict(Action action) {
        std::string text;
        const std::string outcome = outcomeOf([&] {
            const DigitalSignatureVerificationStatus status = action();
            text = !status.isSignatureValid() ? "invalid" : status.getCertificateValidationResults().getMessage();
            text = status.isValid() ? "valid" : text;
        });
        return text.empty() ? outcome : text;
    }

    DigitalSignature signWith(Opened& opened, const std::string& name, const std::string& chain = "") const {
        const auto [parts, selectors] = opened.manager.getAllPartsAndRels();
        return opened.manager.sign(parts, selectors, fixedKey(), ring.certificate(name), ring.chain(chain), noOptions(),
                                   params1024, TrustStore());
    }

    KeyRing ring;
};

TEST_F(Verification, JudgesCertificatesAsSigningDoes) {
    ring.issue("other", "other", "", KeyRing::CA, "2050");
    ring.issue("self", "self");
    ring.issue("old", "root", "leaf", KeyRing::SIGNER, "2021");
    ring.issue("coming", "root", "leaf", KeyRing::SIGNER, "2050", "2040");
    ring.issue("mail", "root", "leaf", "keyUsage=keyEncipherment");
    ring.issue("server", "root", "leaf", "extendedKeyUsage=serverAuth");
    ring.issue("oldserver", "root", "leaf", "extendedKeyUsage=serverAuth", "2021");
    ring.issue("oldmiddle", "root", "", KeyRing::CA, "2021");
    ring.issue("underold", "oldmiddle");
    const auto all = allOptions();
    auto anyTime = all, anyPurpose = all, anybody = all;
    anyTime.setCheckValidityTime(false);
    anyPurpose.setCheckPurpose(false);
    anybody.setCheckChain(false);
    const std::string noIssuer = "unable to get local issuer certificate", expired = "certificate has expired";
    const std::string chained = "The given certificate chain is incorrect. Error=", self = "self-signed certificate";
    const std::string invalid = "The verification certificate is invalid.";
    const std::string purpose = "The input certificate's purpose is not intended for digital signatures.";
    const std::string theirPurpose =
        "InvalidSignature: The provided certificate's purpose is not intended for verifying digital signatures.";
    const struct {
        const char* why;
        std::string name, chain, trusted;
        std::string signing; ///< how signing is refused; empty when it is not
        std::string verifying;
        CertificateValidationOptions options;
    } rows[] = {
        {"the whole chain", "leaf", "middle", "root", "", "valid", all},
        {"no intermediate", "leaf", "", "root", chained + noIssuer, noIssuer, all},
        {"the wrong intermediate", "leaf", "other", "root", chained + noIssuer, noIssuer, all},
        {"an unknown issuer", "leaf", "middle", "other", chained + noIssuer, noIssuer, all},
        {"an unknown issuer, who is not asked for", "leaf", "", "other", "", "valid", anybody},
        {"self-signed", "self", "", "root", chained + self, self, all},
        {"self-signed and trusted", "self", "", "self", "", "valid", all},
        {"expired", "old", "", "root", invalid, expired, all},
        {"expired, at any time", "old", "", "root", "", "valid", anyTime},
        {"not yet valid", "coming", "", "root", invalid, "certificate is not yet valid", all},
        {"not for signatures", "mail", "", "root", purpose, theirPurpose, all},
        {"for servers, of an unknown issuer", "server", "", "other", purpose, theirPurpose, all},
        {"for servers, for any purpose", "server", "", "root", "", "valid", anyPurpose},
        {"for servers and expired", "oldserver", "", "root", invalid, theirPurpose, all},
        {"an expired intermediate", "underold", "oldmiddle", "root", chained + expired, expired, all},
    };
    Bytes zip = letter().toZip();
    Opened opened(zip);
    const DigitalSignatureManager& manager = opened.manager;
    const DigitalSignature bare = opened.manager.signPackage(fixedKey(), params1024);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        const X509Certificate certificate = ring.certificate(row.name);
        const X509CertificateChain chain = ring.chain(row.chain);
        const TrustStore trust = ring.trust(row.trusted);
        const auto sign = [&] {
            opened.manager.sign({DOCUMENT}, {}, fixedKey(), certificate, chain, row.options, params1024, trust);
        };
        EXPECT_EQ(outcomeOf(sign),
                  row.signing.empty() ? "nothing is thrown" : "CouldNotGenerateSignature: " + row.signing);
        const DigitalSignature own = signWith(opened, row.name, row.chain);
        EXPECT_EQ(verdict([&] { return manager.verifySignature(own, row.options, trust); }), row.verifying);
        EXPECT_EQ(verdict([&] { return manager.verifySignature(bare, certificate, chain, row.options, trust); }),
                  row.verifying);
    }
}

TEST_F(Verification, TrustsTheSystemWhenNobodyElseIsTrusted) {
    Bytes zip = letter().toZip();
    Opened opened(zip);
    const DigitalSignature signature = signWith(opened, "leaf", "middle");
    const auto now = [&] {
        return verdict([&] { return opened.manager.verifySignature(signature, allOptions(), TrustStore()); });
    };
    const std::string noIssuer = now();
    EXPECT_EQ(noIssuer, "unable to get local issuer certificate");
    ::setenv("SSL_CERT_FILE", (ring.folder / "root.pem").c_str(), 1);
    EXPECT_EQ(now(), "valid");
    EXPECT_NO_THROW(
        opened.manager.signPackage(ring.bundleOf("leaf", "leaf", "middle"), allOptions(), params1024, TrustStore()));
    ::unsetenv("SSL_CERT_FILE");
    EXPECT_EQ(now(), noIssuer);
}

TEST_F(Verification, RefusesMisuse) {
    for (const char* const kind : {"1536", "2048", "ec"})
        ring.issueSized(kind);
    Bytes zip = signedLetter();
    const DigitalSignature good = Opened(zip, OpenMode::ReadOnly).manager.getSignature(u"sig1");
    const DigitalSignature ofADigest(std::make_shared<DigitalSignatureData>(*good.getImpl()));
    ofADigest.getImpl()->signatureMethod = u"http://www.w3.org/2001/04/xmlenc#sha256";
    const DigitalSignature ofNobody(std::make_shared<DigitalSignatureData>(*ofADigest.getImpl()));
    ofNobody.getImpl()->publicKey.reset();
    const auto byKey = [](const DigitalSignature& signature, const Bytes& key) -> Call {
        return [=](Opened& o) { o.manager.verifySignature(signature, key); };
    };
    const auto by = [](const DigitalSignature& signature, const X509Certificate& who) -> Call {
        return [=](Opened& o) { o.manager.verifySignature(signature, who, {}, noOptions(), TrustStore()); };
    };
    const auto byItself = [](const DigitalSignature& signature) -> Call {
        return [=](Opened& o) { o.manager.verifySignature(signature, noOptions(), TrustStore()); };
    };
    const Call counter[] = {
        [](Opened& o) { o.manager.verifyCountersignature(Bytes()); },
        [](Opened& o) { o.manager.verifyCountersignature({}, {}, noOptions(), TrustStore()); },
        [](Opened& o) { o.manager.verifyCountersignature(noOptions(), TrustStore()); },
    };
    const std::string invalid = "InvalidSignature: ", method = invalid + "Signature Method is incorrect.";
    const Bytes big = ring.keyOf("2048", true);
    const std::vector<Refused> rows = {
        {"PackageNotOpen: Package is not open",
         {closed(counter[0]), closed(counter[1]), closed(counter[2]), closed(byKey(ofNobody, {})),
          closed(by(ofNobody, {})), closed(byItself(ofNobody)),
          closed([](Opened& o) { o.manager.verifyAllSignatures(noOptions(), TrustStore()); }),
          closed([](Opened& o) { o.manager.examineAllSignatures(noOptions(), TrustStore()); }),
          closed([](Opened& o) { o.manager.examineCoverage({}); })}},
        {"SignatureNotFound: No countersignatures found in package.", {counter[0], counter[1], counter[2]}},
        {invalid + "Verification by an empty public key  was attempted.", {byKey(ofADigest, {})}},
        {"Exception: Verification by an empty certificate was attempted.", {by(ofADigest, {})}},
        {invalid + "Signature does not contain a default key or certificate. Please use a verify method which takes a "
                   "key/cert.",
         {byItself(ofNobody)}},
        {method, {byItself(ofADigest), byKey(ofADigest, big), by(ofADigest, ring.certificate("2048"))}},
        {invalid + "The bytes are not an RSA public key in DER.", {byKey(good, Bytes(140))}},
        {invalid + "The key of the certificate is not an RSA key.", {by(good, ring.certificate("ec"))}},
        {"NotImplemented: Only 1024, 2048 or 4096 bits RSA signatures are supported.",
         {byKey(good, ring.keyOf("1536", true)), by(good, ring.certificate("1536"))}},
        {invalid + "Verification material doesn't match the signature parameters in the signature.",
         {byKey(good, big), by(good, ring.certificate("2048"))}},
    };
    expectRefused(zip, rows);
}

TEST_F(Verification, OfWhatCannotBeReadIsNoVerdict) {
    Bytes zip = signedLetter();
    storage::ZipPackage stored(zip);
    opc::test::OperationFaults faults;
    opc::test::FailingPackage physical(stored, faults);
    Package package(physical);
    const DigitalSignatureManager manager(package);
    package.open(OpenMode::ReadOnly);
    for (unsigned long k = 1; k < 100; ++k) {
        faults.arm(k, boost::system::errc::io_error);
        const std::string found = verdict([&] { return manager.verifyAllSignatures(noOptions(), TrustStore()); });
        const bool isLast = faults.fired().empty();
        EXPECT_EQ(found, isLast ? "valid" : "InvalidSignature: Unable to compute digest. refused " + faults.fired());
        if (isLast)
            return;
    }
    ADD_FAILURE() << "it is never valid";
}

TEST_F(Verification, StopsAtTheFirstThatIsNotValid) {
    ring.issue("server", "root", "leaf", "extendedKeyUsage=serverAuth");
    ring.issue("stranger", "root", "");
    Bytes zip = letter().toZip();
    Opened opened(zip);
    const DigitalSignatureManager& manager = opened.manager;
    const TrustStore trust = ring.trust("root");
    const auto all = [&] { return verdict([&] { return manager.verifyAllSignatures(allOptions(), trust); }); };
    EXPECT_EQ(all(), "valid") << "nothing is signed";
    opened.manager.sign({DOCUMENT}, {}, fixedKey(), params1024);
    signWith(opened, "server");
    EXPECT_EQ(all().substr(0, 17), "InvalidSignature:") << "the second one is met";
    manager.getSignatures().at(0).getImpl()->manifestReferences.at(0).digestValue = u"AAAA";
    EXPECT_EQ(all(), "invalid");

    opened.manager.countersignAllSignatures(fixedKey(), params1024);
    const X509Certificate leaf = ring.certificate("leaf");
    EXPECT_EQ(verdict([&] { return manager.verifyCountersignature(allOptions(), trust); }), "valid");
    EXPECT_EQ(verdict([&] { return manager.verifyCountersignature(leaf, ring.chain("middle"), allOptions(), trust); }),
              "valid");
    EXPECT_EQ(verdict([&] { return manager.verifyCountersignature(ring.keyOf("leaf", true)); }), "valid");
    EXPECT_EQ(verdict([&] { return manager.verifyCountersignature(ring.keyOf("stranger", true)); }), "invalid");
}

const ReferenceReport& find(const SignatureReport& report, const std::u16string& target) {
    for (const ReferenceReport& each : report.references)
        if (each.target == target)
            return each;
    throw std::runtime_error("no reference to " + toASCIIString(target));
}

TEST_F(Verification, ReportsWhatWasClaimedAndWhatWasFound) {
    Items items{changed(letter().toZip(), [&](Opened& opened) { signWith(opened, "leaf", "middle"); })};
    items.replace("[Content_Types].xml", "image/png", "image/jpeg");
    items.replace(PART, "</Signature>", "<Object Id=\"more\"/></Signature>");
    Bytes zip = items.toZip();
    Opened opened(zip);
    const DigitalSignatureManager& manager = opened.manager;
    opened.package.deletePart(PartName(u"/metadata/coreProperties.xml"));
    opened.package.getPart(PartName(u"/word/styles.xml")).getOutputStream()->write(toBytes("<s/>").data(), 4);
    opened.package.getPart(DOCUMENT).deleteRelationship(u"rId3");
    const auto report = manager.examineAllSignatures(allOptions(), ring.trust("root")).at(0);
    EXPECT_EQ(report.keySource, KeySource::Certificate);
    EXPECT_EQ(report.keySize, 1024U);
    EXPECT_TRUE(report.signatureValueHolds && report.certificateChecked && !report.getStatus().isSignatureValid());
    EXPECT_EQ(report.certificate, ring.certificate("leaf"));
    EXPECT_EQ(report.certificateChain.getCertificates().size(), 1U);
    EXPECT_EQ(report.certificateResults.getCertificateChainStatus(), 0);
    EXPECT_EQ(*report.certificateResults.getTrustAnchor(), ring.certificate("root"));
    EXPECT_EQ(report.uncoveredObjects, std::vector<std::u16string>{u"more"});
    EXPECT_EQ(report.findFirstProblem(), &find(report, u"/media/image.png"));
    EXPECT_TRUE(find(report, u"idPackageObject").holds());
    const struct {
        std::u16string target;
        ReferenceVerdict verdict;
        std::string problem;
        std::u16string claimed = u"application/xml", found = u"application/xml";
    } rows[] = {
        {u"/word/document.xml", ReferenceVerdict::Holds, ""},
        {u"/word/styles.xml", ReferenceVerdict::DigestDiffers, "this is not what was signed: the digests differ"},
        {u"/metadata/coreProperties.xml", ReferenceVerdict::Missing, "the part is not in the package any longer",
         u"application/vnd.openxmlformats-package.core-properties+xml", u""},
        {u"/media/image.png", ReferenceVerdict::ContentTypeDiffers,
         "the content type is image/jpeg and was image/png when it was signed", u"image/png", u"image/jpeg"},
    };
    for (const auto& row : rows) {
        const ReferenceReport& found = find(report, row.target);
        EXPECT_EQ(found.kind, ReferenceKind::Part);
        EXPECT_EQ(found.verdict, row.verdict) << row.problem;
        EXPECT_EQ(found.problem, row.problem);
        EXPECT_EQ(found.claimedContentType, row.claimed);
        EXPECT_EQ(found.foundContentType, row.found);
        EXPECT_EQ(found.digestMethod, u"http://www.w3.org/2001/04/xmlenc#sha256");
        EXPECT_EQ(found.claimedDigest == found.foundDigest, found.holds());
    }
    const ReferenceReport& relationships = report.references.back();
    EXPECT_EQ(relationships.kind, ReferenceKind::Relationships);
    EXPECT_EQ(relationships.target, u"/word/document.xml");
    EXPECT_EQ(relationships.verdict, ReferenceVerdict::DigestDiffers);
    EXPECT_EQ(relationships.selectors.size(), 4U);
    EXPECT_EQ(relationships.relationships.size(), 3U);

    ring.issue("stranger", "root", "");
    const auto byOther = manager.examineSignature(report.signature, ring.keyOf("stranger", true));
    EXPECT_EQ(byOther.keySource, KeySource::Caller);
    EXPECT_FALSE(byOther.signatureValueHolds || byOther.isSignatureValid());
    EXPECT_TRUE(byOther.references.empty()) << "nothing was looked at";
    opened.package.deletePart(DOCUMENT);
    EXPECT_EQ(manager.examineSignature(report.signature, ring.keyOf("leaf", true)).references.back().problem,
              "the part with these relationships is not in the package any longer");
}

// What nobody signs who knows the rules, but a signature may say.
TEST_F(Verification, OfWhatIsNotClearFails) {
    using Data = DigitalSignatureData::ReferenceData;
    static const std::u16string document = u"/word/document.xml", rels = u"/word/_rels/document.xml.rels";
    static const std::u16string enveloped = u"http://www.w3.org/2000/09/xmldsig#enveloped-signature";
    const std::string transforms = "the reference has transforms, which do not apply to it";
    const struct {
        std::string problem;
        std::u16string of;
        std::function<void(Data&)> change;
    } rows[] = {
        {"the digest method is not known: urn:x", document, [](Data& data) { data.digestMethod = u"urn:x"; }},
        {"the digest in the signature is no base64", document, [](Data& data) { data.digestValue = u"="; }},
        {transforms, document, [](Data& data) { data.transforms = {enveloped}; }},
        {transforms, document, [](Data& data) { data.relationshipSourceIds = {u"rId1"}; }},
        {"the reference names no content type", document, [](Data& data) { data.uri = URI(document); }},
        {"the content type is application/xml and was application/XML when it was signed, which differs in the case of "
         "letters",
         document, [](Data& data) { data.uri = URI(document + u"?ContentType=application/%58ML"); }},
        {"the reference has a fragment", document, [](Data& data) { data.uri = URI(data.uri.toString() + u"#x"); }},
        {"the reference does not say which relationships it covers", rels,
         [](Data& data) { data.relationshipSourceIds.clear(); }},
        {"a transform is not known: " + toASCIIString(enveloped), rels,
         [](Data& data) { data.transforms.push_back(enveloped); }},
        {"the content type is application/vnd.openxmlformats-package.relationships+xml and was a/b when it was signed",
         rels, [](Data& data) { data.uri = URI(rels + u"?ContentType=a/b"); }},
    };
    for (const auto& row : rows) {
        Bytes zip = signedLetter();
        const Opened opened(zip, OpenMode::ReadOnly);
        const DigitalSignature signature = opened.manager.getSignature(u"sig1");
        for (Data& each : signature.getImpl()->manifestReferences)
            if (each.uri.getPath() == row.of)
                row.change(each);
        const auto report = opened.manager.examineSignature(signature, noOptions(), TrustStore());
        EXPECT_EQ(report.keySource, KeySource::KeyValue);
        ASSERT_NE(report.findFirstProblem(), nullptr) << row.problem;
        EXPECT_EQ(report.findFirstProblem()->problem, row.problem);
        EXPECT_FALSE(report.getStatus().isValid());
    }
}

TEST_F(Verification, OfAllToldOfEachApart) {
    Bytes zip = signedLetter();
    Opened opened(zip);
    opened.manager.signPackage(fixedKey(), params1024);
    opened.manager.getSignature(u"sig1").getImpl()->signatureMethod = u"urn:other";
    const Bytes key = publicKeyOf(fixedKey());
    for (const auto& reports :
         {opened.manager.examineAllSignatures(noOptions(), TrustStore()), opened.manager.examineAllSignatures(key)}) {
        ASSERT_EQ(reports.size(), 2U);
        EXPECT_EQ(reports[0].problem, "Signature Method is incorrect.");
        EXPECT_FALSE(reports[0].getStatus().isValid());
        EXPECT_EQ(reports[1].problem, "");
        EXPECT_TRUE(reports[1].isSignatureValid());
    }
    EXPECT_THROW(opened.manager.examineAllSignatures(Bytes()), InvalidSignature);
    EXPECT_THROW(opened.manager.verifyAllSignatures(noOptions(), TrustStore()), InvalidSignature);
}

} // namespace

} // namespace opc::model::test
