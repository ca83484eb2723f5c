// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"

#include <sstream>

namespace opc::test {
namespace {

TEST(ZipParts, TheContentTypesStreamDecidesWhatIsAPart) {
    const std::string types = contentTypes("<Default Extension='xml' ContentType='a/xml'/>"
                                           "<Override PartName='/named.dat' ContentType='a/dat'/>");
    std::vector<std::string> names;
    std::vector<std::string> parts;
    std::vector<std::string> others;
    for (const auto& row : readTable("storage/items.tsv")) {
        names.push_back(row[0]);
        row[1] == "other" ? others.push_back(row[0]) : parts.push_back(row[1]);
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

TEST(ZipParts, GivesAwayTheContentTypesThatItHasRead) {
    for (const auto& [types, isPlain] : {std::pair(TYPES, true), {TYPES + "<!-- -->", false}, {"<Types", false}}) {
        Zip zip(zipWith({}, types));
        EXPECT_EQ(zip->takeContentTypes() != nullptr, isPlain) << types;
        EXPECT_EQ(zip->takeContentTypes(), nullptr);
        zip->close(true);
        zip->open(OpenMode::ReadWrite);
        zip->getContentTypeOutputStream();
        EXPECT_EQ(zip->takeContentTypes(), nullptr) << "what is stored is out of date";
    }
    EXPECT_EQ(Zip()->takeContentTypes(), nullptr);
}

/// What the items of a package are to a tolerant open: "t" the content types, "p" a part, "o" another one.
std::string kindsIn(Bytes file, ZipOptions::Take take) {
    ZipOptions options;
    options.take = take;
    ZipPackage package(file, options);
    Findings findings;
    package.openTolerantly(OpenMode::ReadOnly, findings);
    EXPECT_THAT(findings.text, HasSubstr(" blocks "));
    std::string kinds;
    for (const ZipItem& item : package.getItems())
        kinds += "tpo"[static_cast<int>(item.kind)];
    findings.text.clear();
    package.findAmbiguities(findings, false);
    EXPECT_THAT(findings.text, testing::Not(HasSubstr("M3.3"))) << "told already";
    return kinds;
}

TEST(ZipParts, TwoItemsThatAreOnePartFailTheOpen) {
    for (const auto& row : readTable("storage/same-items.tsv")) {
        std::vector<std::string> names;
        boost::split(names, unescaped(row[1]), boost::is_any_of("|"));
        EXPECT_THAT(openingSays(zipOfNames(names)), HasSubstr(unescaped(row[0]))) << row[2];
        EXPECT_THAT(findingsIn(zipOfNames(names)), StartsWith(row.size() > 3 ? row[3] : "")) << row[2];
        if (row.size() > 5) {
            EXPECT_EQ(kindsIn(zipOfNames(names), ZipOptions::Take::First), row[4]) << row[2];
            EXPECT_EQ(kindsIn(zipOfNames(names), ZipOptions::Take::Last), row[5]) << row[2];
        }
    }
}

TEST(ZipParts, ToDeleteAPartThatWasTakenDeletesAllOfItsItems) {
    ZipOptions options;
    options.take = ZipOptions::Take::Last;
    Bytes bytes = zipWith({{"a.xml", "1"}, {"A.xml", "2"}, {"_rels/a.xml.rels"}, {"b.xml", "3"}});
    ZipPackage package(bytes, options);
    Findings findings;
    package.openTolerantly(OpenMode::ReadWrite, findings);
    EXPECT_EQ(readPart(package, u"/A.xml"), "2");
    package.deletePart(u"/a.xml");
    EXPECT_NO_THROW(createPart(package, u"/a.xml", "4"));
    package.close(false);
    EXPECT_THAT(RawZipReader(bytes).names(), ElementsAre("[Content_Types].xml", "_rels/a.xml.rels", "b.xml", "a.xml"));
}

TEST(ZipParts, OfTwoItemsThatAreOnePartATolerantOpenTakesNeitherAndASaveKeepsBoth) {
    Findings findings;
    Bytes bytes = zipWith({{"a.xml", "1"}, {"A.xml", "2"}, {"a.xml", "3"}, {"_rels/a.xml.rels"}, {"b.xml", "4"}});
    const RawZipReader before(bytes);
    ZipPackage package(bytes);
    package.openTolerantly(OpenMode::ReadWrite, findings);
    EXPECT_THAT(partNames(package), ElementsAre("/b.xml"));
    EXPECT_EQ(package.getItems().at(3).reason, "the same part as the item \"A.xml\"");
    EXPECT_EQ(readAll(*package.getItemInputStreamAt(3)), "3");
    EXPECT_TRUE(failsWith(
        Errc::no_such_file_or_directory, [&] { package.getItemInputStreamAt(6); }));
    EXPECT_TRUE(failsWith(Errc::file_exists, [&] { createPart(package, u"/A.xml", "5"); }));
    writePart(package, u"/b.xml", "6");
    package.close(false);
    const RawZipReader after(bytes);
    ASSERT_EQ(after.names(), before.names());
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(after.entries[i], before.entries[i]) << i;
    const Bytes saved = bytes;
    package.openTolerantly(OpenMode::ReadWrite, findings);
    package.close(false);
    EXPECT_EQ(bytes, saved) << "nothing was changed";
}

TEST(ZipParts, WithoutOneContentTypesStreamATolerantOpenFindsNoTypes) {
    Findings findings;
    Bytes none = makeZip({{"a.xml", "1"}, {"_rels/.rels"}});
    EXPECT_THAT(openingSays(none), HasSubstr("a ZIP file, not a package: no item \"[Content_Types].xml\""));
    ZipPackage package(none);
    package.openTolerantly(OpenMode::ReadWrite, findings);
    EXPECT_EQ(findings.text, "M3.10 blocks error : no item \"[Content_Types].xml\"\n");
    EXPECT_THAT(partNames(package), ElementsAre("/_rels/.rels"));
    EXPECT_TRUE(package.takeContentTypes()->entries.empty());
    EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { package.getContentTypeInputStream(); }));
    writeAll(*package.getContentTypeOutputStream(), TYPES);
    package.close(false);
    EXPECT_THAT(Zip(none).parts(), ElementsAre("/a.xml", "/_rels/.rels"));

    Bytes two = zipOfNames({"a.xml", "[Content_types].xml"});
    ZipPackage twofold(two);
    twofold.openTolerantly(OpenMode::ReadWrite, findings);
    EXPECT_THAT(twofold.getOtherItems(), ElementsAre("[Content_Types].xml", "a.xml", "[Content_types].xml"));
    EXPECT_TRUE(failsWith(Errc::file_exists, [&] { twofold.getContentTypeOutputStream(); }));
    EXPECT_THAT(findingsIn(makeZip({{"META-INF/MANIFEST.MF"}})), StartsWith("refused, blocks: "));
}

TEST(ZipParts, WhatIsAgainstTheFormatIsFound) {
    for (const auto& row : readTable("storage/item-findings.tsv")) {
        std::vector<std::string> names;
        boost::split(names, unescaped(row[1]), boost::is_any_of("|"));
        std::string found;
        std::istringstream lines(findingsIn(zipOfNames(names)));
        for (std::string line; std::getline(lines, line);)
            found += (found.empty() ? "" : "|") + line.substr(0, line.find(": "));
        EXPECT_EQ(found, row[0]) << row[2];
    }
    EXPECT_EQ(findingsIn(zipOfNames({"_rels/.rels"}, contentTypes("<Override PartName='/x' ContentType='a/b'/>"))),
              "M2.4 warning /_rels/.rels: no content type for this relationships part\n"
              "override-of-nothing note [Content_Types].xml: an Override for \"/x\", which does not exist\n");
}

TEST(ZipParts, TheContentTypesStreamIsFoundInAnyCaseAndKeepsItsName) {
    Zip zip(makeZip({{"a.xml", "a"}, {"[content_types].XML", TYPES}}));
    EXPECT_THAT(zip.parts(), ElementsAre("/a.xml"));
    writeAll(*zip->getContentTypeOutputStream(), TYPES + " ");
    EXPECT_THAT(zip.save(), ElementsAre("a.xml", "[content_types].XML"));
    EXPECT_EQ(readAll(*zip->getContentTypeInputStream()), TYPES + " ");
}

TEST(ZipParts, APlaceThatAnotherItemTakesIsNotGivenToAPart) {
    Zip zip(zipOfNames({"unnamed.dat", "a b.dat", "folder/", "x\\y.dat", "c:z.dat\\", "u/v/", "gone.xml"}));
    const auto create = [&](const char16_t* name) { zip->createPart(name, u"a/b", PartInfo()); };
    for (const char16_t* name : {u"/unnamed.dat", u"/UNNAMED.dat", u"/a%20b.dat", u"/folder", u"/unnamed.dat/x",
                                 u"/X/Y.dat", u"/z.dat", u"/u"})
        EXPECT_TRUE(failsWith(
            Errc::file_exists, [&] { create(name); }))
            << detail::toUTF8String(name);
    EXPECT_TRUE(failsWith(
        Errc::no_such_file_or_directory, [&] { zip->deletePart(u"/unnamed.dat"); }))
        << "an other item is not a part to delete";
    EXPECT_TRUE(failsWith(Errc::invalid_argument, [&] { create(u"/a?b"); }));
    EXPECT_NO_THROW(create(u"/folder/u"));
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
    EXPECT_TRUE(failsWith(
        Errc::bad_file_descriptor, [&] { zip->getItemInputStream("x.dat"); }));
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, [&] { zip->getItems(); }));
}

TEST(ZipParts, ItemsAreListedAsTheyStandWithAllChanges) {
    const std::string text(5000, 'x');
    Zip zip(zipWith({{"a.xml", text}, {"b.dat", text, 0}, {"c.xml", text}}));
    const auto listed = [&] {
        std::string list;
        for (const ZipItem& item : zip->getItems())
            list += item.name + " " + detail::toUTF8String(item.partName) + " " + std::to_string(item.size) +
                    (item.compressedSize == item.size ? "\n" : " compressed\n");
        return list.substr(list.find('\n') + 1);
    };
    EXPECT_EQ(listed(), "a.xml /a.xml 5000 compressed\nb.dat  5000\nc.xml /c.xml 5000 compressed\n");
    zip.write(u"/a.xml", "123");
    zip->deletePart(u"/c.xml");
    createPart(zip.package, u"/n.xml", "4567");
    EXPECT_EQ(listed(), "a.xml /a.xml 3\nb.dat  5000\nn.xml /n.xml 4\n");
}

} // namespace
} // namespace opc::test
