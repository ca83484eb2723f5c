// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"

namespace opc::model::test {

namespace {

using Call = std::function<void(DigitalSignatureManager&)>;
using Parts = std::vector<PartName>;
using Selectors = std::vector<RelationshipSelector>;

const std::string SIGN = "CouldNotGenerateSignature: ", FIND = "SignatureNotFound: ", VERIFY = "InvalidSignature: ";
const PartName NONE(u"/none.xml");

/// Calls that come to the same end.
struct Refused {
    std::string outcome;
    std::vector<Call> calls;
    OpenMode mode = OpenMode::ReadWrite;
    bool isClosed = false; ///< before the call
};

/// Each call is refused for its reason, whatever reasons of rows below it has too, and what is saved after it is what
/// would have been saved without it.
void expectRefused(const Bytes& zip, const std::vector<Refused>& rows) {
    const Bytes untouched = changed(zip, [](Opened&) {});
    for (const Refused& row : rows)
        for (std::size_t i = 0; i < row.calls.size(); ++i) {
            Bytes bytes = zip;
            Opened opened(bytes, row.mode);
            if (row.isClosed)
                opened.package.close();
            EXPECT_EQ(outcomeOf([&] { row.calls[i](opened.manager); }), row.outcome) << "call " << i;
            if (!row.isClosed)
                opened.package.close(row.mode == OpenMode::CreateOnly);
            EXPECT_TRUE(bytes == untouched) << row.outcome << ", call " << i << " changed something";
        }
}

class Refusals : public testing::Test {
protected:
    Refusals() {
        ring.issue("stranger", "root", "");
        for (const char* const kind : {"1536", "2048", "3072", "ec"})
            ring.issueSized(kind);
    }

    /// The forms of signing.
    static Call raw(const Parts& parts, const Bytes& key, const SignatureParams& params = params1024,
                    const Selectors& selectors = {}) {
        return [=](auto& manager) { manager.sign(parts, selectors, key, params); };
    }
    static Call keys(const Parts& parts, const Bytes& key, const Bytes& other,
                     const SignatureParams& params = params1024) {
        return [=](auto& manager) { manager.sign(parts, {}, key, other, params); };
    }
    Call by(const Parts& parts, const Bytes& key, const X509Certificate& who,
            const SignatureParams& params = params1024) const {
        return [=, this](auto& manager) { manager.sign(parts, {}, key, who, {}, allOptions(), params, ring.trust()); };
    }
    Call out(const Parts& parts, const PKCS12Certificate& of, const SignatureParams& params = params1024) const {
        return [=, this](auto& manager) { manager.sign(parts, {}, of, allOptions(), params, ring.trust()); };
    }

    KeyRing ring;
    const Bytes good = fixedKey();
};

TEST_F(Refusals, OfSigningComeInTheirOrderAndChangeNothing) {
    const Bytes big = ring.keyOf("2048"), odd = ring.keyOf("1536");
    const PKCS12Certificate bundle = ring.bundleOf("leaf", "leaf");
    const X509Certificate certificate = ring.certificate("leaf"), bigOne = ring.certificate("2048");
    const SignatureParams params2048(DigestMethod::SHA256, SignatureMethod::RSA2048);
    const SignatureParams noSize(DigestMethod::SHA256, static_cast<SignatureMethod>(3));
    const SignatureParams noDigest(static_cast<DigestMethod>(6), SignatureMethod::RSA1024);
    const Parts document{DOCUMENT}, none{NONE};
    const RelationshipSelector main{u"/", BY_ID, u"rId1"}, nothing{u"/", BY_TYPE, u"urn:none"};
    const Call all = [&](auto& manager) { manager.signPackage(good, params1024); };
    const Call allOut = [&](auto& manager) { manager.signPackage(bundle, allOptions(), params1024, ring.trust()); };
    const Call closedForms[] = {raw(none, good), by(none, good, {}), out(none, bundle)};
    const std::string digest = SIGN + "Unable to compute digest. ", noPart = "No part found with the name:/none.xml";
    const std::string length = "Exception: Invalid key was provided. ";
    const std::string oneSize = "Only 1024, 2048 or 4096 bits RSA signatures are supported.";
    const std::string bundleIs = SIGN + "The given PKCS12 bundle is invalid. ";
    const std::string sizes = SIGN + "Verification certificate corresponds to key size ";
    Items items = letter();
    items["odd"] = "";
    replaceIn(items["[Content_Types].xml"], "</Types>",
              "<Override PartName=\"/odd\" ContentType=\"a/b;c=&quot;d e&quot;\"/></Types>");
    const std::vector<Refused> rows = {
        {SIGN + "No parts or relationships provided for signing.",
         {raw({}, {}), keys({}, {}, {}), by({}, {}, {}), out({}, ring.bundle({"-nokeys", "-in", "root.pem"}))},
         OpenMode::ReadOnly},
        {SIGN + "The verification key is empty.", {keys(document, {}, {})}, OpenMode::ReadOnly},
        {SIGN + "The signing key is empty.", {raw(document, {}), by(document, {}, {})}, OpenMode::ReadOnly},
        {bundleIs + "No private key found.",
         {out(none, ring.bundle({"-nokeys", "-in", "leaf.pem"}))},
         OpenMode::ReadOnly},
        {bundleIs + "No certificate found.",
         {out(none, ring.bundle({"-nocerts", "-inkey", "leaf.key"}))},
         OpenMode::ReadOnly},
        {"PackageNotOpen: Package is not open",
         {closedForms[0], closedForms[1], closedForms[2], all, allOut},
         OpenMode::ReadWrite,
         true},
        {"PackageReadOnly: Package is read-only",
         {closedForms[0], closedForms[1], closedForms[2], all, allOut},
         OpenMode::ReadOnly},
        {"PackageCreateOnly: Package is open only for create",
         {closedForms[0], closedForms[1], closedForms[2]},
         OpenMode::CreateOnly},
        {bundleIs + "The bytes are not an RSA private key in DER.", {out(none, ring.bundleOf("ec", "ec"))}},
        {SIGN + "Invalid Signature parameters or PKCS12 Bundle provided. " + oneSize,
         {out(none, ring.bundleOf("1536", "1536"))}},
        {SIGN + "The verification certificate is empty.", {by(none, good, {})}},
        {sizes + "2048 but signature params specify a key size of 1024", {by(none, good, bigOne)}},
        {sizes + "1024 but signature params specify a key size of 2048", {out(none, bundle, params2048)}},
        {digest + noPart, {raw(none, good, noSize), by(none, big, certificate), out(none, bundle)}},
        {digest + "Unknown digest algorithm.", {raw(document, good, noDigest, {nothing})}},
        {SIGN + noPart, {raw({}, good, params1024, {{NONE.getURI(), BY_ID, u"rId1"}})}},
        {"RelationshipNotFound: No relationships in the package matched the provided relationship selectors.",
         {raw(document, big, params1024, {nothing}), raw({}, good, noSize, {{u"/", BY_ID, u"none"}})}},
        {SIGN + "Relationship with Type urn:none is not present in /", {raw({}, big, params1024, {nothing, main})}},
        {SIGN + "Unable to determine the correct key size from the signature data.", {raw(document, good, noSize)}},
        {length + "2048-bit key was expected for signing",
         {raw(document, good, params2048), raw(document, odd, params2048), by(document, good, bigOne, params2048),
          keys(document, odd, good, params2048)}},
        {length + "1024-bit key was expected for signing", {raw(document, big)}},
        {length + "2048-bit key was expected for verification ",
         {keys(document, big, ring.keyOf("leaf", true), params2048)}},
        {"NotImplemented: " + oneSize,
         {raw(document, odd), raw(document, ring.keyOf("3072"), params2048),
          keys(document, good, ring.keyOf("1536", true))}},
        {SIGN + "The bytes are not an RSA private key in DER.", {raw(document, Bytes(600))}},
        {SIGN + "The verification key is invalid since the signature doesn't verify correctly after signing.",
         {keys(document, good, ring.keyOf("stranger", true))}},
        {SIGN + "The signature doesn't verify correctly with the given certificate.",
         {by(document, ring.keyOf("stranger"), certificate)}},
        {SIGN + "Internal error: Digest Method is not supported in algorithm map.", {raw({}, good, noDigest, {main})}},
        {SIGN + "The content type of a part cannot stand in the URI of a reference to it: /odd, a/b;c=\"d e\"",
         {raw({PartName(u"/odd")}, good)}},
    };
    expectRefused(items.toZip(), rows);

    // What others made in the place of a signature stays.
    const std::string start = "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
    items["_xmlsignatures/origin.sigs"] = "theirs";
    items["_xmlsignatures/_rels/origin.sigs.rels"] =
        start + "<Relationship Id=\"DSRel1\" Type=\"urn:x\" Target=\"/odd\"/></Relationships>";
    replaceIn(items["[Content_Types].xml"], "</Types>", "<Default Extension=\"sigs\" ContentType=\"a/b\"/></Types>");
    expectRefused(items.toZip(),
                  {{SIGN + "Could not create/fetch signature origin part. Cannot use a part name that already exists: "
                           "/_xmlsignatures/origin.sigs",
                    {raw(document, good), by(document, good, certificate)}}});
    replaceIn(items["_rels/.rels"], "</Relationships>",
              "<Relationship Id=\"o\" Type=\"" + toASCIIString(TYPE) +
                  "origin\" Target=\"_xmlsignatures/origin.sigs\"/></Relationships>");
    expectRefused(items.toZip(),
                  {{SIGN + "Unable to create signature part. Relationship ID already exists", {raw(document, good)}}});
}

TEST_F(Refusals, OfCountersigningRemovingAndAskingComeInTheirOrder) {
    using Manager = DigitalSignatureManager;
    const Call counter = [](Manager& m) { m.countersignAllSignatures(fixedKey(), params1024); };
    const Call withoutKey = [](Manager& m) { m.countersignAllSignatures(Bytes(), params1024); };
    const Call withoutKeys = [](Manager& m) { m.countersignAllSignatures(Bytes(), Bytes(), params1024); };
    const auto remove = [](const std::u16string& name) -> Call { return [=](Manager& m) { m.removeSignature(name); }; };
    const auto removePart = [](const PartName& name) -> Call {
        return [=](Manager& m) { m.deleteSignaturePart(name); };
    };
    const std::string noPart = FIND + "The provided signature part name is invalid or does not exist.";
    const std::string noSignature = FIND + "The provided part name is not a signature part.";
    const std::vector<Call> changes{counter, remove(u"/"), [](Manager& m) { m.removeAllSignatures(); },
                                    [](Manager& m) { m.removeCountersignature(); }, removePart(ORIGIN)};
    const std::vector<Call> questions{[](Manager& m) { m.getSignatures(); }, [](Manager& m) { m.findSignature(u"/"); },
                                      [](Manager& m) { m.isPackageSigned(); }, [](Manager& m) { m.isSigned(DOCUMENT); },
                                      [](Manager& m) { m.isPackageCountersigned(); }};
    const std::vector<Refused> unsignedRows = {
        {SIGN + "The verification key is empty.", {withoutKeys}, OpenMode::ReadOnly},
        {"PackageReadOnly: Package is read-only", changes, OpenMode::ReadOnly},
        {"PackageCreateOnly: Package is open only for create", changes, OpenMode::CreateOnly},
        {"PackageNotOpen: Package is not open", changes, OpenMode::ReadWrite, true},
        {"PackageNotOpen: Package is not open", questions, OpenMode::ReadWrite, true},
        {SIGN + "Package has no signatures present, and so cannot be countersigned.", {withoutKey}},
        {FIND + "Internal Error: No signature origin present.", {removePart(DOCUMENT)}},
        {noPart, {remove(u"sig1"), removePart(ORIGIN)}},
    };
    expectRefused(changed(
                      letter().toZip(), [](Opened&) {}),
                  unsignedRows);
    const Bytes countersigned = changed(signedLetter(), [](Opened& opened) { countersign(opened); });
    const std::vector<Refused> rows = {
        {SIGN + "Package has already been countersigned once. Please remove countersignature before countersigning "
                "again.",
         {withoutKey}},
        {FIND + "Incorrect signature name provided. It should not start with backslash like a part name.",
         {remove(u"/_xmlsignatures/sig1.xml")}},
        {noPart, {remove(u"sig3"), remove(u"1"), remove(u"a b"), remove(u"sig1?"), remove(u"\u00E9")}},
        {noSignature, {removePart(DOCUMENT), removePart(ORIGIN)}},
    };
    expectRefused(countersigned, rows);
    expectRefused(signedLetter(), {{SIGN + "The signing key is empty.", {withoutKey}}});
    changed(signedLetter(), [&](Opened& opened) {
        const PartName name(u"/_xmlsignatures/sig2.xml");
        opened.package.createPart(name, ContentType(u"a/b"), opc::test::PartInfo());
        const auto find = [&] { opened.manager.findSignature(u"sig2"); };
        EXPECT_EQ(outcomeOf(find), noSignature);
        opened.package.getPart(ORIGIN).createInternalRelationship(TYPE + u"signature", name.getURI());
        EXPECT_EQ(outcomeOf(find), FIND + "Could not find the given signature by the given name.");
        EXPECT_EQ(outcomeOf([&] { sign(opened); }),
                  SIGN + "Internal Error: New signature should not have the same name as an existing one.");
        opened.manager.deleteSignaturePart(name);
        EXPECT_EQ(sign(opened).getName(), u"sig3") << "the number was used up";
    });
}

TEST_F(Refusals, OfVerificationComeInTheirOrder) {
    Bytes zip = signedLetter();
    const DigitalSignature found = Opened(zip, OpenMode::ReadOnly).manager.getSignature(u"sig1");
    const DigitalSignature ofADigest(std::make_shared<DigitalSignatureData>(*found.getImpl()));
    ofADigest.getImpl()->signatureMethod = u"http://www.w3.org/2001/04/xmlenc#sha256";
    const DigitalSignature ofNobody(std::make_shared<DigitalSignatureData>(*ofADigest.getImpl()));
    ofNobody.getImpl()->publicKey.reset();
    const auto byKey = [](const DigitalSignature& signature, const Bytes& key) -> Call {
        return [=](auto& manager) { manager.verifySignature(signature, key); };
    };
    const auto by = [](const DigitalSignature& signature, const X509Certificate& who) -> Call {
        return [=](auto& manager) { manager.verifySignature(signature, who, {}, noOptions(), TrustStore()); };
    };
    const auto byItself = [](const DigitalSignature& signature) -> Call {
        return [=](auto& manager) { manager.verifySignature(signature, noOptions(), TrustStore()); };
    };
    const std::vector<Call> counter{
        [](auto& manager) { manager.verifyCountersignature(Bytes()); },
        [](auto& manager) { manager.verifyCountersignature({}, {}, noOptions(), TrustStore()); },
        [](auto& manager) { manager.verifyCountersignature(noOptions(), TrustStore()); },
    };
    const Bytes big = ring.keyOf("2048", true);
    const X509Certificate bigOne = ring.certificate("2048");
    const std::vector<Refused> rows = {
        {"PackageNotOpen: Package is not open",
         {counter[0], counter[1], counter[2], byKey(ofNobody, {}), by(ofNobody, {}), byItself(ofNobody),
          [](auto& manager) { manager.verifyAllSignatures(noOptions(), TrustStore()); },
          [](auto& manager) { manager.examineAllSignatures(noOptions(), TrustStore()); },
          [](auto& manager) { manager.examineCoverage({}); }},
         OpenMode::ReadWrite,
         true},
        {FIND + "No countersignatures found in package.", counter},
        {VERIFY + "Verification by an empty public key  was attempted.", {byKey(ofADigest, {})}},
        {"Exception: Verification by an empty certificate was attempted.", {by(ofADigest, {})}},
        {VERIFY + "Signature does not contain a default key or certificate. Please use a verify method which takes a "
                  "key/cert.",
         {byItself(ofNobody)}},
        {VERIFY + "Signature Method is incorrect.",
         {byItself(ofADigest), byKey(ofADigest, big), by(ofADigest, bigOne)}},
        {VERIFY + "The bytes are not an RSA public key in DER.", {byKey(found, Bytes(140))}},
        {VERIFY + "The key of the certificate is not an RSA key.", {by(found, ring.certificate("ec"))}},
        {"NotImplemented: Only 1024, 2048 or 4096 bits RSA signatures are supported.",
         {byKey(found, ring.keyOf("1536", true)), by(found, ring.certificate("1536"))}},
        {VERIFY + "Verification material doesn't match the signature parameters in the signature.",
         {byKey(found, big), by(found, bigOne)}},
    };
    expectRefused(zip, rows);
}

} // namespace

} // namespace opc::model::test
