// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <sstream>

namespace opc::storage {

using namespace opc::test;
using testing::ElementsAre;

namespace {

const std::string TYPES = contentTypes("<Default Extension='xml' ContentType='a/xml'/>");

/// Runs a shell command. @return its exit code.
int run(const std::string& command) {
    return WEXITSTATUS(std::system(command.c_str()));
}

/// Sets an environment variable for a while.
class Environment {
public:
    Environment(const char* name, const char* value) : name_(name) {
        const char* old = ::getenv(name);
        if (old)
            old_ = old;
        ::setenv(name, value, 1);
        ::tzset();
    }
    ~Environment() {
        old_ ? ::setenv(name_, old_->c_str(), 1) : ::unsetenv(name_);
        ::tzset();
    }

private:
    const char* name_;
    std::optional<std::string> old_;
};

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

void expectSameItem(const RawEntry& after, const RawEntry& before) {
    EXPECT_EQ(after.name, before.name);
    EXPECT_EQ(after.payload, before.payload) << before.name;
    EXPECT_EQ(after.method, before.method) << before.name;
    EXPECT_EQ(after.crc, before.crc) << before.name;
    EXPECT_EQ(after.size, before.size) << before.name;
    EXPECT_EQ(after.time, before.time) << before.name;
    EXPECT_EQ(after.date, before.date) << before.name;
    EXPECT_EQ(after.extra, before.extra) << before.name;
    EXPECT_EQ(after.comment, before.comment) << before.name;
    EXPECT_EQ(after.flags & 1, before.flags & 1) << before.name;
}

/// The same steps every time.
std::vector<unsigned char> createBook() {
    std::vector<unsigned char> bytes;
    ZipPackage package(bytes);
    package.open(OpenMode::CreateOnly);
    using interfaces::CompressionType;
    const CompressionType types[] = {CompressionType::None, CompressionType::Normal, CompressionType::Maximum,
                                     CompressionType::Fast, CompressionType::SuperFast};
    const char* const words[] = {"the ", "package ", "holds ", "a ",   "part ",
                                 "of ",  "its ",     "own, ",  "and ", "more.\n"};
    std::string text;
    for (unsigned i = 0, random = 1; i < 60000; ++i, random = random * 1103515245 + 12345)
        text += words[(random >> 16) % 10];
    for (const CompressionType type : types)
        createPart(package, u"/" + toString(std::to_string(int(type))) + u".xml", text, PartInfo(type));
    createPart(package, u"/_rels/.rels", "rels");
    writeAll(*package.getContentTypeOutputStream(), TYPES);
    createPart(package, u"/last.xml", "");
    package.close(false);
    return bytes;
}

} // namespace

TEST(ZipSave, NewItemsThatTellTheKindOfAPackageComeFirst) {
    const std::string types = contentTypes("<Default Extension='xml' ContentType='a/xml'/>"
                                           "<Default Extension='rels' ContentType='a/rels'/>");
    const std::string rels = "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>"
                             "<Relationship Id='r1' Type='http://t' Target='b.xml'/>"
                             "<Relationship Id='r2' Type='http://schemas.openxmlformats.org/officeDocument/2006/"
                             "relationships/officeDocument' Target='word/main.xml'/></Relationships>";
    const std::string head = "[Content_Types].xml _rels/.rels ";
    const struct {
        std::string first; ///< item of a package that is opened; empty: it is created
        std::string calls; ///< what is written in turn; "|" saves the package and opens it again
        std::string items;
    } cases[] = {
        {"", "b.xml types rels a.xml", head + "b.xml a.xml"},
        {"", "b.xml rels a.xml types", head + "b.xml a.xml"},
        {"", "b.xml word/main.xml rels types", head + "word/main.xml b.xml"},
        {"", "types | b.xml word/main.xml rels", head + "word/main.xml b.xml"},
        {"", "types | b.xml | rels | a.xml word/main.xml", head + "word/main.xml b.xml a.xml"},
        {"", "types b.xml word/main.xml | rels", head + "b.xml word/main.xml"},
        {"mimetype", "word/main.xml rels", "mimetype [Content_Types].xml word/main.xml _rels/.rels"},
    };
    for (const auto& each : cases) {
        std::vector<unsigned char> bytes;
        if (!each.first.empty())
            bytes = makeZip({{each.first, ""}, {"[Content_Types].xml", types}});
        ZipPackage package(bytes);
        package.open(bytes.empty() ? OpenMode::CreateOnly : OpenMode::ReadWrite);
        std::istringstream calls(each.calls);
        for (std::string call; calls >> call;) {
            if (call == "|") {
                package.close(false);
                package.open(OpenMode::ReadWrite);
            } else if (call == "types") {
                writeAll(*package.getContentTypeOutputStream(), types);
            } else {
                createPart(package, call == "rels" ? u"/_rels/.rels" : u'/' + toString(call), rels);
            }
        }
        package.close(false);
        std::string items;
        for (const std::string& name : RawZipReader(bytes).names())
            items += (items.empty() ? "" : " ") + name;
        EXPECT_EQ(items, each.items) << each.calls;
    }
}

TEST(ZipSave, ContentTypesThatNobodyWroteAreNotInTheFile) {
    for (const bool withPart : {false, true}) {
        std::vector<unsigned char> bytes;
        ZipPackage package(bytes);
        package.open(OpenMode::CreateOnly);
        package.getContentTypeOutputStream()->close();
        EXPECT_TRUE(package.getItems().empty());
        if (withPart)
            createPart(package, u"/a.xml", "a");
        package.close(false);
        EXPECT_EQ(RawZipReader(bytes).names(),
                  withPart ? std::vector<std::string>{"a.xml"} : std::vector<std::string>());
        EXPECT_TRUE(failsWith(Errc::bad_message, [&] { package.open(OpenMode::ReadOnly); }));
    }
}

TEST(ZipSave, TheSameCallsGiveTheSameBytesAtAnyTimeAndPlace) {
    const auto first = createBook();
    for (const char* zone : {"UTC", "America/Los_Angeles", "Asia/Kolkata", "Pacific/Kiritimati", "XXX+13:30"}) {
        const Environment environment("TZ", zone);
        const mode_t mask = ::umask(0077);
        EXPECT_EQ(createBook(), first) << zone;
        ::umask(mask);
    }
    for (const RawEntry& entry : RawZipReader(first).entries) {
        EXPECT_EQ(entry.date, 0x21U) << "the first of January 1980";
        EXPECT_EQ(entry.time, 0U);
        EXPECT_EQ(entry.extra, "");
    }
}

TEST(ZipSave, TheCompressionTypeDecidesHowHardAPartIsCompressed) {
    const RawZipReader zip(createBook());
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
    auto bytes = makeZip(variousItems(), "archive comment");
    const RawZipReader before(bytes);
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    writeAll(*findPart(package, u"/a.xml")->getOutputStream(), "changed");
    package.deletePart(u"/z.xml");
    createPart(package, u"/new.xml", "new");
    package.close(false);

    const RawZipReader after(bytes);
    EXPECT_EQ(after.comment, "archive comment");
    ASSERT_EQ(after.entries.size(), before.entries.size());
    for (std::size_t i = 1; i < before.entries.size(); ++i)
        if (before.entries[i].name != "a.xml")
            expectSameItem(after.entries[i - 1], before.entries[i]);
    EXPECT_EQ(after.entries.at(11).name, "a.xml");
    EXPECT_EQ(after.entries.back().name, "new.xml");
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/a.xml"), "changed");
    EXPECT_EQ(readPart(package, u"/new.xml"), "new");
    EXPECT_EQ(readPart(package, u"/described.xml"), std::string(3000, 't'));
    EXPECT_TRUE(failsWith(Errc::bad_message, [&] { readPart(package, u"/damaged.xml"); })) << "kept as it was";
    EXPECT_TRUE(failsWith(Errc::not_supported, [&] { readPart(package, u"/locked.xml"); }));
}

TEST(ZipSave, NewContentTakesTheNameAndThePlaceOfTheOld) {
    const std::string times = std::string("UT\x05\x00\x01\x01\x02\x03\x04", 9);
    const std::string hint = std::string("\x20\xA2\x04\x00\x28\xA0\x00\x00", 8);
    const std::string text(3000, 't');
    auto bytes = makeZip({{"[Content_Types].xml", TYPES},
                          {.name = "A b.xml", .content = "old", .extra = times + hint},
                          {.name = "stored.xml", .content = "old", .method = 0},
                          {.name = "unknown.xml", .content = "old", .method = 97},
                          {.name = "locked.xml", .content = "old", .flags = 1},
                          {.name = "damaged.xml", .content = "old", .crc = 1, .descriptor = true},
                          {"last.xml", "last"}});
    const auto names = RawZipReader(bytes).names();
    const std::vector<std::u16string> changed = {u"/A%20b.xml", u"/stored.xml", u"/unknown.xml", u"/locked.xml",
                                                 u"/damaged.xml"};
    ZipPackage package(bytes);
    package.open(OpenMode::ReadWrite);
    for (const auto& name : changed)
        writeAll(*findPart(package, name)->getOutputStream(), text);
    package.close(false);

    const RawZipReader after(bytes);
    EXPECT_EQ(after.names(), names);
    for (const RawEntry& entry : after.entries)
        EXPECT_EQ(entry.method, 8U) << entry.name;
    EXPECT_EQ(after.at("A b.xml").extra, hint) << "of the old content the times go, the rest stays";
    EXPECT_EQ(after.at("A b.xml").date, 0x21U);
    package.open(OpenMode::ReadOnly);
    for (const auto& name : changed)
        EXPECT_EQ(readPart(package, name), text);
}

TEST(ZipSave, OtherProgramsReadTheResult) {
    TemporaryFolder folder;
    const std::string file = (folder / "book.zip").string();
    writeFile(file, createBook());
    EXPECT_EQ(run("unzip -tqq " + file), 0);
    ZipPackage package(file);
    package.open(OpenMode::ReadWrite);
    writeAll(*findPart(package, u"/1.xml")->getOutputStream(), "changed");
    package.deletePart(u"/2.xml");
    createPart(package, u"/new%20name.xml", std::string(100000, 'n'));
    package.close(false);
    EXPECT_EQ(run("unzip -tqq " + file), 0);
    EXPECT_EQ(run("unzip -p " + file + " 1.xml | grep -qx changed"), 0);
    EXPECT_EQ(run("unzip -p " + file + " new%20name.xml | tr -d n | grep -q ."), 1);
    EXPECT_EQ(run("unzip -l " + file + " 2.xml >/dev/null"), 11) << "nothing of that name";
}

TEST(ZipSave, WithoutAChangeNothingIsWritten) {
    TemporaryFolder folder;
    const auto file = folder / "book.docx";
    writeFile(file, makeZip(variousItems()));
    const auto before = readFile(file);
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
        [&] { EXPECT_ANY_THROW(package.createPart(u"/z.xml", u"a/b", PartInfo())); },
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
    const auto original = makeZip(variousItems());
    for (const bool inFile : {true, false}) {
        for (const bool changed : {true, false}) {
            SCOPED_TRACE(testing::Message() << (inFile ? "file" : "bytes") << (changed ? ", changed" : ""));
            auto bytes = original;
            writeFile(folder / "in.docx", original);
            writeFile(folder / "out.docx", {'o', 'l', 'd'});
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
            EXPECT_EQ(RawZipReader(readFile(folder / "out.docx")).entries.size(), changed ? 15U : 14U);

            package->open(OpenMode::ReadWrite);
            EXPECT_EQ(findPart(*package, u"/new.xml"), nullptr) << "the output held until the close";
            package->setOutput(folder / "discarded.docx");
            package->close(true);
        }
    }
    EXPECT_EQ(folder.names(), (std::set<std::string>{"in.docx", "out.docx"}));
}

TEST(ZipSave, TheOutputMayBeTheInputAndACreatedPackageMayHaveOne) {
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
    package.close(true);

    std::vector<unsigned char> bytes = {'x'};
    ZipPackage created(bytes);
    created.open(OpenMode::CreateOnly);
    created.setOutput(folder / "created.docx");
    writeAll(*created.getContentTypeOutputStream(), TYPES);
    created.close(false);
    EXPECT_EQ(bytes, std::vector<unsigned char>{'x'});
    EXPECT_THAT(RawZipReader(readFile(folder / "created.docx")).names(), ElementsAre("[Content_Types].xml"));
}

TEST(ZipSave, ThousandsOfItemsAreNoTrouble) {
    std::vector<unsigned char> bytes;
    ZipPackage package(bytes);
    package.open(OpenMode::CreateOnly);
    writeAll(*package.getContentTypeOutputStream(), TYPES);
    for (int i = 0; i < 20000; ++i)
        createPart(package, u"/p" + toString(std::to_string(i)) + u".xml", std::to_string(i));
    package.close(false);
    package.open(OpenMode::ReadWrite);
    ASSERT_EQ(package.getParts().size(), 20000U);
    for (int i = 0; i < 20000; i += 2)
        package.deletePart(u"/p" + toString(std::to_string(i)) + u".xml");
    package.close(false);
    package.open(OpenMode::ReadOnly);
    const auto parts = package.getParts();
    ASSERT_EQ(parts.size(), 10000U);
    EXPECT_EQ(readAll(*parts.back()->getInputStream()), "19999");
}

} // namespace opc::storage
