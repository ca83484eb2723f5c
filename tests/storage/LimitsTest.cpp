// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"

namespace opc::test {
namespace {

const std::string CONTENT(3000, 'x');

TEST(Limits, WhatIsCountedAtOpen) {
    const Bytes file = zipWith({{"a.xml", "a"}, {"folder/", "", 0}});
    EXPECT_EQ(openingSays(file, {.limits = {.items = 3, .nameLength = 19}}), "opens");
    EXPECT_THAT(openingSays(file, {.limits = {.items = 2}}, Errc::file_too_large),
                HasSubstr("the file has more items than 2 (limit items)"));
    EXPECT_THAT(openingSays(file, {.limits = {.nameLength = 18}}, Errc::file_too_large),
                HasSubstr("a name of more bytes than 18 (limit name-length)"));
    for (const bool fits : {true, false}) {
        Zip zip(file, {.limits = {.xmlSize = TYPES.size() - (fits ? 0 : 1)}});
        EXPECT_EQ(findPart(zip.package, u"/a.xml")->getContentType(), fits ? u"a/xml" : u"") << "nothing is known";
    }
}

TEST(Limits, WhatIsSavedCanBeOpenedAgain) {
    Zip zip(zipOfNames({"a.xml"}), {.limits = {.items = 3, .itemSize = 1000, .nameLength = 19}});
    const auto create = [&](const std::u16string& name) { createPart(zip.package, name, "new"); };
    EXPECT_TRUE(failsWith(
        Errc::file_too_large, "an item has a name of more bytes than 19 (limit name-length)",
        [&] { create(u"/%C3%A9%C3%A9%C3%A9%C3%A9"); }));
    EXPECT_TRUE(failsWith(Errc::file_too_large,
                          "the relationships part of an item has a name of more bytes than 19 (limit name-length)",
                          [&] { create(u"/12345.xml"); }));
    create(u"/1234.xml");
    create(u"/_rels/1234.xml.rels");
    EXPECT_TRUE(failsWith(Errc::file_too_large, "more items than 3 (limit items)", [&] { zip->close(false); }));
    zip->deletePart(u"/_rels/1234.xml.rels");
    zip.write(u"/1234.xml", CONTENT);
    EXPECT_TRUE(failsWith(Errc::file_too_large, "\"1234.xml\": the content has more bytes than 1000 (limit item-size)",
                          [&] { zip->close(false); }));
    zip.write(u"/1234.xml", "short");
    zip.save();
}

TEST(Limits, SizesAreWhatComesOut) {
    const Bytes file =
        zipWith({{"a.xml", CONTENT}, {"b.xml", CONTENT}, {.name = "liar.xml", .content = CONTENT, .size = -16}});
    Limits limits;
    limits.itemSize = CONTENT.size();
    limits.totalSize = TYPES.size() + 2 * CONTENT.size() - 1;
    Zip zip(file, {.limits = limits});
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(zip.read(u"/a.xml"), CONTENT) << "however often an item is read, it counts once";
    EXPECT_TRUE(failsWith(Errc::file_too_large,
                          "\"b.xml\": what was read of the package has more bytes than " +
                              std::to_string(limits.totalSize) + " (limit total-size)",
                          [&] { zip.read(u"/b.xml"); }));
    Zip strict(file, {.limits = {.itemSize = CONTENT.size() - 1}});
    EXPECT_TRUE(failsWith(
        Errc::file_too_large, "\"a.xml\": the content has more bytes than 2999 (limit item-size)",
        [&] { strict.read(u"/a.xml"); }));
    EXPECT_TRUE(failsWith(Errc::bad_message, "its length is not that in the central directory", [&] {
        Zip(file).read(u"/liar.xml");
    })) << "what the directory says of the size is no reason to refuse it, and no reason to believe it";
}

TEST(Limits, TheRatioCountsAboveItsFloor) {
    ASSERT_EQ(Limits::RATIO_FLOOR, 64U << 20) << "equal rows of an honest table inflate by more than 250";
    const Bytes file = zipWith({{"bomb.xml", std::string(Limits::RATIO_FLOOR + 1, '\0')}});
    Zip zip(file);
    auto& stream = *findPart(zip.package, u"/bomb.xml")->getInputStream();
    Bytes buffer(1 << 16);
    std::uint64_t count = 0;
    stream.open();
    EXPECT_TRUE(failsWith(Errc::file_too_large,
                          "\"bomb.xml\": more inflated bytes for one compressed byte than 250 (limit ratio)", [&] {
                              while (const unsigned long read = stream.read(buffer.data(), buffer.size()))
                                  count += read;
                          }));
    EXPECT_EQ(count, Limits::RATIO_FLOOR);
    zip.write(u"/bomb.xml", std::string(Limits::RATIO_FLOOR + 1, '\0'));
    EXPECT_TRUE(failsWith(Errc::file_too_large, "\"bomb.xml\": more inflated bytes", [&] { zip->close(false); }));
    Zip wide(file, {.limits = {.ratio = 1032}});
    EXPECT_EQ(wide.read(u"/bomb.xml").size(), Limits::RATIO_FLOOR + 1);
}

TEST(Limits, ItemsThatShareBytesAreRefused) {
    const std::string sound = toText(zipWith({{"a.xml", CONTENT, 0}, {"b.xml", CONTENT, 0}}));
    const std::size_t a = sound.find("a.xml", sound.find("PK\1\2")) - 46;
    const std::size_t b = sound.find("b.xml", a) - 46;
    const struct {
        std::size_t place;
        std::string bytes;
    } cases[] = {
        {b + 42, sound.substr(a + 42, 4)},                       // one place
        {a + 20, number(3100, 4) + number(3100, 4)},             // the header of the second as content of the first
        {a + 20, number(0x7FFFFFFF, 4) + number(0x7FFFFFFF, 4)}, // more than the file has
    };
    for (const auto& [place, bytes] : cases) {
        std::string file = sound;
        EXPECT_THAT(openingSays(toBytes(file.replace(place, bytes.size(), bytes))),
                    HasSubstr("the items \"a.xml\" and \"b.xml\" overlap in the file"));
    }
    // A local header that is longer than it says in the directory moves the content over the next item.
    std::string moved = sound;
    Zip zip(toBytes(moved.replace(sound.find("a.xml") - 2, 2, number(100, 2))));
    EXPECT_TRUE(failsWith(Errc::bad_message, "\"a.xml\": the content overlaps what comes next in the file",
                          [&] { zip.read(u"/a.xml"); }));
    EXPECT_EQ(zip.read(u"/b.xml"), CONTENT);
}

} // namespace
} // namespace opc::test
