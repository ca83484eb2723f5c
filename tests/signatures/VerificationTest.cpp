// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"

namespace opc::model::test {

namespace {

/// What a verification comes to.
template <class Action>
std::string verdict(Action action) {
    std::string text;
    const std::string outcome = outcomeOf([&] {
        const DigitalSignatureVerificationStatus status = action();
        text = !status.isSignatureValid() ? "invalid" : status.getCertificateValidationResults().getMessage();
        text = status.isValid() ? "valid" : text;
    });
    return text.empty() ? outcome : text;
}

/// Keys whose certificates are "leaf", by "root", and others for the same key, with which the letter is signed.
class Verification : public testing::Test {
protected:
    Verification() {
        ring.issue("middle", "root", "", "basicConstraints=critical,CA:TRUE");
        ring.issue("deep", "middle");
        ring.issue("server", "root", "leaf", "extendedKeyUsage=serverAuth");
    }

    DigitalSignature signWith(Opened& opened, const std::string& name, const std::string& chain = "") const {
        const auto [parts, selectors] = opened.manager.getAllPartsAndRels();
        return opened.manager.sign(parts, selectors, fixedKey(), ring.certificate(name), ring.chain(chain), noOptions(),
                                   params1024, TrustStore());
    }

    KeyRing ring;
};

// What certificates come to is the matter of their own tests: here, that all that is given is handed on, and the
// result.
TEST_F(Verification, AsksOfCertificatesWhatSigningAsks) {
    ring.issue("other", "other", "");
    ring.issue("old", "root", "leaf", KeyRing::SIGNER, "2021");
    ring.issue("oldserver", "root", "leaf", "extendedKeyUsage=serverAuth", "2021");
    const auto all = allOptions();
    auto anyTime = all, anyPurpose = all, anybody = all;
    anyTime.setCheckValidityTime(false);
    anyPurpose.setCheckPurpose(false);
    anybody.setCheckChain(false);
    const std::string noIssuer = "unable to get local issuer certificate", expired = "certificate has expired";
    const std::string chained = "The given certificate chain is incorrect. Error=";
    const std::string invalid = "The verification certificate is invalid.";
    const std::string purpose = "The input certificate's purpose is not intended for digital signatures.";
    const std::string theirPurpose =
        "InvalidSignature: The provided certificate's purpose is not intended for verifying digital signatures.";
    const struct {
        std::string name, chain, trusted;
        std::string signing; ///< how signing is refused; empty when it is not
        std::string verifying;
        CertificateValidationOptions options;
    } rows[] = {
        {"deep", "middle", "root", "", "valid", all},
        {"deep", "", "root", chained + noIssuer, noIssuer, all},
        {"deep", "middle", "other", chained + noIssuer, noIssuer, all},
        {"deep", "middle", "other", "", "valid", anybody},
        {"old", "", "root", invalid, expired, all},
        {"old", "", "root", "", "valid", anyTime},
        {"server", "", "other", purpose, theirPurpose, all},
        {"server", "", "root", "", "valid", anyPurpose},
        {"oldserver", "", "root", invalid, theirPurpose, all},
    };
    Bytes zip = letter().toZip();
    Opened opened(zip);
    const DigitalSignatureManager& manager = opened.manager;
    const DigitalSignature bare = sign(opened);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name + ", " + row.chain + ", " + row.trusted);
        const X509Certificate certificate = ring.certificate(row.name);
        const X509CertificateChain chain = ring.chain(row.chain);
        const TrustStore trust = ring.trust(row.trusted);
        const auto signing = [&] {
            opened.manager.sign({DOCUMENT}, {}, fixedKey(), certificate, chain, row.options, params1024, trust);
        };
        EXPECT_EQ(outcomeOf(signing),
                  row.signing.empty() ? "nothing is thrown" : "CouldNotGenerateSignature: " + row.signing);
        const DigitalSignature own = signWith(opened, row.name, row.chain);
        EXPECT_EQ(verdict([&] { return manager.verifySignature(own, row.options, trust); }), row.verifying);
        EXPECT_EQ(verdict([&] { return manager.verifySignature(bare, certificate, chain, row.options, trust); }),
                  row.verifying);
    }
    // The system is trusted when nobody else is.
    const DigitalSignature own = signWith(opened, "leaf");
    const auto now = [&] { return verdict([&] { return manager.verifySignature(own, all, TrustStore()); }); };
    const auto signNow = [&] { opened.manager.signPackage(ring.bundleOf("leaf", "leaf"), all, params1024, {}); };
    EXPECT_EQ(now(), noIssuer);
    ::setenv("SSL_CERT_FILE", (ring.folder / "root.pem").c_str(), 1);
    EXPECT_EQ(now(), "valid");
    EXPECT_EQ(outcomeOf(signNow), "nothing is thrown");
    ::unsetenv("SSL_CERT_FILE");
    EXPECT_EQ(now(), noIssuer);
}

TEST_F(Verification, StopsAtTheFirstThatIsNotValid) {
    Bytes zip = letter().toZip();
    Opened opened(zip);
    const DigitalSignatureManager& manager = opened.manager;
    const auto all = [&] { return verdict([&] { return manager.verifyAllSignatures(allOptions(), ring.trust()); }); };
    EXPECT_EQ(all(), "valid") << "nothing is signed";
    opened.manager.sign({DOCUMENT}, {}, fixedKey(), params1024);
    signWith(opened, "server");
    EXPECT_EQ(all().substr(0, 17), "InvalidSignature:") << "the second one is met";
    manager.getSignatures().at(0).getImpl()->manifestReferences.at(0).digestValue = u"AAAA";
    EXPECT_EQ(all(), "invalid");
}

const ReferenceReport& find(const SignatureReport& report, const std::u16string& target) {
    for (const ReferenceReport& each : report.references)
        if (each.target == target)
            return each;
    throw std::runtime_error("no reference to " + toASCIIString(target));
}

TEST_F(Verification, ReportsWhatWasClaimedAndWhatWasFound) {
    Items items{changed(letter().toZip(), [&](Opened& opened) { signWith(opened, "deep", "middle"); })};
    replaceIn(items["[Content_Types].xml"], "image/png", "image/jpeg");
    replaceIn(items[PART], "</Signature>", "<Object Id=\"more\"/></Signature>");
    Bytes zip = items.toZip();
    Opened opened(zip);
    const DigitalSignatureManager& manager = opened.manager;
    opened.package.deletePart(PartName(u"/metadata/coreProperties.xml"));
    opened.package.getPart(PartName(u"/word/styles.xml")).getOutputStream()->write(toBytes("<s/>").data(), 4);
    opened.package.getPart(DOCUMENT).deleteRelationship(u"rId3");
    const auto report = manager.examineAllSignatures(allOptions(), ring.trust()).at(0);
    EXPECT_EQ(report.keySource, KeySource::Certificate);
    EXPECT_EQ(report.keySize, 1024U);
    EXPECT_TRUE(report.signatureValueHolds && report.certificateChecked && !report.getStatus().isSignatureValid());
    EXPECT_EQ(report.certificate, ring.certificate("deep"));
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

TEST_F(Verification, OfAllToldOfEachApart) {
    Bytes zip = signedLetter();
    Opened opened(zip);
    sign(opened);
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
}

} // namespace

} // namespace opc::model::test
