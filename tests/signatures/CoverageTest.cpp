// SPDX-License-Identifier: Apache-2.0
#include "signatures/KeyRing.hpp"
#include "signatures/Tampering.hpp"

namespace opc::model::test {

namespace {

const std::string office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
const std::string package = "http://schemas.openxmlformats.org/package/2006/relationships/";
const std::string root = "_rels/.rels", document = "word/_rels/document.xml.rels";
const std::string origin = "_xmlsignatures/_rels/origin.sigs.rels", types = "[Content_Types].xml";
const std::string vendor = "application/vnd.openxmlformats-";
const std::string appType = vendor + "officedocument.extended-properties+xml";
const std::string thumbnailType = package + "metadata/thumbnail";

Change relate(const std::string& item, const std::string& id, const std::string& type, const std::string& target) {
    return [=](Items& items) {
        if (items[item].empty())
            items[item] = "<Relationships "
                          "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\"></Relationships>";
        insert(item, "</Relationships>", relationship(id, type, target))(items);
    };
}

Change add(const std::string& part, const std::string& type) {
    return [=](Items& items) {
        items[part] = "<added/>";
        insert(types, "</Types>", "<Override PartName=\"/" + part + "\" ContentType=\"" + type + "\"/>")(items);
    };
}

/// A part that the package leads to.
Change lead(const std::string& type, const std::string& part, const std::string& contentType) {
    return both(add(part, contentType), relate(root, "new", type, part));
}

const Change nothing = [](Items&) {};
const Change thumbnail = lead(thumbnailType, "docProps/thumbnail.png", "image/png");

/// Whether a signature covers everything, and whether the content.
std::string coverageOf(const Opened& opened, const SignatureReport& report) {
    const auto isComplete = [&](CoverageScope scope) {
        return opened.manager.examineCoverage({report}, opened.physical.getOtherItems(), scope).at(0).isComplete();
    };
    return isComplete(CoverageScope::All) ? "all" : (isComplete(CoverageScope::Content) ? "content" : "less");
}

/// The same, of each signature.
std::string coverageOf(const Opened& opened) {
    std::string text;
    for (const SignatureReport& each : opened.manager.examineAllSignatures(noOptions(), TrustStore()))
        text += (text.empty() ? "" : " ") + toASCIIString(each.signature.getName()) +
                (each.isSignatureValid() ? ": " : " (invalid): ") + coverageOf(opened, each);
    return text;
}

DigitalSignature sign(Opened& opened) {
    return opened.manager.signPackage(fixedKey(), params1024);
}

TEST(Coverage, OfASignatureThatHoldsIsThatOfTheContent) {
    const std::string image = office + "image", signature = package + "digitalsignature/signature";
    const std::string certificate = package + "digital-signature/certificate",
                      sig1 = "_xmlsignatures/_rels/sig1.xml.rels";
    const std::string certificateType = vendor + "package.digital-signature-certificate";
    const auto dangling = [&](const std::string& target) { return relate(document, "gone", image, target); };
    const struct {
        const char* what;
        Change before; ///< it is signed
        Change after;
        std::string covered = "less";
    } rows[] = {
        {"nothing", nothing, nothing, "all"},
        {"a part", nothing, add("word/evil.xml", "application/xml")},
        {"a second main part", nothing,
         both(add("evil.xml", "application/xml"), relate(root, "a", "urn:main", "evil.xml"))},
        {"a relationship", nothing, relate(root, "a", "urn:main", "word/styles.xml")},
        {"an item that is no part", nothing, [](Items& items) { items["evil.bin"] = "x"; }},
        {"folders and trash", nothing, [](Items& items) { items["word/"] = items["[trash]/0000.dat"] = ""; }, "all"},
        {"trash that leads out", nothing, [](Items& items) { items["[trash]/.."] = ""; }},
        {"trash that a relationship leads to", dangling("/%5Btrash%5D/0"),
         [](Items& items) { items["[trash]/0"] = "x"; }},
        {"extended properties", nothing, lead(office + "extended-properties", "docProps/app.xml", appType), "content"},
        {"strict extended properties", nothing,
         lead("http://purl.oclc.org/ooxml/officeDocument/relationships/extendedProperties", "p.xml", appType),
         "content"},
        {"a thumbnail", nothing, thumbnail, "content"},
        {"a thumbnail that is not there", nothing, relate(root, "a", thumbnailType, "none.png"), "content"},
        {"two thumbnails", nothing, both(thumbnail, relate(root, "a", thumbnailType, "media/image.png"))},
        {"core properties in another spelling, beside those that are signed", nothing,
         lead("http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties", "c.xml",
              vendor + "package.core-properties+xml")},
        {"a thumbnail of a part", nothing,
         both(add("a.png", "image/png"), relate(document, "a", thumbnailType, "/a.png"))},
        {"a thumbnail that is text", nothing, lead(thumbnailType, "a.xml", "application/xml")},
        {"a thumbnail that leads on", nothing,
         both(thumbnail, relate("docProps/_rels/thumbnail.png.rels", "a", "urn:x", "/word/styles.xml"))},
        {"a picture that was missing", dangling("../docProps/thumbnail.png"), thumbnail},
        {"a picture that was missing, in another case", dangling("/DocProps/Thumbnail.png"), thumbnail},
        {"a picture that was missing, in another spelling", dangling("../docProps/x/../thumbnail.png?x#y"), thumbnail},
        {"a picture that was missing, by a name that has the fragment", dangling("/a.png#x"),
         lead(thumbnailType, "a.png%23x", "image/png")},
        {"a picture that is said to be outside",
         both(dangling("../docProps/thumbnail.png"), edit(document, "gone\"", "gone\" TargetMode=\"External\"")),
         thumbnail},
        {"a thumbnail that was missing", relate(root, "a", thumbnailType, "a.png"), add("a.png", "image/png")},
        {"a thumbnail that two exceptions lead to",
         relate(root, "a", office + "extended-properties", "docProps/thumbnail.png"), thumbnail},
        {"a certificate beside the signature", nothing,
         both(add("a.cer", certificateType), relate(sig1, "a", certificate, "/a.cer")), "all"},
        {"a certificate that is something else", nothing,
         both(add("a.cer", "text/html"), relate(sig1, "a", certificate, "/a.cer"))},
        {"a certificate that was missing", dangling("/a.cer"),
         both(add("a.cer", certificateType), relate(sig1, "a", certificate, "/a.cer"))},
        {"an origin with something in it", nothing, [](Items& items) { items["_xmlsignatures/origin.sigs"] = "x"; }},
        {"an origin of another type", nothing, edit(types, "digital-signature-origin", "x")},
        {"a signature part of another type", nothing, edit(types, "digital-signaturexmlsignature+xml", "x")},
        {"a signature part that something leads to", dangling("/_xmlsignatures/sig1.xml"), nothing},
        {"a second origin", nothing, relate(root, "z", package + "digitalsignature/origin", "word/styles.xml")},
        {"another relationship of the origin", nothing, relate(origin, "a", image, "/word/styles.xml")},
        {"something else as a signature of a part", nothing, relate(document, "a", signature, "/word/styles.xml")},
    };
    for (const auto& row : rows) {
        Items items = letter();
        row.before(items);
        Items signedItems{changed(items.toZip(), [](Opened& opened) { sign(opened); })};
        row.after(signedItems);
        Bytes zip = signedItems.toZip();
        EXPECT_EQ(coverageOf(Opened(zip, OpenMode::ReadOnly)), "sig1: " + row.covered) << row.what;
    }
}

TEST(Coverage, IsThatOfEachSignatureByItself) {
    const struct {
        std::string covered;
        std::function<void(Opened&)> make;
    } rows[] = {
        {"sig1: all sig2: all", [](Opened& o) { sign(o), sign(o); }},
        {"sig1: all sig2: all sigcountersig: all",
         [](Opened& o) { sign(o), sign(o), o.manager.countersignAllSignatures(fixedKey(), params1024); }},
        {"sig1: all sigcountersig (invalid): less sig2: all",
         [](Opened& o) { sign(o), o.manager.countersignAllSignatures(fixedKey(), params1024), sign(o); }},
        {"sig2: all", [](Opened& o) { sign(o), sign(o), o.manager.removeSignature(u"sig1"); }},
        {"sigcountersig (invalid): less",
         [](Opened& o) {
             sign(o), o.manager.countersignAllSignatures(fixedKey(), params1024), o.manager.removeSignature(u"sig1");
         }},
        {"sig1: less sig2: less",
         [&](Opened& o) {
             const SigningRequest whole = o.manager.getAllPartsAndRels();
             o.manager.sign(whole.parts, {}, fixedKey(), params1024);
             o.manager.sign({}, whole.selectors, fixedKey(), params1024);
         }},
        {"sig1: less sig2: all",
         [&](Opened& o) {
             sign(o), o.package.createPart(PartName(u"/evil"), ContentType(u"a/b"), opc::test::PartInfo()), sign(o);
         }},
    };
    for (const auto& row : rows) {
        Bytes zip = letter().toZip();
        Opened opened(zip);
        row.make(opened);
        EXPECT_EQ(coverageOf(opened), row.covered);
    }
}

TEST(Coverage, NamesWhatIsCoveredAndWhatNot) {
    using Parts = std::vector<PartName>;
    const PartName image(u"/media/image.png"), core(u"/metadata/coreProperties.xml"), styles(u"/word/styles.xml");
    Bytes zip = letter().toZip();
    Opened opened(zip);
    DigitalSignatureManager& manager = opened.manager;
    const auto coverage = [&](std::size_t of) {
        return manager.examineCoverage(manager.examineAllSignatures(noOptions(), TrustStore()), {"a.bin", "b/"}).at(of);
    };
    manager.sign({DOCUMENT}, {{u"/", BY_ID, u"rId1"}}, fixedKey(), params1024);
    EXPECT_EQ(coverage(0).coveredParts, Parts{DOCUMENT});
    EXPECT_EQ(coverage(0).uncoveredParts, (Parts{image, styles}));
    EXPECT_EQ(coverage(0).exceptedParts, Parts{core});
    EXPECT_EQ(coverage(0).coveredRelationships, std::vector{opened.package.getRelationshipByID(u"rId1")});
    EXPECT_EQ(coverage(0).uncoveredRelationships.size(), 4U);
    EXPECT_EQ(coverage(0).exceptedRelationships.size(), 1U);
    EXPECT_EQ(coverage(0).otherItems, std::vector<std::string>{"a.bin"});
    EXPECT_EQ(coverage(0).exceptedItems, std::vector<std::string>{"b/"});
    EXPECT_EQ(coverage(0).externalTargets, 2U);
    EXPECT_EQ(manager.findSigningGaps({"a.bin", "b/"}).otherItems, std::vector<std::string>{"a.bin"});
    EXPECT_TRUE(manager.findSigningGaps().danglingRelationships.empty());

    sign(opened);
    opened.package.getPart(DOCUMENT).getOutputStream()->write(toBytes("x").data(), 1);
    opened.package.deletePart(image);
    EXPECT_EQ(coverage(1).coveredParts, (Parts{core, styles})) << "what else was signed still holds";
    EXPECT_EQ(manager.findSigningGaps().danglingRelationships.at(0).getID(), u"rId10");
    for (const DigitalSignature& each : manager.getSignatures())
        each.getImpl()->objects.at(0).xmlBytes += u" ";
    EXPECT_TRUE(coverage(1).coveredParts.empty()) << "who changes a manifest may say that anything is covered";
}

} // namespace

} // namespace opc::model::test
