// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <linux/openat2.h>
#include <stdio.h> // renameat2
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// What Linux has beyond POSIX, all of it here: another system needs these functions, each of which may always fail as
/// it does in a file system that cannot do it. They return what system calls return, with the reason in `errno`.
namespace opc::storage::linuxcalls {

/// Opens a new file without a name in a folder, for reading and writing. The system removes it when it is closed.
inline int openUnnamed(int from, const char* folder, mode_t mode) noexcept {
    return ::openat(from, folder, O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
}

/// Opens whatever has a name in a folder, a link too, for its status and attributes alone: no rights are asked for.
inline int openHandle(int from, const char* name) noexcept {
    return ::openat(from, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
}

/// The path of an open file, whatever its name is. Nothing is there where /proc is not mounted.
inline std::string pathOf(int file) {
    return "/proc/self/fd/" + std::to_string(file);
}

/// Gives back the space of a stretch of a file, which reads as zeros then.
inline void punchHole(int file, std::uint64_t offset, std::uint64_t size) noexcept {
    static_cast<void>(::fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                                  static_cast<off_t>(size)));
}

/// Locks a file against other processes that lock it, if it is free. The system releases the lock when the last
/// descriptor of this open file goes. EWOULDBLOCK: another one holds it.
inline int tryLock(int file) noexcept {
    return ::flock(file, LOCK_EX | LOCK_NB);
}
inline void unlock(int file) noexcept {
    ::flock(file, LOCK_UN);
}

/// Opens a path below a folder, no component of which may be a symbolic link.
inline int openWithoutLinks(int folder, const char* path, int flags) noexcept {
    open_how how = {};
    how.flags = static_cast<std::uint64_t>(flags);
    how.resolve = RESOLVE_NO_SYMLINKS;
    return static_cast<int>(::syscall(SYS_openat2, folder, path, &how, sizeof how));
}

/// Renames a file to a name that must not exist. EINVAL, ENOSYS: the file system cannot tell.
inline int renameWhereFree(const char* from, const char* to) noexcept {
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

/// Copies bytes between files within the system, where it can.
/// @return how many; 0 at the end of the file.
inline ssize_t copyBetween(int from, std::uint64_t fromOffset, int to, std::uint64_t toOffset,
                           std::size_t size) noexcept {
    auto source = static_cast<off64_t>(fromOffset);
    auto target = static_cast<off64_t>(toOffset);
    return ::copy_file_range(from, &source, to, &target, size, 0);
}

} // namespace opc::storage::linuxcalls
