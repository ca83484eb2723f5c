// SPDX-License-Identifier: Apache-2.0
#include "storage/directory/DirectoryFiles.hpp"
#include "storage/Zips.hpp"
#include "support/FoundFindings.hpp"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

/// A folder beside a file that is not in it.
class DirectoryFilesTest : public testing::Test {
protected:
    DirectoryFilesTest() {
        put(folder / "secret", "secret");
        put(root / "a/b.xml", "0123456789");
    }

    static void put(const fs::path& file, const std::string& text) {
        fs::create_directories(file.parent_path());
        writeFile(file, toBytes(text));
    }

    DirectoryFiles list(const Limits& limits = {}) const { return {root, limits, ZipFaults("F", nullptr, true)}; }

    TemporaryFolder folder;
    const fs::path root = folder / "root";
};

TEST_F(DirectoryFilesTest, WhatIsNotARegularFileIsRefusedOrLeftOut) {
    const struct {
        const char* what;
        std::function<bool(const char*)> make;
    } cases[] = {
        {"a symbolic link", [](const char* path) { return ::symlink("b.xml", path) == 0; }},
        {"a symbolic link", [](const char* path) { return ::symlink("/nowhere", path) == 0; }},
        {"a symbolic link", [](const char* path) { return ::symlink("..", path) == 0; }},
        {"a named pipe", [](const char* path) { return ::mkfifo(path, 0600) == 0; }},
        {"a socket", [](const char* path) { return ::mknod(path, S_IFSOCK | 0600, 0) == 0; }},
        {"the name is not UTF-8",
         [](const char* path) { return ::mknod((std::string(path) + "\xE4").c_str(), S_IFREG | 0600, 0) == 0; }},
    };
    for (const auto& [what, make] : cases) {
        const std::string path = root / "a/x";
        ASSERT_TRUE(make(path.c_str())) << what;
        EXPECT_TRUE(failsWith(Errc::bad_message, "F: \"a/x", [&] { list(); })) << what;
        FoundFindings found;
        const DirectoryFiles files(root, {}, ZipFaults("F", &found, true));
        ASSERT_EQ(files.all().size(), 1U);
        EXPECT_EQ(files.all()[0].name, "a/b.xml");
        ASSERT_EQ(found.all.size(), 1U) << what;
        EXPECT_EQ(found.all[0].message, what);
        EXPECT_EQ(fs::remove(path) || fs::remove(path + "\xE4"), true);
    }
}

TEST_F(DirectoryFilesTest, NamesAreSortedByTheirBytesAndBoundByLimits) {
    for (const char* name : {"a.xml", "a/\xC3\xA4", ".hidden", "[Content_Types].xml", "a/c/d", "B", "a-"})
        put(root / name, "");
    fs::create_directories(root / "empty/empty");
    const DirectoryFiles files = list();
    std::string names;
    for (const auto& file : files.all())
        names += file.name + ' ';
    EXPECT_EQ(names, ".hidden B [Content_Types].xml a- a.xml a/b.xml a/c/d a/\xC3\xA4 ");
    Limits limits;
    limits.items = 11;
    EXPECT_TRUE(failsWith(Errc::file_too_large, "more items than 11", [&] { list(limits); })) << "folders count, too";
    limits = {};
    limits.nameLength = 18;
    EXPECT_TRUE(failsWith(Errc::file_too_large, "more bytes than 18", [&] { list(limits); }));
}

TEST_F(DirectoryFilesTest, AFileIsReadAsItWasListedOrNotAtAll) {
    const fs::path file = root / "a/b.xml";
    const auto moveAway = [&](const fs::path& path, const fs::path& target) {
        fs::rename(path, folder / "away");
        fs::create_symlink(target, path);
    };
    const struct {
        const char* why;
        std::function<void()> change;
        bool isSeenAtTheEnd = true; ///< also when the file is open already
    } cases[] = {
        {"longer", [&] { put(file, "0123456789+"); }},
        {"shorter", [&] { fs::resize_file(file, 9); }},
        {"other content", [&] { put(file, "9876543210"), fs::last_write_time(file, {}); }},
        {"a link to a file", [&] { moveAway(file, folder / "secret"); }, false},
        {"a link to itself", [&] { moveAway(file, folder / "away"); }, false},
        {"a link to a folder", [&] { moveAway(root / "a", folder.path()); }, false},
        {"a link to its folder", [&] { moveAway(root / "a", folder / "away"); }, false},
        {"another file", [&] { fs::remove(file), put(file, "0123456789"); }, false},
        {"a pipe", [&] { fs::remove(file), ::mkfifo(file.c_str(), 0600); }, false},
        {"a folder", [&] { fs::remove(file), fs::create_directory(file); }, false},
        {"nothing", [&] { fs::remove_all(root / "a"); }, false},
    };
    for (const auto& [why, change, isSeenAtTheEnd] : cases) {
        fs::remove_all(root);
        fs::remove_all(folder / "away");
        put(file, "0123456789");
        const DirectoryFiles files = list();
        const auto reader = files.read(files.all().at(0), "F");
        unsigned char buffer[4];
        ASSERT_EQ(reader->read(buffer, 4), 4U);
        change();
        const auto readOn = [&] {
            while (reader->read(buffer, 4) > 0) {
            }
        };
        if (isSeenAtTheEnd)
            EXPECT_TRUE(failsWith(Errc::device_or_resource_busy, "F: another program wrote", readOn)) << why;
        else
            EXPECT_NO_THROW(readOn()) << why;
        EXPECT_TRUE(failsWith(Errc::device_or_resource_busy, "F: another program", [&] {
            files.read(files.all().at(0), "F");
        })) << why;
    }
}

TEST_F(DirectoryFilesTest, DepthTakesNoDescriptors) {
    std::string deep;
    for (int i = 0; i < 300; ++i)
        deep += "deep/";
    put(root / (deep + "x"), "x");
    put(root / "deep/y", "y");
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few = {40, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    std::string text;
    EXPECT_NO_THROW({
        const DirectoryFiles files = list();
        for (const auto& file : files.all()) {
            unsigned char first = 0;
            files.read(file, "F")->read(&first, 1);
            text += static_cast<char>(first);
        }
    });
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(text, std::string("0xy"));
}

} // namespace
} // namespace opc::test
