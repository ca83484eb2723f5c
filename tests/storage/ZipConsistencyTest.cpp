// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gtest/gtest.h>

#include <zip.h>

namespace opc::storage {

using namespace opc::test;

namespace {

using Bytes = std::vector<unsigned char>;

const std::string TYPES = contentTypes("<Default Extension='xml' ContentType='a/xml'/>");
const std::string TEXT = "content of b";
const std::uint32_t CHECKSUM =
    static_cast<std::uint32_t>(::crc32(0, reinterpret_cast<const Bytef*>(TEXT.data()), static_cast<uInt>(TEXT.size())));
constexpr const char* B = ": \"b.xml\": ";

std::string number(std::uint64_t value, int bytes) {
    return RawZipWriter::number(value, bytes);
}

/// A package with an item "b.xml" that is stored unless it says something else, between two others.
Bytes withB(RawItem b, const std::string& comment = {}) {
    return makeZip({{"[Content_Types].xml", TYPES}, std::move(b), {"c.xml", "content of c"}}, comment);
}

RawItem storedB() {
    return {.name = "b.xml", .content = TEXT, .method = 0};
}

std::size_t find(const Bytes& file, const std::string& text, std::size_t from = 0) {
    return std::string(file.begin(), file.end()).find(text, from);
}

Bytes insert(Bytes file, std::size_t place, const std::string& bytes) {
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(place), bytes.begin(), bytes.end());
    return file;
}

Bytes replace(Bytes file, std::size_t place, const std::string& bytes) {
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(place));
    return file;
}

/// Another value for a field of the local header of "b.xml".
Bytes withLocal(std::size_t field, const std::string& value, RawItem b = storedB()) {
    const Bytes file = withB(std::move(b));
    return replace(file, find(file, "b.xml") - 30 + field, value);
}

/// Bytes in front of the end record, which ends the file.
Bytes beforeEnd(const Bytes& file, const std::string& bytes) {
    return insert(file, file.size() - 22, bytes);
}

std::string descriptor(std::uint32_t checksum, std::uint64_t size, int width = 4) {
    return number(checksum, 4) + number(TEXT.size(), width) + number(size, width);
}

/// "b.xml" with the bit that announces a data descriptor, true values in its local header, and such bytes behind it.
Bytes withDescriptor(const std::string& bytes) {
    return makeZip({{"[Content_Types].xml", TYPES},
                    {.name = "b.xml", .content = TEXT, .method = 0, .flags = 8},
                    {.name = "c.xml", .content = "content of c", .before = bytes}});
}

std::string extraField(unsigned header, const std::string& content) {
    return number(header, 2) + number(content.size(), 2) + content;
}

std::string unicodePath(const std::string& name, const std::string& unicodeName) {
    const auto* text = reinterpret_cast<const Bytef*>(name.data());
    return extraField(0x7075, '\1' + number(::crc32(0, text, static_cast<uInt>(name.size())), 4) + unicodeName);
}

/// The sizes of "b.xml" in an extra field, as they are in its local header with `full` in their place.
RawItem localZip64(std::uint64_t size = TEXT.size()) {
    RawItem b = storedB();
    b.extra = extraField(0x5455, "\1abcd");
    b.localExtra = extraField(1, number(size, 8) + number(TEXT.size(), 8)) + b.extra;
    return b;
}

const std::string FULL(8, '\xFF');

/// A file of three items with end records of ZIP64, and another value for a field of its plain end record.
Bytes withEnd64(std::size_t field, const std::string& value, std::uint64_t size = 44) {
    const Bytes file = withB(storedB());
    const std::size_t end = file.size() - 22;
    const std::size_t start = find(file, "PK\1\2");
    const std::string end64 = "PK\6\6" + number(size, 8) + number(45, 2) + number(45, 2) + number(0, 8) + number(3, 8) +
                              number(3, 8) + number(end - start, 8) + number(start, 8);
    return beforeEnd(replace(file, end + field, value),
                     end64 + "PK\6\7" + number(0, 4) + number(end, 8) + number(1, 4));
}

/// A byte between the last item and the directory.
Bytes beforeDirectory() {
    const Bytes file = withB(storedB());
    const std::size_t start = find(file, "PK\1\2");
    return insert(replace(file, file.size() - 6, number(start + 1, 4)), start, "x");
}

Bytes withAnItemInFront() {
    const Bytes front = makeZip({{"b.xml", "another content", 0}});
    return makeZip({{.name = "[Content_Types].xml",
                     .content = TYPES,
                     .before = std::string(front.begin(), front.begin() + 30 + 5 + 15)},
                    {.name = "b.xml", .content = TEXT}});
}

/// What the open says; "" when it succeeds.
std::string openAs(const Bytes& file, bool consistent) {
    Bytes bytes = file;
    ZipOptions options;
    options.consistent = consistent;
    ZipPackage package(bytes, options);
    try {
        package.open(OpenMode::ReadOnly);
        return "";
    } catch (const Exception& e) {
        EXPECT_EQ(e.code(), make_error_condition(Errc::bad_message)) << e.what();
        return e.what();
    }
}

} // namespace

TEST(ZipConsistency, WhatReadersCouldTakeForTwoPackagesIsRefused) {
    const std::string differs = B + std::string("the local header tells another ");
    const std::string noDescriptor = B + std::string("no data descriptor that agrees");
    const std::string noItem = B + std::string("bytes that belong to no item");
    const struct {
        Bytes file;
        std::string said;
        const char* why;
    } cases[] = {
        {withLocal(30, "x.xml"), differs + "name", "another name"},
        {withLocal(30, "B.xml"), differs + "name", "the same part, but another item"},
        {withLocal(26, number(4, 2)), differs + "name", "a shorter name, and more extra field"},
        {withLocal(26, number(65535, 2)), "the local header is longer than the file", "a name beyond the end"},
        {withLocal(0, "PK\3\5"), "there is no local header", "another signature"},
        {withLocal(6, number(1, 2)), differs + "flags", "encrypted or not"},
        {withLocal(6, number(8, 2)), differs + "flags", "with a data descriptor or not"},
        {withLocal(6, number(0x800, 2), {.name = "b.xml\xC3\xA9"}), "tells another flags", "UTF-8 or not"},
        {withLocal(8, number(8, 2)), differs + "compression method", "deflated or not"},
        {withLocal(14, number(1, 4)), differs + "checksum", "another checksum"},
        {withLocal(14, number(0, 4)), differs + "checksum", "zero, but nothing follows that tells it"},
        {withLocal(18, number(11, 4)), differs + "compressed size", "one byte less"},
        {withLocal(22, number(13, 4)), differs + "size", "one byte more"},
        {withLocal(14, number(1, 4), {.name = "b.xml", .content = TEXT, .descriptor = true}), differs + "checksum",
         "only zero stands for what a descriptor tells"},
        {withLocal(18, FULL), B + std::string("the local header lacks the sizes of ZIP64"), "full, but no ZIP64"},
        {withLocal(18, FULL, localZip64(13)), differs + "size", "ZIP64 of another size"},
        {withB({.name = "b.xml", .localExtra = extraField(1, number(0, 8)) + extraField(1, number(1, 8))}),
         B + std::string("there are two extra fields of ZIP64"), "in the local header"},
        {withB({.name = "b.xml", .extra = extraField(1, "") + extraField(1, ""), .localExtra = ""}),
         B + std::string("there are two extra fields of ZIP64"), "in the directory"},
        {withB({.name = "b.xml", .localExtra = unicodePath("b.xml", "x.xml")}), differs + "name", "by an extra field"},
        {withDescriptor(""), noDescriptor, "none"},
        {withDescriptor(descriptor(CHECKSUM, 12).substr(0, 11)), noDescriptor, "cut off"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM ^ 1, 12)), noDescriptor, "another checksum"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM, 13)), noDescriptor, "another size"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM, 13, 8)), noDescriptor, "another size of ZIP64"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM, 12) + "x"), noItem, "and more behind"},
        {makeZip({{"[Content_Types].xml", TYPES}, storedB(), {.name = "c.xml", .before = "PK\3\4"}}), noItem,
         "what looks like an item"},
        {makeZip(
             {{"[Content_Types].xml", TYPES}, storedB(), {.name = "c.xml", .before = std::string(70000, '\0') + "x"}}),
         noItem, "at the end of a long padding"},
        {beforeDirectory(), ": \"c.xml\": bytes that belong to no item", "in front of the directory"},
        {withAnItemInFront(), "the file starts with an item that the central directory does not have", "in front"},
        {makeZip({{.name = "[Content_Types].xml", .content = TYPES, .before = "PK00PK\3\4"}}),
         "the file starts with an item", "behind the mark of a file in one piece"},
        {makeZip({{"[Content_Types].xml", TYPES}, {"x.bin", "1"}, {"x.bin", "2"}}), "there are two items \"x.bin\"",
         "that are no parts"},
        {beforeEnd(withB(storedB()), "x"), "the end record does not follow the central directory", "between them"},
        {insert(withB(storedB()), withB(storedB()).size(), "x"), "something other than its comment follows",
         "one byte"},
        {insert(withB(storedB(), "abc"), withB(storedB()).size() + 2, "x"), "something other than its comment",
         "behind a comment"},
        {withB(storedB(), "PK\5\6" + std::string(18, 'x')), "there is an end record in the comment", "of another"},
        {withEnd64(0, "PK", 45), "the end record of ZIP64 is not where it should be", "it ends elsewhere"},
        {withEnd64(10, number(2, 2)), "the end records do not agree", "about the number of items"},
        {withEnd64(12, number(46, 4)), "the end records do not agree", "about the size of the directory"},
        {withEnd64(16, number(0, 4)), "the end records do not agree", "about the place of the directory"},
    };
    for (const auto& [file, said, why] : cases) {
        const std::string message = openAs(file, true);
        EXPECT_EQ(message.find("ZIP package in memory: "), 0U) << why;
        EXPECT_NE(message.find(said), std::string::npos) << why << ": " << message << '\n' << said;
        EXPECT_EQ(openAs(file, false), "") << why;
    }
}

TEST(ZipConsistency, WhatRealProducersDoIsNotRefused) {
    const std::string signature = "PK\7\10";
    const struct {
        Bytes file;
        const char* why;
    } cases[] = {
        {withB(storedB(), "a comment"), "nothing special, and a comment"},
        {withLocal(4, number(45, 2)), "another version"},
        {withLocal(10, number(1, 2)), "another time"},
        {withLocal(12, number(33, 2)), "another date"},
        {withLocal(6, number(6, 2)), "another compression level"},
        {withLocal(6, number(0x800, 2)), "a name in UTF-8 that is ASCII"},
        {withB({.name = "b.xml", .extra = extraField(0x5455, "\1abcd"), .localExtra = extraField(0xA220, "xy")}),
         "other extra fields"},
        {withB({.name = "b.xml", .localExtra = extraField(0xA220, std::string(60000, '\0'))}), "a long extra field"},
        {withB({.name = "b.xml", .localExtra = std::string(3, '\0')}), "zeros that align the content"},
        {withB({.name = "b.xml", .localExtra = unicodePath("b.xml", "b.xml")}), "the same name in UTF-8"},
        {withB({.name = "b.xml", .localExtra = unicodePath("a.xml", "x.xml")}), "a Unicode name that is out of date"},
        {withB({.name = "b.xml", .content = TEXT, .descriptor = true}), "a data descriptor, and zeros before"},
        {withDescriptor(signature + descriptor(CHECKSUM, 12)), "a data descriptor, and true values before"},
        {withDescriptor(descriptor(CHECKSUM, 12)), "without its signature"},
        {withDescriptor(signature + descriptor(CHECKSUM, 12, 8)), "with sizes of ZIP64"},
        {withDescriptor(descriptor(CHECKSUM, 12, 8)), "with both"},
        {withLocal(18, FULL, localZip64()), "sizes of ZIP64 in the local header alone"},
        {withEnd64(8, FULL), "end records of ZIP64"},
        {withEnd64(10, number(3, 2)), "end records of ZIP64 beside true values"},
        {makeZip({{.name = "[Content_Types].xml", .content = TYPES, .before = "MZ, and PK\3\4 in it"}}),
         "a program in front"},
        {makeZip({{.name = "[Content_Types].xml", .content = TYPES, .before = "PK00"}}), "the mark of one piece"},
        {makeZip({{"[Content_Types].xml", TYPES}, storedB(), {.name = "c.xml", .before = std::string(70000, '\0')}}),
         "zeros that align the next item"},
    };
    for (const auto& [file, why] : cases)
        EXPECT_EQ(openAs(file, true), "") << why;
}

TEST(ZipConsistency, OurOwnFilesAndThoseOfLibzipPass) {
    TemporaryFolder folder;
    ZipOptions options;
    options.consistent = true;
    const std::string text(100000, 't');
    ZipPackage package(folder / "ours", options);
    package.open(OpenMode::CreateOnly);
    writeAll(*package.getContentTypeOutputStream(), TYPES);
    createPart(package, u"/a.xml", text);
    createPart(package, u"/%C3%A9.xml", text, PartInfo(interfaces::CompressionType::None));
    package.close(false);
    writeFile(folder / "changed", withB({.name = "b.xml", .content = text, .descriptor = true}));
    ZipPackage changed(folder / "changed", options);
    changed.open(OpenMode::ReadWrite);
    writeAll(*findPart(changed, u"/c.xml")->getOutputStream(), text);
    createPart(changed, u"/d.xml", text);
    changed.close(false);

    zip_t* zip = zip_open((folder / "libzip").c_str(), ZIP_CREATE, nullptr);
    for (const auto& [name, content] : {std::pair("[Content_Types].xml", &TYPES), std::pair("\xC3\xA9.xml", &text)})
        zip_file_add(zip, name, zip_source_buffer(zip, content->data(), content->size(), 0), ZIP_FL_ENC_UTF_8);
    ASSERT_EQ(zip_close(zip), 0);
    for (const char* name : {"ours", "changed", "libzip"})
        EXPECT_EQ(openAs(readFile(folder / name), true), "") << name;
}

} // namespace opc::storage
