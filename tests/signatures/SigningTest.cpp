// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"
#include "support/Stores.hpp"

#include <opc/model/StandardPartInfo.hpp>

#include <boost/regex.hpp>

namespace opc::model::test {

namespace {

constexpr const char* const DIGESTS[] = {"-md5", "-sha1", "-sha224", "-sha256", "-sha384", "-sha512"};

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
        if (reference.uri.toString().starts_with(start))
            return toASCIIString(reference.digestValue);
    return "no reference";
}

// Every digest meets every size and every form, and every size every form.
TEST(Signing, HoldsHereAndForOtherToolsInEveryForm) {
    const Oracle oracle;
    KeyRing ring;
    ring.issueSized("2048");
    ring.issueSized("4096");
    const std::string names[] = {"leaf", "2048", "4096"};
    const TrustStore trust = ring.trust();
    for (int digest = 0; digest < 6; ++digest)
        for (int form = 0; form < 4; ++form) {
            const int size = (digest + form) % 3;
            SCOPED_TRACE(DIGESTS[digest] + (" " + names[size]) + " form " + std::to_string(form));
            const Bytes key = ring.keyOf(names[size]), publicKey = publicKeyOf(key);
            const SignatureParams params(static_cast<DigestMethod>(digest), static_cast<SignatureMethod>(size));
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
            EXPECT_EQ(signature.getSignedPartNames().size(), 4U);
            EXPECT_EQ(signature.getSignedRelationships().size(), 6U);
            EXPECT_EQ(signature.getCertificate(), form < 2 ? X509Certificate() : certificate);
            EXPECT_EQ(signature.getCertificateChain().getCertificates().size(), form < 2 ? 0U : 1U);
            oracle.expectAuthentic(Items(zip)[PART], publicKey, DIGESTS[digest]);
        }
}

TEST(Signing, DigestsPartsAndRelationshipsAsOthersDo) {
    const Oracle oracle;
    const std::string rels = "word/_rels/document.xml.rels", root = "_rels/.rels";
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
    items[rels] = odd;
    changed(items.toZip(), [&](Opened& opened) {
        const auto whole = sign(opened);
        EXPECT_EQ(digestOf(whole, relsOf), oracle.relationshipsDigest(odd));
        EXPECT_EQ(digestOf(whole, u"/_rels/.rels?"), oracle.relationshipsDigest(items[root]));
        const URI source = DOCUMENT.getURI();
        const auto chosen =
            opened.manager.sign({}, {{source, BY_TYPE, u"urn:b"}, {u"/", BY_ID, u"rId1"}, {source, BY_ID, u"\u00DC_1"}},
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
        sign(opened);
        EXPECT_TRUE(opened.manager.verifyAllSignatures(noOptions(), TrustStore()).isValid());
    });
    EXPECT_EQ(verdictOn(zip), "valid");
    Items stored(zip);
    const Opened opened(zip, OpenMode::ReadOnly);
    const DigitalSignature signature = opened.manager.getSignature(u"sig1");
    EXPECT_EQ(digestOf(signature, relsOf), oracle.relationshipsDigest(stored[rels]));
    std::string core = stored["metadata/coreProperties.xml"];
    replaceIn(core, "<cp:keywords>one</cp:keywords>", "");
    const std::pair<std::u16string, std::string> parts[] = {
        {u"/word/document.xml?ContentType=application/xml", stored["word/document.xml"]},
        {u"/media/image.png?ContentType=image/png", stored["media/image.png"]},
        {u"/new.bin?ContentType=a/b;c=d", ""},
        {u"/metadata/coreProperties.xml?", core},
    };
    for (const auto& [uri, content] : parts)
        EXPECT_EQ(digestOf(signature, uri), oracle.digest("-sha256", content)) << toASCIIString(uri);
}

TEST(Signing, OneSignatureMoreThanCanBeReadAgainIsRefused) {
    const Bytes zip = changed(letter().toZip(), [](Opened& opened) {
        const auto signOnce = [&opened] { opened.manager.sign({DOCUMENT}, {}, fixedKey(), params1024); };
        for (int i = 0; i < 100; ++i)
            signOnce();
        EXPECT_EQ(outcomeOf(signOnce), "CouldNotGenerateSignature: More than 100 signatures.");
    });
    EXPECT_EQ(verdictOn(zip), "valid");
    Items items(zip);
    items["_xmlsignatures/sig101.xml"] = std::string(items[PART]);
    replaceIn(items["_xmlsignatures/_rels/origin.sigs.rels"], "</Relationships>",
              "<Relationship Id=\"x\" Type=\"http://schemas.openxmlformats.org/package/2006/relationships/"
              "digitalsignature/signature\" Target=\"sig101.xml\"/></Relationships>");
    EXPECT_EQ(verdictOn(items.toZip()), "refused \"More than 100 signatures.\"");
}

TEST(Signing, NamesSignaturesBehindAllThatThereAre) {
    const std::u16string start = u"/_xmlsignatures/",
                         type = u"application/vnd.openxmlformats-package.digital-signature";
    Bytes zip = changed(signedLetter(), [&](Opened& opened) {
        EXPECT_EQ(sign(opened).getName(), u"sig2");
        const Part origin = opened.package.getPart(PartName(start + u"origin.sigs"));
        const Part part = opened.package.getPart(PartName(start + u"sig2.xml"));
        EXPECT_EQ(opened.package.getManagedPartNames(),
                  (std::unordered_set{start + u"origin.sigs", start + u"sig1.xml", start + u"sig2.xml"}));
        EXPECT_EQ(origin.getRelationshipByID(u"DSRel2").getTargetURI(), part.getName().getURI());
        EXPECT_EQ(origin.getContentType().toString(), type + u"-origin");
        EXPECT_EQ(part.getContentType().toString(), type + u"xmlsignature+xml");
        countersign(opened);
        EXPECT_EQ(opened.manager.getNextSignatureID(), u"3") << "a countersignature takes no number";
    });
    zip = changed(
        zip,
        [&](Opened& opened) {
            opened.manager.removeSignature(u"sig1");
            EXPECT_EQ(opened.manager.getNextSignatureID(), u"3");
            EXPECT_EQ(opened.manager.getNextSignatureID(), u"4");
            EXPECT_EQ(sign(opened).getName(), u"sig5");
            opened.manager.removeSignature(u"sig5");
            opened.manager.removeCountersignature();
        });
    zip = changed(zip, [](Opened& opened) { EXPECT_EQ(sign(opened).getName(), u"sig3") << "gaps are not filled"; });
    EXPECT_EQ(verdictOn(zip), "valid");
    changed(zip, [&](Opened& opened) {
        const Part part = opened.package.getPart(PartName(start + u"sig3.xml"));
        testing::internal::CaptureStderr();
        for (const char16_t* const id : {u"17", u"9", u"other", u"99999999999999999999"})
            opened.manager.updateNextSignatureID(id, part);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "Internal exception: Out of range. Trying to get numeric ID from 99999999999999999999\n");
        EXPECT_EQ(opened.manager.getNextSignatureID(), u"18");
    });
}

TEST(Signing, WorksInEveryStore) {
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

} // namespace

} // namespace opc::model::test
