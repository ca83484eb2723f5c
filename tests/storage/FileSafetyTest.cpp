// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>

namespace opc::storage {

using namespace opc::test;
namespace fs = std::filesystem;

namespace {

const std::string TYPES = contentTypes("<Default Extension='xml' ContentType='a/xml'/>");

struct stat statusOf(const fs::path& file) {
    struct stat result = {};
    EXPECT_EQ(::lstat(file.c_str(), &result), 0) << file;
    return result;
}

/// Acts as a user without rights, where the tests run as root: root is refused nothing.
class PlainUser {
public:
    static constexpr uid_t ID = 65534;
    PlainUser() {
        if (root_ && (::setegid(ID) != 0 || ::seteuid(ID) != 0))
            throw std::runtime_error("cannot drop root's rights");
    }
    ~PlainUser() {
        if (root_ && (::seteuid(0) != 0 || ::setegid(0) != 0))
            std::abort();
    }

private:
    bool root_ = ::geteuid() == 0;
};

/// Lets files grow to a size only, as a full disk would.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &old_);
        signal_ = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, old_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, signal_);
    }

private:
    rlimit old_ = {};
    void (*signal_)(int) = nullptr;
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
        if (::geteuid() == 0) {
            ASSERT_EQ(::chown(path.c_str(), PlainUser::ID, PlainUser::ID), 0);
        }
    }

    void openAndChange(ZipPackage& package) {
        package.open(OpenMode::ReadWrite);
        writeAll(*findPart(package, u"/a.xml")->getOutputStream(), "new");
        createPart(package, u"/b.xml", "b");
        package.deletePart(u"/c.xml");
    }

    static void expectChanged(const fs::path& path) {
        ZipPackage package(path);
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(partNames(package), (std::vector<std::string>{"/a.xml", "/b.xml"}));
        EXPECT_EQ(readPart(package, u"/a.xml"), "new");
        EXPECT_EQ(readPart(package, u"/b.xml"), "b");
    }

    TemporaryFolder folder;
    const std::vector<unsigned char> original =
        makeZip({{"[Content_Types].xml", TYPES}, {"a.xml", "old"}, {"c.xml", std::string(50000, 'c'), 0}});
    const fs::path file = folder / "book.docx";
};

} // namespace

TEST_F(FileSafety, ASavedFileKeepsItsModeAndItsOwner) {
    for (const unsigned mode : {0640U, 0600U, 0666U, 0755U}) {
        writeFile(file, original);
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
        const mode_t mask = ::umask(0027);
        ZipPackage package(file);
        openAndChange(package);
        package.close(false);
        ::umask(mask);
        EXPECT_EQ(statusOf(file).st_mode & 07777, mode);
        if (::geteuid() == 0) {
            EXPECT_EQ(statusOf(file).st_uid, PlainUser::ID);
            EXPECT_EQ(statusOf(file).st_gid, PlainUser::ID);
        }
        expectChanged(file);
    }
    EXPECT_EQ(folder.names(), std::set<std::string>{"book.docx"});
}

TEST_F(FileSafety, ANewFileHasTheModeThatTheUserWants) {
    const mode_t mask = ::umask(0027);
    ZipPackage package(folder / "new.docx");
    package.open(OpenMode::CreateOnly);
    package.close(false);
    ::umask(mask);
    EXPECT_EQ(statusOf(folder / "new.docx").st_mode & 07777, 0640U);
}

TEST_F(FileSafety, AnotherGroupGetsNoMoreThanEverybody) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to give a file away";
    ASSERT_EQ(::chown(file.c_str(), PlainUser::ID, 0), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0664), 0);
    {
        const PlainUser user;
        ZipPackage package(file);
        openAndChange(package);
        package.close(false);
    }
    EXPECT_EQ(statusOf(file).st_gid, PlainUser::ID) << "the user is not in the old group";
    EXPECT_EQ(statusOf(file).st_mode & 07777, 0644U);
}

TEST_F(FileSafety, SymbolicLinksStayAndTheFileBehindThemIsReplaced) {
    fs::create_directory(folder / "sub");
    fs::create_symlink("../book.docx", folder / "sub/link");
    fs::create_symlink("sub/link", folder / "link");
    ZipPackage package(folder / "link");
    openAndChange(package);
    package.close(false);
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_TRUE(fs::is_symlink(folder / "sub/link"));
    EXPECT_FALSE(fs::is_symlink(file));
    expectChanged(file);

    fs::create_symlink("made.docx", folder / "dangling");
    ZipPackage created(folder / "dangling");
    created.open(OpenMode::CreateOnly);
    created.close(false);
    EXPECT_TRUE(fs::is_symlink(folder / "dangling"));
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
    EXPECT_TRUE(failsWith(Errc::permission_denied, "book.docx", [&] { package.close(false); })) << "nor replaced";
    package.close(true);
    EXPECT_EQ(readFile(file), original);
}

TEST_F(FileSafety, AFailedCloseCanBeTriedAgain) {
    ZipPackage package(file);
    {
        const PlainUser user;
        openAndChange(package);
        write(*findPart(package, u"/b.xml")->getOutputStream(), "b");
        ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);
        for (int attempt = 0; attempt < 3; ++attempt)
            EXPECT_TRUE(failsWith(Errc::permission_denied, "book.docx", [&] { package.close(false); }));
        ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
        EXPECT_EQ(folder.names(), std::set<std::string>{"book.docx"});
        EXPECT_EQ(readFile(file), original);

        EXPECT_EQ(readPart(package, u"/a.xml"), "new") << "the package is open, with all changes";
        EXPECT_EQ(findPart(package, u"/c.xml"), nullptr);
        package.close(false);
    }
    expectChanged(file);
    EXPECT_EQ(folder.names(), std::set<std::string>{"book.docx"});
}

TEST_F(FileSafety, AFailedCloseCanGoToAnotherFile) {
    fs::create_directory(folder / "else");
    giveAway(folder / "else");
    ZipPackage package(file);
    {
        const PlainUser user;
        openAndChange(package);
        ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);
        EXPECT_TRUE(failsWith(Errc::permission_denied, [&] { package.close(false); }));
        package.setOutput(folder / "else/saved.docx");
        package.close(false);
        ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    }
    EXPECT_EQ(readFile(file), original);
    expectChanged(folder / "else/saved.docx");
}

TEST_F(FileSafety, WhateverTheLastByteThatFitsTheOldFileStays) {
    std::string noise(30000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = static_cast<char>(i * i >> 7);
    ZipPackage package(file);
    openAndChange(package);
    writeAll(*createPart(package, u"/noise.xml", "")->getOutputStream(), noise);
    std::size_t failures = 0;
    for (rlim_t limit = 0;; limit += 997) {
        const FileSizeLimit full(limit);
        try {
            package.close(false);
            break;
        } catch (const Exception& e) {
            ++failures;
            ASSERT_EQ(e.code(), make_error_condition(Errc::file_too_large)) << e.what();
            ASSERT_EQ(folder.names(), std::set<std::string>{"book.docx"});
            ASSERT_EQ(readFile(file), original);
        }
    }
    EXPECT_GT(failures, 3U);
    ZipPackage saved(file);
    saved.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(saved, u"/noise.xml"), noise);
    EXPECT_EQ(readPart(saved, u"/a.xml"), "new");
}

TEST_F(FileSafety, OnlyRegularFilesAreReplaced) {
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    fs::create_directory(folder / "folder");
    fs::create_symlink("loop", folder / "loop");
    const struct {
        fs::path output;
        Errc code;
    } cases[] = {
        {folder / "pipe", Errc::invalid_argument},
        {folder / "folder", Errc::is_a_directory},
        {folder / "loop", Errc::too_many_symbolic_link_levels},
        {folder / "absent/a.docx", Errc::no_such_file_or_directory},
        {folder / "book.docx/a.docx", Errc::not_a_directory},
        {folder / std::string(300, 'n'), Errc::filename_too_long},
    };
    ZipPackage package(file);
    openAndChange(package);
    for (const auto& [output, code] : cases) {
        package.setOutput(output);
        EXPECT_TRUE(failsWith(code, output.filename().string(), [&] { package.close(false); })) << output;
    }
    EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx", "folder", "loop", "pipe"}));
    EXPECT_TRUE(S_ISFIFO(statusOf(folder / "pipe").st_mode));
    package.setOutput(folder / std::string(255, 'n'));
    package.close(false);
    expectChanged(folder / std::string(255, 'n'));
}

TEST_F(FileSafety, CreatingTouchesNothingBeforeItIsSaved) {
    ZipPackage package(file);
    package.open(OpenMode::CreateOnly);
    createPart(package, u"/x.xml", "x");
    EXPECT_EQ(folder.names(), std::set<std::string>{"book.docx"});
    EXPECT_EQ(readFile(file), original);
    package.close(true);
    EXPECT_EQ(readFile(file), original);
    { // an end without a close
        ZipPackage forgotten(file);
        openAndChange(forgotten);
    }
    EXPECT_EQ(readFile(file), original);
    EXPECT_EQ(folder.names(), std::set<std::string>{"book.docx"});
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

TEST_F(FileSafety, WhatAnotherProgramWroteMeanwhileIsNeitherReplacedNorMixedIn) {
    const fs::path output = folder / "output.docx";
    const auto theirs = makeZip({{"[Content_Types].xml", TYPES}, {"theirs.xml", "theirs"}});
    const auto writeInto = [&](const fs::path& path) { return [&theirs, path] { writeFile(path, theirs); }; };
    const auto replace = [&](const fs::path& path) {
        return [&theirs, path] {
            writeFile(path.string() + "~", theirs);
            fs::rename(path.string() + "~", path);
        };
    };
    const auto remove = [&] { fs::remove(file); };
    enum Result { Saved, Refused, RefusedEverywhere };
    const struct {
        const char* what;
        OpenMode mode;
        const char* name;   ///< that is opened
        const char* output; ///< where it is saved; null: in place
        std::function<void()> meanwhile;
        Result result;
    } cases[] = {
        {"written", OpenMode::ReadWrite, "book.docx", nullptr, writeInto(file), RefusedEverywhere},
        {"written, with the same size", OpenMode::ReadWrite, "book.docx", nullptr,
         [&] { fs::last_write_time(file, fs::file_time_type::clock::now() + std::chrono::seconds(1)); },
         RefusedEverywhere},
        {"replaced", OpenMode::ReadWrite, "book.docx", nullptr, replace(file), Refused},
        {"replaced behind a link", OpenMode::ReadWrite, "link", nullptr, replace(file), Refused},
        {"replaced, named twice", OpenMode::ReadWrite, "link", "./book.docx", replace(file), Refused},
        {"a link that leads elsewhere", OpenMode::ReadWrite, "link", nullptr,
         [&] {
             writeFile(folder / "else.docx", theirs);
             fs::remove(folder / "link");
             fs::create_symlink("else.docx", folder / "link");
         },
         Refused},
        {"removed", OpenMode::ReadWrite, "book.docx", nullptr, remove, Saved},
        {"linked, with another mode", OpenMode::ReadWrite, "book.docx", nullptr,
         [&] {
             fs::create_hard_link(file, folder / "hard");
             fs::permissions(file, fs::perms(0600));
         },
         Saved},
        {"saved elsewhere", OpenMode::ReadWrite, "book.docx", "output.docx", replace(file), Saved},
        {"saved elsewhere, written", OpenMode::ReadWrite, "book.docx", "output.docx", writeInto(file),
         RefusedEverywhere},
        {"the output came", OpenMode::ReadWrite, "book.docx", "output.docx", writeInto(output), Refused},
        {"created over it", OpenMode::CreateOnly, "book.docx", nullptr, replace(file), Refused},
        {"created, and so did they", OpenMode::CreateOnly, "output.docx", nullptr, writeInto(output), Refused},
        {"created over what is gone", OpenMode::CreateOnly, "book.docx", nullptr, remove, Saved},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        for (const auto& entry : fs::directory_iterator(folder.path()))
            fs::remove(entry);
        writeFile(file, original);
        fs::create_symlink("book.docx", folder / "link");
        ZipPackage package(folder / each.name);
        package.open(each.mode);
        writeAll(*createPart(package, u"/ours.xml", "")->getOutputStream(), "ours");
        writeAll(*package.getContentTypeOutputStream(), TYPES);
        const fs::path target = folder / (each.output ? each.output : each.name);
        if (each.output)
            package.setOutput(target);
        each.meanwhile();
        if (each.result != Saved) {
            const auto content = [&] { return fs::exists(target) ? readFile(target) : std::vector<unsigned char>(); };
            const auto before = content();
            for (int attempt = 0; attempt < 2; ++attempt)
                EXPECT_TRUE(failsWith(Errc::device_or_resource_busy, folder.path(), [&] { package.close(false); }));
            EXPECT_EQ(content(), before);
            package.setOutput(folder / "rescued.docx");
        }
        if (each.result == RefusedEverywhere) {
            EXPECT_TRUE(failsWith(Errc::device_or_resource_busy, "", [&] { package.close(false); }));
            EXPECT_FALSE(fs::exists(folder / "rescued.docx"));
            continue;
        }
        package.close(false);
        ZipPackage saved(each.result == Saved ? target : folder / "rescued.docx");
        saved.open(OpenMode::ReadOnly);
        EXPECT_EQ(readPart(saved, u"/ours.xml"), "ours");
    }
}

} // namespace opc::storage
