// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"
#include "support/Process.hpp"

namespace opc::test {
namespace {

using Change = interfaces::IPhysicalItems::Change;

/// Items that are wrong in some way, with bytes before them.
Bytes wrongZip(const std::string& comment = {}) {
    const std::string text(3000, 't');
    const std::string times("UT\x05\x00\x01\x01\x02\x03\x04", 9);
    const std::string otherName = "up\x0A" + std::string(1, '\0') + '\x01' + number(checksum("a.xml"), 4) + "x.xml";
    std::string file = rawZip({{"[Content_Types].xml", TYPES},
                               {.name = "a.xml", .content = text, .extra = times + otherName, .comment = "\x82"},
                               {.name = "a.xml", .content = "second", .method = 0},
                               {.name = "q.xml", .content = text, .comment = "\x82", .descriptor = true},
                               {.name = "wrong.xml", .content = text},
                               {"folder/", "", 0}},
                              comment, "front");
    return toBytes(file.replace(file.find("wrong.xml"), 9, "WRONG.xml"));
}

Change toChange(const std::string& text, const std::vector<interfaces::IPhysicalItems::Item>& items) {
    Change change;
    std::size_t at = 0;
    if (text[0] != '+')
        change.position = std::stoul(text, &at);
    const std::size_t content = text.find('=');
    change.isDeleted = text.substr(at) == "-";
    if (at == 0 || text[at] == '>')
        change.name = text.substr(at + 1, content - at - 1);
    else if (*change.position < items.size())
        change.name = items[*change.position].name;
    if (content != std::string::npos)
        change.content = toBytes(text.substr(content + 1));
    return change;
}

/// @return what is said when the changes are refused.
std::string saveChanges(Bytes& bytes, const std::string& changes) {
    std::vector<std::string> words;
    boost::split(words, unescaped(changes), boost::is_any_of("|"));
    const bool drops = words.back() == "drop";
    words.resize(words.size() - (drops ? 1 : 0));
    ZipPackage zip(bytes);
    Findings findings;
    zip.openTolerantly(OpenMode::ReadWrite, findings);
    std::vector<Change> list;
    for (const std::string& word : words)
        list.push_back(toChange(word, zip.getStoredItems()));
    try {
        zip.changeItems(list, drops);
    } catch (const Exception& e) {
        zip.close(false);
        return e.what();
    }
    zip.close(false);
    return {};
}

/// What Python reads: names, each with its size and comment.
std::string readByPython(const std::filesystem::path& file) {
    const ProcessResult result = runProcess(
        OPCRAFT_PYTHON, {"-c",
                         "import sys, zipfile\n"
                         "file = zipfile.ZipFile(sys.argv[1])\n"
                         "assert file.testzip() is None\n"
                         "print('|'.join(i.filename + ('*' if i.comment else '') for i in file.infolist()), end='')",
                         file.string()});
    return result.out + result.err;
}

TEST(ItemChanges, AreReadByOtherProgramsAndTouchNothingElse) {
    TemporaryFolder folder;
    const RawZipReader before(wrongZip());
    for (const auto& row : readTable("storage/item-changes.tsv")) {
        SCOPED_TRACE(row[2]);
        const bool drops = row[0].ends_with("|drop");
        Bytes bytes = wrongZip(drops ? "PK\5\6" : "comment");
        const std::string said = saveChanges(bytes, row[0]);
        if (!said.empty()) {
            EXPECT_THAT(said, HasSubstr(row[1]));
            EXPECT_EQ(bytes, wrongZip("comment"));
            continue;
        }
        writeFile(folder / "a.zip", bytes);
        EXPECT_EQ(readByPython(folder / "a.zip"), unescaped(row[1]));
        EXPECT_LE(runProcess("unzip", {"-tqq", folder / "a.zip"}).exitCode, drops ? 0 : 1);
        ZipOptions options;
        options.consistent = true;
        EXPECT_THAT(openingSays(bytes, options), HasSubstr(drops ? "opens" : "before the first"));
        for (const RawEntry& entry : RawZipReader(bytes).entries)
            if (entry.modified != 0x210000U) { // not new
                const auto same = [&](const RawEntry& old) {
                    return old.payload == entry.payload && old.modified == entry.modified && old.crc == entry.crc;
                };
                EXPECT_TRUE(std::any_of(before.entries.begin(), before.entries.end(), same)) << entry.name;
            }
    }
}

TEST(ItemChanges, AreNotMadeBesideChangesToParts) {
    Bytes bytes = zipOfNames({"a.xml/[0].piece", "a.xml/[1].last.piece", "b.xml"});
    const Bytes before = bytes;
    ZipPackage zip(bytes);
    zip.open(OpenMode::ReadOnly);
    EXPECT_EQ(zip.getStoredItems().at(2).name, "a.xml/[1].last.piece");
    EXPECT_EQ(readAll(*zip.getStoredItemInputStream(0)), TYPES);
    EXPECT_EQ(zip.getStoredItemInputStream(2), zip.getStoredItemInputStream(2));
    EXPECT_TRUE(failsWith(
        Errc::no_such_file_or_directory, [&] { zip.getStoredItemInputStream(4); }));
    EXPECT_TRUE(failsWith(Errc::operation_not_permitted, [&] { zip.changeItems({}, true); }));
    zip.close(false);
    zip.open(OpenMode::ReadWrite);
    writePart(zip, u"/b.xml", "changed");
    zip.changeItems({{3, "c.xml"}}, false);
    EXPECT_EQ(readAll(*zip.getStoredItemInputStream(3)), "");
    EXPECT_TRUE(failsWith(Errc::operation_not_permitted, [&] { zip.close(false); }));
    zip.close(true);
    EXPECT_EQ(bytes, before);
}

} // namespace
} // namespace opc::test
