// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"
#include "support/Table.hpp"

namespace opc::test {
namespace {

TEST(ZipParts, TheContentTypesStreamDecidesWhatIsAPart) {
    const std::string types = contentTypes("<Default Extension='xml' ContentType='a/xml'/>"
                                           "<Override PartName='/named.dat' ContentType='a/dat'/>");
    const std::pair<const char*, const char*> items[] = {
        // item name, part name (null: other)
        {"a.xml", "/a.xml"},
        {"B.XML", "/B.XML"},
        {"named.dat", "/named.dat"},
        {"unnamed.dat", nullptr},
        {"[trash]/0000.dat", nullptr},
        {".signature.p7s", nullptr},
        {"my file.xml", "/my%20file.xml"},
        {"folder/", nullptr},
        {"back\\slash.xml", nullptr},
        {"noextension", nullptr},
        {"trailing.xml.", nullptr},
        {"_rels/.rels", "/_rels/.rels"}, // without a content type
        {"_rels/a.xml.rels", "/_rels/a.xml.rels"},
        {"_rels/unnamed.dat.rels", nullptr},                 // its source is no part
        {"_rels/UNNAMED.DAT.rels", nullptr},                 // in whatever case; as others, these two are not the same
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
    Zip zip(zipOfNames(names, types));
    EXPECT_EQ(zip.parts(), parts);
    EXPECT_EQ(zip->getOtherItems(), others);
    EXPECT_EQ(zip->getItems().at(0).kind, ZipItemKind::ContentTypes);
    EXPECT_EQ(zip->getItems().size(), names.size() + 1);
    EXPECT_EQ(findPart(zip.package, u"/named.dat")->getContentType(), u"a/dat");
    EXPECT_EQ(findPart(zip.package, u"/B.XML")->getContentType(), u"a/xml");
}

TEST(ZipParts, AnUnreadableContentTypesStreamHidesNothing) {
    for (const std::string& types : {std::string("<Types"), std::string(), "<!DOCTYPE a>" + TYPES}) {
        Zip zip(zipOfNames({"a.xml", "b.dat", "_rels/b.dat.rels", "folder/", "A.XML"}, types));
        EXPECT_THAT(zip.parts(), ElementsAre("/a.xml", "/b.dat", "/_rels/b.dat.rels", "/A.XML")) << types;
        EXPECT_EQ(readAll(*zip->getContentTypeInputStream()), types);
    }
    Zip damaged(makeZip({{.name = "[Content_Types].xml", .content = TYPES, .crc = 1}, {"b.dat", ""}}));
    EXPECT_THAT(damaged.parts(), ElementsAre("/b.dat")) << "the checksum comes last";
    EXPECT_TRUE(failsWith(Errc::bad_message, "\"[Content_Types].xml\"",
                          [&] { readAll(*damaged->getContentTypeInputStream()); }));
}

TEST(ZipParts, TwoItemsThatAreOnePartFailTheOpen) {
    for (const auto& row : readTable("storage/same-items.tsv")) {
        std::vector<std::string> names;
        boost::split(names, unescaped(row[1]), boost::is_any_of("|"));
        EXPECT_THAT(openingSays(zipOfNames(names)), HasSubstr(unescaped(row[0]))) << row[2];
    }
}

TEST(ZipParts, TheContentTypesStreamIsFoundInAnyCaseAndKeepsItsName) {
    Zip zip(makeZip({{"a.xml", "a"}, {"[content_types].XML", TYPES}}));
    EXPECT_THAT(zip.parts(), ElementsAre("/a.xml"));
    writeAll(*zip->getContentTypeOutputStream(), TYPES + " ");
    EXPECT_THAT(zip.save(), ElementsAre("a.xml", "[content_types].XML"));
    EXPECT_EQ(readAll(*zip->getContentTypeInputStream()), TYPES + " ");
}

TEST(ZipParts, APlaceThatAnotherItemTakesIsNotGivenToAPart) {
    Zip zip(zipOfNames({"unnamed.dat", "a b.dat", "folder/", "gone.xml"}));
    const auto create = [&](const char16_t* name) { zip->createPart(name, u"a/b", PartInfo()); };
    for (const char16_t* name : {u"/unnamed.dat", u"/UNNAMED.dat", u"/a%20b.dat"})
        EXPECT_TRUE(failsWith(Errc::file_exists, [&] { create(name); }));
    EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { zip->deletePart(u"/unnamed.dat"); }))
        << "an other item is no part to delete";
    EXPECT_TRUE(failsWith(Errc::invalid_argument, [&] { create(u"/a?b"); }));
    EXPECT_NO_THROW(create(u"/folder")) << "a folder entry has another name";
    zip->deletePart(u"/gone.xml");
    EXPECT_NO_THROW(create(u"/gone.xml"));
}

TEST(ZipParts, AContentTypeForAllOfAnExtensionMakesNoPartsOfOtherItems) {
    Zip zip(zipOfNames({"b.dat", "B.dat", "c.BIN", "_rels/c.BIN.rels", "a\\b.tmp", "noextension", "f.x/", "a.xml"}));
    for (const char16_t* extension : {u"dat", u"DAT", u"bin", u"rels", u"tmp"})
        EXPECT_TRUE(zip->hasOtherItems(extension)) << detail::toUTF8String(extension);
    for (const char16_t* extension : {u"xml", u"x", u"noextension", u"da"})
        EXPECT_FALSE(zip->hasOtherItems(extension)) << detail::toUTF8String(extension);
}

TEST(ZipParts, AnyItemIsReadByItsName) {
    Zip zip(zipWith({{"a b.xml", "part"}, {"x.dat", "first"}, {"x.dat", "second"}, {"\x82.dat", "old code page"}}));
    const std::pair<const char*, std::string> items[] = {
        {"[Content_Types].xml", TYPES}, {"a b.xml", "part"}, {"x.dat", "first"}, {"\xC3\xA9.dat", "old code page"}};
    for (const auto& [name, text] : items)
        EXPECT_EQ(readAll(*zip->getItemInputStream(name)), text);
    EXPECT_EQ(zip->getItemInputStream("a b.xml"), findPart(zip.package, u"/a%20b.xml")->getInputStream());
    for (const char* absent : {"a%20b.xml", "A b.xml", "/a b.xml", ""})
        EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { zip->getItemInputStream(absent); }));
    createPart(zip.package, u"/new.xml", "new");
    EXPECT_EQ(readAll(*zip->getItemInputStream("new.xml")), "new");
    zip->deletePart(u"/new.xml");
    EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { zip->getItemInputStream("new.xml"); }));
    zip->close(true);
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, [&] { zip->getItemInputStream("x.dat"); }));
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, [&] { zip->getItems(); }));
}

TEST(ZipParts, ItemsAreListedAsTheyStandWithAllChanges) {
    const std::string text(5000, 'x');
    Zip zip(zipWith({{"a.xml", text}, {"b.dat", text, 0}, {"c.xml", text}}));
    const auto before = zip->getItems();
    EXPECT_EQ(before.at(1).size, 5000U);
    EXPECT_LT(before.at(1).compressedSize, 100U);
    EXPECT_EQ(before.at(1).partName, u"/a.xml");
    EXPECT_EQ(before.at(2).compressedSize, 5000U);
    EXPECT_EQ(before.at(2).partName, u"") << "only parts have part names";

    zip.write(u"/a.xml", "123");
    zip->deletePart(u"/c.xml");
    createPart(zip.package, u"/n.xml", "4567");
    const auto after = zip->getItems();
    ASSERT_EQ(after.size(), 4U);
    EXPECT_EQ(after.at(1).size, 3U);
    EXPECT_EQ(after.at(1).compressedSize, 3U);
    EXPECT_EQ(after.at(3).name, "n.xml");
    EXPECT_EQ(after.at(3).kind, ZipItemKind::Part);
    EXPECT_EQ(after.at(3).size, 4U);
}

} // namespace
} // namespace opc::test
