// SPDX-License-Identifier: Apache-2.0
#include "signatures/KeyRing.hpp"
#include "support/Stores.hpp"

#include <opc/model/StandardPartInfo.hpp>

#include <boost/regex.hpp>

namespace opc::model::test {

namespace {

constexpr const char* const DIGESTS[] = {"-md5", "-sha1", "-sha224", "-sha256", "-sha384", "-sha512"};
const RelationshipSelector MAIN{u"/", BY_ID, u"rId1"};

std::string textOf(const std::string& xml, const std::string& name) {
    const std::string element = elementOf(xml, name);
    return element.substr(name.size() + 2, element.size() - 2 * name.size() - 5);
}

/// What the openssl and xmllint commands make of the same bytes.
class Oracle {
public:
    std::string digest(const std::string& algorithm, const std::string& bytes) const {
        openssl(folder_, {"dgst", algorithm, "-binary", "-out", "digest", file("bytes", bytes)});
        return openssl(folder_, {"base64", "-A", "-in", "digest"});
    }

    static std::string canonical(const std::string& xml) {
        opc::test::ProcessOptions options;
        options.input = xml;
        const auto result = opc::test::runProcess(OPCRAFT_XMLLINT, {"--nonet", "--c14n", "-"}, options);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return result.out;
    }

    /// Holds a signature part to its key: `SignedInfo` by the value, the package object by its digest.
    void expectAuthentic(const std::string& part, const Bytes& publicKey, const std::string& algorithm) const {
        file("signature.base64", textOf(part, "SignatureValue"));
        openssl(folder_, {"base64", "-d", "-A", "-in", "signature.base64", "-out", "signature"});
        opc::test::writeFile(folder_ / "key", publicKey);
        const std::string signedInfo = canonical(elementOf(part, "SignedInfo"));
        EXPECT_EQ(openssl(folder_, {"dgst", algorithm, "-keyform", "DER", "-verify", "key", "-signature", "signature",
                                    file("signed", signedInfo)}),
                  "Verified OK\n");
        EXPECT_EQ(digest(algorithm, elementOf(part, "Object")), textOf(signedInfo, "DigestValue"));
    }

    /// The digest of all relationships of a part, by its text.
    std::string relationshipsDigest(const std::string& part) const {
        static const boost::regex element("<(?:\\w+:)?Relationship\\s(?:\"[^\"]*\"|'[^']*'|[^>\"'])*>");
        static const boost::regex attribute("(Id|Type|Target|TargetMode)\\s*=\\s*(\"[^\"]*\"|'[^']*')");
        std::map<std::string, std::string> sorted;
        for (boost::sregex_iterator i(part.begin(), part.end(), element), end; i != end; ++i) {
            const std::string text = i->str();
            std::map<std::string, std::string> values{{"TargetMode", "\"Internal\""}};
            for (boost::sregex_iterator a(text.begin(), text.end(), attribute); a != end; ++a)
                values[a->str(1)] = a->str(2);
            std::string& made = sorted[values.at("Id").substr(1, values.at("Id").size() - 2)];
            for (const auto& [name, value] : values)
                made += " " + name + "=" + value;
        }
        std::string all = "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
        for (const auto& each : sorted)
            all += "<Relationship" + each.second + "/>";
        return digest("-sha256", canonical(all + "</Relationships>"));
    }

private:
    std::string file(const std::string& name, const std::string& content) const {
        opc::test::writeFile(folder_ / name, toBytes(content));
        return name;
    }

    opc::test::TemporaryFolder folder_;
};

std::string digestOf(const DigitalSignature& signature, const std::u16string& start) {
    for (const auto& reference : signature.getImpl()->manifestReferences)
        if (reference.uri.toString().compare(0, start.size(), start) == 0)
            return toASCIIString(reference.digestValue);
    return "no reference";
}

class Signing : public WithClock {};

// Every digest meets every size and every form, and every size every form.
TEST_F(Signing, HoldsHereAndForOtherToolsInEveryForm) {
    const Oracle oracle;
    KeyRing ring;
    ring.issue("leaf");
    ring.issueSized("2048");
    ring.issueSized("4096");
    const std::string names[] = {"leaf", "2048", "4096"};
    const TrustStore trust = ring.trust("root");
    for (int digest = 0; digest < 6; ++digest)
        for (int form = 0; form < 4; ++form) {
            const int size = (digest + form) % 3;
            SCOPED_TRACE(DIGESTS[digest] + (" " + names[size]) + " form " + std::to_string(form));
            const Bytes key = ring.keyOf(names[size]);
            const SignatureParams params(static_cast<DigestMethod>(digest), static_cast<SignatureMethod>(size));
            const Bytes publicKey = publicKeyOf(key);
            const X509Certificate certificate = ring.certificate(names[size]);
            Bytes zip = changed(letter().toZip(), [&](Opened& opened) {
                DigitalSignatureManager& manager = opened.manager;
                const auto [parts, selectors] = manager.getAllPartsAndRels();
                if (form == 0)
                    manager.signPackage(key, params);
                else if (form == 1)
                    manager.sign(parts, selectors, key, publicKey, params);
                else if (form == 2)
                    manager.sign(parts, selectors, key, certificate, ring.chain("root"), allOptions(), params, trust);
                else
                    manager.signPackage(ring.bundleOf(names[size], names[size]), allOptions(), params, trust);
            });
            const Opened opened(zip, OpenMode::ReadOnly);
            const DigitalSignature signature = opened.manager.getSignature(u"sig1");
            EXPECT_TRUE(opened.manager.verifySignature(signature, allOptions(), trust).isValid());
            EXPECT_TRUE(opened.manager.verifySignature(signature, publicKey).isValid());
            EXPECT_TRUE(opened.manager.verifySignature(signature, certificate, {}, allOptions(), trust).isValid());
            EXPECT_EQ(signature.getSignatureParams().getDigestMethod(), params.getDigestMethod());
            EXPECT_EQ(signature.getSignatureParams().getSignatureMethod(), params.getSignatureMethod());
            EXPECT_EQ(signature.getSignatureValue().size(), std::size_t{128} << size);
            EXPECT_EQ(signature.getCertificate(), form < 2 ? X509Certificate() : certificate);
            EXPECT_EQ(signature.getCertificateChain().getCertificates().size(), form < 2 ? 0U : 1U);
            oracle.expectAuthentic(Items(zip)["_xmlsignatures/sig1.xml"], publicKey, DIGESTS[digest]);
        }
}

TEST_F(Signing, SaysTheSameWhenItIsLoadedAgain) {
    std::vector<DigitalSignature> made;
    Bytes zip =
        changed(letter().toZip(), [&](Opened& opened) { made = {opened.manager.signPackage(fixedKey(), params1024)}; });
    const Opened opened(zip, OpenMode::ReadOnly);
    const DigitalSignature loaded = opened.manager.getSignatures().at(0), copy = loaded;
    EXPECT_EQ(made[0].getSignedTime(), boost::posix_time::time_from_string("2026-03-04 05:06:00"));
    EXPECT_EQ(loaded.getSignedTime(), made[0].getSignedTime());
    EXPECT_EQ(loaded.getImpl()->signatureProperties.at(0).value, u"2026-03-04T05:06Z");
    EXPECT_EQ(loaded.getSignedPartNames(), made[0].getSignedPartNames());
    EXPECT_EQ(loaded.getSignedPartNames().size(), 4U);
    EXPECT_EQ(loaded.getSignedRelationships(), made[0].getSignedRelationships());
    EXPECT_EQ(loaded.getSignedRelationships().size(), 6U);
    EXPECT_EQ(loaded.getSignatureValue(), made[0].getSignatureValue());
    EXPECT_TRUE(opened.manager.isSigned(DOCUMENT) && !opened.manager.isSigned(u"/_xmlsignatures/sig1.xml"));
    loaded.getImpl()->signatureId = u"7";
    EXPECT_EQ(copy.getName(), u"sig7") << "copies, and the manager's own, share the data";
    EXPECT_EQ(opened.manager.getSignatures().at(0).getName(), u"sig7");
}

TEST_F(Signing, DigestsPartsAndRelationshipsAsOthersDo) {
    const Oracle oracle;
    const std::u16string relsOf = u"/word/_rels/document.xml.rels?";
    const std::string odd =
        "<?xml version='1.0' encoding='UTF-8'?>\n<!-- odd --><r:Relationships "
        "xmlns:r=\"http://schemas.openxmlformats.org/package/2006/relationships\" >\n"
        " <r:Relationship TargetMode = \"Internal\"\n Target='styles.xml' Type=\"urn:styles\"  Id=\"rId2\"\t/>\n"
        " <r:Relationship Id=\"rId10\" Type=\"urn:a&amp;b&#x2F;\" TargetMode='External'\n"
        "   Target=\"http://example.org/?a=1&amp;b='2&apos;&#xE4;\xC3\xB6\"></r:Relationship>\n"
        " <r:Relationship Id=\"A\" Type=\"urn:c\" Target=\"?q='>\" TargetMode=\"External\"/>\n"
        " <r:Relationship Id=\"\xC3\x9C_1\" Type=\"urn:b\" Target=\"/media/../media/%69mage.png#x%20y\"/>\n"
        "</r:Relationships>\n";
    Items items = letter();
    items["word/_rels/document.xml.rels"] = odd;
    changed(items.toZip(), [&](Opened& opened) {
        const auto whole = opened.manager.signPackage(fixedKey(), params1024);
        EXPECT_EQ(digestOf(whole, relsOf), oracle.relationshipsDigest(odd));
        EXPECT_EQ(digestOf(whole, u"/_rels/.rels?"), oracle.relationshipsDigest(items["_rels/.rels"]));
        const URI source = DOCUMENT.getURI();
        const auto chosen = opened.manager.sign({}, {{source, BY_TYPE, u"urn:b"}, MAIN, {source, BY_ID, u"\u00DC_1"}},
                                                fixedKey(), params1024);
        EXPECT_EQ(digestOf(chosen, relsOf),
                  oracle.relationshipsDigest(odd.substr(odd.find("<r:Relationship Id=\"\xC3"))))
            << "what is selected twice counts once";
        EXPECT_EQ(chosen.getImpl()->manifestReferences.at(0).uri.toString(),
                  u"/_rels/.rels?ContentType=application/vnd.openxmlformats-package.relationships+xml")
            << "in the order of the sources";
    });
    // What was not saved yet has the digest that it has as it is saved.
    Bytes zip = changed(items.toZip(), [&](Opened& opened) {
        opened.package.getPart(DOCUMENT).createExternalRelationship(u"urn:new", u"http://example.org/?<\"&>");
        opened.package.createPart(PartName(u"/new.bin"), ContentType(u"a/b;c=d"), StandardPartInfo());
        opened.package.createInternalRelationship(u"urn:new", u"new.bin");
        opened.manager.signPackage(fixedKey(), params1024);
        EXPECT_TRUE(opened.manager.verifyAllSignatures(noOptions(), TrustStore()).isValid());
    });
    EXPECT_EQ(verdictOn(zip), "valid");
    Items stored(zip);
    const Opened opened(zip, OpenMode::ReadOnly);
    const DigitalSignature signature = opened.manager.getSignature(u"sig1");
    EXPECT_EQ(digestOf(signature, relsOf), oracle.relationshipsDigest(stored["word/_rels/document.xml.rels"]));
    std::string core = stored["metadata/coreProperties.xml"];
    const std::string keywords = "<cp:keywords>one</cp:keywords>";
    const std::pair<std::u16string, std::string> parts[] = {
        {u"/word/document.xml?ContentType=application/xml", stored["word/document.xml"]},
        {u"/media/image.png?ContentType=image/png", stored["media/image.png"]},
        {u"/new.bin?ContentType=a/b;c=d", ""},
        {u"/metadata/coreProperties.xml?", core.erase(core.find(keywords), keywords.size())},
    };
    for (const auto& [uri, content] : parts)
        EXPECT_EQ(digestOf(signature, uri), oracle.digest("-sha256", content)) << toASCIIString(uri);
}

TEST_F(Signing, OneSignatureMoreThanCanBeReadAgainIsRefused) {
    const Bytes zip = changed(letter().toZip(), [](Opened& opened) {
        const auto sign = [&opened] { opened.manager.sign({DOCUMENT}, {}, fixedKey(), params1024); };
        for (int i = 0; i < 100; ++i)
            sign();
        EXPECT_EQ(outcomeOf(sign), "CouldNotGenerateSignature: There are more than 100 signatures.");
    });
    EXPECT_EQ(verdictOn(zip), "valid");
    Items items(zip);
    items["_xmlsignatures/sig101.xml"] = items["_xmlsignatures/sig1.xml"];
    items.replace("_xmlsignatures/_rels/origin.sigs.rels", "</Relationships>",
                  "<Relationship Id=\"x\" Type=\"http://schemas.openxmlformats.org/package/2006/relationships/"
                  "digitalsignature/signature\" Target=\"sig101.xml\"/></Relationships>");
    EXPECT_EQ(verdictOn(items.toZip()), "refused: There are more than 100 signatures.");
}

TEST_F(Signing, NamesSignaturesBehindAllThatThereAre) {
    const auto sign = [](Opened& opened) { return opened.manager.signPackage(fixedKey(), params1024).getName(); };
    Bytes zip = changed(signedLetter(), [&](Opened& opened) {
        EXPECT_EQ(sign(opened), u"sig2");
        using Names = std::unordered_set<std::u16string>;
        EXPECT_EQ(opened.package.getManagedPartNames(),
                  (Names{u"/_xmlsignatures/origin.sigs", u"/_xmlsignatures/sig1.xml", u"/_xmlsignatures/sig2.xml"}));
        const Part origin = opened.package.getPart(PartName(u"/_xmlsignatures/origin.sigs"));
        const Part part = opened.package.getPart(PartName(u"/_xmlsignatures/sig2.xml"));
        EXPECT_EQ(origin.getRelationshipByID(u"DSRel2").getTargetURI(), part.getName().getURI());
        const std::u16string type = u"application/vnd.openxmlformats-package.digital-signature";
        EXPECT_EQ(origin.getContentType().toString(), type + u"-origin");
        EXPECT_EQ(part.getContentType().toString(), type + u"xmlsignature+xml");
        opened.manager.countersignAllSignatures(fixedKey(), params1024);
        EXPECT_EQ(opened.manager.getNextSignatureID(), u"3") << "a countersignature takes no number";
    });
    zip = changed(zip, [&](Opened& opened) {
        opened.manager.removeSignature(u"sig1");
        EXPECT_EQ(opened.manager.getNextSignatureID(), u"3");
        EXPECT_EQ(opened.manager.getNextSignatureID(), u"4");
        EXPECT_EQ(sign(opened), u"sig5");
        opened.manager.removeSignature(u"sig5");
        opened.manager.removeCountersignature();
    });
    zip = changed(zip, [&](Opened& opened) { EXPECT_EQ(sign(opened), u"sig3") << "gaps are not filled"; });
    EXPECT_EQ(verdictOn(zip), "valid");
    changed(zip, [](Opened& opened) {
        const Part part = opened.package.getPart(PartName(u"/_xmlsignatures/sig3.xml"));
        testing::internal::CaptureStderr();
        for (const char16_t* const id : {u"17", u"9", u"other", u"99999999999999999999"})
            opened.manager.updateNextSignatureID(id, part);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "Internal exception: Out of range. Trying to get numeric ID from 99999999999999999999\n");
        EXPECT_EQ(opened.manager.getNextSignatureID(), u"18");
    });
}

TEST_F(Signing, WorksInEveryStore) {
    for (const opc::test::StoreKind& kind : opc::test::allStores()) {
        const auto store = kind.make();
        for (const OpenMode mode : {OpenMode::CreateOnly, OpenMode::ReadWrite, OpenMode::ReadOnly}) {
            Package package(store->package());
            DigitalSignatureManager manager(package);
            package.open(mode);
            if (mode == OpenMode::CreateOnly)
                package.createPart(DOCUMENT, ContentType(u"application/xml"), StandardPartInfo())
                    .createExternalRelationship(u"urn:link", u"http://example.org/");
            if (mode == OpenMode::ReadWrite)
                manager.signPackage(fixedKey(), params1024);
            EXPECT_EQ(manager.isPackageSigned(), mode != OpenMode::CreateOnly) << kind.name;
            EXPECT_TRUE(manager.verifyAllSignatures(noOptions(), TrustStore()).isValid()) << kind.name;
            package.close();
        }
    }
}

TEST(SigningRefuses, WhatItCannotSignInItsOrderAndChangesNothing) {
    using Parts = std::vector<PartName>;
    KeyRing ring;
    ring.issue("leaf");
    ring.issue("stranger", "root", "");
    for (const char* const kind : {"1536", "2048", "3072", "ec"})
        ring.issueSized(kind);
    const Bytes good = fixedKey(), big = ring.keyOf("2048"), odd = ring.keyOf("1536");
    const PKCS12Certificate bundle = ring.bundleOf("leaf", "leaf");
    const X509Certificate certificate = ring.certificate("leaf"), bigOne = ring.certificate("2048");
    const TrustStore trust = ring.trust("root");
    const SignatureParams params2048(DigestMethod::SHA256, SignatureMethod::RSA2048);
    const SignatureParams noSize(DigestMethod::SHA256, static_cast<SignatureMethod>(3));
    const SignatureParams noDigest(static_cast<DigestMethod>(6), SignatureMethod::RSA1024);
    const Parts document{DOCUMENT}, unknown{PartName(u"/none.xml")};
    const RelationshipSelector none{u"/", BY_TYPE, u"urn:none"};

    const auto raw = [](const Parts& parts, const Bytes& key, const SignatureParams& params = params1024,
                        const std::vector<RelationshipSelector>& selectors = {}) -> Call {
        return [=](Opened& opened) { opened.manager.sign(parts, selectors, key, params); };
    };
    const auto keys = [](const Parts& parts, const Bytes& key, const Bytes& other,
                         const SignatureParams& params = params1024) -> Call {
        return [=](Opened& opened) { opened.manager.sign(parts, {}, key, other, params); };
    };
    const auto by = [&](const Parts& parts, const Bytes& key, const X509Certificate& who,
                        const SignatureParams& params = params1024) -> Call {
        return [=](Opened& opened) { opened.manager.sign(parts, {}, key, who, {}, allOptions(), params, trust); };
    };
    const auto out = [&](const Parts& parts, const PKCS12Certificate& of,
                         const SignatureParams& params = params1024) -> Call {
        return [=](Opened& opened) { opened.manager.sign(parts, {}, of, allOptions(), params, trust); };
    };
    const Call all = [=](Opened& opened) { opened.manager.signPackage(good, params1024); };
    const Call allOut = [=](Opened& o) { o.manager.signPackage(bundle, allOptions(), params1024, trust); };
    const std::string could = "CouldNotGenerateSignature: ", digest = could + "Unable to compute digest. ";
    const std::string length = "Exception: Invalid key was provided. ",
                      noPart = "No part found with the name:/none.xml";
    const std::string oneSize = "Only 1024, 2048 or 4096 bits RSA signatures are supported.";
    const std::string bundleIs = could + "The given PKCS12 bundle is invalid. ";
    const std::string sizes = could + "Verification certificate corresponds to key size ";
    Items items = letter();
    items["odd"] = "";
    items.replace("[Content_Types].xml", "</Types>",
                  "<Override PartName=\"/odd\" ContentType=\"a/b;c=&quot;d e&quot;\"/></Types>");
    // Each row is refused for its reason, whatever reasons of rows below it has too.
    const std::vector<Refused> rows = {
        {could + "No parts or relationships provided for signing.",
         {raw({}, {}), keys({}, {}, {}), by({}, {}, {}), out({}, ring.bundle({"-nokeys", "-in", "root.pem"}))},
         OpenMode::ReadOnly},
        {could + "The verification key is empty.", {keys(document, {}, {})}, OpenMode::ReadOnly},
        {could + "The signing key is empty.", {raw(document, {}), by(document, {}, {})}, OpenMode::ReadOnly},
        {bundleIs + "No private key found.",
         {out(unknown, ring.bundle({"-nokeys", "-in", "leaf.pem"}))},
         OpenMode::ReadOnly},
        {bundleIs + "No certificate found.",
         {out(unknown, ring.bundle({"-nocerts", "-inkey", "leaf.key"}))},
         OpenMode::ReadOnly},
        {"PackageNotOpen: Package is not open",
         {closed(raw(unknown, good)), closed(by(unknown, good, {})), closed(out(unknown, bundle)), closed(all),
          closed(allOut)}},
        {"PackageReadOnly: Package is read-only",
         {raw(unknown, good), by(unknown, good, {}), out(unknown, bundle), all, allOut},
         OpenMode::ReadOnly},
        {"PackageCreateOnly: Package is open only for create",
         {raw(unknown, good), by(unknown, good, {}), out(unknown, bundle)},
         OpenMode::CreateOnly},
        {bundleIs + "The bytes are not an RSA private key in DER.", {out(unknown, ring.bundleOf("ec", "ec"))}},
        {could + "Invalid Signature parameters or PKCS12 Bundle provided. " + oneSize,
         {out(unknown, ring.bundleOf("1536", "1536"))}},
        {could + "The verification certificate is empty.", {by(unknown, good, {})}},
        {sizes + "2048 but signature params specify a key size of 1024", {by(unknown, good, bigOne)}},
        {sizes + "1024 but signature params specify a key size of 2048", {out(unknown, bundle, params2048)}},
        {digest + noPart, {raw(unknown, good, noSize), by(unknown, big, certificate), out(unknown, bundle)}},
        {digest + "There is no such digest algorithm.", {raw(document, good, noDigest, {none})}},
        {could + noPart, {raw({}, good, params1024, {{u"/none.xml", BY_ID, u"rId1"}})}},
        {"RelationshipNotFound: No relationships in the package matched the provided relationship selectors.",
         {raw(document, big, params1024, {none}), raw({}, good, noSize, {{u"/", BY_ID, u"none"}})}},
        {could + "Relationship with Type urn:none is not present in /", {raw({}, big, params1024, {none, MAIN})}},
        {could + "Unable to determine the correct key size from the signature data.", {raw(document, good, noSize)}},
        {length + "2048-bit key was expected for signing",
         {raw(document, good, params2048), raw(document, odd, params2048), by(document, good, bigOne, params2048),
          keys(document, odd, good, params2048)}},
        {length + "1024-bit key was expected for signing", {raw(document, big)}},
        {length + "2048-bit key was expected for verification ",
         {keys(document, big, ring.keyOf("leaf", true), params2048)}},
        {"NotImplemented: " + oneSize,
         {raw(document, odd), raw(document, ring.keyOf("3072"), params2048),
          keys(document, good, ring.keyOf("1536", true))}},
        {could + "The bytes are not an RSA private key in DER.", {raw(document, Bytes(600))}},
        {could + "The verification key is invalid since the signature doesn't verify correctly after signing.",
         {keys(document, good, ring.keyOf("stranger", true))}},
        {could + "The signature doesn't verify correctly with the given certificate.",
         {by(document, ring.keyOf("stranger"), certificate)}},
        {could + "Internal error: Digest Method is not supported in algorithm map.", {raw({}, good, noDigest, {MAIN})}},
        {could + "The content type of a part cannot stand in the URI of a reference to it: /odd, a/b;c=\"d e\"",
         {raw({PartName(u"/odd")}, good)}},
    };
    expectRefused(items.toZip(), rows);

    // What others made in the place of a signature stays.
    const std::string folder = "_xmlsignatures/", start = "<Relationships xmlns=\"http://schemas.openxmlformats.org/"
                                                          "package/2006/relationships\"><Relationship Id=\"DSRel1\" ";
    items[folder + "origin.sigs"] = "theirs";
    items[folder + "_rels/origin.sigs.rels"] = start + "Type=\"urn:x\" Target=\"/odd\"/></Relationships>";
    items.replace("[Content_Types].xml", "</Types>", "<Default Extension=\"sigs\" ContentType=\"a/b\"/></Types>");
    expectRefused(items.toZip(),
                  {{could + "Could not create/fetch signature origin part. Cannot use a part name that already exists: "
                            "/_xmlsignatures/origin.sigs",
                    {raw(document, good), by(document, ring.keyOf("leaf"), certificate)}}});
    items.replace("_rels/.rels", "</Relationships>",
                  "<Relationship Id=\"o\" Type=\"http://schemas.openxmlformats.org/package/2006/relationships/"
                  "digitalsignature/origin\" Target=\"_xmlsignatures/origin.sigs\"/></Relationships>");
    expectRefused(items.toZip(),
                  {{could + "Unable to create signature part. Relationship ID already exists", {raw(document, good)}}});
}

} // namespace

} // namespace opc::model::test
