// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"

#include <gmock/gmock.h>

#include <filesystem>

namespace opc::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

const std::string thumbnailType = packageTypes + "/metadata/thumbnail";

/// Bytes with zeros among them.
template <std::size_t SIZE>
std::string bytes(const char (&text)[SIZE]) {
    return std::string(text, SIZE - 1);
}

const std::string png = bytes("\x89PNG\r\n\x1A\n\0\0\0\rIHDR...");
const std::string jpeg = "\xFF\xD8\xFF\xE0...";

/// A document with thumbnails, related as is told.
std::vector<RawItem> document(std::vector<Rel> packageRelationships, std::vector<Rel> partRelationships = {}) {
    packageRelationships.push_back({"rId1", officeTypes + "/officeDocument", "document.xml"});
    std::vector<RawItem> items{
        contentTypes({"xml=application/xml", "jpeg=image/jpeg", "png=image/png", "/document.xml=" + wordType}),
        relationships("_rels/.rels", packageRelationships),
        {"document.xml", "<document/>"},
        {"docProps/thumbnail.jpeg", jpeg},
        {"docProps/other.png", png}};
    if (!partRelationships.empty())
        items.push_back(relationships("_rels/document.xml.rels", partRelationships));
    return items;
}

const Rel usual{"rId2", thumbnailType, "docProps/thumbnail.jpeg"};

class Thumbnail : public CommandLine {
protected:
    Thumbnail() {
        write("new.png", png);
        writeZip("p.zip", document({usual}));
    }

    std::vector<std::string> partsOf(const std::string& file) const {
        std::vector<std::string> names;
        const json parts = report({"list", file})["parts"];
        for (const json& part : parts)
            names.push_back(part["name"]);
        return names;
    }

    /// "ID -> part" of every relationship of the package.
    std::vector<std::string> relationshipsOf(const std::string& file) const {
        std::vector<std::string> found;
        const json all = report({"rels", file, "/"})["relationships"];
        for (const json& each : all)
            found.push_back(each["id"].get<std::string>() + " -> " + each["resolved"].get<std::string>());
        return found;
    }

    void refuses(const Arguments& arguments, int exitCode, const std::string& error,
                 const std::string& input = {}) const {
        const std::string before = read("p.zip");
        const auto names = folder_.names();
        const ProcessResult result = opcraft(arguments, {input});
        EXPECT_EQ(result.exitCode, exitCode) << testing::PrintToString(arguments);
        EXPECT_EQ(result.err, "opcraft: " + error + '\n');
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(read("p.zip"), before);
        EXPECT_EQ(folder_.names(), names);
    }
};

TEST_F(Thumbnail, IsListedForEveryRelationshipToOne) {
    writeZip("p.zip", document({usual,
                                {"rId10", thumbnailType, "/DOCPROPS/thumbnail.jpeg#x"},
                                {"rId3", thumbnailType, "http://example.org/a.png", true},
                                {"rId4", thumbnailType, "gone.png"},
                                {"rId5", packageTypes + "/Metadata/thumbnail", "docProps/other.png"}},
                               {{"rId1", thumbnailType, "docProps/other.png"}}));
    EXPECT_EQ(good({"thumbnail", "p.zip"}), "ID     SIZE  NAME                                 TYPE\n"
                                            "rId2      7  /docProps/thumbnail.jpeg             image/jpeg\n"
                                            "rId3      -  http://example.org/a.png (external)  -\n"
                                            "rId4      -  gone.png (missing)                   -\n"
                                            "rId10     7  /docProps/thumbnail.jpeg             image/jpeg\n");
    EXPECT_EQ(report({"thumbnail", "p.zip"}), json::parse(R"({
        "version": 1, "command": "thumbnail", "file": "p.zip", "thumbnails": [
            {"id": "rId2", "target": "docProps/thumbnail.jpeg", "mode": "internal",
             "part": "/docProps/thumbnail.jpeg", "contentType": "image/jpeg", "size": 7},
            {"id": "rId3", "target": "http://example.org/a.png", "mode": "external",
             "part": null, "contentType": null, "size": null},
            {"id": "rId4", "target": "gone.png", "mode": "internal",
             "part": null, "contentType": null, "size": null},
            {"id": "rId10", "target": "/DOCPROPS/thumbnail.jpeg#x", "mode": "internal",
             "part": "/docProps/thumbnail.jpeg", "contentType": "image/jpeg", "size": 7}
        ]
    })"));
    writeZip("p.zip", letter());
    EXPECT_EQ(good({"thumbnail", "p.zip"}), "No thumbnail.\n");
    EXPECT_EQ(report({"thumbnail", "p.zip"})["thumbnails"], json::array());
}

TEST_F(Thumbnail, IsExtractedIntoANewFileOrToTheStandardOutput) {
    std::string large;
    for (std::uint32_t i = 0; i < 300000; ++i)
        large += static_cast<char>(i * i >> 3);
    std::vector<RawItem> items = document({{"rId2", thumbnailType, "gone.png"}, {"rId3", thumbnailType, usual.target}});
    items[3].content = large;
    writeZip("p.zip", items);
    EXPECT_EQ(good({"thumbnail", "p.zip", "--extract", "out.jpeg"}), "");
    EXPECT_EQ(read("out.jpeg"), large);
    EXPECT_EQ(good({"thumbnail", "p.zip", "--extract", "-"}), large);
    EXPECT_EQ(good({"thumbnail", "-", "--extract", "-"}, read("p.zip")), large);
    refuses({"thumbnail", "p.zip", "--extract", "out.jpeg"}, 2, "out.jpeg: the file exists, and is not replaced");
    refuses({"thumbnail", "p.zip", "--extract", "p.zip"}, 2, "p.zip: the file exists, and is not replaced");
    refuses({"thumbnail", "p.zip", "--extract", "no/out"}, 2, "no/out: cannot be written: No such file or directory");
}

TEST_F(Thumbnail, ThatCannotBeExtractedIsToldAndLeavesNoFile) {
    std::vector<RawItem> items = document({usual});
    items[3].content = std::string(200000, 'a');
    items[3].crc = 1;
    writeZip("p.zip", items);
    refuses({"thumbnail", "p.zip", "--extract", "out.jpeg"}, 2,
            "p.zip: /docProps/thumbnail.jpeg: the content is damaged: its checksum is wrong");
    writeZip("p.zip", document({{"rId2", thumbnailType, "gone.png"}}));
    refuses({"thumbnail", "p.zip", "--extract", "out.jpeg"}, 2,
            "p.zip: gone.png: the thumbnail relationship \"rId2\" leads here, and this is no part");
    writeZip("p.zip", letter());
    refuses({"thumbnail", "p.zip", "--extract", "out.jpeg"}, 2, "p.zip: the package has no thumbnail");
}

struct Image {
    std::string content;
    std::string extension;
    std::string contentType;
    unsigned method; // 0 is stored, 8 is deflated (APPNOTE §4.4.5)
};

std::string bmpHeader(const char headerSize) {
    return bytes("BM\x9A\0\0\0\0\0\0\0\x1A\0\0\0") + headerSize + bytes("\0\0\0") + std::string(60, '\0');
}

const std::vector<Image>& images() {
    static const std::string svg = "<svg xmlns='http://www.w3.org/2000/svg'><path d='M0 0'/></svg>";
    static const std::vector<Image> all{
        {png, "png", "image/png", 0},
        {jpeg, "jpeg", "image/jpeg", 0},
        {"GIF87a...", "gif", "image/gif", 0},
        {"GIF89a...", "gif", "image/gif", 0},
        {bmpHeader(40), "bmp", "image/bmp", 8},
        {bmpHeader(12), "bmp", "image/bmp", 8},
        {bmpHeader(124), "bmp", "image/bmp", 8},
        {bytes("II*\0........"), "tiff", "image/tiff", 8},
        {bytes("MM\0*........"), "tiff", "image/tiff", 8},
        {bytes("\1\0\0\0") + std::string(36, 'x') + " EMF...", "emf", "image/x-emf", 8},
        {"\xD7\xCD\xC6\x9A...", "wmf", "image/x-wmf", 8},
        {bytes("\1\0\x09\0\0\3..."), "wmf", "image/x-wmf", 8},
        {bytes("RIFF\4\0\0\0WEBPVP8 "), "webp", "image/webp", 0},
        {svg, "svg", "image/svg+xml", 8},
        {"\xEF\xBB\xBF<?xml version='1.0'?>\n<!-- a -->\n<s:svg xmlns:s='http://www.w3.org/2000/svg'/>\n", "svg",
         "image/svg+xml", 8},
    };
    return all;
}

TEST_F(Thumbnail, IsSetWithTheTypeThatItsOwnBytesTell) {
    for (const Image& image : images()) {
        good({"new", "p.zip", "--force"});
        write("image.txt", image.content);
        EXPECT_EQ(good({"thumbnail", "p.zip", "--set", "image.txt"}), "");
        const json found = report({"thumbnail", "p.zip"})["thumbnails"];
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0]["part"], "/metadata/thumbnail." + image.extension);
        EXPECT_EQ(found[0]["contentType"], image.contentType);
        EXPECT_EQ(good({"thumbnail", "p.zip", "--extract", "-"}), image.content);
        EXPECT_EQ(RawZipReader(readFile(folder_ / "p.zip")).at("metadata/thumbnail." + image.extension).method,
                  image.method)
            << image.extension;
    }
}

TEST_F(Thumbnail, OfBytesThatAreNotSurelyAnImageIsRefused) {
    std::string otherHeader = bmpHeader(41);
    std::string reserved = bmpHeader(40);
    reserved[7] = 1;
    std::string outside = bmpHeader(40);
    outside[12] = 1;
    for (const std::string& content :
         std::vector<std::string>{"",
                                  "text",
                                  "\x89PNG\r\n\x1A\n",
                                  "\x89PNG\n\x1A\n\0\0\0\rIHDR",
                                  png.substr(0, 15),
                                  "GIF88a",
                                  "\xFF\xD8",
                                  "BM",
                                  "BMW is a car, and this text is long enough for a header of any size there is",
                                  otherHeader,
                                  reserved,
                                  outside,
                                  "II*",
                                  bytes("II\0*...."),
                                  bytes("\1\0\0\0") + std::string(36, 'x') + "XEMF",
                                  bytes("\1\0\x09\0\0\2..."),
                                  "RIFF....WAVE",
                                  "<svg/>",
                                  "<svg xmlns='http://www.w3.org/2000/svg'>",
                                  "<svg xmlns='http://www.w3.org/2001/svg'/>",
                                  "<html xmlns='http://www.w3.org/2000/svg'/>",
                                  "<!DOCTYPE svg><svg xmlns='http://www.w3.org/2000/svg'/>",
                                  "PK\3\4",
                                  "%PDF-1.7"}) {
        write("image.png", content);
        refuses(
            {"thumbnail", "p.zip", "--set", "image.png"}, 2,
            "image.png: this is no image of a known kind, which are PNG, JPEG, GIF, BMP, TIFF, EMF, WMF, WebP, SVG");
    }
    refuses({"thumbnail", "p.zip", "--set", "no.png"}, 2, "no.png: cannot be opened: No such file or directory");
    refuses({"thumbnail", "p.zip", "--set", "."}, 2, ".: cannot be read: Is a directory");
    refuses({"thumbnail", "p.zip", "--set", "-"}, 2,
            "-: this is no image of a known kind, which are PNG, JPEG, GIF, BMP, TIFF, EMF, WMF, WebP, SVG", "text");
}

/// What a change makes of a document.
struct Change {
    std::vector<Rel> packageRelationships;
    std::vector<Rel> partRelationships;
    bool keepsJpeg;
    bool keepsOther;
    const char* why;
};

const std::vector<Change>& changes() {
    const static Rel duplicate{"rId3", thumbnailType, "/docProps/thumbnail.jpeg"};
    const static Rel other{"rId4", thumbnailType, "docProps/other.png"};
    const static std::vector<Change> all{
        {{}, {}, true, true, "a part that nothing leads to is no thumbnail"},
        {{usual}, {}, false, true, "the part goes with its relationship"},
        {{usual, duplicate}, {}, false, true, "two relationships may lead to one part"},
        {{usual, other}, {}, false, false, "there may be two thumbnails"},
        {{usual}, {{"rId1", "http://t", "docProps/thumbnail.jpeg"}}, true, true, "another part uses it"},
        {{usual}, {{"rId1", thumbnailType, "/DocProps/Thumbnail.JPEG#x"}}, true, true, "as its thumbnail, too"},
        {{usual, {"rId3", "http://t", "docProps/thumbnail.jpeg"}}, {}, true, true, "the package uses it otherwise"},
        {{{"rId2", thumbnailType, "document.xml"}}, {}, true, true, "the document is no image, and is not lost"},
        {{{"rId2", thumbnailType, "gone.png"}, other}, {}, true, false, "a target need not be there"},
        {{{"rId2", thumbnailType, "http://example.org/", true}}, {}, true, true, "nor in the package"},
        {{{"rId2", thumbnailType, "C:/thumbnail.png"}}, {}, true, true, "nor be a name"},
        {{{"rId2", thumbnailType, "_rels/.rels"}}, {}, true, true, "nor be the name of what is no part"},
    };
    return all;
}

TEST_F(Thumbnail, GoesWithAPartThatNothingElseLeadsTo) {
    for (const Change& each : changes())
        for (const bool isSet : {false, true}) {
            writeZip("p.zip", document(each.packageRelationships, each.partRelationships));
            if (isSet)
                good({"thumbnail", "p.zip", "--set", "new.png"});
            else
                good({"thumbnail", "p.zip", "--remove"});
            std::vector<std::string> expected{"/document.xml"};
            if (each.keepsJpeg)
                expected.emplace_back("/docProps/thumbnail.jpeg");
            if (each.keepsOther)
                expected.emplace_back("/docProps/other.png");
            if (isSet)
                expected.emplace_back("/metadata/thumbnail.png");
            EXPECT_THAT(partsOf("p.zip"), testing::UnorderedElementsAreArray(expected)) << each.why;

            const std::vector<std::string> image(isSet ? 1 : 0, "/metadata/thumbnail.png");
            std::vector<std::string> thumbnails;
            const json found = report({"thumbnail", "p.zip"})["thumbnails"];
            for (const json& thumbnail : found)
                thumbnails.push_back(thumbnail["part"]);
            EXPECT_EQ(thumbnails, image) << each.why;
            EXPECT_EQ(report({"rels", "p.zip", "/document.xml"})["relationships"].size(), each.partRelationships.size())
                << each.why;
        }
}

TEST_F(Thumbnail, TakesItsRelationshipsAlong) {
    std::vector<RawItem> items = document({usual});
    items.push_back(relationships("docProps/_rels/thumbnail.jpeg.rels", {{"a", "http://t", "thumbnail.jpeg#x"}}));
    writeZip("p.zip", items);
    good({"thumbnail", "p.zip", "--remove"});
    EXPECT_THAT(RawZipReader(readFile(folder_ / "p.zip")).names(),
                ElementsAre("[Content_Types].xml", "_rels/.rels", "document.xml", "docProps/other.png"));
}

TEST_F(Thumbnail, GetsItsUsualNameOrTheNextThatIsFree) {
    good({"thumbnail", "p.zip", "--set", "new.png"});
    good({"thumbnail", "p.zip", "--set", "new.png"});
    EXPECT_THAT(partsOf("p.zip"),
                UnorderedElementsAre("/document.xml", "/docProps/other.png", "/metadata/thumbnail.png"))
        << "the name of the thumbnail that goes is free";
    EXPECT_EQ(relationshipsOf("p.zip").size(), 2U);

    good({"relate", "p.zip", "/document.xml", "--type", "http://t", "--target", "/metadata/thumbnail.png"});
    good({"thumbnail", "p.zip", "--set", "new.png"});
    EXPECT_THAT(partsOf("p.zip"), UnorderedElementsAre("/document.xml", "/docProps/other.png",
                                                       "/metadata/thumbnail.png", "/metadata/thumbnail.2.png"));
    good({"add", "p.zip", "/metadata/thumbnail.3.png", "--type", "image/png"});
    good({"relate", "p.zip", "/document.xml", "--type", "http://t", "--target", "/metadata/thumbnail.2.png"});
    good({"thumbnail", "p.zip", "--set", "new.png"});
    EXPECT_THAT(good({"thumbnail", "p.zip"}), HasSubstr(" /metadata/thumbnail.4.png "));
}

TEST_F(Thumbnail, TakesNoNameThatAnyItemOfTheFileHas) {
    const std::pair<RawItem, std::string> cases[] = {
        {{"Metadata/Thumbnail.PNG", "a part"}, "/metadata/thumbnail.2.png"},
        {{"metadata/thumbnail.png/a.xml", "a part in a folder"}, "/metadata/thumbnail.2.png"},
        {{"metadata/thumbnail.2.png", "another"}, "/metadata/thumbnail.png"},
    };
    for (const auto& [item, name] : cases) {
        std::vector<RawItem> items = document({});
        items.push_back(item);
        writeZip("p.zip", items);
        good({"thumbnail", "p.zip", "--set", "new.png"});
        EXPECT_EQ(report({"thumbnail", "p.zip"})["thumbnails"][0]["part"], name);
        EXPECT_EQ(good({"cat", "p.zip", item.name}), item.content);
    }
    writeZip("p.zip", {contentTypes({"xml=application/xml"}), {"metadata/thumbnail.png", "no part"}});
    good({"thumbnail", "p.zip", "--set", "new.png"});
    EXPECT_EQ(report({"thumbnail", "p.zip"})["thumbnails"][0]["part"], "/metadata/thumbnail.2.png");
    EXPECT_EQ(good({"cat", "p.zip", "metadata/thumbnail.png"}), "no part");

    std::vector<RawItem> items = document({});
    items[0] = contentTypes({"xml=application/xml", "/metadata=text/plain"});
    items.push_back({"metadata", "no folder"});
    writeZip("p.zip", items);
    refuses({"thumbnail", "p.zip", "--set", "new.png"}, 2,
            "p.zip: Cannot use a part name that is a superset of an existing name: /metadata/thumbnail.7.png");
}

TEST_F(Thumbnail, IsSavedElsewhereOrInPlaceWithAWarningWhenThePackageWasSigned) {
    std::vector<RawItem> items = document({usual});
    items.push_back({".signature.p7s", "signed", 0});
    writeZip("p.zip", items);
    const std::string before = read("p.zip");
    const std::string warning = ": warning: the package was signed, and its signatures may not hold any longer\n";
    for (const Arguments& change : {Arguments{"--set", "new.png"}, Arguments{"--remove"}}) {
        Arguments arguments{"thumbnail", "p.zip"};
        arguments.insert(arguments.end(), change.begin(), change.end());
        arguments.insert(arguments.end(), {"-o", "out.zip"});
        EXPECT_EQ(opcraft(arguments).err, "opcraft: p.zip" + warning);
        EXPECT_EQ(read("p.zip"), before);
        arguments.back() = "-";
        EXPECT_EQ(opcraft(arguments).out, read("out.zip"));
        arguments[1] = "-";
        const ProcessResult streamed = opcraft(arguments, {before});
        EXPECT_EQ(streamed.out, read("out.zip"));
        EXPECT_EQ(streamed.err, "opcraft: -" + warning);
        arguments[1] = "p.zip";
        arguments.resize(arguments.size() - 2);
        EXPECT_EQ(opcraft(arguments).err, "opcraft: p.zip" + warning);
        EXPECT_EQ(read("p.zip"), read("out.zip"));
        write("p.zip", before);
    }
    EXPECT_EQ(opcraft({"thumbnail", "p.zip", "--set", "-"}, {png}).exitCode, 0);
    EXPECT_EQ(good({"thumbnail", "p.zip", "--extract", "-"}), png);
}

TEST_F(Thumbnail, ThatIsNotThereIsNotRemovedAndNothingIsWritten) {
    writeZip("p.zip", signedLetter());
    const std::string before = read("p.zip");
    EXPECT_EQ(good({"thumbnail", "p.zip", "--remove"}), "");
    EXPECT_EQ(read("p.zip"), before);
    EXPECT_EQ(good({"thumbnail", "p.zip", "--remove", "-o", "out.zip"}), "");
    EXPECT_EQ(read("out.zip"), before);
}

TEST_F(Thumbnail, WrongUsageIsTold) {
    const std::string help = "; 'opcraft thumbnail --help' explains";
    const std::pair<Arguments, std::string> cases[] = {
        {{"p.zip", "--set", "new.png", "--remove"}, "--set excludes --remove" + help},
        {{"p.zip", "--extract", "a", "--set", "new.png"}, "--extract excludes --set" + help},
        {{"p.zip", "--extract", "a", "--remove"}, "--extract excludes --remove" + help},
        {{"p.zip", "--json", "--remove"}, "--json excludes --remove" + help},
        {{"p.zip", "--json", "--extract", "a"}, "--json excludes --extract" + help},
        {{"p.zip", "-o", "out.zip"}, "p.zip: -o needs --set or --remove"},
        {{"p.zip", "--extract", "a", "-o", "out.zip"}, "p.zip: -o needs --set or --remove"},
        {{"-", "--set", "-", "-o", "out.zip"}, "-: FILE and --set cannot both be the standard input"},
        {{"-", "--remove"}, "-: this cannot be changed in place; name a file with -o"},
        {{"p.zip", "--set", ""}, "\"\": this names no file"},
        {{"p.zip", "--extract", ""}, "\"\": this names no file"},
    };
    for (const auto& [rest, error] : cases) {
        Arguments arguments{"thumbnail"};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        refuses(arguments, 64, error);
    }
}

} // namespace
} // namespace opc::test
