// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/Pieces.hpp"

#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gmock/gmock.h>

namespace opc::storage {

namespace {

using namespace opc::test;
using testing::ElementsAre;

const std::string TYPES = contentTypes("<Default Extension='xml' ContentType='a/xml'/>"
                                       "<Default Extension='piece' ContentType='a/piece'/>");

/// A part in three pieces, between the items of another one.
std::vector<RawItem> interleaved() {
    return {{"[Content_Types].xml", TYPES},  {"doc/a.xml/[0].piece", "first "},
            {"doc/b.xml", "whole"},          {"doc/A.xml/[1].Piece", "second "},
            {"other.dat", "kept"},           {"doc/a.xml/[2].last.piece", "third"},
            {"lone/x.xml/[1].piece", "lone"}};
}

} // namespace

TEST(Pieces, NamesAreThoseOfTheStandard) {
    const struct {
        const char* name;
        const char* prefix; ///< null: no piece
        std::uint64_t number;
        bool isLast;
    } cases[] = {
        {"a/[0].piece", "a", 0, false},      {"a/b.xml/[12].last.piece", "a/b.xml", 12, true},
        {"a/[0].LAST.Piece", "a", 0, true},  {"a/[0].piece/[1].piece", "a/[0].piece", 1, false},
        {"a/[00].piece", nullptr, 0, false}, {"a/[01].piece", nullptr, 0, false},
        {"a/[].piece", nullptr, 0, false},   {"a/[-1].piece", nullptr, 0, false},
        {"a/[1x].piece", nullptr, 0, false}, {"a/[99999999999999999999].piece", nullptr, 0, false},
        {"/[0].piece", nullptr, 0, false},   {"[0].piece", nullptr, 0, false},
        {"a[0].piece", nullptr, 0, false},   {"a/[0].last", nullptr, 0, false},
        {"a/[0]piece", nullptr, 0, false},   {"a/[0].first.piece", nullptr, 0, false},
        {".piece", nullptr, 0, false},       {"", nullptr, 0, false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const auto piece = parsePieceName(test.name);
        ASSERT_EQ(piece.has_value(), test.prefix != nullptr);
        if (piece) {
            EXPECT_EQ(piece->prefix, test.prefix);
            EXPECT_EQ(piece->number, test.number);
            EXPECT_EQ(piece->isLast, test.isLast);
        }
    }
}

TEST(Pieces, AreReadAsOnePart) {
    auto bytes = makeZip(interleaved());
    ZipPackage package(bytes);
    package.open(OpenMode::ReadOnly);
    EXPECT_THAT(partNames(package), ElementsAre("/doc/a.xml", "/doc/b.xml"));
    for (const std::size_t chunk : {1U, 3U, 100U}) {
        interfaces::IPhysicalInputStream& stream = *findPart(package, u"/doc/a.xml")->getInputStream();
        stream.open();
        EXPECT_EQ(readOn(stream, chunk), "first second third");
        EXPECT_TRUE(stream.isDone());
        stream.close();
    }
    EXPECT_EQ(findPart(package, u"/doc/a.xml")->getContentType(), u"a/xml");
    EXPECT_EQ(readAll(*package.getItemInputStream("doc/a.xml")), "first second third");
    EXPECT_THAT(package.getOtherItems(), ElementsAre("other.dat", "lone/x.xml/[1].piece"));
    const auto items = package.getItems();
    ASSERT_EQ(items.size(), 5U);
    EXPECT_EQ(items[1].name, "doc/a.xml");
    EXPECT_EQ(items[1].pieces, 3U);
    EXPECT_EQ(items[1].size, 18U);
    EXPECT_EQ(items[2].pieces, 0U);
}

TEST(Pieces, StayUntilTheirPartIsWrittenOrDeleted) {
    const auto original = makeZip(interleaved());
    auto bytes = original;
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    createPart(package, u"/doc/c.xml", "new");
    EXPECT_TRUE(failsWith(Errc::file_exists, [&] { createPart(package, u"/DOC/a.xml", "taken"); }));
    package.close(false);
    auto names = RawZipReader(original).names();
    names.push_back("doc/c.xml");
    EXPECT_EQ(RawZipReader(bytes).names(), names);

    package.open(OpenMode::ReadWrite);
    writeAll(*findPart(package, u"/doc/a.xml")->getOutputStream(), "in one");
    EXPECT_EQ(package.getItems()[1].pieces, 0U);
    package.close(false);
    EXPECT_THAT(RawZipReader(bytes).names(), ElementsAre("[Content_Types].xml", "doc/a.xml", "doc/b.xml", "other.dat",
                                                         "lone/x.xml/[1].piece", "doc/c.xml"));
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/doc/a.xml"), "in one");
    package.close(true);

    bytes = original;
    package.open(OpenMode::ReadWrite);
    package.deletePart(u"/doc/a.xml");
    package.close(false);
    EXPECT_THAT(RawZipReader(bytes).names(),
                ElementsAre("[Content_Types].xml", "doc/b.xml", "other.dat", "lone/x.xml/[1].piece"));
}

TEST(Pieces, OfAnIncompleteRowAreNoPart) {
    const std::vector<std::vector<std::string>> rows = {
        {"a.xml/[0].piece"},
        {"a.xml/[1].last.piece"},
        {"a.xml/[0].piece", "a.xml/[2].last.piece"},
        {"a.xml/[0].last.piece", "a.xml/[1].last.piece"},
        {"a.xml/[0].last.piece", "a.xml/[1].piece"},
        {"a.xml/[0].piece", "a.xml/[1].piece"},
    };
    for (const auto& row : rows) {
        std::vector<RawItem> items{{"[Content_Types].xml", TYPES}};
        for (const std::string& name : row)
            items.push_back({name, "x"});
        auto bytes = makeZip(items);
        ZipPackage package(bytes);
        package.open(OpenMode::ReadWrite);
        EXPECT_TRUE(package.getParts().empty()) << row.front();
        EXPECT_EQ(package.getOtherItems(), row);
        createPart(package, u"/a.xml", "whole");
        package.close(false);
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(readPart(package, u"/a.xml"), "whole");
        EXPECT_EQ(package.getOtherItems(), row);
    }
}

TEST(Pieces, TheContentTypesStreamAndRelationshipsMayBeInPieces) {
    auto bytes = makeZip({{"[Content_Types].xml/[1].last.piece", TYPES.substr(100)},
                          {"_rels/.rels/[0].last.piece", "rels"},
                          {"a.xml", "a"},
                          {"[Content_Types].xml/[0].piece", TYPES.substr(0, 100)}});
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(readAll(*package.getContentTypeInputStream()), TYPES);
    EXPECT_THAT(partNames(package), ElementsAre("/_rels/.rels", "/a.xml"));
    writeAll(*package.getContentTypeOutputStream(), TYPES + "<!---->");
    package.close(false);
    EXPECT_THAT(RawZipReader(bytes).names(), ElementsAre("_rels/.rels/[0].last.piece", "a.xml", "[Content_Types].xml"));
}

TEST(Pieces, ThatSayTheSameTwiceAreRefused) {
    const struct {
        std::vector<RawItem> items;
        const char* text;
    } cases[] = {
        {{{"a.xml/[0].last.piece", "x"}, {"A.xml/[0].LAST.piece", "y"}},
         "there are two items \"A.xml/[0].LAST.piece\""},
        {{{"a.xml/[0].last.piece", "x"}, {"a.xml", "y"}}, "the items \"a.xml\" and \"a.xml\" are the same part"},
        {{{"[Content_Types].xml/[0].last.piece", TYPES}}, "there are two content types streams"},
    };
    for (const auto& test : cases) {
        auto items = test.items;
        items.push_back({"[Content_Types].xml", TYPES});
        auto bytes = makeZip(items);
        ZipPackage package(bytes);
        EXPECT_TRUE(failsWith(Errc::bad_message, test.text, [&] { package.open(OpenMode::ReadOnly); }));
    }
}

TEST(Pieces, KeepTheLimitsOfOnePart) {
    auto bytes = makeZip(interleaved());
    ZipPackage package(bytes, {.limits = {.itemSize = 17 + TYPES.size()}});
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/doc/a.xml"), "first second third");
    package.close(true);
    std::vector<RawItem> items{{"[Content_Types].xml", ""}};
    items[0].content = contentTypes("<Default Extension='x' ContentType='a/b'/>");
    for (const char* name : {"p.x/[0].piece", "p.x/[1].last.piece"})
        items.push_back({name, std::string(150, 'x')});
    auto more = makeZip(items);
    ZipPackage strict(more, {.limits = {.itemSize = 299}});
    strict.open(OpenMode::ReadOnly);
    EXPECT_TRUE(failsWith(Errc::file_too_large, [&] { readPart(strict, u"/p.x"); }));
}

} // namespace opc::storage
