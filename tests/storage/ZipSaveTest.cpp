// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"

#include <sys/stat.h>

#include <sstream>

namespace opc::test {
namespace {

using interfaces::CompressionType;

/// Items of every kind that a save leaves alone.
std::vector<RawItem> variousItems() {
    const std::string text(3000, 't');
    return {
        {.name = "z.xml", .content = text, .comment = "a comment"},
        {.name = "folder/", .method = 0},
        {.name = "[Content_Types].xml", .content = TYPES, .descriptor = true},
        {.name = "stored.xml", .content = text, .method = 0},
        {.name = "described.xml", .content = text, .descriptor = true},
        {.name = "unknown.xml", .content = text, .method = 97},
        {.name = "locked.xml", .content = text, .flags = 1},
        {.name = "damaged.xml", .content = text, .crc = 1},
        {.name = "other.dat", .content = text, .extra = std::string("\xFE\xCA\x02\x00xy", 6)},
        {.name = "other.dat", .content = "twice"},
        {.name = "caf\xC3\xA9.xml", .content = text, .flags = 0x800},
        {.name = "\x82.dat", .content = "old code page"},
        {.name = "a.xml", .content = "a"},
        {.name = "empty.xml"},
    };
}

/// The same steps every time.
Bytes createBook() {
    Zip zip;
    const std::string text = someText(300000, 1, 4);
    for (int type = 0; type <= 4; ++type)
        createPart(zip.package, {u'/', static_cast<char16_t>(u'0' + type), u'.', u'x', u'm', u'l'}, text,
                   PartInfo(static_cast<CompressionType>(type)));
    createPart(zip.package, u"/_rels/.rels", "rels");
    writeAll(*zip->getContentTypeOutputStream(), TYPES);
    createPart(zip.package, u"/last.xml", "");
    zip->close(false);
    return zip.bytes;
}

TEST(ZipSave, NewItemsThatTellTheKindOfAPackageComeFirst) {
    const std::string rels = "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>"
                             "<Relationship Id='r1' Type='http://t' Target='b.xml'/>"
                             "<Relationship Id='r2' Type='http://schemas.openxmlformats.org/officeDocument/2006/"
                             "relationships/officeDocument' Target='word/main.xml'/></Relationships>";
    for (const auto& row : readTable("storage/first-items.tsv")) {
        Zip zip(row[0] == "created" ? Bytes() : makeZip({{row[0], ""}, {"[Content_Types].xml", TYPES}}));
        std::istringstream words(row.at(1));
        for (std::string call; words >> call;)
            if (call == "|")
                zip.save();
            else if (call == "types")
                writeAll(*zip->getContentTypeOutputStream(), TYPES);
            else
                createPart(zip.package, call == "rels" ? u"/_rels/.rels" : u'/' + toString(call), rels);
        EXPECT_EQ(boost::join(zip.save(), " "), row.at(2)) << row[1];
    }
}

TEST(ZipSave, ContentTypesThatNobodyWroteAreNotInTheFile) {
    for (const bool withPart : {false, true}) {
        Zip zip;
        zip->getContentTypeOutputStream()->close();
        EXPECT_TRUE(zip->getItems().empty());
        if (withPart)
            createPart(zip.package, u"/a.xml", "a");
        EXPECT_TRUE(failsWith(Errc::bad_message, [&] { zip.save(); })) << "saved, but not opened";
        EXPECT_EQ(RawZipReader(zip.bytes).names(), std::vector<std::string>(withPart ? 1 : 0, "a.xml"));
    }
}

TEST(ZipSave, TheSameCallsGiveTheSameBytesAtAnyTimeAndPlace) {
    const Bytes book = createBook();
    const mode_t mask = ::umask(0077);
    for (const char* zone : {"Pacific/Kiritimati", "XXX+13:30", "UTC"}) {
        ::setenv("TZ", zone, 1);
        ::tzset();
        EXPECT_EQ(createBook(), book) << zone;
    }
    ::umask(mask);
    const RawZipReader zip(book);
    for (const RawEntry& entry : zip.entries) {
        EXPECT_EQ(entry.modified, 0x210000U) << "the first of January 1980";
        EXPECT_EQ(entry.extra, "");
    }
    // The compression type decides how hard a part is compressed.
    EXPECT_EQ(zip.at("0.xml").method, 0U);
    for (const char* name : {"1.xml", "2.xml", "3.xml", "4.xml"})
        EXPECT_EQ(zip.at(name).method, 8U) << name;
    const auto size = [&](const char* name) { return zip.at(name).payload.size(); };
    EXPECT_LE(size("2.xml"), size("1.xml"));
    EXPECT_LT(size("1.xml"), size("3.xml"));
    EXPECT_LT(size("3.xml"), size("4.xml"));
    EXPECT_LT(size("4.xml"), size("0.xml"));
}

TEST(ZipSave, UntouchedItemsKeepTheirPlaceAndTheirBytes) {
    Zip zip(makeZip(variousItems(), "archive comment"));
    const RawZipReader before(zip.bytes);
    zip.write(u"/a.xml", "changed");
    zip->deletePart(u"/z.xml");
    createPart(zip.package, u"/new.xml", "new");
    zip.save();

    const RawZipReader after(zip.bytes);
    EXPECT_EQ(after.comment, "archive comment");
    ASSERT_EQ(after.entries.size(), before.entries.size());
    for (std::size_t i = 1; i < before.entries.size(); ++i)
        EXPECT_EQ(after.entries[i - 1] == before.entries[i], before.entries[i].name != "a.xml")
            << before.entries[i].name;
    EXPECT_EQ(after.entries.at(11).name, "a.xml");
    EXPECT_EQ(after.entries.back().name, "new.xml");
    EXPECT_EQ(zip.read(u"/a.xml"), "changed");
    EXPECT_EQ(zip.read(u"/new.xml"), "new");
    EXPECT_EQ(zip.read(u"/described.xml"), std::string(3000, 't'));
    EXPECT_TRUE(failsWith(
        Errc::bad_message, [&] { zip.read(u"/damaged.xml"); }))
        << "kept as it was";
    EXPECT_TRUE(failsWith(Errc::not_supported, [&] { zip.read(u"/locked.xml"); }));
}

TEST(ZipSave, KeepsWhatOneHeaderOfAnItemTells) {
    std::string file = toText(zipWith({{.name = "a.xml",
                                        .content = "a",
                                        .extra = std::string("\1\0\4\0\0\0\0\0", 8), // the number of the disk
                                        .descriptor = true,
                                        .localExtra = ""},
                                       {.name = "b.xml", .content = "whole", .method = 0}}));
    const std::size_t damaged = file.rfind("b.xml") - 46;
    file[damaged + 20] = '\x02'; // the size
    const std::size_t record = file.rfind("a.xml") - 46;
    file.replace(record + 8, 1, 1, '\0').replace(record + 34, 2, 2, '\xFF');
    const std::size_t local = file.find("a.xml") - 30;
    const std::string item = file.substr(local, file.find("PK\1\2") - local);
    ASSERT_THAT(item, HasSubstr("PK\7\10"));
    Zip zip(toBytes(file));
    createPart(zip.package, u"/new.xml", "new");
    zip.save();
    EXPECT_THAT(toText(zip.bytes), HasSubstr(item));
    EXPECT_THAT(toText(zip.bytes), HasSubstr("b.xmlwholePK"));
    EXPECT_EQ(zip.read(u"/a.xml"), "a");
}

TEST(ZipSave, NewContentTakesTheNameAndThePlaceOfTheOld) {
    const std::string times = std::string("UT\x05\x00\x01\x01\x02\x03\x04", 9);
    const std::string hint = std::string("\x20\xA2\x04\x00\x28\xA0\x00\x00", 8);
    const std::string text(3000, 't');
    std::string file = toText(zipWith({{.name = "A b.xml", .content = "old", .extra = times + hint},
                                       {.name = "long.xml", .content = "old"},
                                       {.name = "stored.xml", .content = "old", .method = 0},
                                       {.name = "unknown.xml", .content = "old", .method = 97},
                                       {.name = "locked.xml", .content = "old", .flags = 1},
                                       {.name = "damaged.xml", .content = "old", .crc = 1, .descriptor = true}}));
    const auto names = RawZipReader(toBytes(file)).names();
    file[file.find("long.xml") - 1] = '\x7F'; // the length of the extra field
    Zip zip(toBytes(file));
    const char16_t* changed[] = {u"/A%20b.xml",  u"/stored.xml",  u"/unknown.xml",
                                 u"/locked.xml", u"/damaged.xml", u"/long.xml"};
    for (const char16_t* name : changed)
        zip.write(name, text);
    EXPECT_EQ(zip.save(), names);
    const RawZipReader after(zip.bytes);
    for (const RawEntry& entry : after.entries)
        EXPECT_EQ(entry.method, 8U) << entry.name;
    EXPECT_EQ(after.at("A b.xml").extra, hint) << "of the old content the times go, the rest stays";
    EXPECT_EQ(after.at("A b.xml").modified, 0x210000U);
    for (const char16_t* name : changed)
        EXPECT_EQ(zip.read(name), text);
}

TEST(ZipSave, OtherProgramsReadTheResult) {
    TemporaryFolder folder;
    writeFile(folder / "book.zip", createBook());
    const std::string command = "cd " + folder.path().string() + " && unzip -tqq book.zip";
    EXPECT_EQ(std::system(command.c_str()), 0);
    ZipPackage package(folder / "book.zip");
    package.open(OpenMode::ReadWrite);
    writePart(package, u"/1.xml", "changed");
    package.deletePart(u"/2.xml");
    createPart(package, u"/new%20name.xml", std::string(100000, 'n'));
    package.close(false);
    const std::string check = " && unzip -p book.zip 1.xml | grep -qx changed && ! unzip -l book.zip 2.xml >/dev/null"
                              " && test $(unzip -p book.zip new%20name.xml | tr -cd n | wc -c) = 100000";
    EXPECT_EQ(std::system((command + check).c_str()), 0);
}

TEST(ZipSave, WithoutAChangeNothingIsWritten) {
    TemporaryFolder folder;
    const auto file = folder / "book.docx";
    const Bytes before = makeZip(variousItems());
    writeFile(file, before);
    struct stat was = {};
    ASSERT_EQ(::stat(file.c_str(), &was), 0);
    ZipPackage package(file);
    const std::function<void()> actions[] = {
        [] {},
        [&] { readPart(package, u"/z.xml"); },
        [&] { findPart(package, u"/z.xml")->getOutputStream()->close(); },
        [&] { package.getContentTypeOutputStream()->close(); },
        [&] {
            createPart(package, u"/new.xml", "new");
            package.deletePart(u"/new.xml");
        },
        [&] { EXPECT_ANY_THROW(createPart(package, u"/z.xml", "")); },
    };
    for (const auto& action : actions) {
        package.open(OpenMode::ReadWrite);
        action();
        package.close(false);
    }
    struct stat is = {};
    ASSERT_EQ(::stat(file.c_str(), &is), 0);
    EXPECT_EQ(is.st_ino, was.st_ino);
    EXPECT_EQ(is.st_mtim.tv_nsec, was.st_mtim.tv_nsec);
    EXPECT_EQ(readFile(file), before);
}

TEST(ZipSave, AnotherOutputLeavesTheOriginalAlone) {
    TemporaryFolder folder;
    const Bytes original = makeZip(variousItems());
    const auto written = [&] { return RawZipReader(readFile(folder / "out.docx")).names(); };
    for (const bool inFile : {true, false}) {
        for (const bool changed : {true, false}) {
            SCOPED_TRACE(testing::Message() << (inFile ? "file" : "bytes") << (changed ? ", changed" : ""));
            Bytes bytes = original;
            writeFile(folder / "in.docx", original);
            writeFile(folder / "out.docx", toBytes("old"));
            std::optional<ZipPackage> package;
            inFile ? package.emplace(folder / "in.docx") : package.emplace(bytes);
            package->open(OpenMode::ReadWrite);
            package->setOutput(folder / "out.docx");
            if (changed)
                createPart(*package, u"/new.xml", "new");
            package->close(false);
            EXPECT_EQ(readFile(folder / "in.docx"), original);
            EXPECT_EQ(bytes, original);
            EXPECT_EQ(readFile(folder / "out.docx") == original, !changed) << "without a change a plain copy";
            EXPECT_EQ(written().size(), changed ? 15U : 14U);

            package->open(OpenMode::ReadWrite);
            EXPECT_EQ(findPart(*package, u"/new.xml"), nullptr) << "the output held until the close";
            package->setOutput(folder / "discarded.docx");
            package->close(true);
        }
    }
    Bytes bytes = {'x'};
    ZipPackage created(bytes);
    created.open(OpenMode::CreateOnly);
    created.setOutput(folder / "out.docx");
    writeAll(*created.getContentTypeOutputStream(), TYPES);
    created.close(false);
    EXPECT_EQ(bytes, Bytes{'x'});
    EXPECT_THAT(written(), ElementsAre("[Content_Types].xml"));
    EXPECT_EQ(folder.names(), (std::set<std::string>{"in.docx", "out.docx"}));
}

TEST(ZipSave, TheOutputMayBeTheInput) {
    TemporaryFolder folder;
    writeFile(folder / "in.docx", makeZip(variousItems()));
    ZipPackage package(folder / "in.docx");
    package.open(OpenMode::ReadOnly);
    EXPECT_TRUE(failsWith(Errc::operation_not_permitted, [&] { package.setOutput(folder / "out.docx"); }));
    package.close(false);
    package.open(OpenMode::ReadWrite);
    package.setOutput(folder / "in.docx");
    createPart(package, u"/new.xml", "new");
    package.close(false);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/new.xml"), "new");
    EXPECT_EQ(readPart(package, u"/z.xml"), std::string(3000, 't'));
}

} // namespace
} // namespace opc::test
