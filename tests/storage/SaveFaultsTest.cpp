// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

/// What is left of a file when a save of it is killed or refused, at every step that it takes.
namespace opc::test {
namespace {

/// Fails the n-th call that a save makes of the system.
struct Fault {
    int left = 0; ///< calls until then; 0: none fails
    int error = 0;
    const char* failed = nullptr; ///< the call that failed

    bool strikes(const char* call) {
        if (left == 0 || --left > 0)
            return false;
        failed = call;
        errno = error;
        return true;
    }
};
Fault fault;

template <class... Arguments>
long perform(const char* name, long call, Arguments... arguments) {
    return fault.strikes(name) ? -1 : ::syscall(call, arguments...);
}

} // namespace
} // namespace opc::test

// These stand before the functions of the C library for all of this program.
extern "C" {

using opc::test::perform;

ssize_t pread(int file, void* data, size_t size, off_t offset) {
    return perform("pread", SYS_pread64, file, data, size, offset);
}

/// Not all at once.
ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
    return perform("pwrite", SYS_pwrite64, file, data, std::min<size_t>(size, 100000), offset);
}

ssize_t copy_file_range(int from, off64_t* offset, int to, off64_t* place, size_t size, unsigned flags) {
    return perform("copy_file_range", SYS_copy_file_range, from, offset, to, place, size, flags);
}

int fsync(int file) {
    return static_cast<int>(perform("fsync", SYS_fsync, file));
}

int fchmod(int file, mode_t mode) {
    return static_cast<int>(perform("fchmod", SYS_fchmod, file, mode));
}

int rename(const char* from, const char* to) noexcept {
    return static_cast<int>(perform("rename", SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

int close(int file) {
    const long result = ::syscall(SYS_close, file);
    return opc::test::fault.strikes("close") ? -1 : static_cast<int>(result); // closed nevertheless
}

} // extern "C"

namespace opc::test {
namespace {

Bytes oldFile() {
    return zipWith({{"a.xml", "old"}, {"b.xml", std::string(300000, 'b'), 0}});
}

/// A package in a file, with changes of all kinds: of them one that neither the memory nor one write takes at once.
struct ChangedPackage {
    explicit ChangedPackage(const std::filesystem::path& file) : package(file, {.memory = 1000}) {
        package.open(OpenMode::ReadWrite);
        writePart(package, u"/a.xml", someText(700000, 1, 256));
        createPart(package, u"/new.xml", "new");
    }
    ZipPackage package;
};

void changeAndSave(const std::filesystem::path& file) {
    ChangedPackage(file).package.close(false);
}

const Bytes& newFile() {
    static const Bytes bytes = [] {
        TemporaryFolder folder;
        writeFile(folder / "book.docx", oldFile());
        changeAndSave(folder / "book.docx");
        return readFile(folder / "book.docx");
    }();
    return bytes;
}

/// Runs an action in another process, which is killed when it enters its n-th system call.
/// @return false when it came to its end before.
template <class Action>
bool killAtSystemCall(int n, Action action) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            ::_exit(1);
        std::raise(SIGSTOP);
        action();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int stops = 0; stops < 2 * n - 1;) { // two at each call: where it begins, and where it ends
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status))
            return false;
        stops += WIFSTOPPED(status) && WSTOPSIG(status) == (SIGTRAP | 0x80) ? 1 : 0;
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return true;
}

class SaveFaults : public testing::Test {
protected:
    /// @return whether the n-th call of the system was reached, and failed.
    bool failAt(int n, int error) {
        writeFile(file, before);
        ChangedPackage changed(file);
        fault = {n, error};
        try {
            changed.package.close(false);
        } catch (const Exception& e) {
            EXPECT_EQ(e.code(), make_error_condition(static_cast<Errc>(error))) << fault.failed;
            EXPECT_THAT(e.what(), HasSubstr("book.docx")) << fault.failed;
        }
        fault.left = 0;
        if (!fault.failed)
            return false;
        SCOPED_TRACE(testing::Message() << fault.failed << ", call " << n);
        EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx"})) << "no temporary file stays";
        const Bytes now = readFile(file);
        EXPECT_TRUE(now == before || now == after);
        expectSaved(changed.package, now, error == ENOSPC);
        return true;
    }

    /// Only the last sync, of the folder, comes when the file is replaced already; a failed close of a file that is
    /// synced changes nothing.
    void expectSaved(ZipPackage& package, const Bytes& now, bool isElsewhere) {
        try {
            package.getItems();
        } catch (const Exception&) {
            EXPECT_EQ(now, after) << "closed, so saved";
            return;
        }
        if (isElsewhere)
            package.setOutput(folder / "elsewhere.docx");
        package.close(false);
        EXPECT_EQ(readFile(isElsewhere ? folder / "elsewhere.docx" : file), after);
        std::filesystem::remove(folder / "elsewhere.docx");
    }

    /// Adds parts to the package, each with a save of its own. @return the exit code of a process that does it.
    int addParts(char16_t prefix, bool isLocked) try {
        ZipOptions options;
        if (isLocked)
            options.lockTimeout = std::chrono::minutes(10);
        for (char16_t round = 0; round < ROUNDS;) {
            try {
                ZipPackage package(file, options);
                package.open(OpenMode::ReadWrite);
                createPart(package, {u'/', prefix, static_cast<char16_t>(u'a' + round), u'.', u'x', u'm', u'l'},
                           "part");
                package.close(false);
                ++round;
            } catch (const Exception& e) {
                if (isLocked || e.code() != make_error_condition(Errc::device_or_resource_busy))
                    throw;
            }
        }
        return 0;
    } catch (...) {
        return 1;
    }

    static constexpr int PROCESSES = 6;
    static constexpr int ROUNDS = 20;
    TemporaryFolder folder;
    const std::filesystem::path file = folder / "book.docx";
    const Bytes before = oldFile();
    const Bytes& after = newFile();
};

TEST_F(SaveFaults, AKilledSaveLeavesTheOldFileOrTheNewOne) {
    if (!killAtSystemCall(1, [] { ::getppid(); }))
        GTEST_SKIP() << "this system does not let a process be traced";
    int calls = 0;
    int replaced = 0;
    std::size_t leftBehind = 0;
    for (bool goesOn = true; goesOn; ++calls) {
        writeFile(file, before);
        goesOn = killAtSystemCall(calls + 1, [&] { changeAndSave(file); });
        const Bytes now = readFile(file);
        ASSERT_TRUE(now == before || now == after) << "killed at system call " << calls + 1;
        replaced += now == after ? 1 : 0;
        leftBehind = std::max(leftBehind, folder.names().size() - 1);
    }
    EXPECT_GT(calls, 30);
    EXPECT_GT(replaced, 0);
    EXPECT_LT(replaced, calls);
    EXPECT_GE(leftBehind, 1U) << "otherwise the next line shows nothing";
    EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx"})) << "the last save went to its end";
    std::printf("             killed at each of %d system calls\n", calls - 1);
}

TEST_F(SaveFaults, ARefusedSaveLeavesTheOldFileAndThePackageOpen) {
    std::set<std::string> met;
    int faults = 0;
    for (const int error : {ENOSPC, EIO, EDQUOT, EFBIG})
        for (int n = 1; failAt(n, error); ++n, ++faults)
            met.insert(fault.failed);
    EXPECT_EQ(met, (std::set<std::string>{"close", "copy_file_range", "fchmod", "fsync", "pread", "pwrite", "rename"}));
    std::printf("             %d faults\n", faults);
}

TEST_F(SaveFaults, AFailedReadIsToldAsItIs) {
    writeFile(file, after);
    const std::string expected = TYPES + someText(700000, 1, 256) + std::string(300000, 'b') + "new";
    ZipPackage sound(file);
    sound.open(OpenMode::ReadOnly);
    const std::size_t parts = sound.getParts().size();
    for (const bool isTolerant : {false, true}) {
        int n = 0;
        do {
            fault = {++n, EIO};
            try {
                ZipPackage package(file);
                Findings findings;
                isTolerant ? package.openTolerantly(OpenMode::ReadOnly, findings) : package.open(OpenMode::ReadOnly);
                std::string content;
                for (const ZipItem& item : package.getItems())
                    content += readAll(*package.getItemInputStream(item.name));
                EXPECT_TRUE(content == expected) << fault.failed << ", call " << n;
                EXPECT_TRUE(package.getParts().size() == parts || !findings.text.empty()) << "call " << n;
            } catch (const Exception& e) {
                EXPECT_EQ(e.code(), make_error_condition(Errc::io_error));
                EXPECT_THAT(e.what(), HasSubstr("book.docx: cannot be read"));
            }
        } while (fault.failed);
        EXPECT_GT(n, 10);
    }
}

TEST_F(SaveFaults, ContentThatDoesNotFitIsNeverSavedInPart) {
    ZipPackage package(file, {.memory = 1000});
    package.open(OpenMode::CreateOnly);
    writeAll(*package.getContentTypeOutputStream(), TYPES);
    const std::string text = someText(700000, 1, 256);
    auto& stream = *createPart(package, u"/a.xml", "")->getOutputStream();
    write(stream, text.substr(0, 500));
    fault = {1, ENOSPC};
    EXPECT_TRUE(failsWith(
        Errc::no_space_on_device, "book.docx: the temporary file in \"", [&] { write(stream, text); }));
    const std::function<void()> others[] = {[&] { write(stream, "more"); }, [&] { package.close(false); },
                                            [&] { stream.close(); }};
    for (const auto& action : others)
        EXPECT_TRUE(failsWith(Errc::no_space_on_device, action)) << "a part of it would be saved";
    EXPECT_FALSE(std::filesystem::exists(file));
    writeAll(stream, text);
    package.close(false);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/a.xml"), text);
}

TEST_F(SaveFaults, OnlyWhatAKilledSaveLeftBehindIsRemoved) {
    writeFile(file, before);
    const std::string locked = ".book.docx.locked012345.opcraft-tmp";
    std::set<std::string> others = {".book.docx.abc.opcraft-tmp",           ".book.docx.abcdefghijkl.tmp",
                                    ".other.docx.abcdefghijkl.opcraft-tmp", ".book.docx.ABCDEFGHIJKL.opcraft-tmp",
                                    "book.docx.abcdefghijkl.opcraft-tmp",   locked};
    for (const std::string& name : others)
        writeFile(folder / name, {'x'});
    writeFile(folder / ".book.docx.abcdefghijkl.opcraft-tmp", {'x'});
    std::filesystem::create_directory(folder / ".book.docx.afolder01234.opcraft-tmp");
    const int save = ::open((folder / locked).c_str(), O_RDONLY);
    ASSERT_EQ(::flock(save, LOCK_EX), 0) << "another save is under way";
    changeAndSave(file);
    others.insert({"book.docx", ".book.docx.afolder01234.opcraft-tmp"});
    EXPECT_EQ(folder.names(), others);
    ::close(save);
}

TEST_F(SaveFaults, ManySavesAtATimeLoseNothing) {
    for (const bool isLocked : {false, true}) {
        writeFile(file, before);
        std::vector<pid_t> children;
        for (char16_t i = 0; i < PROCESSES; ++i) {
            children.push_back(::fork());
            if (children.back() == 0)
                ::_exit(addParts(static_cast<char16_t>(u'a' + i), isLocked));
        }
        for (const pid_t child : children) {
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        }
        ZipPackage package(file);
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(package.getParts().size(), 2U + PROCESSES * ROUNDS) << isLocked;
        EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx"}));
    }
}

} // namespace
} // namespace opc::test
