// SPDX-License-Identifier: Apache-2.0
#include "signatures/Tampering.hpp"
#include "signatures/KeyRing.hpp"

#include <boost/regex.hpp>

namespace opc::model::test {

namespace {

const std::string TYPES = "[Content_Types].xml", MAIN = "_rels/.rels", RELS = "word/_rels/document.xml.rels";
const std::string ORIGIN_RELS = "_xmlsignatures/_rels/origin.sigs.rels";
const std::string CORE = "metadata/coreProperties.xml";
const std::string KEYWORDS = "<cp:keywords>one</cp:keywords>";

/// The letter, with relationships of the document signed by their types and one by its Id.
Bytes letterSignedByType() {
    return changed(letter().toZip(), [](Opened& opened) {
        const URI document = DOCUMENT.getURI();
        opened.manager.sign(opened.manager.getAllPartsAndRels().parts,
                            {{u"/", BY_ID, u"rId1"}, {document, BY_TYPE, u"urn:link"}, {document, BY_ID, u"rId10"}},
                            fixedKey(), params1024);
    });
}

TEST(Tampering, OfEachByteOfASignedPartIsSeen) {
    Items items{signedLetter()};
    const std::size_t keywords = items[CORE].find("one");
    for (const std::string& name :
         {std::string("word/document.xml"), std::string("word/styles.xml"), std::string("media/image.png"), CORE})
        for (std::size_t i = 0; i < items[name].size(); ++i) {
            items[name][i] ^= 1;
            const bool isKeyword = name == CORE && i >= keywords && i < keywords + 3;
            EXPECT_EQ(verdictOn(items.toZip()), isKeyword ? "valid" : "invalid") << name << " at " << i;
            items[name][i] ^= 1;
        }
}

TEST(Tampering, OfWhatIsSignedIsSeen) {
    const std::string end = "</Relationships>", noPart = "refused: Part referenced to by the signature is not present ";
    const std::string notPresent = " referenced to in the signature is not present in the ";
    const std::string types = "http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/";
    Items other = letter();
    other["word/document.xml"] = "<document>Dear Bob</document>";
    other = Items(changed(other.toZip(), [](Opened& o) { o.manager.signPackage(fixedKey(), params1024); }));
    const std::vector<Tampering> rows = {
        {"a content type", edit(TYPES, "image/png", "image/gif"), "invalid"},
        {"the case of a content type", edit(TYPES, "image/png", "image/PNG"), "invalid"},
        {"a content type gets a parameter", edit(TYPES, "image/png", "image/png;a=b"), "invalid"},
        {"the case of the one of relationships parts", edit(TYPES, "ships+xml", "ships+XML"), "invalid"},
        {"the case of a name",
         [](Items& items) {
             items["media/Image.png"] = items["media/image.png"];
             items.erase("media/image.png");
         },
         "invalid"},
        {"the case of the name of relationships",
         [](Items& items) {
             items["word/_rels/Document.xml.rels"] = items[RELS];
             items.erase(RELS);
         },
         "invalid"},
        {"one part gets its own",
         insert(TYPES, "<Override", "<Override PartName=\"/word/styles.xml\" ContentType=\"text/xml\"/>"), "invalid"},
        {"a target", edit(RELS, "http://example.org/two", "http://example.org/too"), "invalid"},
        {"the target of one that was chosen by its Id", edit(RELS, "/media/image.png", "styles.xml"), "invalid"},
        {"only the spelling of a target", edit(RELS, "/media/image.png", "../media/image.png"), "invalid"},
        {"a blank behind a target, and an item that other programs take for it",
         both(edit(MAIN, "document.xml\"", "document.xml \""),
              [](Items& items) { items["word/document.xml "] = "<document>Dear Bob</document>"; }),
         "refused: In /_rels/.rels: Target is not a valid URI for an internal relationship"},
        {"a blank behind an external target", edit(RELS, "/two", "/two "), "invalid"},
        {"a line break before an external target", edit(RELS, "http://example.org/two", "&#10;http://example.org/two"),
         "invalid"},
        {"a blank behind a type", edit(RELS, "urn:link", "urn:link "),
         "refused: In /word/_rels/document.xml.rels: Type is not a valid URI"},
        {"a blank behind an Id", edit(RELS, "\"rId10\"", "\"rId10 \""),
         "refused: In /word/_rels/document.xml.rels: Relationship ID is not a valid xsd::ID"},
        {"a type", edit(RELS, "urn:picture", "urn:sound"), "invalid"},
        {"the type of one that was chosen by it", edit(RELS, "urn:link", "urn:other"), "invalid"},
        {"all of a type", both(edit(RELS, "urn:link", "urn:other"), edit(RELS, "urn:link", "urn:other")),
         "refused: Relationship with Type urn:link" + notPresent + "/word/document.xml"},
        {"a mode", edit(RELS, "Internal", "External"), "invalid"},
        {"the other mode", edit(RELS, "two\" TargetMode=\"External\"", "two\""), "invalid"},
        {"an Id", edit(RELS, "rId10", "rId11"),
         "refused: Relationship with ID rId10" + notPresent + "/word/document.xml"},
        {"the Id of one that was chosen by its type", edit(RELS, "rId3", "rId4"), "invalid"},
        {"one less", edit(RELS, relationship("rId3", "urn:link", "http://example.org/two\" TargetMode=\"External"), ""),
         "invalid"},
        {"none any longer", erase(RELS), "refused: Relationship with ID rId10" + notPresent + "/word/document.xml"},
        {"one more of a signed type", insert(RELS, end, relationship("x", "urn:link", "/a")), "invalid"},
        {"a package relationship", edit("_rels/.rels", "urn:main", "urn:side"), "invalid"},
        {"a package relationship less", edit("_rels/.rels", "Id=\"rId1\"", "Id=\"rId9\""),
         "refused: Relationship with ID rId1" + notPresent + "package"},
        {"a part less", erase("media/image.png"), noPart + "in the package."},
        {"a signature of another package", [&](Items& items) { items[PART] = other[PART]; }, "invalid"},
        {"a signature that is not there", erase(PART)},
        {"two ways to one signature", insert(ORIGIN_RELS, end, relationship("x", types + "signature", "sig1.xml")),
         "refused: Two relationships lead to the signature part /_xmlsignatures/sig1.xml"},
    };
    expectVerdicts(letterSignedByType(), rows);
}

TEST(Tampering, OfWhatIsNotSignedDoesNotMatter) {
    const std::vector<Tampering> rows = {
        {"a part more", [](Items& items) { items["word/more.xml"] = "<more/>"; }, "valid"},
        {"an item that is no part", [](Items& items) { items["word/"] = ""; }, "valid"},
        {"a relationship that was not chosen", edit(RELS, "urn:styles", "urn:fonts"), "valid"},
        {"one more", insert(RELS, "</Relationships>", relationship("x", "urn:other", "/a")), "valid"},
        {"white space between relationships", edit(RELS, "/>", " />\n\n  "), "valid"},
        {"a comment between them", insert(RELS, "<Relationship ", "<!-- -->"), "valid"},
        {"the default mode not written", edit(RELS, " TargetMode=\"Internal\"", ""), "valid"},
        {"a target by another reference to a character", edit(RELS, "?a=1&amp;", "?a=1&#38;"), "valid"},
        {"another order of items", [](Items& items) { items.reverse(); }, "valid"},
    };
    expectVerdicts(letterSignedByType(), rows);
    EXPECT_EQ(verdictOn(Items(letterSignedByType()).toZip(0)), "valid") << "no compression";
    Items typed = letter();
    typed.replace(TYPES, "image/png", "image/png;b=1;a=2");
    expectVerdicts(changed(typed.toZip(), [](Opened& o) { o.manager.signPackage(fixedKey(), params1024); }),
                   {{"spaces and order of parameters", edit(TYPES, "g;a=2;b=1", "g ; b=1;  a=2"), "valid"},
                    {"the case of a parameter", edit(TYPES, "g;a=2;b=1", "g;A=2;b=1"), "invalid"}});
}

TEST(Tampering, OfTheKeywordsAloneDoesNotMatter) {
    const std::string title = "<dc:title>Evil</dc:title>", end = "</cp:coreProperties>";
    const auto is = [](const std::string& text) { return edit(CORE, KEYWORDS, text); };
    const std::vector<Tampering> rows = {
        {"other ones", is("<cp:keywords>two &lt;/cp:keywords&gt; > three</cp:keywords>"), "valid"},
        {"single ones", is("<cp:keywords>a<cp:value xml:lang=\"en\">b</cp:value><cp:value\n/></cp:keywords>"), "valid"},
        {"empty ones", is("<cp:keywords></cp:keywords>"), "valid"},
        {"none", is(""), "valid"},
        {"elsewhere", both(is(""), insert(CORE, end, KEYWORDS)), "valid"},
        {"in the title", both(is(""), insert(CORE, "Letter", KEYWORDS))},
        {"behind the text of the title", both(is(""), insert(CORE, "</dc:title>", KEYWORDS))},
        {"in front of the root", both(is(""), insert(CORE, "<cp:coreProperties", KEYWORDS))},
        {"behind the root", both(is(""), [](Items& items) { items[CORE] += KEYWORDS; })},
        {"a title", is(KEYWORDS + title)},
        {"inside", is("<cp:keywords>" + title + "</cp:keywords>")},
        {"behind an end tag with a space", is("<cp:keywords>a</cp:keywords >" + title + "</cp:keywords>")},
        {"between two", is("<cp:keywords>a</cp:keywords\n>" + title + "<cp:keywords\t>b</cp:keywords>")},
        {"between two that look alike", is(KEYWORDS + title + KEYWORDS)},
        {"in single ones", is("<cp:keywords><cp:value>" + title + "</cp:value></cp:keywords>")},
        {"behind an end in a comment", is("<cp:keywords><!--</cp:keywords>-->" + title + "</cp:keywords>")},
        {"behind a comment", is("<cp:keywords>a</cp:keywords ><!--x-->" + title + "<!--</cp:keywords>-->")},
        {"behind an end in CDATA", is("<cp:keywords><![CDATA[</cp:keywords>]]></cp:keywords>" + title)},
        {"in CDATA", is("<cp:keywords><![CDATA[" + title + "]]></cp:keywords>")},
        {"behind an end in an instruction", is("<cp:keywords><?a </cp:keywords>?></cp:keywords>" + title)},
        {"an element that only looks like one", is("<cp:keywords><cp:valued>a</cp:valued></cp:keywords>")},
        {"a start tag with a space", is("<cp:keywords >one</cp:keywords>")},
        {"an empty tag", is("<cp:keywords/>")},
        {"an end before the start", is("<!--</cp:keywords>--><cp:keywords>two</cp:keywords>")},
    };
    expectVerdicts(signedLetter(), rows);

    Items odd = letter();
    odd.replace(CORE, "<cp:core", "<!--<a>--><?a <b>?><cp:core");
    odd.replace(CORE, KEYWORDS, "<dc:creator xml:lang='>'/><dc:subject><![CDATA[<a>]]></dc:subject>");
    const Bytes zip = changed(odd.toZip(), [](Opened& o) { o.manager.signPackage(fixedKey(), params1024); });
    expectVerdicts(zip, {{"new ones behind what only looks like tags", insert(CORE, "<dc:title>", KEYWORDS), "valid"},
                         {"ones in CDATA", insert(CORE, "]]>", KEYWORDS)},
                         {"ones in a comment", insert(CORE, "-->", KEYWORDS)},
                         {"ones in an instruction", insert(CORE, "?>", KEYWORDS)},
                         {"ones in an attribute", insert(CORE, ">'", KEYWORDS)}});
    Items wide = letter();
    const std::string narrow = wide[CORE];
    wide[CORE] = "\xFF\xFE";
    for (const char each : narrow)
        wide[CORE] += {each, '\0'};
    expectVerdicts(changed(wide.toZip(), [](Opened& o) { o.manager.signPackage(fixedKey(), params1024); }),
                   {{"other characters of UTF-16", insert(CORE, std::string("<\0c\0p\0:\0k", 9), KEYWORDS)}});
}

/// All that a signature part says, by the certificate that it carries too.
class TamperingWithSignatures : public testing::Test {
protected:
    TamperingWithSignatures() { ring.issue("leaf"); }

    bool isValid(Bytes zip) const {
        try {
            const Opened opened(zip, OpenMode::ReadOnly);
            return opened.manager.verifyAllSignatures(allOptions(), trust).isValid();
        } catch (const InvalidSignature&) {
            return false;
        }
    }

    Bytes signedBy(const std::string& key, const std::string& certificate) const {
        return changed(letter().toZip(), [&](Opened& opened) {
            const auto bundle = ring.bundle({"-inkey", key + ".key", "-in", certificate + ".pem"});
            opened.manager.signPackage(bundle, noOptions(), params1024, TrustStore());
        });
    }

    KeyRing ring;
    const TrustStore trust = ring.trust("root");
};

TEST_F(TamperingWithSignatures, NoTextAndNoAttributeIsLeftOut) {
    const boost::regex value("=\"([^\"]*)\"|>([^<]+)<");
    for (const Bytes& zip : {signedLetter(), letterSignedByType(), signedBy("leaf", "leaf")}) {
        ASSERT_TRUE(isValid(zip));
        Items items(zip);
        const std::string text = items[PART];
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
                EXPECT_FALSE(isValid(items.toZip())) << "\"" << was << "\" became \"" << other << '"';
            }
            ++count;
        }
        EXPECT_GT(count, 40);
    }
}

// What is not signed: white space, comments and instructions around what is, and in the elements that say who signed;
// two of those hold any text by their schema.
TEST_F(TamperingWithSignatures, NothingFitsBetweenWhatIsSigned) {
    Items items(letterSignedByType());
    const std::string text = items[PART];
    std::vector<std::string> within; // the elements around the place
    int places = 0;
    for (std::size_t at = text.find("<Signature "); at < text.size(); at = text.find('<', at), ++places) {
        const std::size_t end = text.find('>', at) + 1;
        if (text[at + 1] == '/')
            within.pop_back();
        else if (text[end - 2] != '/')
            within.push_back(text.substr(at + 1, text.find_first_of(" >", at) - at - 1));
        at = end;
        const auto isWithin = [&](const char* name) { return std::count(within.begin(), within.end(), name) != 0; };
        const bool isSigned = isWithin("SignedInfo") || isWithin("Object");
        const bool isMixed = !within.empty() && (within.back() == "KeyInfo" || within.back() == "KeyValue");
        for (const char* const more : {" ", "<!--x-->", "<?x y?>", "x", "<x/>"}) {
            const bool isHarmless = *more == 'x' ? isMixed : !isSigned && std::string(more) != "<x/>";
            items[PART] = text;
            items[PART].insert(end, more);
            EXPECT_EQ(verdictOn(items.toZip()) == "valid", isHarmless) << more << " behind " << text.substr(0, end);
        }
    }
    EXPECT_TRUE(within.empty());
    EXPECT_GT(places, 60);
}

TEST_F(TamperingWithSignatures, NoManifestTakesThePlaceOfTheSignedOne) {
    const Bytes zip = signedLetter();
    const std::string text = Items(zip)[PART];
    const auto with = [](std::string in, const std::string& from, const std::string& to) {
        return in.replace(in.find(from), from.size(), to);
    };
    const std::string object = elementOf(text, "Object"), manifest = elementOf(object, "Manifest");
    const std::string reference = elementOf(object, "Reference"), info = elementOf(text, "SignedInfo");
    const std::string properties = elementOf(object, "SignatureProperties");
    const std::string forged = with(object, elementOf(object, "DigestValue"), "<DigestValue>AAAA</DigestValue>");
    const std::string elsewhere = with(object, "idSignatureTime", "time"); // an Id stands once
    const std::string old = with(elsewhere, "idPackageObject", "old");
    const std::string other = with(with(forged, "idPackageObject", "forged"), "idSignatureTime", "time");
    const std::string whole = text.substr(text.find("<Signature ")), toObject = elementOf(info, "Reference");
    const auto objects = [&](const std::string& others) { return edit(PART, object, others); };
    const auto inside = [&](const std::string& others) { return edit(PART, manifest + properties, others); };
    const auto more = [&](const std::string& end, const std::string& what) { return insert(PART, end, what); };
    const std::vector<Tampering> rows = {
        {"an object that nobody refers to", objects(object + other), "valid"},
        {"a forged one", objects(forged), "invalid"},
        {"the signed one kept behind it", objects(forged + old), "invalid"},
        {"the signed one kept before it", objects(old + forged), "invalid"},
        {"both by one Id", objects(elsewhere + forged), "refused: ID value 'idPackageObject' is not unique"},
        {"both the other way round", objects(forged + elsewhere)},
        {"inside of another one", objects("<Object Id=\"outer\">" + object + "</Object>"),
         "refused: XML signature: Could not find referenced object idPackageObject"},
        {"the signed one inside of it", objects(with(forged, "</Object>", old + "</Object>"))},
        {"inside of the signed one", objects(with(object, "</Object>", other + "</Object>"))},
        {"a reference to the old one",
         both(objects(old + forged), edit(PART, "URI=\"#idPackageObject\"", "URI=\"#old\""))},
        {"a reference to both",
         both(objects(other + object), more("</SignedInfo>", with(toObject, "#idPackageObject", "#forged")))},
        {"SignedInfo twice", more("<SignedInfo", info)},
        {"SignedInfo behind its object", both(edit(PART, info, ""), more("</Signature>", info))},
        {"a manifest twice", inside(manifest + manifest + properties)},
        {"a forged manifest first", inside(elementOf(forged, "Manifest") + manifest + properties)},
        {"the manifest behind", inside(properties + manifest), "invalid"},
        {"the manifest in the properties", inside(with(properties, "<pds:", manifest + "<pds:"))},
        {"the manifest outside of its object", both(edit(PART, manifest, ""), more("</Signature>", manifest))},
        {"an empty manifest", inside("<Manifest></Manifest>" + properties)},
        {"a reference less", edit(PART, reference, ""), "invalid"},
        {"a reference twice", edit(PART, reference, reference + reference), "invalid"},
        {"a signature in a signature",
         edit(PART, whole,
              "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><Object>" + whole + "</Object></Signature>")},
    };
    expectVerdicts(zip, rows);
}

TEST_F(TamperingWithSignatures, AnotherSignerIsNotTheOneWhoIsExpected) {
    ring.issue("stranger", "stranger", "");
    ring.issue("selfmade", "selfmade");
    const auto keyInfo = [](const Bytes& zip) { return elementOf(Items(zip)[PART], "KeyInfo"); };
    const Bytes bare = signedLetter(), certified = signedBy("leaf", "leaf");
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
        {"another certificate", certified, signedBy("stranger", "stranger"), "invalid", true},
        {"another certificate for the key", certified, signedBy("leaf", "selfmade"), "not trusted", true},
        {"another key instead of the certificate", certified, theirs, "invalid", true},
        {"the key instead of the certificate", certified, bare, "nobody vouches", true},
        {"signed anew by a key", theirs, theirs, "nobody vouches", false},
        {"signed anew by a certificate", signedBy("stranger", "stranger"), signedBy("stranger", "stranger"),
         "not trusted", false},
    };
    for (const auto& row : rows) {
        Items items(row.zip);
        items.replace(PART, keyInfo(row.zip), keyInfo(row.keyInfo));
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
