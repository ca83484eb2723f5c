// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"
#include "signatures/PlainSignatureReader.hpp"
#include "signatures/SignatureDocumentReader.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>

#include <boost/regex.hpp>

#include <set>

namespace opc::model::test {

namespace {

const std::u16string SIGNATURE_TYPE =
    u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/signature";

/// All parts, with relationships of the document signed by their types and one by its Id.
Bytes signedByType() {
    return changed(
        letter().toZip(),
        [](Opened& opened) {
            const URI document = DOCUMENT.getURI();
            opened.manager.sign(opened.manager.getAllPartsAndRels().parts,
                                {{u"/", BY_ID, u"rId1"}, {document, BY_TYPE, u"urn:link"}, {document, BY_ID, u"rId10"}},
                                fixedKey(), params1024);
        });
}

/// Two signatures, of all and of a part, under a countersignature.
Bytes countersigned() {
    return changed(
        signedLetter(),
        [](Opened& opened) {
            opened.manager.sign({DOCUMENT}, {}, fixedKey(), params1024);
            countersign(opened);
        });
}

/// Under a countersignature, a signature of relationships by their types, that of signatures among them.
Bytes byTypeCountersigned() {
    return changed(
        signedLetter(),
        [](Opened& opened) {
            const URI document = DOCUMENT.getURI(), styles(u"/word/styles.xml"), origin(u"/_xmlsignatures/origin.sigs");
            opened.package.getPart(PartName(origin)).createInternalRelationship(u"urn:link", styles);
            opened.package.getPart(DOCUMENT).createInternalRelationship(SIGNATURE_TYPE, styles);
            opened.manager.sign({}, {{origin, BY_TYPE, u"urn:link"}, {document, BY_TYPE, SIGNATURE_TYPE}}, fixedKey(),
                                params1024);
            opened.manager.removeSignature(u"sig1");
            countersign(opened);
        });
}

/// Whether a part is read without a parser. Then that gives what the validating reader does.
bool isPlain(const std::string& part) {
    const Bytes bytes = toBytes(part);
    const auto plain = readPlainSignature(bytes, rulesOf(SignatureForm::Library), Limits{});
    if (!plain)
        return false;
    ByteArrayInAdaptor stream(bytes);
    std::ostringstream log, dumped, expected;
    const DigitalSignatureData data = SignatureDocumentReader().read(stream, rulesOf(SignatureForm::Library), log);
    prettyPrint(dumped, *plain);
    prettyPrint(expected, data);
    EXPECT_EQ(dumped.str(), expected.str());
    EXPECT_TRUE(plain->publicKey == data.publicKey && plain->certificate == data.certificate) << part;
    EXPECT_EQ(plain->certificateChain.getCertificates(), data.certificateChain.getCertificates());
    return true;
}

TEST(Tampering, EndsAsTheTableSays) {
    const std::map<std::string, Items> packages = {
        {"letter", letter()},
        {"some", Items(signedInPart())},
        {"whole", Items(signedLetter())},
        {"byType", Items(signedByType())},
        {"countersigned", Items(countersigned())},
        {"byTypeCountersigned", Items(byTypeCountersigned())},
    };
    for (const Fields& row : opc::test::readTable("signatures/changes.tsv")) {
        Items items = packages.at(row.at(1));
        change(items, row);
        isPlain(items.byName()[PART]);
        const std::string verdict = verdictOn(items.toZip());
        EXPECT_EQ(row.back() == "refused" ? verdict.substr(0, 7) : verdict, row.back()) << row[0] << ", " << row[1];
    }
}

TEST(Tampering, OfEachByteOfASignedPartIsSeen) {
    Items items{signedLetter()};
    const std::string core = "metadata/coreProperties.xml";
    const std::size_t keywords = items[core].find("one");
    for (const std::string name : {"word/document.xml", "word/styles.xml", "media/image.png", core.c_str()})
        for (std::size_t i = 0; i < items[name].size(); ++i) {
            items[name][i] ^= 1;
            const bool isKeyword = name == core && i >= keywords && i < keywords + 3;
            EXPECT_EQ(verdictOn(items.toZip()) == "valid", isKeyword) << name << " at " << i;
            items[name][i] ^= 1;
        }
    items.reverse();
    EXPECT_EQ(verdictOn(items.toZip(0)), "valid") << "another order of items, and no compression";

    Items wide = letter();
    std::string& text = wide[core];
    for (std::size_t i = 1; i <= text.size(); i += 2)
        text.insert(i, 1, '\0');
    text.insert(0, "\xFF\xFE");
    wide = Items(changed(wide.toZip(), sign));
    replaceIn(wide[core], std::string("<\0c\0p\0:\0k", 9), std::string("\0<\0c\0p\0:\0k", 10));
    EXPECT_NE(verdictOn(wide.toZip()), "valid") << "other characters of UTF-16";
}

/// All that a signature part says, by the certificate that it carries too.
class TamperingWithSignatures : public testing::Test {
protected:
    Bytes signedBy(const std::string& key, const std::string& certificate) const {
        return changed(
            letter().toZip(),
            [&](Opened& opened) {
                const auto bundle = ring.bundle({"-inkey", key + ".key", "-in", certificate + ".pem"});
                opened.manager.signPackage(bundle, noOptions(), params1024, TrustStore());
            });
    }

    Bytes signedInOfficeForm() const {
        return changed(
            letter().toZip(),
            [&](Opened& opened) {
                SigningOptions options;
                options.certificate = ring.certificate("leaf");
                options.validation = noOptions();
                auto signer = crypto::KeySigner::fromPEMOrDER(fixedKey());
                opened.manager.sign(opened.manager.getAllPartsAndRels(), signer, options);
            },
            SignatureForm::Office);
    }

    KeyRing ring;
    const TrustStore trust = ring.trust();
};

TEST_F(TamperingWithSignatures, NoTextAndNoAttributeIsLeftOut) {
    const auto isValid = [&](Bytes zip) {
        const Opened opened(zip, OpenMode::ReadOnly, SignatureForm::Library);
        return opened.manager.verifyAllSignatures(allOptions(), trust).isValid();
    };
    const boost::regex value("=\"([^\"]*)\"|>([^<]+)<");
    for (const Bytes& zip : {signedLetter(), signedByType(), signedBy("leaf", "leaf"),
                             signedLetter(SignatureForm::Standard), signedInOfficeForm()}) {
        ASSERT_TRUE(isValid(zip));
        Items items(zip);
        const std::string text = items[PART];
        EXPECT_EQ(isPlain(text), text.find("xmlns:pds=") != std::string::npos) << "in the library's form";
        const std::size_t start = text.find("<Signature "); // behind the XML declaration
        int count = 0;
        for (boost::sregex_iterator i(text.begin() + static_cast<long>(start), text.end(), value), end; i != end; ++i) {
            const std::size_t group = (*i)[1].matched ? 1 : 2;
            const std::string was = i->str(group);
            std::set<std::string> others{"", was + "A"};
            for (const std::size_t at : {std::size_t{0}, was.size() / 2, was.size() - 1}) {
                std::string other = was;
                other[at] = other[at] == 'B' ? 'C' : 'B';
                others.insert(other);
            }
            for (const std::string& other : others) {
                items[PART] = text;
                items[PART].replace(start + static_cast<std::size_t>(i->position(group)), was.size(), other);
                isPlain(items[PART]);
                bool valid = false;
                outcomeOf([&] { valid = isValid(items.toZip()); });
                EXPECT_FALSE(valid) << "\"" << was << "\" became \"" << other << '"';
            }
            ++count;
        }
        EXPECT_GT(count, 40);
    }
}

// What is not signed: white space, comments and instructions around what is, and in the elements that say who signed;
// two of those hold any text by their schema. There, a namespace may be declared, two have an Id, and a key stand
// twice.
/// @param form the standard form leaves comments out of what is signed, and is lenient about what is not.
void expectEveryPlaceToCount(Items items, SignatureForm form) {
    const bool isStandard = form == SignatureForm::Standard;
    const std::string text = items[PART];
    std::vector<std::string> within; // the elements around the place
    int places = 0;
    const auto expect = [&](std::string part, std::size_t at, const std::string& more, bool isHarmless) {
        items[PART] = part.insert(at, more);
        EXPECT_EQ(verdictOn(items.toZip(0)) == "valid", isHarmless) << more << " at " << at << " in " << part;
    };
    for (std::size_t at = text.find("<Signature "); at < text.size(); at = text.find('<', at), ++places) {
        const std::size_t end = text.find('>', at) + 1;
        const std::string name = text.substr(at + 1, text.find_first_of(" />", at + 2) - at - 1);
        const bool isEnd = name[0] == '/', isEmpty = text[end - 2] == '/';
        if (!isEnd)
            within.push_back(name);
        const auto isWithin = [&](const char* one) { return std::count(within.begin(), within.end(), one) != 0; };
        const bool isTagSigned = isWithin("SignedInfo") || isWithin("Object");
        if (!isEnd) {
            const std::size_t behind = isEmpty ? end : text.find("</" + name + '>', at) + name.size() + 3;
            expect(std::string(text).erase(at, behind - at), 0, "", false);
            expect(text, at + 1 + name.size(), " xmlns:x=\"urn:x\"", !isTagSigned && name != "Signature");
            if (isTagSigned || !isStandard) {
                expect(text, at, text.substr(at, behind - at), name == "KeyValue");
                expect(text, at + 1 + name.size(), " Id=\"x\"", name == "KeyInfo" || name == "SignatureValue");
            }
        }
        if (isEnd || isEmpty)
            within.pop_back();
        at = end;
        const bool isSigned = isWithin("SignedInfo") || isWithin("Object");
        const bool isMixed = !within.empty() && (within.back() == "KeyInfo" || within.back() == "KeyValue");
        for (const std::string more : {" ", "<!--x-->", "<?x y?>"})
            expect(text, end, more, !isSigned || (isStandard && more[1] == '!'));
        if (isSigned || !isStandard) {
            expect(text, end, "x", isMixed);
            expect(text, end, "<x/>", false);
        }
    }
    EXPECT_TRUE(within.empty());
    EXPECT_GT(places, 60);
}

TEST(Tampering, WithAnyElementTagOrPlaceOfASignatureIsSeen) {
    expectEveryPlaceToCount(Items(signedByType()), SignatureForm::Library);
    expectEveryPlaceToCount(Items(signedLetter(SignatureForm::Standard)), SignatureForm::Standard);
}

TEST_F(TamperingWithSignatures, AnotherSignerIsNotTheOneWhoIsExpected) {
    ring.issue("stranger", "stranger", "");
    ring.issue("selfmade", "selfmade");
    const auto keyInfo = [](const Bytes& zip) { return elementOf(Items(zip)[PART], "KeyInfo"); };
    const Bytes bare = signedLetter(), certified = signedBy("leaf", "leaf"), strange = signedBy("stranger", "stranger");
    const Bytes theirs =
        changed(letter().toZip(), [&](Opened& o) { o.manager.signPackage(ring.keyOf("stranger"), params1024); });
    const struct {
        const char* what;
        Bytes zip, keyInfo;
        std::string own;    ///< the verdict by what the signature carries
        bool isOfTheSigner; ///< the verdict by the key, or certificate, of the signer who is expected
    } rows[] = {
        {"nothing was done", certified, certified, "trusted", true},
        {"another key", bare, theirs, "invalid", true},
        {"another certificate", certified, strange, "invalid", true},
        {"another certificate for the key", certified, signedBy("leaf", "selfmade"), "not trusted", true},
        {"another key instead of the certificate", certified, theirs, "invalid", true},
        {"the key instead of the certificate", certified, bare, "nobody vouches", true},
        {"signed anew by a key", theirs, theirs, "nobody vouches", false},
        {"signed anew by a certificate", strange, strange, "not trusted", false},
    };
    for (const auto& row : rows) {
        Items items(row.zip);
        replaceIn(items[PART], keyInfo(row.zip), keyInfo(row.keyInfo));
        Bytes zip = items.toZip();
        const Opened opened(zip, OpenMode::ReadOnly);
        const DigitalSignatureManager& manager = opened.manager;
        const DigitalSignature signature = manager.getSignature(u"sig1");
        const SignatureReport report = manager.examineSignature(signature, allOptions(), trust);
        EXPECT_EQ(!report.isSignatureValid()                ? "invalid"
                  : report.keySource == KeySource::KeyValue ? "nobody vouches"
                  : report.getStatus().isValid()            ? "trusted"
                                                            : "not trusted",
                  row.own)
            << row.what;
        EXPECT_EQ(manager.verifySignature(signature, publicKeyOf(fixedKey())).isValid(), row.isOfTheSigner) << row.what;
        EXPECT_EQ(manager.verifySignature(signature, ring.certificate("leaf"), {}, allOptions(), trust).isValid(),
                  row.isOfTheSigner)
            << row.what;
    }
}

} // namespace

} // namespace opc::model::test
