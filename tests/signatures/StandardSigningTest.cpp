// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"

#include <boost/regex.hpp>

namespace opc::model::test {

namespace {

constexpr SignatureForm LIBRARY = SignatureForm::Library, STANDARD = SignatureForm::Standard,
                        OFFICE = SignatureForm::Office;
const std::string SIGN = "CouldNotGenerateSignature: ";

crypto::KeySigner fixedSigner() {
    return crypto::KeySigner::fromPEMOrDER(fixedKey());
}

DigitalSignature signAll(Opened& opened, crypto::Signer& signer, const SigningOptions& options = {}) {
    return opened.manager.sign(opened.manager.getAllPartsAndRels(), signer, options);
}

/// The package is signed in a form by a key, without a certificate.
Bytes signedIn(SignatureForm form, const Bytes& zip = letter().toZip()) {
    return changed(
        zip,
        [](Opened& opened) {
            auto signer = fixedSigner();
            signAll(opened, signer);
        },
        form);
}

/// How many signatures are valid, of how many.
std::string countValid(Bytes zip) {
    Opened opened(zip, OpenMode::ReadWrite, STANDARD);
    const auto reports = opened.manager.examineAllSignatures(VerificationOptions());
    const auto valid = std::count_if(reports.begin(), reports.end(),
                                     [](const auto& each) { return each.problem.empty() && each.isSignatureValid(); });
    return std::to_string(valid) + " of " + std::to_string(reports.size());
}

TEST(StandardSigning, WritesTheDocumentThatOthersRead) {
    SigningOptions options;
    options.comments = u"<&> approved";
    Items items(changed(
        letter().toZip(),
        [&](Opened& opened) {
            auto signer = fixedSigner();
            const DigitalSignature made = signAll(opened, signer, options);
            EXPECT_EQ(made.getSignedTime(), boost::posix_time::time_from_string("2026-03-04 05:06:59"));
            EXPECT_EQ(made.getForm(), OFFICE);
        },
        OFFICE));
    const Bytes expected = opc::test::readFile(std::string(OPCRAFT_TESTS) + "/signatures/office.txt");
    EXPECT_EQ(boost::replace_all_copy(items[PART], "><", ">\n<") + "\n", std::string(expected.begin(), expected.end()));
}

TEST(StandardSigning, SignsWhatTheFormCovers) {
    Items items = letter();
    replaceIn(items["_rels/.rels"], "metadata/coreProperties.xml", "docProps/core.xml");
    replaceIn(items["[Content_Types].xml"], "/metadata/coreProperties.xml", "/docProps/core.xml");
    items["docProps/core.xml"] = std::string(items["metadata/coreProperties.xml"]);
    items.erase("metadata/coreProperties.xml");
    const std::pair<SignatureForm, std::pair<std::size_t, std::size_t>> rows[] = {
        {STANDARD, {4, 6}}, {OFFICE, {3, 5}}, {LIBRARY, {4, 6}}};
    for (const auto& [form, counts] : rows)
        for (int times = 0; times < 2; ++times) { // the signatures themselves are not signed
            items = Items(signedIn(form, items.toZip()));
            Bytes zip = items.toZip();
            Opened opened(zip, OpenMode::ReadWrite, form);
            const auto signature = opened.manager.getSignatures().back();
            EXPECT_EQ(signature.getSignedPartNames().size(), counts.first) << static_cast<int>(form);
            EXPECT_EQ(signature.getSignedRelationships().size(), counts.second) << static_cast<int>(form);
            if (times == 1)
                opened.manager.removeAllSignatures();
            opened.package.close();
            items = Items(zip);
        }
    EXPECT_EQ(items.byName().size(), letter().byName().size()) << "nothing is left of signatures that are removed";
}

TEST(StandardSigning, KeywordsAreSigned) {
    Items items(signedIn(STANDARD));
    replaceIn(items["metadata/coreProperties.xml"], "one", "two");
    EXPECT_EQ(countValid(items.toZip()), "0 of 1");
}

/// A signer that does what a function does.
class OddSigner : public crypto::Signer {
public:
    std::function<crypto::PublicKey()> publicKey = [] { return fixedSigner().getPublicKey(); };
    std::function<Bytes(const Bytes&)> answer;
    bool isSupported = true;

    crypto::PublicKey getPublicKey() const override { return publicKey(); }
    bool supports(crypto::DigestAlgorithm) const override { return isSupported; }
    Bytes sign(crypto::DigestAlgorithm, const Bytes& octets) override { return answer(octets); }
};

TEST(StandardSigning, ASignerThatFailsOrLiesChangesNothing) {
    KeyRing ring;
    ring.issueSized("2048");
    ring.issueSized("ec");
    const auto answerOf = [&ring](const std::string& key) {
        return [signer = crypto::KeySigner::fromPEMOrDER(ring.keyOf(key))](const Bytes& octets) mutable {
            return signer.sign(crypto::DigestAlgorithm::SHA256, octets);
        };
    };
    OddSigner fails, says, lies, answersForAnother, cannot, has, isOther, isOfCurve;
    fails.answer = [](const Bytes&) -> Bytes { throw std::domain_error("the token is gone"); };
    says.publicKey = []() -> crypto::PublicKey { throw InvalidURI("no agent"); };
    lies.answer = [](const Bytes& octets) { return octets; };
    answersForAnother.answer = answerOf("2048");
    cannot.isSupported = false;
    has.answer = answerOf("leaf");
    isOther.publicKey = [&] { return crypto::KeySigner::fromPEMOrDER(ring.keyOf("2048")).getPublicKey(); };
    isOfCurve.publicKey = [&] { return crypto::KeySigner::fromPEMOrDER(ring.keyOf("ec")).getPublicKey(); };
    isOfCurve.answer = answerOf("ec");
    const std::string invalid = SIGN + "The signature is not valid for the public key of the signer.";
    const struct {
        OddSigner& signer;
        bool hasCertificate;
        std::string outcome;
        SignatureForm form = STANDARD;
    } rows[] = {
        {fails, true, "domain_error: the token is gone"},
        {fails, true, "domain_error: the token is gone", LIBRARY},
        {says, true, "InvalidURI: no agent"},
        {lies, true, invalid},
        {lies, false, invalid, LIBRARY},
        {answersForAnother, false, invalid, OFFICE},
        {cannot, true, SIGN + "The signer does not support the digest."},
        {isOther, true, SIGN + "The certificate is not one of the key of the signer."},
        {isOfCurve, false, SIGN + "Signatures in the form of the library need an RSA key.", LIBRARY},
        {has, true, "nothing is thrown", OFFICE},
        {isOfCurve, false, "nothing is thrown"},
    };
    SigningOptions options;
    options.validation = allOptions();
    options.trust = ring.trust();
    for (const auto& row : rows) {
        options.certificate = row.hasCertificate ? ring.certificate("leaf") : X509Certificate();
        const auto act = [&](Opened& opened) {
            EXPECT_EQ(outcomeOf([&] { signAll(opened, row.signer, options); }), row.outcome);
        };
        const Bytes zip = changed(letter().toZip(), act, row.form);
        const bool isUntouched = zip == changed(letter().toZip(), [](Opened&) {});
        EXPECT_EQ(isUntouched, row.outcome != "nothing is thrown") << row.outcome;
        EXPECT_EQ(isUntouched ? "1 of 1" : countValid(zip), "1 of 1");
    }
}

TEST(StandardSigning, DoesNotMixWithTheFormOfTheLibrary) {
    const std::string notMixed = SIGN + "The package has signatures ";
    const struct {
        SignatureForm first, second;
        std::string outcome;
    } rows[] = {
        {LIBRARY, STANDARD,
         notMixed + "in the form of the library, which are not mixed with those of the standard forms."},
        {OFFICE, LIBRARY,
         notMixed + "of the standard forms, which are not mixed with those in the form of the library."},
        {STANDARD, OFFICE, "nothing is thrown"},
    };
    for (const auto& row : rows)
        changed(
            signedIn(row.first),
            [&](Opened& opened) {
                auto signer = fixedSigner();
                EXPECT_EQ(outcomeOf([&] { signAll(opened, signer); }), row.outcome);
                EXPECT_TRUE(row.second != LIBRARY || outcomeOf([&] { sign(opened); }) == row.outcome);
            },
            row.second);
}

TEST(StandardSigning, RefusesWhatCouldNotBeReadAgain) {
    Items items(signedIn(STANDARD));
    const std::string type = toASCIIString(getSignatureIdentifiers(STANDARD).originRelationshipType);
    replaceIn(items["_rels/.rels"], "</Relationships>",
              "<Relationship Id=\"x\" Type=\"" + type + "\" Target=\"word/styles.xml\"/></Relationships>");
    changed(
        items.toZip(),
        [](Opened& opened) {
            auto signer = fixedSigner();
            EXPECT_EQ(outcomeOf([&] { signAll(opened, signer); }),
                      SIGN + "The package has more than one relationship to a signature origin.");
        },
        STANDARD);
}

TEST(StandardSigning, CountersignsTheSignaturesThatThereAre) {
    const Bytes zip = changed(
        signedIn(OFFICE, signedIn(STANDARD)),
        [](Opened& opened) {
            auto signer = fixedSigner();
            const DigitalSignature made = opened.manager.countersignAllSignatures(signer, {});
            EXPECT_EQ(made.getName(), u"sig3");
            EXPECT_EQ(made.getSignedPartNames(),
                      (std::vector<PartName>{u"/_xmlsignatures/sig1.xml", u"/_xmlsignatures/sig2.xml"}));
            EXPECT_EQ(made.getSignedRelationships().size(), 3U);
            EXPECT_TRUE(opened.manager.isCountersignature(made));
            signAll(opened, signer);
        },
        STANDARD);
    EXPECT_EQ(countValid(zip), "4 of 4") << "what is added does not break it";
    const auto remove = [](Opened& opened) { opened.manager.removeSignature(u"sig2"); };
    EXPECT_EQ(countValid(changed(zip, remove, STANDARD)), "2 of 3");
}

TEST(StandardSigning, StoresSignedRelationshipsWithoutWhiteSpace) {
    const std::string rels = "word/_rels/document.xml.rels";
    Items items = letter();
    for (const std::string& name : {rels, std::string("_rels/.rels")}) {
        boost::replace_all(items[name], "><", ">\n <");
        replaceIn(items[name], "</Rel", "<!-- x --></Rel");
    }
    const std::string loose = items[rels];
    Bytes zip = changed(
        items.toZip(),
        [](Opened& opened) {
            auto signer = fixedSigner();
            opened.manager.sign({{DOCUMENT}, {{u"/", BY_ID, u"rId1"}}}, signer, {});
        },
        STANDARD);
    items = Items(zip);
    EXPECT_EQ(items[rels], loose) << "nothing of it is signed";
    const boost::regex between(">[^<]+<|<!--");
    const auto isCompact = [&between](std::string part) {
        part.erase(0, part.find("<Relationships"));
        return !boost::regex_search(part, between);
    };
    EXPECT_TRUE(isCompact(items["_rels/.rels"])) << items["_rels/.rels"];
    // It stays so when somebody changes it.
    items =
        Items(changed(zip, [](Opened& opened) { opened.package.createExternalRelationship(u"urn:x", u"http://x/"); }));
    EXPECT_TRUE(isCompact(items["_rels/.rels"])) << items["_rels/.rels"];
    // A signature with the white space, as some programs make it, keeps it.
    EXPECT_EQ(Items(signedIn(STANDARD, items.toZip()))[rels].find('\n'), std::string::npos);
    boost::replace_all(items[PART], "/_rels/.rels?", "/word/_rels/document.xml.rels?");
    EXPECT_EQ(Items(signedIn(STANDARD, items.toZip()))[rels], loose);
}

} // namespace

} // namespace opc::model::test
