// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"
#include "storage/items/OtherFormats.hpp"
#include "storage/zip/FileBytes.hpp"
#include "support/Process.hpp"

#include <zip.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>

namespace opc::test {
namespace {

/// The text of a document, or of one that poses as it.
std::string document(const std::string& text) {
    return "<w:document "
           "xmlns:w='http://schemas.openxmlformats.org/wordprocessingml/2006/main'><w:body><w:p><w:r><w:t>" +
           text + "</w:t></w:r></w:p></w:body></w:document>";
}

std::string relationshipTo(const std::string& target) {
    return "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'><Relationship Id='r' "
           "Type='http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument' Target='" +
           target + "'/></Relationships>";
}

const std::string MAIN = "application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml";
const std::string OTHER = "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml";

std::string typesWith(const std::string& entries) {
    return contentTypes("<Default Extension='rels' ContentType='application/"
                        "vnd.openxmlformats-package.relationships+xml'/>" +
                        entries);
}

const std::string NAME = "word/document.xml";
const std::string TEXT = document("ours");
const std::string FAKE = document("fake");
const RawItem TYPES_ITEM{"[Content_Types].xml", typesWith("<Default Extension='xml' ContentType='application/xml'/>"
                                                          "<Override PartName='/word/document.xml' ContentType='" +
                                                          MAIN + "'/>")};
const RawItem RELATIONSHIPS_ITEM{"_rels/.rels", relationshipTo(NAME)};
const RawItem OURS{NAME, TEXT, 0};

std::string expand(const std::string& text) {
    const std::pair<const char*, std::string> signs[] = {{"{document}", ": \"" + NAME + "\": "},
                                                         {"{crc}", number(checksum(TEXT), 4)},
                                                         {"{size}", number(TEXT.size(), 4)},
                                                         {"{size64}", number(TEXT.size(), 8)},
                                                         {"{packed}", number(deflate(TEXT).size(), 4)},
                                                         {"{packed64}", number(deflate(TEXT).size(), 8)},
                                                         {"{name}", number(checksum(NAME), 4)},
                                                         {"{main}", MAIN},
                                                         {"{other}", OTHER}};
    std::string result = unescaped(text);
    for (const auto& [sign, value] : signs)
        boost::replace_all(result, sign, value);
    return result;
}

/// With end records of ZIP64.
std::string withEnd64(std::string file) {
    const std::size_t end = file.size() - 22;
    const std::size_t start = file.find("PK\1\2");
    return file.insert(end, "PK\6\6" + number(44, 8) + number(45, 2) + number(45, 2) + number(0, 8) + number(4, 8) +
                                number(4, 8) + number(end - start, 8) + number(start, 8) + "PK\6\7" + number(0, 4) +
                                number(end, 8) + number(1, 4));
}

std::string packageOf(const std::vector<RawItem>& more, const std::string& comment = {}, const std::string& file = {}) {
    std::vector<RawItem> items{TYPES_ITEM, RELATIONSHIPS_ITEM};
    items.insert(items.end(), more.begin(), more.end());
    return rawZip(items, comment, file);
}

/// A package whose first bytes are a header of tar: what it needs of one is in the name of the first item.
std::string withTarHeader() {
    constexpr std::size_t offset = 148 - 30; // in the name
    std::string name = "[trash]/" + std::string(offset - 8, 'a') + "         ";
    const auto package = [&] { return rawZip({{name, "x", 0}, TYPES_ITEM, RELATIONSHIPS_ITEM, OURS}); };
    const std::string blank = package().substr(0, 512);
    const int sum = std::accumulate(blank.begin(), blank.end(), 0,
                                    [](int result, char c) { return result + static_cast<unsigned char>(c); });
    for (std::size_t i = 0; i < 6; ++i)
        name[offset + i] = static_cast<char>('0' + (sum >> (15 - 3 * i)) % 8);
    return package();
}

/// A package of the table.
std::string packageOf(const std::string& kind, const std::string& where, const std::string& bytes) {
    RawItem types = TYPES_ITEM;
    RawItem ours = OURS;
    RawItem last{"c.xml", where == "name of another" ? FAKE : "<c/>", 0};
    RawItem relationships = RELATIONSHIPS_ITEM;
    std::string comment = kind == "comment" ? "abc" : "";
    ours.extra = kind == "ZIP64 directory" ? expand("\\x01\\x00\\x08\\x00{size64}") : "";
    ours.localExtra = kind.ends_with("ZIP64") ? expand("\\x01\\x00\\x10\\x00{size64}{packed64}") : "";
    ours.descriptor = kind.ends_with("descriptor");
    ours.method = kind.starts_with("stored") ? 0 : Z_DEFLATED;
    ours.flags = kind.starts_with("bit 3") ? 8 : 0;
    ours.name += kind == "accent" ? "\xC3\xA9" : "";
    const std::map<std::string, std::string*> texts{{"types", &types.content},      {"in front", &types.before},
                                                    {"extra", &ours.extra},         {"local extra", &*ours.localExtra},
                                                    {"before c.xml", &last.before}, {"name of another", &last.name},
                                                    {"comment", &comment}};
    if (texts.contains(where))
        *texts.at(where) = where == "types" ? typesWith(bytes) : bytes;
    if (last.name.ends_with('/'))
        last.content.clear();
    if (where == "relationships")
        relationships.content = bytes + relationships.content;
    std::string file = rawZip({types, relationships, ours, last}, comment);
    const std::size_t local = file.find(ours.name) - 30;
    if (kind.ends_with("ZIP64"))
        file.replace(local + 18, 8, 8, '\xFF');
    if (kind.ends_with("4.5")) // as streams are packed: only the descriptor tells
        file.replace(local + 14, 12, 12, '\0')[local + 4] = 45;
    if (kind == "ZIP64 end")
        file = withEnd64(file);
    const std::map<std::string, std::size_t> records{{"local", local},
                                                     {"central", file.rfind(ours.name) - 46},
                                                     {"end", file.size() - 22},
                                                     {"end64", file.find("PK\6\6")}};
    const std::size_t plus = where.find('+');
    if (plus != std::string::npos)
        file.replace(records.at(where.substr(0, plus)) + std::stoul(where.substr(plus + 1)), bytes.size(), bytes);
    else if (where == "before the end record" || where == "behind")
        file.insert(file.size() - (where == "behind" ? 0 : 22), bytes);
    else if (where != "relationships")
        texts.at(where);
    return file;
}

struct Case {
    std::string said; ///< "opens" when it is not refused
    std::string file;
    std::string why;
    std::string rule{};            ///< of a finding, when it is not "opens" or can be read at all
    std::string plainly = "opens"; ///< what is said without the check
};

/// What is not compressed when it is deflated, with what stands for the ends of items somewhere.
std::string noiseWith(const std::string& end, const std::string& next) {
    std::string text;
    for (std::minstd_rand random(1); text.size() < 600;)
        text += static_cast<char>(random() >> 8);
    return text.replace(200, end.size(), end).replace(400, next.size(), next);
}

/// Two items of which the first is the document.
std::string withNames(const std::string& name, const std::string& other, unsigned flags) {
    return rawZip({{TYPES_ITEM.name, typesWith("<Default Extension='x' ContentType='" + MAIN + "'/>")},
                   {"_rels/.rels", relationshipTo(name)},
                   {.name = name, .content = TEXT, .flags = 0x800},
                   {.name = other, .content = FAKE, .flags = flags, .isMarked = flags != 0}});
}

/// With a data descriptor of ZIP64 in which a reader that takes sizes of 4 bytes finds the start of the next record.
std::string withSizeLikeASignature() {
    const std::string content(0x4B50, 'x');
    const std::string descriptor = "PK\7\10" + number(checksum(content), 4) + number(deflate(content).size(), 8);
    std::string file = packageOf({{.name = "x.bin", .content = content, .flags = 8},
                                  {.name = NAME, .content = TEXT, .before = descriptor + number(content.size(), 8)}});
    file[file.find("x.bin") - 30 + 4] = 45;
    return file;
}

/// What changes in one place do not make.
std::vector<Case> otherCases() {
    const std::string ours = packageOf({OURS});
    const std::string theirs = packageOf({{NAME, FAKE, 0}});
    const std::string ambiguous = "the ZIP structure is ambiguous: ";
    const std::string noItem = ": \"" + NAME + "\": bytes that belong to no item";
    const std::size_t start = ours.find("PK\1\2");
    std::string gap = ours;
    gap.replace(ours.size() - 6, 4, number(start + 1, 4)).insert(start, "x");
    std::string uncounted = packageOf({OURS, {NAME, FAKE, 0}});
    uncounted.replace(uncounted.size() - 14, 4, number(3, 2) + number(3, 2));
    std::string item;
    appendItem(item, {NAME, FAKE, 0});
    const std::string rename = expand("\\x75\\x70\\x16\\x00\\x01" + number(checksum("x.xml"), 4) + NAME);
    return {
        {ambiguous, ours + theirs, "in a row, one layout", "", ambiguous},
        {ambiguous, ours + packageOf({{NAME, document("another"), 0}}), "in a row, another layout", "", ambiguous},
        {ambiguous, theirs + ours, "in a row, the other way round", "", ambiguous},
        {ambiguous, packageOf({{NAME, FAKE, 0}}, "", ours), "in a row, places count from the start of the file", "",
         ambiguous},
        {ambiguous, ours.substr(0, ours.size() - 22) + theirs,
         "a directory in front of the end record, and where it says", "", ambiguous},
        {ambiguous, ours + rawZip({}), "an empty archive behind", "", ambiguous},
        {"the end record or its comment has the signature", packageOf({OURS}, theirs), "an archive in the comment",
         "zip-end-record"},
        {"the end record or its comment has the signature", packageOf({OURS}, "\5\6" + std::string(0x4B50 - 2, 'x')),
         "an end record that starts with the size of the comment", "zip-end-record"},
        {"the ZIP structure is damaged", uncounted, "one item more", "", "is damaged"},
        {noItem, gap, "in front of the directory", "zip-hidden-data"},
        {" bytes before the first item", packageOf({OURS}, "", item), "an item in front", "zip-hidden-data"},
        {"the item is stored", packageOf({{.name = NAME, .content = TEXT, .method = 0, .size = TEXT.size() - 1}}),
         "a size less than what is stored", "zip-damaged"},
        {"the compressed content ends before the item", packageOf({{.name = NAME, .content = TEXT, .behind = item}}),
         "an item behind the compressed content of another", "zip-damaged"},
        {"the content is longer", packageOf({{.name = NAME, .content = TEXT, .size = TEXT.size() - 1}}),
         "a size less than what is compressed", "zip-damaged"},
        {"the content is shorter", packageOf({{.name = NAME, .content = TEXT, .size = TEXT.size() + 1}}),
         "a size more than what is compressed", "zip-damaged"},
        {": \"a.xml\": the data descriptor agrees with the central directory by sizes of 4 and of 8 bytes",
         packageOf({{.name = "a.xml", .flags = 8, .localExtra = ""},
                    {.name = NAME, .content = TEXT, .before = "PK\7\10" + number(0, 4) + number(2, 8) + number(0, 8)}}),
         "an empty item with a data descriptor of ZIP64", "zip-descriptor"},
        {": \"x.bin\": the size in the data descriptor reads as the signature of a record", withSizeLikeASignature(),
         "a size of 8 bytes that starts like a local header", "zip-descriptor"},
        {": \"x.bin\": readers from the front could find the end of the item and another one in it",
         packageOf(
             {OURS, {.name = "x.bin", .content = noiseWith("PK\7\10", "PK\3\4"), .flags = 8, .descriptor = true}}),
         "a data descriptor in the content", "zip-descriptor"},
        {"opens",
         packageOf({OURS, {.name = "x.bin", .content = noiseWith("PK\3\4", "PK\1\2"), .flags = 8, .descriptor = true}}),
         "a package in an item with a data descriptor"},
        {"a locator of ZIP64 lies before the central directory", packageOf({{"x.bin", "PK\6\7", 0}, OURS}),
         "in the content of an item", "zip-end-record"},
        {": this is a tar archive, too", withTarHeader(), "an archive of tar in front", "zip-other-format"},
        {": this is an ISO 9660 image, too",
         rawZip({{"[trash]/x", std::string(32769 - 39, 'x') + "CD001", 0}, TYPES_ITEM, RELATIONSHIPS_ITEM, OURS}),
         "an image of a volume", "zip-other-format"},
        {": \"[trash]/x\": the content is damaged: its checksum is wrong",
         packageOf({OURS, {.name = "[trash]/x", .content = "x", .crc = 1}}), "a damaged item that is not a part",
         "zip-damaged"},
        {": \"x/\": the item is a folder by its name, and has content",
         packageOf({OURS, {.name = "x/", .content = "x", .method = 0}}), "a folder with content", "zip-file-kind"},
        {": \"[content_types].xml\": readers that are sensitive to case find no \"[Content_Types].xml\"",
         rawZip({{"[content_types].xml", TYPES_ITEM.content}, RELATIONSHIPS_ITEM, OURS}), "content types, in case",
         "content-types-item-case"},
        {"duplicate item \"x.bin\"", packageOf({OURS, {"x.bin", "1"}, {"x.bin", "2"}}), "that are not parts", "M3.3"},
        {"could take the item for \"\xC3\xA9.x\"", withNames("\xC3\xA9.x", "e\xCC\x81.x", 0x800), "NFC and NFD",
         "names-that-meet"},
        {"the name is not marked as UTF-8", withNames("\xE2\x94\x9C\xE2\x95\xA2.x", "\xC3\xB6.x", 0),
         "UTF-8 or code page", "M3.2"},
        {"the name is not UTF-8", withNames("a.x", "\xC0\xAE\xC0\xAE/a.x", 0x800), "dots in a longer form", "M3.2"},
        {"the name is not UTF-8", withNames("a.x", "\xED\xA0\x80.x", 0x800), "half a character of UTF-16", "M3.2"},
        {"could take the item for", withNames("\xC4\xB1.x", "i.x", 0x800), "an i without a dot", "names-that-meet"},
        {"opens", withNames("e.x", "\xC3\xA9.x", 0x800), "names that an accent tells apart"},
        {": \"x.xml\": the local header and the central directory disagree about the name",
         packageOf(
             {{.name = "x.xml", .content = TEXT, .extra = rename, .localExtra = ""}, {"word//document.xml", FAKE}}),
         "the name of the document in an extra field", "zip-extra-field"},
        {"\"[Content_Types].xml\": cannot be read",
         rawZip({{TYPES_ITEM.name, "<?xml version='1.1'?><x a='&#1;'/>"}, RELATIONSHIPS_ITEM, OURS}),
         "XML 1.1, which few readers take", "xml-well-formed"},
        {": \"" + NAME + "\": the part is stored in pieces",
         packageOf({{NAME + "/[0].piece", "<"}, {NAME + "/[1].last.piece", "a/>"}}), "of which few readers make a part",
         "interleaved-part"},
        {"opens",
         packageOf(
             {{.name = NAME, .content = TEXT, .localExtra = "\x20\xA2" + number(3000, 2) + std::string(3000, 'x')}}),
         "a long extra field"},
        {"opens",
         packageOf({OURS, {"word/"}, {"[trash]/0000.dat", "x"}, {"[trash]/0001.dat"}, {"a\\b"}, {"a.xml/[1].piece"}}),
         "folders, rubbish and what is not a part", "M2.16"},
        {"opens", packageOf({OURS, {"inner.docx", theirs, 0}}, "a comment"), "a package in a package"},
    };
}

std::vector<Case> allCases() {
    std::vector<Case> cases = otherCases();
    for (const auto& row : readTable("storage/two-ways.tsv"))
        cases.push_back({expand(row.at(0)), packageOf(row.at(1), row.at(2), expand(row.at(3))), row.at(4),
                         row.size() > 5 ? row[5] : "", row.size() > 6 ? row[6] : "opens"});
    return cases;
}

std::string openingAs(bool consistent, const std::string& file) {
    ZipOptions options;
    options.consistent = consistent;
    return openingSays(toBytes(file), options);
}

TEST(ZipConsistency, WhatReadersCouldTakeForTwoPackagesIsRefusedAndWhatRealProducersDoIsNot) {
    for (const auto& [said, file, why, rule, plainly] : allCases()) {
        const std::string message = openingAs(true, file);
        EXPECT_THAT(message, HasSubstr(said)) << why;
        EXPECT_TRUE(said == "opens" || message.starts_with("ZIP package in memory: ")) << why << ": " << message;
        EXPECT_THAT(openingAs(false, file), HasSubstr(plainly)) << why;
        const std::string findings = findingsIn(toBytes(file));
        EXPECT_THAT('\n' + findings, HasSubstr('\n' + rule + (rule.empty() ? "" : " "))) << why;
        EXPECT_TRUE(said != "opens" || !rule.empty() || findings.find(" error ") == findings.npos)
            << why << ": " << findings;
        EXPECT_EQ(findings.find(" blocks") != findings.npos, plainly != "opens") << why << ": " << findings;
        EXPECT_EQ(findings.starts_with("refused"), rule.empty() && said != "opens") << why << ": " << findings;
    }
}

/// Writes the files for other readers to a folder, by number and verdict: to one that is asked for, so that programs
/// read them that are not here.
TEST(ZipConsistency, NoOtherReaderReadsAnotherDocumentOutOfWhatIsNotRefused) {
    TemporaryFolder temporary;
    const char* wanted = std::getenv("OPCRAFT_TWO_WAYS");
    const std::filesystem::path folder = wanted ? wanted : temporary.path();
    int count = 100;
    for (const Case& each : allCases())
        writeFile(folder / ((each.said == "opens" ? "accepted-" : "refused-") + std::to_string(count++) + ".docx"),
                  toBytes(each.file));
    const ProcessResult result = runProcess(OPCRAFT_PYTHON, {OPCRAFT_READ_ZIPS, folder.string(), TEXT});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
}

/// The document that a tolerant open reads; what is said when it is refused.
std::string documentIn(Bytes& bytes, ZipOptions::Take take) {
    ZipOptions options;
    options.take = take;
    ZipPackage package(bytes, options);
    Findings findings;
    try {
        package.openTolerantly(OpenMode::ReadWrite, findings);
    } catch (const Exception& e) {
        return e.what();
    }
    EXPECT_THAT(findings.text, StartsWith("zip-end-record blocks error : "));
    const std::string text = readPart(package, u'/' + toString(NAME));
    createPart(package, u"/new.xml", "new");
    EXPECT_TRUE(failsWith(Errc::operation_not_permitted, [&] { package.close(false); }))
        << "the other bytes would be lost";
    package.deletePart(u"/new.xml");
    package.changeItems({}, true);
    package.close(false);
    EXPECT_EQ(openingAs(true, toText(bytes)), "opens");
    return text;
}

TEST(ZipConsistency, OfSeveralArchivesInARowOneIsTaken) {
    const std::string theirs = packageOf({{NAME, FAKE, 0}});
    const std::string ours = packageOf({OURS});
    const std::string large = packageOf({OURS, {"x.xml", std::string(100000, 'x'), 0}}); // 4 items
    const struct {
        std::string file;
        std::string first = "ambiguous: ";
        std::string last = TEXT;
        std::string neither = "ambiguous: ";
        const char* why;
    } cases[] = {
        {.file = theirs + ours, .first = FAKE, .why = "one layout"},
        {.file = theirs + large, .first = FAKE, .why = "the first far from the end"},
        {.file = packageOf({OURS}, "", theirs), .first = FAKE, .why = "offsets count from the start of the file"},
        {.file = theirs + "x" + ours + "y" + withEnd64(large), .first = FAKE, .why = "three, and bytes between them"},
        {.file = "front" + ours, .first = TEXT, .neither = TEXT, .why = "bytes before one"},
        {.file = theirs.substr(0, theirs.size() - 22) + ours, .first = TEXT, .why = "no end record of the first"},
        {.file = ours + rawZip({}), .last = "ambiguous: ", .why = "an empty archive behind"},
    };
    TemporaryFolder folder;
    for (const auto& [file, first, last, neither, why] : cases) {
        for (const auto& [take, expected] : {std::pair(ZipOptions::Take::Neither, neither),
                                             {ZipOptions::Take::First, first},
                                             {ZipOptions::Take::Last, last}}) {
            Bytes bytes = toBytes(file);
            EXPECT_THAT(documentIn(bytes, take), HasSubstr(expected)) << why;
        }
        writeFile(folder / "a.zip", toBytes(file));
        const ProcessResult python =
            runProcess(OPCRAFT_PYTHON,
                       {"-c", "import sys, zipfile; print(zipfile.ZipFile(sys.argv[1]).read(sys.argv[2]).decode())",
                        folder / "a.zip", NAME});
        EXPECT_EQ(python.out == last + '\n', last == TEXT) << why;
    }
}

TEST(ZipConsistency, OurOwnFilesAndThoseOfLibzipPass) {
    TemporaryFolder folder;
    const std::string text(100000, 't');
    Zip zip;
    writeAll(*zip->getContentTypeOutputStream(), TYPES);
    createPart(zip.package, u"/a.xml", text);
    createPart(zip.package, u"/%C3%A9.xml", text, PartInfo(interfaces::CompressionType::None));
    zip.save();
    EXPECT_EQ(openingAs(true, toText(zip.bytes)), "opens") << "created";
    ZipOptions options;
    options.consistent = true;
    Zip changed(toBytes(packageOf({{.name = NAME, .content = text, .descriptor = true}, {"c.xml", "<c/>"}})), options);
    changed.write(u"/c.xml", text);
    createPart(changed.package, u"/d.xml", text);
    changed.save();

    const std::string file = folder / "libzip";
    zip_t* other = zip_open(file.c_str(), ZIP_CREATE, nullptr);
    for (const auto& [name, content] : {std::pair("[Content_Types].xml", &TYPES), std::pair("\xC3\xA9.xml", &text)})
        zip_file_add(other, name, zip_source_buffer(other, content->data(), content->size(), 0), ZIP_FL_ENC_UTF_8);
    ASSERT_EQ(zip_close(other), 0);
    EXPECT_EQ(openingAs(true, toText(readFile(file))), "opens");
}

} // namespace
/// The first 512 bytes of a file whose bytes but the checksum have a sum, beside the blanks for the checksum.
Bytes blockOf(std::string_view checksum, long sum) {
    Bytes block(512, 0);
    std::copy(checksum.begin(), checksum.end(), block.begin() + 148);
    for (std::size_t i = 156; sum != 8 * ' '; ++i) {
        const long step = std::clamp(sum - 8 * ' ', -128L, 127L);
        block[i] = static_cast<unsigned char>(step);
        sum -= step;
    }
    return block;
}

TEST(Polyglots, HaveAnyChecksumThatSomeReaderOfTarTakes) {
    struct Row {
        std::string_view checksum;
        long sum;
        bool isTar;
    };
    using namespace std::string_view_literals;
    for (const Row& row : {Row{"  1234\0 "sv, 01234, true},
                           {"\0\0\0\0\0\0\0\0"sv, 0, true},
                           {"        "sv, 0, true},
                           {"\0001234 "sv, 01234, true},
                           {"\0001234 "sv, 0, true},
                           {"1_234\0 1"sv, 01234, true},
                           {"-0o1234\0"sv, -01234, true},
                           {" \t+1234\0"sv, 01234, true},
                           {"\x80\0\0\0\0\0\x02\x9C"sv, 01234, true},
                           {"\xFF\xFF\xFF\xFF\xFF\xFF\xFD\x64"sv, -01234, true},
                           {"  1235\0 "sv, 01234, false},
                           {"abcdefgh"sv, 0, false}}) {
        const Bytes block = blockOf(row.checksum, row.sum);
        EXPECT_EQ(storage::explainPolyglot(storage::VectorBytes(block)), row.isTar ? "a tar archive" : "")
            << testing::PrintToString(row.checksum) << ' ' << row.sum;
    }
}

} // namespace opc::test
