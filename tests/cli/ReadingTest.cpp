// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"

#include <gmock/gmock.h>

namespace opc::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

/// The flag of an item whose name is UTF-8 (APPNOTE §4.4.4); other names are read as code page 437.
constexpr unsigned utf8Name = 0x800;

class Reading : public CommandLine {
protected:
    Reading() { writeZip("letter.docx", letter()); }

    std::vector<json> relationshipsOf(const Arguments& arguments) const { return report(arguments)["relationships"]; }
};

TEST_F(Reading, InfoSaysWhatThePackageIsAndHolds) {
    const std::string size = std::to_string(read("letter.docx").size());
    const json found = report({"info", "letter.docx"});
    const json items = found["items"];
    EXPECT_EQ(good({"info", "letter.docx"}), "File           letter.docx\n"
                                             "Kind           Word document (.docx)\n"
                                             "Main part      /word/document.xml (" +
                                                 wordType + ")\n" +
                                                 "Parts          2\n"
                                                 "Relationships  4 (1 of the package, 3 of parts)\n"
                                                 "Size           1.2 KiB (" +
                                                 size + " bytes)\n" + "Content        1.1 KiB (" +
                                                 items["uncompressedSize"].dump() +
                                                 " bytes) in 6 items, compressed to " + items["compressedSize"].dump() +
                                                 " bytes\n"
                                                 "Properties     none\n"
                                                 "Other items    1, which are no parts and are kept as they are\n"
                                                 "               no content type for the extension \"dat\": "
                                                 "[trash]/0000.dat\n"
                                                 "Signatures     none\n");
}

TEST_F(Reading, InfoHasTheSameInJson) {
    std::uint64_t uncompressed = 0;
    for (const RawItem& item : letter())
        uncompressed += item.content.size();
    std::uint64_t compressed = 0;
    for (const RawEntry& entry : RawZipReader(readFile(folder_ / "letter.docx")).entries)
        compressed += entry.payload.size();
    EXPECT_EQ(report({"info", "letter.docx"}),
              json({{"version", 1},
                    {"command", "info"},
                    {"file", "letter.docx"},
                    {"kind", "Word document"},
                    {"extension", "docx"},
                    {"mainPart", {{"name", "/word/document.xml"}, {"contentType", wordType}}},
                    {"parts", 2},
                    {"relationshipsParts", 2},
                    {"relationships", {{"package", 1}, {"total", 4}}},
                    {"size", read("letter.docx").size()},
                    {"items", {{"count", 6}, {"uncompressedSize", uncompressed}, {"compressedSize", compressed}}},
                    {"coreProperties", nullptr},
                    {"otherItems", {"[trash]/0000.dat"}},
                    {"otherItemReasons",
                     {{{"reason", "no content type for the extension \"dat\""}, {"items", {"[trash]/0000.dat"}}}}},
                    {"signatures",
                     {{"origins", json::array()},
                      {"xml", json::array()},
                      {"pkcs7", json::array()},
                      {"standard", json::array()}}}}));
}

TEST_F(Reading, InfoOfAnEmptyPackageLeavesNothingOut) {
    good({"new", "empty.zip"});
    EXPECT_THAT(good({"info", "empty.zip"}), HasSubstr("Kind           OPC package\n"
                                                       "Main part      not found\n"
                                                       "Parts          0\n"
                                                       "Relationships  0 (0 of the package, 0 of parts)\n"));
    const json found = report({"info", "empty.zip"});
    EXPECT_EQ(found["extension"], nullptr);
    EXPECT_EQ(found["mainPart"], nullptr);
    EXPECT_EQ(good({"list", "empty.zip"}), "No parts.\n");
    EXPECT_EQ(good({"rels", "empty.zip"}), "No relationships.\n");
}

struct KindCase {
    std::string relationshipType;
    std::string contentType;
    std::string kind;
    std::string extension;
};

TEST_F(Reading, TheKindFollowsFromTheMainPart) {
    const std::string word = "application/vnd.openxmlformats-officedocument.wordprocessingml.";
    const std::string office = officeTypes + "/officeDocument";
    const std::string strict = "http://purl.oclc.org/ooxml/officeDocument/relationships/officeDocument";
    const KindCase cases[] = {
        {office, word + "template.main+xml", "Word template", "dotx"},
        {office, "application/vnd.ms-word.document.macroEnabled.main+xml", "Word document with macros", "docm"},
        {office, "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml", "Excel workbook",
         "xlsx"},
        {office, "application/vnd.ms-excel.sheet.binary.macroEnabled.main", "Excel binary workbook", "xlsb"},
        {office, "Application/VND.ms-powerpoint.slideshow.macroEnabled.main+xml; a=b",
         "PowerPoint slide show with macros", "ppsm"},
        {strict, word + "document.main+xml", "Word document (strict)", "docx"},
        {"http://schemas.microsoft.com/visio/2010/relationships/document", "application/vnd.ms-visio.stencil.main+xml",
         "Visio stencil", "vssx"},
        {"http://schemas.microsoft.com/xps/2005/06/fixedrepresentation", "a/b", "XPS document", "xps"},
        {"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel", "a/b", "3MF model", "3mf"},
        {"http://schemas.microsoft.com/packaging/2010/07/manifest", "application/octet", "NuGet package", "nupkg"},
        {"http://admin-shell.io/aasx/relationships/aasx-origin", "text/plain", "Asset Administration Shell package",
         "aasx"},
        {office, "application/xml", "OPC package", ""},
        {office + "/", word + "document.main+xml", "OPC package", ""},
    };
    for (const KindCase& each : cases) {
        writeZip("p.zip", {contentTypes({"/main=" + each.contentType}),
                           relationships("_rels/.rels", {{"a", each.relationshipType, "/MAIN"}}),
                           {"main", ""}});
        const json found = report({"info", "p.zip"});
        EXPECT_EQ(found["kind"], each.kind) << each.contentType;
        EXPECT_EQ(found["extension"], each.extension.empty() ? json() : json(each.extension)) << each.contentType;
    }
}

TEST_F(Reading, TheKindFollowsFromAWellKnownItemWhereNoRelationshipLeadsToAMainPart) {
    struct Case {
        std::string item;
        std::string kind;
    };
    for (const Case& each : {Case{"AppxManifest.xml", "MSIX or APPX package"},
                             Case{"AppxMetadata/AppxBundleManifest.xml", "MSIX or APPX bundle"},
                             Case{"extension.vsixmanifest", "VSIX extension"}}) {
        writeZip("p.zip", {contentTypes({"xml=text/xml"}), {each.item, ""}});
        EXPECT_EQ(report({"info", "p.zip"})["kind"], each.kind) << "even as an item that is no part";
    }
}

TEST_F(Reading, AMainPartThatIsNotThereIsNotNamed) {
    writeZip("p.zip",
             {contentTypes({}), relationships("_rels/.rels", {{"a", officeTypes + "/officeDocument", "/no"},
                                                              {"b", officeTypes + "/officeDocument", "c:/d"}})});
    EXPECT_EQ(report({"info", "p.zip"})["mainPart"], nullptr);
}

TEST_F(Reading, SignaturesAreFoundByTheTypesOfTheStandardAndOfTheLibrary) {
    const std::string origin = "application/vnd.openxmlformats-package.digital-signature-origin";
    for (const std::string word : {"digital-signature", "digitalsignature"}) {
        writeZip("p.zip",
                 {contentTypes({"xml=application/xml", "sigs=" + origin}),
                  relationships("_rels/.rels", {{"a", packageTypes + '/' + word + "/origin", "/s/o.sigs"}}),
                  {"s/o.sigs", ""},
                  relationships("s/_rels/o.sigs.rels", {{"b", packageTypes + '/' + word + "/signature", "1.xml"},
                                                        {"c", packageTypes + '/' + word + "/signature", "2.xml"}}),
                  {"s/1.xml", ""}});
        const json xml = {"/s/1.xml"};
        EXPECT_EQ(report({"info", "p.zip"})["signatures"],
                  json({{"origins", {"/s/o.sigs"}},
                        {"xml", xml},
                        {"pkcs7", json::array()},
                        {"standard", word == "digitalsignature" ? json::array() : xml}}))
            << word;
    }
}

TEST_F(Reading, SignaturesAreFoundWithoutRelationshipsToo) {
    const std::string type = "application/vnd.openxmlformats-package.digital-signature-";
    writeZip("p.zip", {contentTypes({"sigs=" + type + "origin", "xml=" + type + "xmlsignature+xml",
                                     "p7x=application/vnd.ms-appx.signature"}),
                       {"o.sigs", ""},
                       {"sig.xml", ""},
                       {"AppxSignature.p7x", ""}});
    EXPECT_THAT(good({"info", "p.zip"}),
                HasSubstr("Signatures     /sig.xml (XML signature)\n"
                          "               AppxSignature.p7x (PKCS#7 signature of the file)\n"));
    writeZip("p.zip", {contentTypes({"sigs=" + type + "origin"}), {"o.sigs", ""}});
    EXPECT_THAT(good({"info", "p.zip"}), HasSubstr("Signatures     none, but an origin for them\n"));
}

TEST_F(Reading, ListShowsPartsByNameAndOtherItemsApart) {
    EXPECT_EQ(good({"list", "letter.docx"}), "SIZE  RELS  NAME                TYPE\n"
                                             "  32     3  /word/document.xml  " +
                                                 wordType + "\n" +
                                                 "   9     0  /word/styles.xml    application/xml\n"
                                                 "\n"
                                                 "Other items of the ZIP file, which are no parts:\n"
                                                 "SIZE  NAME              REASON\n"
                                                 "   8  [trash]/0000.dat  no content type for the extension \"dat\"\n");
    json found = report({"list", "letter.docx"});
    for (json& part : found["parts"])
        part.erase("compressedSize");
    EXPECT_EQ(
        found,
        json({{"version", 1},
              {"command", "list"},
              {"file", "letter.docx"},
              {"parts",
               {{{"name", "/word/document.xml"}, {"contentType", wordType}, {"size", 32}, {"relationships", 3}},
                {{"name", "/word/styles.xml"}, {"contentType", "application/xml"}, {"size", 9}, {"relationships", 0}}}},
              {"otherItems",
               {{{"name", "[trash]/0000.dat"},
                 {"size", 8},
                 {"compressedSize", 8},
                 {"reason", "no content type for the extension \"dat\""}}}}}));
}

TEST_F(Reading, InfoSaysWhyItemsAreNoParts) {
    writeZip("p.zip", {contentTypes({"xml=a/b"}),
                       {"xl\\book.xml", ""},
                       {"a.jpg", ""},
                       {"folder/", ""},
                       {"b.jpg", ""},
                       {"c.jpg", ""},
                       {"d.jpg", ""},
                       {"word//a.xml", ""},
                       {"LICENSE", ""},
                       {"a./b.xml", ""},
                       {"a%2Fb.xml", ""},
                       {"c.xml/[1].piece", ""},
                       {"_rels/a.jpg.rels", ""}});
    const std::string start = "Other items    12, which are no parts and are kept as they are\n";
    EXPECT_THAT(good({"info", "p.zip"}),
                HasSubstr(start +
                          "               a backslash in the name: xl\\book.xml\n"
                          "               no content type for the extension \"jpg\": a.jpg, b.jpg, c.jpg and 1 more\n"
                          "               a folder: folder/\n"
                          "               an empty segment in the name: word//a.xml\n"
                          "               no content type, and no extension: LICENSE\n"
                          "               a segment of the name ends with a dot: a./b.xml\n"
                          "               an escape in the name that no part name has: a%2Fb.xml\n"
                          "               a piece of a part whose pieces are not complete: c.xml/[1].piece\n"
                          "               the relationships of an item that is no part: _rels/a.jpg.rels\n"));
    const json found = report({"info", "p.zip"})["otherItemReasons"];
    EXPECT_EQ(found.size(), 9U);
    EXPECT_EQ(found[1]["items"], json({"a.jpg", "b.jpg", "c.jpg", "d.jpg"}));
}

TEST_F(Reading, RelsResolvesTargetsAndCountsIDsAsPeopleDo) {
    EXPECT_EQ(good({"rels", "letter.docx", "/word/document.xml"}),
              "ID     MODE      TARGET                RESOLVED                   TYPE\n"
              "rId2   internal  ../media/gone.png     /media/gone.png (missing)  " +
                  officeTypes + "/image\n" +
                  "rId3   external  https://example.org/  https://example.org/       http://link\n"
                  "rId10  internal  styles.xml            /word/styles.xml           " +
                  officeTypes + "/styles\n");
    const json found = report({"rels", "letter.docx", "/word/document.xml"});
    EXPECT_EQ(found["relationships"][0], json({{"source", "/word/document.xml"},
                                               {"id", "rId2"},
                                               {"type", officeTypes + "/image"},
                                               {"target", "../media/gone.png"},
                                               {"mode", "internal"},
                                               {"resolved", "/media/gone.png"},
                                               {"exists", false}}));
    EXPECT_EQ(found["relationships"][1]["mode"], "external");
    EXPECT_EQ(found["relationships"][1]["exists"], nullptr);
    EXPECT_EQ(found["relationships"][2]["exists"], true);
}

TEST_F(Reading, RelsTakesThePackageAPartOrEverySource) {
    const std::string ofPackage = good({"rels", "letter.docx"});
    EXPECT_THAT(ofPackage, HasSubstr("/word/document.xml"));
    EXPECT_EQ(good({"rels", "letter.docx", "/"}), ofPackage);
    EXPECT_EQ(good({"rels", "letter.docx", "/word/styles.xml"}), "No relationships.\n");
    EXPECT_EQ(good({"rels", "letter.docx", "word/DOCUMENT.xml"}), good({"rels", "letter.docx", "/word/document.xml"}));

    std::vector<std::string> sources;
    for (const json& each : relationshipsOf({"rels", "letter.docx", "--all"}))
        sources.push_back(each["source"]);
    EXPECT_THAT(sources, testing::ElementsAre("/", "/word/document.xml", "/word/document.xml", "/word/document.xml"));
    EXPECT_THAT(good({"rels", "letter.docx", "--all"}), HasSubstr("SOURCE              ID     MODE"));
}

TEST_F(Reading, ATargetNeedsNoPartOfItsOwnToBeShown) {
    writeZip("p.zip", {contentTypes({"xml=a/b"}),
                       relationships("_rels/.rels", {{"a", "t", "C:/x.xml"},
                                                     {"b", "t", "//host/p.xml"},
                                                     {"c", "t", "P.xml?q#f"},
                                                     {"d", "t", "_rels/.rels"},
                                                     {"e", "t", "C:\\x y", true}}),
                       {"p.xml", ""}});
    std::string found;
    for (const json& each : relationshipsOf({"rels", "p.zip"}))
        found += each["id"].get<std::string>() + ' ' + each["resolved"].dump() + ' ' + each["exists"].dump() + '\n';
    EXPECT_EQ(found, "a \"C:/x.xml\" false\n"
                     "b \"//host/p.xml\" false\n"
                     "c \"/P.xml?q#f\" true\n"
                     "d \"/_rels/.rels\" true\n"
                     "e \"C:/x%20y\" null\n");
}

TEST_F(Reading, CatFindsAnItemByEveryNameThatCanMeanItAlone) {
    const std::string all = std::string("\0\1\xFF\r\n", 5) + std::string(200000, 'x');
    writeZip("p.zip", {contentTypes({"xml=a/b"}),
                       relationships("_rels/.rels", {{"a", "t", "x"}}),
                       {"a b.xml", "space"},
                       {"c%C3%A9.xml", "accent"},
                       {"d+e.xml", "plus"},
                       {"f%2Bg.xml", "escaped plus"},
                       {"all.xml", all},
                       {"folder/", ""},
                       {"not a part", "other"}});
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/a b.xml", "space"},
        {"a b.xml", "space"},
        {"/A%20B.XML", "space"},
        {"cé.xml", "accent"},
        {"/c%c3%a9.xml", "accent"},
        {"d+e.xml", "plus"},
        {"/f%2Bg.xml", "escaped plus"},
        {"/f+g.xml", "escaped plus"},
        {"/d%2Be.xml", "plus"},
        {"/all.xml", all},
        {"not a part", "other"},
        {"/not a part", "other"},
        {"folder/", ""},
        {"_rels/.rels", relationships("", {{"a", "t", "x"}}).content},
        {"[Content_Types].xml", contentTypes({"xml=a/b"}).content},
        {"/[CONTENT_types].xml", contentTypes({"xml=a/b"}).content},
    };
    for (const auto& [item, content] : cases)
        EXPECT_EQ(good({"cat", "p.zip", item}), content) << item;
}

TEST_F(Reading, CatRefusesANameThatMayMeanTwoItems) {
    writeZip("p.zip", {contentTypes({"xml=a/b"}), {"a%2Bb%3Dc.xml", "one"}, {"a+b%3Dc.xml", "two"}});
    EXPECT_EQ(good({"cat", "p.zip", "a+b%3Dc.xml"}), "two");
    const ProcessResult result = opcraft({"cat", "p.zip", "a+b=c.xml"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "opcraft: p.zip: a+b=c.xml: this may mean any of a%2Bb%3Dc.xml, a+b%3Dc.xml\n");
    EXPECT_EQ(result.out, "");
}

TEST_F(Reading, CatReadsSoundItemsOfAPackageThatDoesNotOpen) {
    writeZip("p.zip", {{"[Content_Types].xml", "<no types"}, {"a.xml", "sound"}, {"b.xml", "broken", 0, 0, 1}});
    EXPECT_EQ(opcraft({"info", "p.zip"}).exitCode, 2);
    EXPECT_EQ(good({"cat", "p.zip", "a.xml"}), "sound");
    EXPECT_EQ(good({"cat", "p.zip", "[Content_Types].xml"}), "<no types");
    EXPECT_EQ(opcraft({"cat", "p.zip", "b.xml"}).exitCode, 2);
}

TEST_F(Reading, TheStandardInputIsReadLikeAFile) {
    const std::string bytes = read("letter.docx");
    const std::string fromFile = good({"list", "letter.docx"});
    EXPECT_EQ(good({"list", "-"}, bytes), fromFile);
    EXPECT_EQ(good({"cat", "-", "/word/styles.xml"}, bytes), "<styles/>");
    json found = json::parse(good({"info", "-", "--json"}, bytes));
    EXPECT_EQ(found["file"], "-");
    found["file"] = "letter.docx";
    EXPECT_EQ(found, report({"info", "letter.docx"}));
    EXPECT_EQ(good({"list", "/dev/stdin"}, bytes), fromFile) << "another name of a stream";
}

TEST_F(Reading, NothingOutOfAPackageSteersTheTerminal) {
    const std::string name = "a\n\u009B31m\u202E";
    writeZip("p.zip", {contentTypes({"xml=a/b"}),
                       relationships("_rels/.rels", {{"a", "t", "http://x/&#x9B;31m&#x202E;&#x7F;ü", true}}),
                       {"a.xml", ""},
                       {name, "other", 0, utf8Name}});
    for (const char* command : {"info", "list", "rels"})
        for (const Arguments& arguments : {Arguments{command, "p.zip"}, Arguments{command, "p.zip", "--json"}}) {
            const std::string out = good(arguments);
            EXPECT_THAT(out, Not(HasSubstr("\x1B"))) << command;
            EXPECT_THAT(out, Not(HasSubstr("\x7F"))) << command;
            EXPECT_THAT(out, Not(HasSubstr("\xC2\x9B"))) << command;
            EXPECT_THAT(out, Not(HasSubstr("\xE2\x80\xAE"))) << command;
        }
    EXPECT_THAT(good({"rels", "p.zip"}), HasSubstr("http://x/\\x9B31m\\u202E\\x7Fü"));
    EXPECT_THAT(good({"list", "p.zip"}), HasSubstr("   5  a\\x0A\\x9B31m\\u202E  no content type, and no extension\n"));
    EXPECT_EQ(report({"list", "p.zip"})["otherItems"][0]["name"], name);
    EXPECT_EQ(good({"cat", "p.zip", name}), "other");

    EXPECT_EQ(opcraft({"cat", "p.zip", "no\x1B[31m\n"}).err,
              "opcraft: p.zip: no\\x1B[31m\\x0A: no such item; 'opcraft list' shows the parts of a package\n");
    writeZip("p.zip", {contentTypes({"xml=a/b&#x9B;"})});
    EXPECT_THAT(opcraft({"info", "p.zip"}).err, HasSubstr("a/b\\x9B"));
}

} // namespace
} // namespace opc::test
