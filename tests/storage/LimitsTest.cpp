// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gtest/gtest.h>

namespace opc::storage {

namespace {

using namespace opc::test;
using Bytes = std::vector<unsigned char>;

const std::string TYPES = contentTypes("<Default Extension='bin' ContentType='a/b'/>");

Bytes makePackage(std::vector<RawItem> items) {
    items.push_back({"[Content_Types].xml", TYPES});
    return makeZip(items);
}

testing::AssertionResult opens(Bytes bytes, const Limits& limits) {
    ZipPackage package(bytes, {.limits = limits});
    try {
        package.open(OpenMode::ReadOnly);
    } catch (const Exception& e) {
        return testing::AssertionFailure() << e.what();
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult refuses(Bytes bytes, const Limits& limits, Errc code, const std::string& text) {
    ZipPackage package(bytes, {.limits = limits});
    return failsWith(code, text, [&] { package.open(OpenMode::ReadOnly); });
}

/// Where the n-th of some bytes is.
std::size_t find(const Bytes& bytes, const std::string& what, int n) {
    const std::string text(bytes.begin(), bytes.end());
    std::size_t place = text.find(what);
    while (n-- > 1)
        place = text.find(what, place + 1);
    return place;
}

void setNumber(Bytes& bytes, std::size_t place, std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i)
        bytes.at(place + static_cast<std::size_t>(i)) = static_cast<unsigned char>(value >> 8 * i);
}

} // namespace

TEST(Limits, CountsAndNamesAreCheckedAtOpen) {
    const Bytes three = makePackage({{"a.bin", "a"}, {"folder/", "", 0}});
    Limits limits;
    limits.items = 3;
    limits.nameLength = 19;
    EXPECT_TRUE(opens(three, limits));
    limits.items = 2;
    EXPECT_TRUE(refuses(three, limits, Errc::file_too_large, "the file has more items than 2 (limit items)"));
    limits.items = 3;
    limits.nameLength = 18;
    EXPECT_TRUE(refuses(three, limits, Errc::file_too_large, "a name of more bytes than 18 (limit name-length)"));
}

TEST(Limits, SizesAreWhatComesOut) {
    const std::string text(500, 'x');
    auto bytes = makePackage({{"a.bin", text}, {"b.bin", text}, {"liar.bin", text, Z_DEFLATED, 0, {}, 0xFFFFFFF0}});
    Limits limits;
    limits.itemSize = 500;
    limits.totalSize = TYPES.size() + 999;
    ZipPackage package(bytes, {.limits = limits});
    package.open(OpenMode::ReadOnly);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(readPart(package, u"/a.bin"), text) << "however often an item is read, it counts once";
    EXPECT_TRUE(failsWith(Errc::file_too_large,
                          "\"b.bin\": what was read of the package has more bytes than " +
                              std::to_string(limits.totalSize) + " (limit total-size)",
                          [&] { readPart(package, u"/b.bin"); }));
    package.close(true);

    limits = Limits();
    limits.itemSize = 499;
    ZipPackage strict(bytes, {.limits = limits});
    strict.open(OpenMode::ReadOnly);
    EXPECT_TRUE(failsWith(Errc::file_too_large, "\"a.bin\": the content has more bytes than 499 (limit item-size)",
                          [&] { readPart(strict, u"/a.bin"); }));
    strict.close(true);

    limits.itemSize = 1000;
    ZipPackage wide(bytes, {.limits = limits});
    wide.open(OpenMode::ReadOnly);
    EXPECT_TRUE(failsWith(Errc::bad_message, "not as long as the directory says", [&] {
        readPart(wide, u"/liar.bin");
    })) << "what the directory says of the size is no reason to refuse it, and no reason to believe it";
}

TEST(Limits, TheRatioCountsAboveItsFloor) {
    const std::string floor(Limits::RATIO_FLOOR, '\0');
    ASSERT_EQ(floor.size(), 64U << 20) << "equal rows of an honest table inflate by more than 250";
    auto bytes = makePackage({{"floor.bin", floor}, {"bomb.bin", floor + '\0'}});
    ZipPackage package(bytes);
    package.open(OpenMode::ReadOnly);
    EXPECT_TRUE(readPart(package, u"/floor.bin") == floor);
    EXPECT_TRUE(failsWith(Errc::file_too_large,
                          "\"bomb.bin\": more bytes come out for one compressed byte than 250 "
                          "(limit ratio)",
                          [&] { readPart(package, u"/bomb.bin"); }));
    package.close(true);
    ZipPackage wide(bytes, {.limits = {.ratio = 1032}});
    wide.open(OpenMode::ReadWrite);
    EXPECT_EQ(readPart(wide, u"/bomb.bin").size(), floor.size() + 1);
    createPart(wide, u"/new.bin", "new");
    wide.close(false);

    // In one that claims more compressed bytes than the file has.
    const std::size_t record = find(bytes, "PK\1\2", 2);
    setNumber(bytes, record + 20, 0x7FFFFFFF, 4);
    ZipPackage liar(bytes);
    EXPECT_TRUE(failsWith(Errc::bad_message, "overlap", [&] { liar.open(OpenMode::ReadOnly); }));
}

TEST(Limits, AContentTypesStreamThatIsTooLargeIsNotReadToItsEnd) {
    const Bytes bytes = makePackage({{"a.bin", "a"}});
    Limits limits;
    limits.xmlSize = TYPES.size();
    EXPECT_TRUE(opens(bytes, limits));
    auto copy = bytes;
    limits.xmlSize = TYPES.size() - 1;
    ZipPackage package(copy, {.limits = limits});
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(findPart(package, u"/a.bin")->getContentType(), u"") << "nothing is known of the types";
}

TEST(Limits, ItemsThatShareBytesAreRefused) {
    const std::string text(3000, 'x');
    const Bytes sound = makePackage({{"a.bin", text, 0}, {"b.bin", text, 0}});
    ASSERT_TRUE(opens(sound, {}));
    Bytes same = sound;
    setNumber(same, find(same, "PK\1\2", 2) + 42, 0, 4);
    EXPECT_TRUE(refuses(same, {}, Errc::bad_message, "the items \"a.bin\" and \"b.bin\" overlap in the file"));
    Bytes inside = sound; // the header of the second as content of the first
    setNumber(inside, find(inside, "PK\1\2", 1) + 20, 3100, 4);
    setNumber(inside, find(inside, "PK\1\2", 1) + 24, 3100, 4);
    EXPECT_TRUE(refuses(inside, {}, Errc::bad_message, "the items \"a.bin\" and \"b.bin\" overlap in the file"));

    // A local header that is longer than it says in the directory moves the content over the next item.
    Bytes moved = sound;
    setNumber(moved, 28, 100, 2);
    ZipPackage package(moved);
    package.open(OpenMode::ReadOnly);
    EXPECT_TRUE(failsWith(Errc::bad_message, "\"a.bin\": the content overlaps what comes next in the file",
                          [&] { readPart(package, u"/a.bin"); }));
    EXPECT_EQ(readPart(package, u"/b.bin"), text);
}

TEST(Limits, AFileThatCanBeReadInTwoWaysIsRefused) {
    const std::vector<RawItem> items = {{"[Content_Types].xml", TYPES}, {"a.bin", "same"}};
    RawZipWriter writer;
    const Bytes once = writer.make(items);
    EXPECT_TRUE(opens(once, {}));
    const Bytes twice = writer.make(items);
    EXPECT_TRUE(refuses(twice, {}, Errc::bad_message, "the ZIP structure is ambiguous: there are two directories"));

    // A package as the last item of another one is no second directory.
    std::vector<RawItem> nesting = items;
    nesting.push_back({"inner.bin", std::string(once.begin(), once.end()), 0});
    Bytes nested = makeZip(nesting, "with a comment");
    EXPECT_TRUE(opens(nested, {}));
}

} // namespace opc::storage
