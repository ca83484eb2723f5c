// SPDX-License-Identifier: Apache-2.0
#include "storage/items/Pieces.hpp"

#include "storage/Zips.hpp"

namespace opc::test {
namespace {

/// A part in three pieces, between the items of another one.
Bytes interleaved() {
    return zipWith({{"doc/a.xml/[0].piece", "first "},
                    {"doc/b.xml", "whole"},
                    {"doc/A.xml/[1].Piece", "second "},
                    {"other.dat", "kept"},
                    {"doc/a.xml/[2].last.piece", "third"},
                    {"lone/x.xml/[1].piece", "lone"}});
}

TEST(Pieces, NamesAreThoseOfTheStandard) {
    for (const auto& row : readTable("storage/piece-names.tsv")) {
        const auto piece = parsePieceName(row[0]);
        const std::string last = piece && piece->isLast ? " last" : "";
        EXPECT_EQ(piece ? std::string(piece->prefix) + " " + std::to_string(piece->number) + last : "none", row[1])
            << row[0];
    }
}

TEST(Pieces, AreReadAsOnePart) {
    Zip zip(interleaved());
    EXPECT_THAT(zip.parts(), ElementsAre("/doc/a.xml", "/doc/b.xml"));
    auto& stream = *findPart(zip.package, u"/doc/a.xml")->getInputStream();
    for (const std::size_t chunk : {1U, 3U, 100U}) {
        stream.open();
        EXPECT_EQ(readOn(stream, chunk), "first second third");
        EXPECT_TRUE(stream.isDone());
    }
    EXPECT_EQ(findPart(zip.package, u"/doc/a.xml")->getContentType(), u"a/xml");
    EXPECT_EQ(readAll(*zip->getItemInputStream("doc/a.xml")), "first second third");
    EXPECT_THAT(zip->getOtherItems(), ElementsAre("other.dat", "lone/x.xml/[1].piece"));
    const auto items = zip->getItems();
    ASSERT_EQ(items.size(), 5U);
    EXPECT_EQ(items[1].name, "doc/a.xml");
    EXPECT_EQ(items[1].pieces, 3U);
    EXPECT_EQ(items[1].size, 18U);
    EXPECT_EQ(items[2].pieces, 0U);
}

TEST(Pieces, StayUntilTheirPartIsWrittenOrDeleted) {
    Zip zip(interleaved());
    auto names = RawZipReader(zip.bytes).names();
    createPart(zip.package, u"/doc/c.xml", "new");
    EXPECT_TRUE(failsWith(Errc::file_exists, [&] { createPart(zip.package, u"/DOC/a.xml", "taken"); }));
    names.push_back("doc/c.xml");
    EXPECT_EQ(zip.save(), names);
    zip.write(u"/doc/a.xml", "in one");
    EXPECT_EQ(zip->getItems()[1].pieces, 0U);
    EXPECT_THAT(zip.save(), ElementsAre("[Content_Types].xml", "doc/a.xml", "doc/b.xml", "other.dat",
                                        "lone/x.xml/[1].piece", "doc/c.xml"));
    EXPECT_EQ(zip.read(u"/doc/a.xml"), "in one");

    Zip other(interleaved());
    other->deletePart(u"/doc/a.xml");
    EXPECT_THAT(other.save(), ElementsAre("[Content_Types].xml", "doc/b.xml", "other.dat", "lone/x.xml/[1].piece"));
}

TEST(Pieces, OfAnIncompleteRowAreNoPart) {
    for (const auto& row : readTable("storage/incomplete-pieces.tsv")) {
        Zip zip(zipOfNames(row));
        EXPECT_EQ(zip.parts().size(), 0U) << row.front();
        EXPECT_EQ(zip->getOtherItems(), row);
        createPart(zip.package, u"/a.xml", "whole");
        zip.save();
        EXPECT_EQ(zip.read(u"/a.xml"), "whole");
        EXPECT_EQ(zip->getOtherItems(), row);
    }
}

TEST(Pieces, TheContentTypesStreamAndRelationshipsMayBeInPieces) {
    Zip zip(makeZip({{"[Content_Types].xml/[1].last.piece", TYPES.substr(100)},
                     {"_rels/.rels/[0].last.piece", "rels"},
                     {"a.xml", "a"},
                     {"[Content_Types].xml/[0].piece", TYPES.substr(0, 100)}}));
    EXPECT_EQ(readAll(*zip->getContentTypeInputStream()), TYPES);
    EXPECT_THAT(zip.parts(), ElementsAre("/_rels/.rels", "/a.xml"));
    writeAll(*zip->getContentTypeOutputStream(), TYPES + "<!---->");
    EXPECT_THAT(zip.save(), ElementsAre("_rels/.rels/[0].last.piece", "a.xml", "[Content_Types].xml"));
}

TEST(Pieces, KeepTheLimitsOfOnePart) {
    const Bytes file = zipWith({{"p.xml/[0].piece", TYPES}, {"p.xml/[1].last.piece", TYPES}});
    Zip strict(file, {.limits = {.itemSize = 2 * TYPES.size() - 1}});
    EXPECT_TRUE(failsWith(Errc::file_too_large, [&] { strict.read(u"/p.xml"); }));
    Zip zip(file, {.limits = {.itemSize = 2 * TYPES.size()}});
    EXPECT_EQ(zip.read(u"/p.xml"), TYPES + TYPES);
}

} // namespace
} // namespace opc::test
