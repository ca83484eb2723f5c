// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace opc::storage {

using namespace opc::test;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

const std::string TYPES = contentTypes("<Default Extension='xml' ContentType='a/xml'/>"
                                       "<Default Extension='rels' ContentType='a/rels'/>"
                                       "<Override PartName='/named.dat' ContentType='a/dat'/>");

/// A ZIP file with a content types stream and empty items of these names.
std::vector<unsigned char> zipOf(const std::vector<std::string>& names, const std::string& types = TYPES) {
    std::vector<RawItem> items = {{"[Content_Types].xml", types}};
    for (const std::string& name : names)
        items.push_back({name, ""});
    return makeZip(items);
}

} // namespace

TEST(ZipParts, TheContentTypesStreamDecidesWhatIsAPart) {
    const std::vector<std::pair<std::string, const char*>> items = {
        // item name, part name (null: other)
        {"a.xml", "/a.xml"},
        {"B.XML", "/B.XML"},
        {"named.dat", "/named.dat"},
        {"unnamed.dat", nullptr},
        {"[trash]/0000.dat", nullptr},
        {".signature.p7s", nullptr},
        {"my file.xml", "/my%20file.xml"},
        {"caf\xC3\xA9.xml", "/caf%C3%A9.xml"},
        {"folder/", nullptr},
        {"back\\slash.xml", nullptr},
        {"noextension", nullptr},
        {"trailing.xml.", nullptr},
        {"_rels/.rels", "/_rels/.rels"},
        {"_rels/a.xml.rels", "/_rels/a.xml.rels"},
        {"_rels/unnamed.dat.rels", nullptr},                 // its source is no part
        {"_rels/UNNAMED.DAT.rels", nullptr},                 // in whatever case
        {"_rels/absent.dat.rels", "/_rels/absent.dat.rels"}, // its source does not exist: the model judges
        {"folder/_rels/.rels", "/folder/_rels/.rels"},       // a folder entry is nobody's source
        {"_rels/back\\slash.xml.rels", nullptr},
        {"noextension.rels.xml", "/noextension.rels.xml"}, // the relationships of this one, not of "noextension"
        {"_rels/noextension.rels.xml.rels", "/_rels/noextension.rels.xml.rels"},
    };
    std::vector<std::string> names;
    std::vector<std::string> parts;
    std::vector<std::string> others;
    for (const auto& [name, part] : items) {
        names.push_back(name);
        (part ? parts : others).push_back(part ? part : name);
    }
    // Two names of one relationships part: as others they are no duplicates.
    auto bytes = zipOf(names);
    ZipPackage package(bytes);
    package.open(OpenMode::ReadOnly);
    EXPECT_THAT(partNames(package), ElementsAreArray(parts));
    EXPECT_THAT(package.getOtherItems(), ElementsAreArray(others));
    EXPECT_EQ(package.getItems().at(0).kind, ZipItemKind::ContentTypes);
    EXPECT_EQ(package.getItems().size(), names.size() + 1);
    EXPECT_EQ(findPart(package, u"/named.dat")->getContentType(), u"a/dat");
    EXPECT_EQ(findPart(package, u"/B.XML")->getContentType(), u"a/xml");
}

TEST(ZipParts, RelationshipsAreHandedOnWithoutAContentTypeToo) {
    auto bytes = zipOf({"_rels/.rels", "a.xml", "_rels/a.xml.rels", "_rels/b.dat.rels", "b.dat"},
                       contentTypes("<Default Extension='xml' ContentType='a/xml'/>"));
    ZipPackage package(bytes);
    package.open(OpenMode::ReadOnly);
    EXPECT_THAT(partNames(package), ElementsAre("/_rels/.rels", "/a.xml", "/_rels/a.xml.rels"));
    EXPECT_THAT(package.getOtherItems(), ElementsAre("_rels/b.dat.rels", "b.dat"));
}

TEST(ZipParts, AnUnreadableContentTypesStreamHidesNothing) {
    const std::vector<std::string> names = {"a.xml", "b.dat", "_rels/b.dat.rels", "folder/", "A.XML"};
    for (const std::string& types : {std::string("<Types"), std::string(), "<!DOCTYPE a>" + TYPES}) {
        auto bytes = zipOf(names, types);
        ZipPackage package(bytes);
        package.open(OpenMode::ReadWrite);
        EXPECT_THAT(partNames(package), ElementsAre("/a.xml", "/b.dat", "/_rels/b.dat.rels", "/A.XML")) << types;
        EXPECT_EQ(readAll(*package.getContentTypeInputStream()), types);
    }
    auto damaged = makeZip({{.name = "[Content_Types].xml", .content = TYPES, .crc = 1}, {"b.dat", ""}});
    ZipPackage package(damaged);
    package.open(OpenMode::ReadOnly);
    EXPECT_THAT(partNames(package), ElementsAre("/b.dat"));
    EXPECT_TRUE(failsWith(Errc::bad_message, "\"[Content_Types].xml\"",
                          [&] { readAll(*package.getContentTypeInputStream()); }));
}

TEST(ZipParts, TwoItemsThatAreOnePartFailTheOpen) {
    const struct {
        std::vector<std::string> names;
        std::vector<std::string> said; ///< none: opens
        const char* why;
    } cases[] = {
        {{"a.xml", "b.xml", "a.xml"}, {"\"a.xml\" and \"a.xml\""}, "the same name"},
        {{"a.xml", "A.xml"}, {"\"a.xml\" and \"A.xml\""}, "without regard to case"},
        {{"a b.xml", "a%20b.xml"}, {"\"a b.xml\" and \"a%20b.xml\""}, "raw and escaped"},
        {{"\xC3\xA9.xml", "%c3%a9.xml"}, {"\"\xC3\xA9.xml\" and \"%c3%a9.xml\""}, "non-ASCII, raw and escaped"},
        {{"a\n.xml", "a%0A.xml"}, {"\"a%0A.xml\" and \"a%0A.xml\""}, "a line break does not get into the message"},
        {{"_rels/.rels", "_Rels/.rels"}, {"_rels/.rels", "_Rels/.rels"}, "relationships"},
        {{"b.dat", "b.dat", "B.dat"}, {}, "others may be there twice"},
        {{"folder/", "folder/"}, {}, "folder entries too"},
        {{"[CONTENT_TYPES].xml"}, {"\"[Content_Types].xml\"", "\"[CONTENT_TYPES].xml\""}, "two content types streams"},
    };
    for (const auto& [names, said, why] : cases) {
        auto bytes = zipOf(names);
        ZipPackage package(bytes);
        if (said.empty()) {
            EXPECT_NO_THROW(package.open(OpenMode::ReadOnly)) << why;
        }
        for (const std::string& text : said)
            EXPECT_TRUE(failsWith(Errc::bad_message, text, [&] { package.open(OpenMode::ReadOnly); })) << why;
    }
}

TEST(ZipParts, TheContentTypesStreamIsFoundInAnyCaseAndKeepsItsName) {
    auto bytes = makeZip({{"a.xml", "a"}, {"[content_types].XML", TYPES}});
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    EXPECT_THAT(partNames(package), ElementsAre("/a.xml"));
    writeAll(*package.getContentTypeOutputStream(), TYPES + " ");
    package.close(false);
    EXPECT_THAT(RawZipReader(bytes).names(), ElementsAre("a.xml", "[content_types].XML"));
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readAll(*package.getContentTypeInputStream()), TYPES + " ");
}

TEST(ZipParts, APlaceThatAnotherItemTakesIsNotGivenToAPart) {
    auto bytes = zipOf({"unnamed.dat", "a b.dat", "folder/", "gone.xml"});
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    for (const char16_t* name : {u"/unnamed.dat", u"/UNNAMED.dat", u"/a%20b.dat"})
        EXPECT_TRUE(failsWith(Errc::file_exists, [&] { package.createPart(name, u"a/b", PartInfo()); }));
    EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { package.deletePart(u"/unnamed.dat"); }))
        << "an other item is no part to delete";
    for (const char16_t* name : {u"/a?b", u"/a#b"})
        EXPECT_TRUE(failsWith(Errc::invalid_argument, [&] { package.createPart(name, u"a/b", PartInfo()); }));
    EXPECT_NO_THROW(package.createPart(u"/folder", u"a/b", PartInfo())) << "a folder entry has another name";
    package.deletePart(u"/gone.xml");
    EXPECT_NO_THROW(package.createPart(u"/gone.xml", u"a/b", PartInfo()));
}

TEST(ZipParts, AContentTypeForAllOfAnExtensionMakesNoPartsOfOtherItems) {
    auto bytes =
        zipOf({"b.dat", "B.dat", "c.BIN", "_rels/c.BIN.rels", "a\\b.tmp", "noextension", "folder.x/", "a.xml"});
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    for (const char16_t* extension : {u"dat", u"DAT", u"bin", u"rels", u"tmp"})
        EXPECT_TRUE(package.hasOtherItems(extension)) << detail::toUTF8String(extension);
    for (const char16_t* extension : {u"xml", u"x", u"noextension", u"da"})
        EXPECT_FALSE(package.hasOtherItems(extension)) << detail::toUTF8String(extension);
}

TEST(ZipParts, AnyItemIsReadByItsName) {
    auto bytes = makeZip({{"[Content_Types].xml", TYPES},
                          {"a b.xml", "part"},
                          {"x.dat", "first"},
                          {"x.dat", "second"},
                          {"\x82.dat", "old code page"}});
    ZipPackage package(bytes);
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, [&] { package.getItemInputStream("x.dat"); }));
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, [&] { package.getItems(); }));
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(readAll(*package.getItemInputStream("[Content_Types].xml")), TYPES);
    EXPECT_EQ(readAll(*package.getItemInputStream("a b.xml")), "part");
    EXPECT_EQ(readAll(*package.getItemInputStream("x.dat")), "first");
    EXPECT_EQ(readAll(*package.getItemInputStream("\xC3\xA9.dat")), "old code page");
    EXPECT_EQ(package.getItemInputStream("a b.xml"), findPart(package, u"/a%20b.xml")->getInputStream());
    for (const char* absent : {"a%20b.xml", "A b.xml", "/a b.xml", ""})
        EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { package.getItemInputStream(absent); }));
    createPart(package, u"/new.xml", "new");
    EXPECT_EQ(readAll(*package.getItemInputStream("new.xml")), "new");
    package.deletePart(u"/new.xml");
    EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { package.getItemInputStream("new.xml"); }));
}

TEST(ZipParts, ItemsAreListedAsTheyStandWithAllChanges) {
    const std::string text(5000, 'x');
    auto bytes = makeZip({{"[Content_Types].xml", TYPES}, {"a.xml", text}, {"b.dat", text, 0}, {"c.xml", text}});
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    const auto before = package.getItems();
    EXPECT_EQ(before.at(1).size, 5000U);
    EXPECT_LT(before.at(1).compressedSize, 100U);
    EXPECT_EQ(before.at(1).partName, u"/a.xml");
    EXPECT_EQ(before.at(2).compressedSize, 5000U);
    EXPECT_EQ(before.at(2).partName, u"") << "only parts have part names";

    writeAll(*findPart(package, u"/a.xml")->getOutputStream(), "123");
    package.deletePart(u"/c.xml");
    createPart(package, u"/n.xml", "4567");
    const auto after = package.getItems();
    ASSERT_EQ(after.size(), 4U);
    EXPECT_EQ(after.at(1).size, 3U);
    EXPECT_EQ(after.at(1).compressedSize, 3U);
    EXPECT_EQ(after.at(3).name, "n.xml");
    EXPECT_EQ(after.at(3).kind, ZipItemKind::Part);
    EXPECT_EQ(after.at(3).size, 4U);
}

} // namespace opc::storage
