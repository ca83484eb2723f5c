// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <sstream>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

/// User, group and mode.
std::string ownerAndModeOf(const fs::path& file) {
    struct stat status = {};
    EXPECT_EQ(::lstat(file.c_str(), &status), 0) << file;
    std::ostringstream text;
    text << status.st_uid << ' ' << status.st_gid << ' ' << std::oct << (status.st_mode & 07777);
    return text.str();
}

const bool IS_ROOT = ::geteuid() == 0;

/// Acts as a user without rights, where the tests run as root: root is refused nothing.
class PlainUser {
public:
    static constexpr uid_t ID = 65534;
    PlainUser() { become(ID); }
    ~PlainUser() { become(0); }

private:
    static void become(uid_t id) {
        if (IS_ROOT && (::seteuid(0) != 0 || ::setegid(id) != 0 || ::seteuid(id) != 0))
            std::abort();
    }
};

class FileSafety : public testing::Test {
protected:
    FileSafety() {
        writeFile(file, original);
        giveAway(file);
        giveAway(folder.path());
    }

    /// Makes a file the plain user's own.
    static void giveAway(const fs::path& path) {
        ASSERT_TRUE(!IS_ROOT || ::chown(path.c_str(), PlainUser::ID, PlainUser::ID) == 0);
    }

    static void openAndChange(ZipPackage& package) {
        package.open(OpenMode::ReadWrite);
        writePart(package, u"/a.xml", "new");
        createPart(package, u"/b.xml", "b");
        package.deletePart(u"/c.xml");
    }

    static void changeAndSave(const fs::path& path) {
        ZipPackage package(path);
        openAndChange(package);
        package.close(false);
    }

    static void createAndSave(const fs::path& path) {
        ZipPackage package(path);
        package.open(OpenMode::CreateOnly);
        package.close(false);
    }

    static testing::AssertionResult saveFails(ZipPackage& package, Errc code, const std::string& text) {
        return failsWith(
            code, text, [&] { package.close(false); });
    }

    static void expectChanged(const fs::path& path) {
        ZipPackage package(path);
        package.open(OpenMode::ReadOnly);
        EXPECT_THAT(partNames(package), ElementsAre("/a.xml", "/b.xml"));
        EXPECT_EQ(readPart(package, u"/a.xml"), "new");
        EXPECT_EQ(readPart(package, u"/b.xml"), "b");
    }

    void expectUntouched() {
        EXPECT_EQ(folder.names(), std::set<std::string>{"book.docx"});
        EXPECT_EQ(readFile(file), original);
    }

    TemporaryFolder folder;
    const Bytes original = zipWith({{"a.xml", "old"}, {"c.xml", std::string(50000, 'c'), 0}});
    const fs::path file = folder / "book.docx";
};

TEST_F(FileSafety, ASavedFileKeepsItsModeAndItsOwnerAndANewOneHasTheModeThatTheUserWants) {
    const mode_t mask = ::umask(0027);
    for (const unsigned mode : {0640U, 0600U, 0666U, 0755U}) {
        writeFile(file, original);
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
        const std::string before = ownerAndModeOf(file);
        changeAndSave(file);
        EXPECT_EQ(ownerAndModeOf(file), before);
        expectChanged(file);
    }
    EXPECT_EQ(folder.names(), std::set<std::string>{"book.docx"});
    createAndSave(folder / "new.docx");
    EXPECT_TRUE(ownerAndModeOf(folder / "new.docx").ends_with(" 640"));
    ::umask(mask);
}

TEST_F(FileSafety, ASavedFileKeepsItsAccessListAndTheAttributesOfTheUser) {
    const auto entry = [](unsigned char tag, unsigned char permissions, unsigned char user = 0xFF) {
        return std::string{static_cast<char>(tag), 0, static_cast<char>(permissions), 0} +
               (user == 0xFF ? std::string(4, '\xFF') : std::string{static_cast<char>(user), 0, 0, 0});
    };
    // Owner rw, user 7 r, group nothing, mask r, others nothing (acl(5), in the form of the kernel).
    const std::string list =
        std::string("\2\0\0\0", 4) + entry(1, 6) + entry(2, 4, 7) + entry(4, 0) + entry(16, 4) + entry(32, 0);
    const auto attribute = [](const std::filesystem::path& path, const char* name) {
        std::string value(1000, ' ');
        const ssize_t size = ::getxattr(path.c_str(), name, value.data(), value.size());
        return size < 0 ? "none" : value.substr(0, static_cast<std::size_t>(size));
    };
    const char* const access = "system.posix_acl_access";
    if (::setxattr(file.c_str(), "user.note", "x", 1, 0) != 0 ||
        ::setxattr(file.c_str(), access, list.data(), list.size(), 0) != 0)
        GTEST_SKIP() << "the file system has no attributes or no access lists";
    changeAndSave(file);
    EXPECT_EQ(attribute(file, "user.note"), "x");
    EXPECT_EQ(attribute(file, access), list);
    // A list that the folder would give the new file is not taken.
    ASSERT_EQ(::removexattr(file.c_str(), access), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    ASSERT_EQ(::setxattr(folder.path().c_str(), "system.posix_acl_default", list.data(), list.size(), 0), 0);
    writeFile(file, original);
    changeAndSave(file);
    EXPECT_EQ(attribute(file, access), "none");
    // What cannot be read cannot be kept.
    ASSERT_EQ(::removexattr(folder.path().c_str(), "system.posix_acl_default"), 0);
    {
        const PlainUser user;
        ASSERT_EQ(::chmod(file.c_str(), 0200), 0);
        ZipPackage package(folder / "other.docx");
        package.open(OpenMode::CreateOnly);
        package.setOutput(file);
        EXPECT_TRUE(saveFails(package, Errc::permission_denied,
                              file.string() + ": the attribute \"user.note\" of the file cannot be kept"));
    }
    EXPECT_EQ(attribute(file, "user.note"), "x");
}

TEST_F(FileSafety, AnotherGroupGetsNoMoreThanEverybody) {
    if (!IS_ROOT)
        GTEST_SKIP() << "needs root to give a file away";
    ASSERT_EQ(::chown(file.c_str(), PlainUser::ID, 0), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0664), 0);
    {
        const PlainUser user;
        changeAndSave(file);
    }
    EXPECT_EQ(ownerAndModeOf(file), "65534 65534 644") << "the user is not in the old group";
}

TEST_F(FileSafety, SymbolicLinksStayAndTheFileBehindThemIsReplaced) {
    fs::create_directory(folder / "sub");
    fs::create_symlink("../book.docx", folder / "sub/link");
    fs::create_symlink("sub/link", folder / "link");
    fs::create_symlink("made.docx", folder / "dangling");
    changeAndSave(folder / "link");
    createAndSave(folder / "dangling");
    for (const char* link : {"link", "sub/link", "dangling"})
        EXPECT_TRUE(fs::is_symlink(folder / link)) << link;
    EXPECT_FALSE(fs::is_symlink(file));
    expectChanged(file);
    EXPECT_TRUE(fs::is_regular_file(folder / "made.docx"));
    EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx", "dangling", "link", "made.docx", "sub"}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / "sub"), fs::directory_iterator()), 1);
}

TEST_F(FileSafety, AFileThatMayNotBeWrittenIsNotOpenedForIt) {
    ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
    const PlainUser user;
    ZipPackage package(file);
    EXPECT_TRUE(failsWith(Errc::permission_denied, "book.docx", [&] { package.open(OpenMode::ReadWrite); }));
    EXPECT_NO_THROW(package.open(OpenMode::ReadOnly));
    package.close(false);
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);
    EXPECT_TRUE(failsWith(Errc::permission_denied, "book.docx", [&] { package.open(OpenMode::ReadOnly); }));
    ASSERT_EQ(::chmod(file.c_str(), 0444), 0);

    package.open(OpenMode::CreateOnly);
    EXPECT_TRUE(saveFails(package, Errc::permission_denied, "book.docx")) << "nor replaced";
    expectUntouched();
}

TEST_F(FileSafety, AFailedCloseCanBeTriedAgainOrGoToAnotherFile) {
    fs::create_directory(folder / "else");
    giveAway(folder / "else");
    for (const bool isElsewhere : {true, false}) {
        ZipPackage package(file);
        const PlainUser user;
        openAndChange(package);
        write(*findPart(package, u"/b.xml")->getOutputStream(), "b");
        ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);
        for (int attempt = 0; attempt < 3; ++attempt)
            EXPECT_TRUE(saveFails(package, Errc::permission_denied, "book.docx"));
        if (isElsewhere) {
            package.setOutput(folder / "else/saved.docx");
            package.close(false);
        }
        ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
        EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx", "else"}));
        EXPECT_EQ(readFile(file), original);
        if (!isElsewhere) {
            EXPECT_EQ(readPart(package, u"/a.xml"), "new") << "the package is open, with all changes";
            EXPECT_EQ(findPart(package, u"/c.xml"), nullptr);
            package.close(false);
        }
        expectChanged(isElsewhere ? folder / "else/saved.docx" : file);
    }
    EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx", "else"}));
}

TEST_F(FileSafety, OnlyRegularFilesAreReplaced) {
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    fs::create_directory(folder / "folder");
    fs::create_symlink("loop", folder / "loop");
    const int removed = ::open((folder / "removed").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    fs::remove(folder / "removed");
    const std::pair<std::string, Errc> cases[] = {
        {"pipe", Errc::invalid_argument},
        {"/proc/self/fd/" + std::to_string(removed), Errc::invalid_argument},
        {"folder", Errc::is_a_directory},
        {"loop", Errc::too_many_symbolic_link_levels},
        {"absent/a.docx", Errc::no_such_file_or_directory},
        {"book.docx/a.docx", Errc::not_a_directory},
        {std::string(300, 'n'), Errc::filename_too_long},
    };
    ZipPackage package(file);
    openAndChange(package);
    for (const auto& [output, code] : cases) {
        package.setOutput(folder / output);
        EXPECT_TRUE(saveFails(package, code, output)) << output;
    }
    ::close(removed);
    EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx", "folder", "loop", "pipe"}));
    EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
    package.setOutput(folder / std::string(255, 'n'));
    package.close(false);
    expectChanged(folder / std::string(255, 'n'));
}

TEST_F(FileSafety, NothingIsTouchedBeforeItIsSaved) {
    ZipPackage package(file);
    package.open(OpenMode::CreateOnly);
    createPart(package, u"/x.xml", "x");
    expectUntouched();
    package.close(true);
    expectUntouched();
    { // an end without a close
        ZipPackage forgotten(file);
        openAndChange(forgotten);
    }
    expectUntouched();
}

TEST_F(FileSafety, ALaterWorkingDirectorySendsNoSaveElsewhere) {
    const fs::path before = fs::current_path();
    fs::create_directory(folder / "later");
    fs::current_path(folder.path());
    ZipPackage package("book.docx");
    openAndChange(package);
    fs::current_path(folder / "later");
    package.close(false);
    expectChanged(file);

    fs::current_path(folder.path());
    package.open(OpenMode::ReadWrite);
    package.setOutput("copy.docx");
    fs::current_path(folder / "later");
    package.close(false);
    fs::current_path(before);
    expectChanged(folder / "copy.docx");
    EXPECT_TRUE(fs::is_empty(folder / "later"));
}

/// What another program does with a file of which a package is open.
class OtherPrograms : public FileSafety {
protected:
    void perform(const std::string& action) {
        if (action == "overwrites") {
            writeFile(file, theirs);
        } else if (action == "touches") {
            fs::last_write_time(file, fs::file_time_type::clock::now() + std::chrono::seconds(1));
        } else if (action == "replaces") {
            writeFile(folder / "new", theirs);
            fs::rename(folder / "new", file);
        } else if (action == "removes") {
            fs::remove(file);
        } else if (action == "changes the link") {
            writeFile(folder / "else.docx", theirs);
            fs::remove(folder / "link");
            fs::create_symlink("else.docx", folder / "link");
        } else if (action == "links, with another mode") {
            fs::create_hard_link(file, folder / "hard");
            fs::permissions(file, fs::perms(0600));
        } else {
            ASSERT_EQ(action, "creates the output");
            writeFile(folder / "output.docx", theirs);
        }
    }

    /// @param target where the package is saved.
    /// @param result "saved", "refused" there, or "refused" everywhere.
    void check(ZipPackage& package, fs::path target, const std::string& result) {
        if (result != "saved") {
            const Bytes before = fs::exists(target) ? readFile(target) : Bytes();
            for (int attempt = 0; attempt < 2; ++attempt)
                EXPECT_TRUE(saveFails(package, Errc::device_or_resource_busy, folder.path()));
            EXPECT_EQ(fs::exists(target) ? readFile(target) : Bytes(), before);
            package.setOutput(target = folder / "rescued.docx");
        }
        if (result == "refused everywhere") {
            EXPECT_TRUE(saveFails(package, Errc::device_or_resource_busy, ""));
            EXPECT_FALSE(fs::exists(target));
            return;
        }
        package.close(false);
        ZipPackage saved(target);
        saved.open(OpenMode::ReadOnly);
        EXPECT_EQ(readPart(saved, u"/ours.xml"), "ours");
    }

    const Bytes theirs = zipWith({{"theirs.xml", "theirs"}});
};

TEST_F(OtherPrograms, WhatTheyWriteMeanwhileIsNeitherReplacedNorMixedIn) {
    for (const auto& row : readTable("storage/other-programs.tsv")) {
        SCOPED_TRACE(boost::join(row, ", "));
        for (const auto& entry : fs::directory_iterator(folder.path()))
            fs::remove(entry);
        writeFile(file, original);
        fs::create_symlink("book.docx", folder / "link");
        ZipPackage package(folder / row[1]);
        package.open(row[0] == "changes" ? OpenMode::ReadWrite : OpenMode::CreateOnly);
        createPart(package, u"/ours.xml", "ours");
        writeAll(*package.getContentTypeOutputStream(), TYPES);
        if (row.at(2) != row[1])
            package.setOutput(folder / row[2]);
        perform(row.at(3));
        check(package, folder / row[2], row.at(4));
    }
}

} // namespace
} // namespace opc::test
