// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/Process.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gtest/gtest.h>

#include <zip.h>

#include <cstdlib>

namespace opc::storage {

using namespace opc::test;

namespace {

using Bytes = std::vector<unsigned char>;

/// The text of a document, or of one that poses as it.
std::string document(const std::string& text) {
    return "<w:document "
           "xmlns:w='http://schemas.openxmlformats.org/wordprocessingml/2006/main'><w:body><w:p><w:r><w:t>" +
           text + "</w:t></w:r></w:p></w:body></w:document>";
}

const std::string MAIN = "application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml";
const std::string OTHER = "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml";

std::string typesWith(const std::string& entries, const std::string& xmlType = "application/xml") {
    return contentTypes("<Default Extension='rels' ContentType='application/"
                        "vnd.openxmlformats-package.relationships+xml'/><Default Extension='xml' ContentType='" +
                        xmlType + "'/>" + entries);
}

std::string overrideOf(const std::string& name, const std::string& type = MAIN) {
    return "<Override PartName='" + name + "' ContentType='" + type + "'/>";
}

std::string relationshipTo(const std::string& target) {
    return "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'><Relationship Id='r' "
           "Type='http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument' Target='" +
           target + "'/></Relationships>";
}

const std::string NAME = "word/document.xml";
const std::string TYPES = typesWith(overrideOf("/word/document.xml"));
const std::string TEXT = document("ours");
const std::string FAKE = document("fake");
const RawItem TYPES_ITEM{"[Content_Types].xml", TYPES};
const RawItem RELATIONSHIPS_ITEM{"_rels/.rels", relationshipTo("word/document.xml")};
const std::uint64_t SIZE = TEXT.size();
const std::uint32_t CHECKSUM =
    static_cast<std::uint32_t>(::crc32(0, reinterpret_cast<const Bytef*>(TEXT.data()), static_cast<uInt>(TEXT.size())));
constexpr const char* B = ": \"word/document.xml\": ";

std::string number(std::uint64_t value, int bytes) {
    return RawZipWriter::number(value, bytes);
}

RawItem storedB() {
    return {.name = NAME, .content = TEXT, .method = 0};
}

/// A package with a document, and what comes behind it.
Bytes packageOf(RawItem b, std::vector<RawItem> more = {{"c.xml", "<c/>"}}, const std::string& comment = {}) {
    more.insert(more.begin(), {TYPES_ITEM, RELATIONSHIPS_ITEM, std::move(b)});
    return makeZip(more, comment);
}

Bytes withB(RawItem b, const std::string& comment = {}) {
    return packageOf(std::move(b), {{"c.xml", "<c/>"}}, comment);
}

/// A package with another item beside its document.
Bytes beside(const std::string& name, const std::string& content = FAKE) {
    return packageOf(storedB(), {{name, content, 0}});
}

/// A package with two items of which the first is its document.
Bytes withNames(const std::string& name, const std::string& other, unsigned flags) {
    return makeZip({{TYPES_ITEM.name, typesWith("<Default Extension='x' ContentType='" + MAIN + "'/>")},
                    {"_rels/.rels", relationshipTo(name)},
                    {.name = name, .content = TEXT, .flags = 0x800},
                    {.name = other, .content = FAKE, .flags = flags}});
}

Bytes withTypes(const std::string& entries, const std::string& xmlType = "application/xml") {
    return makeZip({{TYPES_ITEM.name, typesWith(entries, xmlType)}, RELATIONSHIPS_ITEM, storedB()});
}

std::string textOf(const Bytes& file) {
    return {file.begin(), file.end()};
}

std::size_t find(const Bytes& file, const std::string& text, std::size_t from = 0) {
    return textOf(file).find(text, from);
}

Bytes insert(Bytes file, std::size_t place, const std::string& bytes) {
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(place), bytes.begin(), bytes.end());
    return file;
}

Bytes replace(Bytes file, std::size_t place, const std::string& bytes) {
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(place));
    return file;
}

/// Another value for a field of the local header of the document.
Bytes withLocal(std::size_t field, const std::string& value, RawItem b = storedB()) {
    const Bytes file = withB(std::move(b));
    return replace(file, find(file, NAME) - 30 + field, value);
}

/// Bytes in front of the end record, which ends the file.
Bytes beforeEnd(const Bytes& file, const std::string& bytes) {
    return insert(file, file.size() - 22, bytes);
}

std::string descriptor(std::uint32_t checksum, std::uint64_t size, int width = 4) {
    return number(checksum, 4) + number(TEXT.size(), width) + number(size, width);
}

/// A document with the bit that announces a data descriptor, true values in its local header, and such bytes behind it.
Bytes withDescriptor(const std::string& bytes) {
    return packageOf({.name = NAME, .content = TEXT, .method = 0, .flags = 8},
                     {{.name = "c.xml", .content = "<c/>", .before = bytes}});
}

std::string extraField(unsigned header, const std::string& content) {
    return number(header, 2) + number(content.size(), 2) + content;
}

std::string unicodePath(const std::string& name, const std::string& unicodeName) {
    const auto* text = reinterpret_cast<const Bytef*>(name.data());
    return extraField(0x7075, '\1' + number(::crc32(0, text, static_cast<uInt>(name.size())), 4) + unicodeName);
}

/// The sizes of the document in an extra field, as they are in its local header with `full` in their place.
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
    const std::string end64 = "PK\6\6" + number(size, 8) + number(45, 2) + number(45, 2) + number(0, 8) + number(4, 8) +
                              number(4, 8) + number(end - start, 8) + number(start, 8);
    return beforeEnd(replace(file, end + field, value),
                     end64 + "PK\6\7" + number(0, 4) + number(end, 8) + number(1, 4));
}

/// A byte between the last item and the directory.
Bytes beforeDirectory() {
    const Bytes file = withB(storedB());
    const std::size_t start = find(file, "PK\1\2");
    return insert(replace(file, file.size() - 6, number(start + 1, 4)), start, "x");
}

/// Another value for a field of the record of the document in the directory.
Bytes withCentral(std::size_t field, const std::string& value) {
    const Bytes file = withB(storedB());
    return replace(file, textOf(file).rfind(NAME) - 46 + field, value);
}

Bytes withAnItemInFront() {
    const std::string front = textOf(makeZip({{NAME, FAKE, 0}}));
    return makeZip(
        {{.name = TYPES_ITEM.name, .content = TYPES, .before = front.substr(0, 30 + NAME.size() + FAKE.size())},
         RELATIONSHIPS_ITEM,
         storedB()});
}

/// A second item of the document's name that the end record does not count.
Bytes withOneMoreThanCounted() {
    const Bytes file = packageOf(storedB(), {{NAME, FAKE, 0}});
    return replace(file, file.size() - 14, number(3, 2) + number(3, 2));
}

Bytes forged(const std::string& text = "fake") {
    return packageOf({NAME, document(text), 0});
}

Bytes inARow(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes inARowAndAdjusted() {
    RawZipWriter writer;
    writer.make({TYPES_ITEM, RELATIONSHIPS_ITEM, storedB()});
    return writer.make({TYPES_ITEM, RELATIONSHIPS_ITEM, {NAME, FAKE, 0}});
}

/// The place that the end record tells is the first directory, the one in front of the end record the second.
Bytes withTwoDirectories() {
    Bytes first = withB(storedB());
    first.resize(first.size() - 22);
    return inARow(first, forged());
}

struct Refused {
    Bytes file;
    std::string said;
    const char* why;
    const char* plainly = ""; ///< what is said without the check; "" when it is opened
};

/// Made to be read in two ways.
std::vector<Refused> refusedFiles() {
    const std::string differs = B + std::string("the local header tells another ");
    const std::string noDescriptor = B + std::string("no data descriptor that agrees");
    const std::string noItem = B + std::string("bytes that belong to no item");
    const std::string taken = "readers could take the item for \"word/document.xml\"";
    const std::string twice = "two content types for one name: ";
    const std::string inexact = "\"/word/document.xml\" is \"" + MAIN +
                                "\", but for readers to whom case or prefixes count, \"/word/document.xml\" is \"" +
                                OTHER;
    constexpr const char* ambiguous = "the ZIP structure is ambiguous: ";
    return {
        {withLocal(30, "x.xml"), differs + "name", "another name"},
        {withLocal(30, "B.xml"), differs + "name", "the same part, but another item"},
        {withLocal(26, number(4, 2)), differs + "name", "a shorter name, and more extra field"},
        {withLocal(26, number(65535, 2)), "the local header is longer than the file", "a name beyond the end"},
        {withLocal(0, "PK\3\5"), "there is no local header", "another signature"},
        {withLocal(6, number(1, 2)), differs + "flags", "encrypted or not"},
        {withLocal(6, number(8, 2)), differs + "flags", "with a data descriptor or not"},
        {withLocal(6, number(0x800, 2), {.name = NAME + "\xC3\xA9"}), "tells another flags", "UTF-8 or not"},
        {withLocal(8, number(8, 2)), differs + "compression method", "deflated or not"},
        {withLocal(14, number(1, 4)), differs + "checksum", "another checksum"},
        {withLocal(14, number(0, 4)), differs + "checksum", "zero, but nothing follows that tells it"},
        {withLocal(18, number(SIZE - 1, 4)), differs + "compressed size", "one byte less"},
        {withLocal(22, number(SIZE + 1, 4)), differs + "size", "one byte more"},
        {withLocal(14, number(1, 4), {.name = NAME, .content = TEXT, .descriptor = true}), differs + "checksum",
         "only zero stands for what a descriptor tells"},
        {withLocal(18, FULL), B + std::string("the local header lacks the sizes of ZIP64"), "full, but no ZIP64"},
        {withLocal(18, FULL, localZip64(SIZE + 1)), differs + "size", "ZIP64 of another size"},
        {withB(
             {.name = NAME, .content = TEXT, .localExtra = extraField(1, number(0, 8)) + extraField(1, number(1, 8))}),
         B + std::string("there are two extra fields of ZIP64"), "in the local header"},
        {withB({.name = NAME, .content = TEXT, .extra = extraField(1, "") + extraField(1, ""), .localExtra = ""}),
         B + std::string("there are two extra fields of ZIP64"), "in the directory"},
        {withB({.name = NAME, .content = TEXT, .localExtra = unicodePath(NAME, "x.xml")}), differs + "name",
         "by an extra field"},
        {withDescriptor(""), noDescriptor, "none"},
        {withDescriptor(descriptor(CHECKSUM, SIZE).substr(0, 11)), noDescriptor, "cut off"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM ^ 1, SIZE)), noDescriptor, "another checksum"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM, SIZE + 1)), noDescriptor, "another size"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM, SIZE + 1, 8)), noDescriptor, "another size of ZIP64"},
        {withDescriptor("PK\7\10" + descriptor(CHECKSUM, SIZE) + "x"), noItem, "and more behind"},
        {makeZip({TYPES_ITEM, RELATIONSHIPS_ITEM, storedB(), {.name = "c.xml", .before = "PK\3\4"}}), noItem,
         "what looks like an item"},
        {makeZip(
             {TYPES_ITEM, RELATIONSHIPS_ITEM, storedB(), {.name = "c.xml", .before = std::string(70000, '\0') + "x"}}),
         noItem, "at the end of a long padding"},
        {beforeDirectory(), ": \"c.xml\": bytes that belong to no item", "in front of the directory"},
        {withAnItemInFront(), "the file starts with an item that the central directory does not have", "in front"},
        {makeZip({{.name = "[Content_Types].xml", .content = TYPES, .before = "PK00PK\3\4"}}),
         "the file starts with an item", "behind the mark of a file in one piece"},
        {makeZip({TYPES_ITEM, RELATIONSHIPS_ITEM, {"x.bin", "1"}, {"x.bin", "2"}}), "there are two items \"x.bin\"",
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
        {beside("word//document.xml"), taken, "two slashes"},
        {beside("word///document.xml"), taken, "three slashes"},
        {beside("word//x/document.xml"), taken, "two slashes in front of another folder"},
        {beside("word/./document.xml"), taken, "a segment of one dot"},
        {beside("word/x/../document.xml"), taken, "a segment of two dots"},
        {beside("../word/document.xml"), taken, "two dots in front"},
        {beside("word\\document.xml"), taken, "a backslash"},
        {beside("word/document.xml/"), taken, "a slash behind"},
        {beside("/word/document.xml"), taken, "a slash in front"},
        {beside(" word/document.xml"), taken, "a blank in front"},
        {beside("word/document.xml\t"), taken, "a blank behind"},
        {beside("word\xC2\xA0/document.xml"), taken, "a blank around a segment"},
        {beside("word/document.xml. ."), taken, "dots behind"},
        {beside("word/docum%2565nt.xml"), taken, "an escape of an escape"},
        {beside("word/document.xml%00.bin"), taken, "an escaped NUL"},
        {beside("word/DOCUMENT.xml"), taken, "case", "are the same part"},
        {beside("word/document.xml/[0].last.piece"), "the part is in pieces", "in pieces", "are the same part"},
        {beside("word/./document.xml/[0].last.piece"), "the part is in pieces", "in pieces, and a dot"},
        {beside("word/docu\xE2\x80\x8Bment.xml"), taken, "a space without width"},
        {beside("\xEF\xBD\x97ord/document.xml"), taken, "a wide letter"},
        {beside("/_rels/.rels", relationshipTo("c.xml")), "could take the item for \"_rels/.rels\"", "relationships"},
        {beside("%5BContent_Types%5D.xml"), "could take the item for \"[Content_Types].xml\"", "content types"},
        {beside(NAME), "there are two items \"word/document.xml\"", "one name", "are the same part"},
        {beside(NAME + std::string("\0.bin", 5)), ambiguous, "a NUL", ambiguous},
        {withNames("\xC3\xA9.x", "e\xCC\x81.x", 0x800), "could take the item for \"\xC3\xA9.x\"", "NFC and NFD"},
        {withNames("\xE2\x94\x9C\xE2\x95\xA2.x", "\xC3\xB6.x", 0), "could take the item for", "UTF-8 or code page"},
        {withB({.name = NAME, .content = TEXT, .extra = unicodePath(NAME, "x.xml"), .localExtra = ""}), ambiguous,
         "a name in an extra field of the directory", ambiguous},
        {packageOf({.name = "x.xml", .content = TEXT, .extra = unicodePath("x.xml", NAME), .localExtra = ""},
                   {{"word//document.xml", FAKE}}),
         ambiguous, "the name of the document in an extra field", ambiguous},
        {withTypes(overrideOf("/word/document.xml") + overrideOf("/word/document.xml", OTHER)), twice, "Overrides"},
        {withTypes(overrideOf("/word/document.xml", OTHER) + overrideOf("/word/document.xml")), twice, "other order"},
        {withTypes(overrideOf("/word/document.xml") + overrideOf("/Word/Document.xml", OTHER)),
         twice + "\"/word/document.xml\" is \"" + MAIN + "\", and \"/Word/Document.xml\" is \"" + OTHER, "in case"},
        {withTypes(overrideOf("/word/document.xml") + overrideOf("/word//document.xml", OTHER)), twice, "folded"},
        {withTypes("<Default Extension='XML' ContentType='" + MAIN + "'/>"), twice, "Defaults"},
        {withTypes(overrideOf("/Word/document.xml"), OTHER), inexact, "an Override in another case"},
        {withTypes("<t:Override xmlns:t='http://schemas.openxmlformats.org/package/2006/content-types' PartName='/" +
                       NAME + "' ContentType='" + MAIN + "'/>",
                   OTHER),
         inexact, "an Override with a prefix"},
        {makeZip({{TYPES_ITEM.name, "<?xml version='1.1'?><x a='&#1;'/>"}, RELATIONSHIPS_ITEM, storedB()}),
         "\"[Content_Types].xml\": cannot be read", "XML 1.1, which few readers take"},
        {makeZip({TYPES_ITEM, RELATIONSHIPS_ITEM, {NAME + "/[0].piece", "<"}, {NAME + "/[1].last.piece", "a/>"}}),
         B + std::string("the part is in pieces"), "of which few readers make a part"},
        {inARow(withB(storedB()), forged()), ambiguous, "in a row, one layout", ambiguous},
        {inARow(withB(storedB()), forged("another")), ambiguous, "in a row, another layout", ambiguous},
        {inARow(forged(), withB(storedB())), ambiguous, "in a row, the other way round", ambiguous},
        {inARowAndAdjusted(), ambiguous, "in a row, and places count from the start of the file", ambiguous},
        {withTwoDirectories(), ambiguous, "one of them in front of the end record", ambiguous},
        {inARow(withB(storedB()), makeZip({})), ambiguous, "an empty archive behind", ambiguous},
        {withB(storedB(), textOf(forged())), "there is an end record in the comment", "an archive in the comment"},
        {withOneMoreThanCounted(), "the ZIP structure is damaged", "one item more", "is damaged"},
        {withEnd64(4, number(1, 2)), "the end record tells of other disks", "the number of the disk"},
        {withEnd64(10, FULL.substr(0, 2)), "the end record tells of other disks",
         "another number of items on the disk"},
        {withB({.name = NAME, .content = TEXT, .method = 0, .size = SIZE - 1}), B + std::string("the item is stored"),
         "a size less than what is stored"},
        {withCentral(40, number(0xA1FF, 2)), B + std::string("the item is a link"), "for who unpacks"},
        {withCentral(34, number(1, 2)), B + std::string("the item is on another disk"), "in the directory"},
    };
}

struct Accepted {
    Bytes file;
    const char* why;
};

std::vector<Accepted> acceptedFiles() {
    const std::string signature = "PK\7\10";
    return {
        {withB(storedB(), "a comment"), "nothing special, and a comment"},
        {withLocal(4, number(45, 2)), "another version"},
        {withLocal(10, number(1, 2)), "another time"},
        {withLocal(12, number(33, 2)), "another date"},
        {withLocal(6, number(6, 2)), "another compression level"},
        {withLocal(6, number(0x800, 2)), "a name in UTF-8 that is ASCII"},
        {withB({.name = NAME,
                .content = TEXT,
                .extra = extraField(0x5455, "\1abcd"),
                .localExtra = extraField(0xA220, "xy")}),
         "other extra fields"},
        {withB({.name = NAME, .content = TEXT, .localExtra = extraField(0xA220, std::string(3000, '\0'))}),
         "a long extra field"},
        {withB({.name = NAME, .content = TEXT, .localExtra = std::string(3, '\0')}), "zeros that align the content"},
        {withB({.name = NAME, .content = TEXT, .localExtra = unicodePath(NAME, NAME)}), "the same name in UTF-8"},
        {withB({.name = NAME, .content = TEXT, .localExtra = unicodePath("a.xml", "x.xml")}),
         "a Unicode name that is out of date"},
        {withB({.name = NAME, .content = TEXT, .descriptor = true}), "a data descriptor, and zeros before"},
        {withDescriptor(signature + descriptor(CHECKSUM, SIZE)), "a data descriptor, and true values before"},
        {withDescriptor(descriptor(CHECKSUM, SIZE)), "without its signature"},
        {withDescriptor(signature + descriptor(CHECKSUM, SIZE, 8)), "with sizes of ZIP64"},
        {withDescriptor(descriptor(CHECKSUM, SIZE, 8)), "with both"},
        {withLocal(18, FULL, localZip64()), "sizes of ZIP64 in the local header alone"},
        {withEnd64(8, FULL), "end records of ZIP64"},
        {withEnd64(10, number(4, 2)), "end records of ZIP64 beside true values"},
        {makeZip({{.name = "[Content_Types].xml", .content = TYPES, .before = "MZ, and PK\3\4 in it"},
                  RELATIONSHIPS_ITEM,
                  storedB()}),
         "a program in front"},
        {makeZip({{.name = "[Content_Types].xml", .content = TYPES, .before = "PK00"}, RELATIONSHIPS_ITEM, storedB()}),
         "the mark of one piece"},
        {makeZip({TYPES_ITEM, RELATIONSHIPS_ITEM, storedB(), {.name = "c.xml", .before = std::string(70000, '\0')}}),
         "zeros that align the next item"},
        {packageOf({.name = NAME, .content = TEXT, .method = 0, .descriptor = true}), "stored, and a data descriptor"},
        {packageOf(storedB(),
                   {{"word/"}, {"[trash]/0000.dat", "x"}, {"[trash]/0001.dat"}, {"a\\b"}, {"a.xml/[1].piece"}}),
         "folders, rubbish and what is no part"},
        {withNames("e.x", "\xC3\xA9.x", 0x800), "names that an accent tells apart"},
        {packageOf(storedB(), {{"inner.docx", textOf(forged()), 0}}), "a package in a package"},
    };
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
    for (const auto& [file, said, why, plainly] : refusedFiles()) {
        const std::string message = openAs(file, true);
        EXPECT_EQ(message.find("ZIP package in memory: "), 0U) << why;
        EXPECT_NE(message.find(said), std::string::npos) << why << ": " << message << '\n' << said;
        const std::string plain = openAs(file, false);
        EXPECT_TRUE(*plainly ? plain.find(plainly) != std::string::npos : plain.empty()) << why << ": " << plain;
    }
}

TEST(ZipConsistency, WhatRealProducersDoIsNotRefused) {
    for (const auto& [file, why] : acceptedFiles())
        EXPECT_EQ(openAs(file, true), "") << why;
}

/// Writes the files for other readers to a folder, by number and verdict: to one that is asked for, so that programs
/// read them that are not here.
TEST(ZipConsistency, NoOtherReaderReadsAnotherDocumentOutOfWhatIsNotRefused) {
    TemporaryFolder temporary;
    const char* wanted = std::getenv("OPCRAFT_TWO_WAYS");
    const std::filesystem::path folder = wanted ? wanted : temporary.path();
    int number = 100;
    for (const Refused& row : refusedFiles())
        writeFile(folder / ("refused-" + std::to_string(number++) + ".docx"), row.file);
    for (const Accepted& row : acceptedFiles())
        writeFile(folder / ("accepted-" + std::to_string(number++) + ".docx"), row.file);
    const ProcessResult result = runProcess(OPCRAFT_PYTHON, {OPCRAFT_READ_ZIPS, folder.string(), TEXT});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
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
    writeFile(folder / "changed", withB({.name = NAME, .content = text, .descriptor = true}));
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
