// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>

/// What is left of a file when a save of it is killed or refused, at every step that it takes.
namespace opc::storage {

namespace {

using namespace opc::test;

/// Fails the n-th call that a save makes of the system.
struct Fault {
    int left = 0; ///< calls until then; 0: none fails
    int error = 0;
    int calls = 0;
    const char* failed = nullptr; ///< the call that failed

    bool strikes(const char* call) {
        ++calls;
        if (left == 0 || --left > 0)
            return false;
        failed = call;
        errno = error;
        return true;
    }
};
Fault fault;
bool isArmed = false;

bool strikes(const char* call) {
    return isArmed && fault.strikes(call);
}

} // namespace

} // namespace opc::storage

// These stand before the functions of the C library for all of this program.
extern "C" {

ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
    return opc::storage::strikes("pwrite") ? -1 : ::syscall(SYS_pwrite64, file, data, size, offset);
}

ssize_t copy_file_range(int from, off64_t* offset, int to, off64_t* place, size_t size, unsigned flags) {
    return opc::storage::strikes("copy_file_range")
               ? -1
               : ::syscall(SYS_copy_file_range, from, offset, to, place, size, flags);
}

int fsync(int file) {
    return opc::storage::strikes("fsync") ? -1 : static_cast<int>(::syscall(SYS_fsync, file));
}

int fchmod(int file, mode_t mode) {
    return opc::storage::strikes("fchmod") ? -1 : static_cast<int>(::syscall(SYS_fchmod, file, mode));
}

int rename(const char* from, const char* to) noexcept {
    return opc::storage::strikes("rename")
               ? -1
               : static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

int close(int file) {
    // A close that fails has closed the file nevertheless.
    const bool fails = opc::storage::strikes("close");
    const int error = errno;
    const int result = static_cast<int>(::syscall(SYS_close, file));
    if (fails)
        errno = error;
    return fails ? -1 : result;
}

} // extern "C"

namespace opc::storage {

namespace {

const std::string TYPES = contentTypes("<Default Extension='bin' ContentType='a/b'/>");

/// Content that neither the memory nor one write takes at once.
std::string longText() {
    std::string text;
    for (unsigned i = 0, random = 1; i < 700000; ++i, random = random * 1103515245 + 12345)
        text += static_cast<char>(random >> 16);
    return text;
}

std::vector<unsigned char> oldFile() {
    return makeZip({{"[Content_Types].xml", TYPES}, {"a.bin", "old"}, {"b.bin", std::string(300000, 'b'), 0}});
}

/// A package with all kinds of changes, saved. Closed in the end when that succeeded.
void change(ZipPackage& package) {
    package.open(OpenMode::ReadWrite);
    writeAll(*findPart(package, u"/a.bin")->getOutputStream(), longText());
    createPart(package, u"/new.bin", "new");
}

ZipOptions spilling() {
    ZipOptions options;
    options.memory = 1000;
    return options;
}

void changeAndSave(const std::filesystem::path& file) {
    ZipPackage package(file, spilling());
    change(package);
    package.close(false);
}

std::vector<unsigned char> newFile() {
    static const std::vector<unsigned char> bytes = [] {
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
    for (int stops = 0;;) { // two at each call: where it begins, and where it ends
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status))
            return false;
        stops += WIFSTOPPED(status) && WSTOPSIG(status) == (SIGTRAP | 0x80) ? 1 : 0;
        if (stops == 2 * n - 1) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return true;
        }
    }
}

bool canTrace() {
    return killAtSystemCall(1, [] { ::getppid(); });
}

/// Performs an action with a fault at its n-th call of the system.
template <class Action>
void withFault(int n, int error, Action action) {
    fault = {n, error};
    isArmed = true;
    try {
        action();
    } catch (...) {
        isArmed = false;
        throw;
    }
    isArmed = false;
}

} // namespace

TEST(SaveFaults, AKilledSaveLeavesTheOldFileOrTheNewOne) {
    if (!canTrace())
        GTEST_SKIP() << "this system does not let a process be traced";
    TemporaryFolder folder;
    const auto file = folder / "book.docx";
    const auto before = oldFile();
    const auto after = newFile();
    int calls = 0;
    int replaced = 0;
    std::size_t leftBehind = 0;
    for (bool goesOn = true; goesOn; ++calls) {
        writeFile(file, before);
        goesOn = killAtSystemCall(calls + 1, [&] { changeAndSave(file); });
        const auto now = readFile(file);
        ASSERT_TRUE(now == before || now == after) << "killed at system call " << calls + 1;
        replaced += now == after ? 1 : 0;
        leftBehind = std::max(leftBehind, folder.names().size() - 1);
    }
    EXPECT_GT(calls, 30);
    EXPECT_GT(replaced, 0);
    EXPECT_LT(replaced, calls);
    EXPECT_GE(leftBehind, 1U) << "otherwise the next line shows nothing";
    EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx"})) << "the last save went to its end";
    RecordProperty("SystemCalls", calls);
    std::printf("             killed at each of %d system calls\n", calls - 1);
}

TEST(SaveFaults, ARefusedSaveLeavesTheOldFileAndThePackageOpen) {
    TemporaryFolder folder;
    const auto file = folder / "book.docx";
    const auto before = oldFile();
    std::set<std::string> met;
    int faults = 0;
    for (const int error : {ENOSPC, EIO, EDQUOT}) {
        for (int n = 1;; ++n) {
            writeFile(file, before);
            ZipPackage package(file, spilling());
            change(package);
            try {
                withFault(n, error, [&] { package.close(false); });
            } catch (const Exception& e) {
                EXPECT_EQ(e.code(), make_error_condition(static_cast<Errc>(error))) << fault.failed;
                EXPECT_THAT(e.what(), testing::HasSubstr("book.docx")) << fault.failed;
            }
            if (!fault.failed)
                break;
            ++faults;
            met.insert(fault.failed);
            SCOPED_TRACE(testing::Message() << fault.failed << ", call " << n);
            EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx"})) << "no temporary file stays";
            const auto now = readFile(file);
            ASSERT_TRUE(now == before || now == newFile());
            // Only the last sync, of the folder, comes when the file is replaced already; a failed close of a file
            // that is synced changes nothing.
            try {
                package.getItems();
            } catch (const Exception&) {
                EXPECT_EQ(now, newFile()) << "closed, so saved";
                continue;
            }
            if (error == ENOSPC)
                package.setOutput(folder / "elsewhere.docx");
            package.close(false);
            EXPECT_EQ(readFile(error == ENOSPC ? folder / "elsewhere.docx" : file), newFile());
            std::filesystem::remove(folder / "elsewhere.docx");
        }
    }
    EXPECT_EQ(met, (std::set<std::string>{"close", "copy_file_range", "fchmod", "fsync", "pwrite", "rename"}));
    RecordProperty("Faults", faults);
    std::printf("             %d faults\n", faults);
}

TEST(SaveFaults, OnlyWhatAKilledSaveLeftBehindIsRemoved) {
    TemporaryFolder folder;
    const auto file = folder / "book.docx";
    writeFile(file, oldFile());
    const std::vector<std::string> others = {
        ".book.docx.abc.opcraft-tmp",           ".book.docx.abcdefghijkl.tmp",
        ".other.docx.abcdefghijkl.opcraft-tmp", ".book.docx.ABCDEFGHIJKL.opcraft-tmp",
        "book.docx.abcdefghijkl.opcraft-tmp",   ".book.docx.locked012345.opcraft-tmp"};
    const std::string left = ".book.docx.abcdefghijkl.opcraft-tmp";
    for (const std::string& name : others)
        writeFile(folder / name, {'x'});
    writeFile(folder / left, {'x'});
    std::filesystem::create_directory(folder / ".book.docx.afolder01234.opcraft-tmp");
    const int locked = ::open((folder / others.back()).c_str(), O_RDONLY);
    ASSERT_EQ(::flock(locked, LOCK_EX), 0) << "another save is under way";
    changeAndSave(file);
    auto names = folder.names();
    EXPECT_EQ(names.count(left), 0U);
    for (const std::string& name : others)
        EXPECT_EQ(names.count(name), 1U) << name;
    EXPECT_EQ(names.count(".book.docx.afolder01234.opcraft-tmp"), 1U);
    ::close(locked);
}

TEST(SaveFaults, ManySavesAtATimeLoseNothing) {
    for (const bool isLocked : {false, true}) {
        TemporaryFolder folder;
        const auto file = folder / "book.docx";
        writeFile(file, oldFile());
        ZipOptions options;
        if (isLocked)
            options.lockTimeout = std::chrono::minutes(10);
        const auto addPart = [&](const std::u16string& name) {
            ZipPackage package(file, options);
            package.open(OpenMode::ReadWrite);
            createPart(package, name, "part");
            package.close(false);
        };
        const auto isSaved = [&](const std::u16string& name) {
            try {
                addPart(name);
            } catch (const Exception& e) {
                if (!isLocked && e.code() == make_error_condition(Errc::device_or_resource_busy))
                    return false;
                throw;
            }
            return true;
        };
        const int processes = 6;
        const int rounds = 20;
        std::vector<pid_t> children;
        for (int i = 0; i < processes; ++i) {
            const pid_t child = ::fork();
            if (child == 0) {
                int result = 0;
                for (int round = 0; round < rounds; ++round) {
                    const std::u16string name = {
                        u'/', static_cast<char16_t>(u'a' + i), static_cast<char16_t>(u'a' + round), u'.', u'b', u'i',
                        u'n'};
                    try {
                        while (!isSaved(name)) {
                        }
                    } catch (...) {
                        result = 1;
                    }
                }
                ::_exit(result);
            }
            children.push_back(child);
        }
        for (const pid_t child : children) {
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        }
        ZipPackage package(file);
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(package.getParts().size(), 2U + processes * rounds) << isLocked;
        EXPECT_EQ(folder.names(), (std::set<std::string>{"book.docx"}));
    }
}

} // namespace opc::storage
