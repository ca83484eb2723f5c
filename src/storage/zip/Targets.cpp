// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/Targets.hpp"

#include "storage/Failure.hpp"
#include "storage/FileAccess.hpp"
#include "storage/LinuxCalls.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <random>
#include <utility>

namespace opc::storage {

namespace {

namespace fs = std::filesystem;

/// As many symbolic links in a row as the system itself follows.
constexpr int MAXIMUM_LINKS = 40;
constexpr int MAXIMUM_ATTEMPTS = 100;
/// Keeps the name of a temporary file within the 255 bytes of common file systems.
constexpr std::size_t MAXIMUM_NAME_PART = 200;

/// The target of a name that is a symbolic link; it need not exist.
fs::path followLinks(fs::path file, const std::string& label) {
    std::error_code error;
    for (int i = 0; i < MAXIMUM_LINKS; ++i) {
        if (!fs::is_symlink(fs::symlink_status(file, error)))
            return file;
        // The system does not follow the links of other users in folders that everybody may write to.
        struct stat status = {};
        if (::stat(file.c_str(), &status) != 0 && errno != ENOENT)
            failWithErrno(errno, label + ": the symbolic link cannot be followed");
        const fs::path next = fs::read_symlink(file, error);
        if (error)
            failWithErrno(error.value(), label + ": the symbolic link cannot be followed");
        file = file.parent_path() / next;
    }
    failWithErrno(ELOOP, label + ": the symbolic link cannot be followed");
}

/// A link of /proc leads to an open file also when the file was removed, or never had a name, and its text to another
/// one or none. Other saves may replace the file between both looks.
/// @param name that the links of a file lead to by their texts.
void throwUnlessNamed(const fs::path& file, const fs::path& name, const std::string& label) {
    struct stat status = {};
    struct stat named = {};
    for (int i = 0; i < MAXIMUM_ATTEMPTS; ++i)
        if (file == name || ::stat(file.c_str(), &status) != 0 ||
            (::stat(name.c_str(), &named) == 0 && FileIdentity(status).isFileOf(FileIdentity(named))))
            return;
    fail(Errc::invalid_argument, label + ": the file has no name, so that it cannot be replaced");
}

fs::path folderOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

constexpr std::string_view MARK_DIGITS = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr std::size_t MARK_LENGTH = 12;
constexpr std::string_view ENDING = ".opcraft-tmp";

/// The prefix of the names of all temporary files for a file.
std::string temporaryStart(const fs::path& file) {
    return "." + file.filename().string().substr(0, MAXIMUM_NAME_PART) + ".";
}

fs::path temporaryName(const fs::path& file) {
    std::random_device random;
    std::string mark;
    for (std::size_t i = 0; i < MARK_LENGTH; ++i)
        mark += MARK_DIGITS[random() % MARK_DIGITS.size()];
    return folderOf(file) / (temporaryStart(file) + mark + std::string(ENDING));
}

bool isTemporaryName(std::string_view name, std::string_view start) {
    return name.size() == start.size() + MARK_LENGTH + ENDING.size() && name.starts_with(start) &&
           name.ends_with(ENDING) &&
           name.substr(start.size(), MARK_LENGTH).find_first_not_of(MARK_DIGITS) == std::string_view::npos;
}

/// The writer of a temporary file holds a lock on it, which the system releases when the process ends.
void removeUnlessLocked(const fs::path& name) {
    const FileDescriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat status = {};
    if (file.isOpen() && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        linuxcalls::tryLock(file.get()) == 0)
        ::unlink(name.c_str());
}

/// Renames a file to a name that must not exist.
/// @return 0, or -1 with the reason in `errno`.
int renameWhereFree(const fs::path& from, const fs::path& to) {
    const int result = linuxcalls::renameWhereFree(from.c_str(), to.c_str());
    const bool isUnknown = result != 0 && (errno == EINVAL || errno == ENOSYS); // to the file system
    return isUnknown ? ::rename(from.c_str(), to.c_str()) : result;
}

/// Holds the lock on a file while it is replaced. Where another process holds it for long, it will detect what was
/// done.
class BriefLock {
public:
    /// @param file -1: none.
    explicit BriefLock(int file) : file_(file >= 0 && lockFile(file, std::chrono::milliseconds(100)) ? file : -1) {}
    ~BriefLock() {
        if (file_ >= 0)
            linuxcalls::unlock(file_);
    }
    BriefLock(const BriefLock&) = delete;
    BriefLock& operator=(const BriefLock&) = delete;

private:
    int file_;
};

} // namespace

void throwIfNotWritable(const fs::path& file, const std::string& label) {
    if (::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0 && errno != ENOENT)
        failWithErrno(errno, label + ": the file cannot be written");
}

Destination::Destination(fs::path path, std::string name) : file(std::move(path)), label(std::move(name)) {
    struct stat status = {};
    if (::stat(file.c_str(), &status) == 0)
        known = FileIdentity(status);
}

FileTarget::FileTarget(Destination& destination) : destination_(destination), label_(destination.label) {
    file_ = followLinks(destination.file, label_);
    struct stat status = {};
    if (::stat(destination.file.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode))
            failWithErrno(EISDIR, label_ + ": cannot be replaced");
        // A rename would replace a device or a pipe by a regular file.
        if (!S_ISREG(status.st_mode))
            fail(Errc::invalid_argument, label_ + ": not a regular file");
        throwUnlessNamed(destination.file, file_, label_);
        throwIfNotWritable(file_, label_);
        old_ = FileRights{status.st_uid, status.st_gid, status.st_mode & 07777};
    }
    findKnown();
    createTemporary();
}

FileTarget::~FileTarget() {
    if (!temporary_.empty())
        ::unlink(temporary_.c_str());
}

void FileTarget::createTemporary() {
    removeLeftBehind();
    for (int i = 0; i < MAXIMUM_ATTEMPTS; ++i) {
        if (createTemporary(temporaryName(file_)))
            return;
        if (errno != EEXIST && errno != EINTR)
            break;
    }
    failWithErrno(errno, label_ + ": no temporary file can be created in " + inQuotes(folderOf(file_).string()));
}

/// @return false when there is none, with the reason in `errno`.
bool FileTarget::createTemporary(fs::path name) {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    // Only the owner may read the new file before it has the mode of the old one.
    output_ = FileDescriptor(::open(name.c_str(), flags, old_ ? 0600 : 0666));
    if (!output_.isOpen())
        return false;
    temporary_ = std::move(name);
    // Before it was locked, another save may have removed it as a leftover. Where there are no locks,
    // none does.
    struct stat status = {};
    const bool isLocked = linuxcalls::tryLock(output_.get()) == 0 || errno != EWOULDBLOCK;
    if (isLocked && ::fstat(output_.get(), &status) == 0 && status.st_nlink > 0)
        return true;
    ::unlink(temporary_.c_str());
    temporary_.clear();
    errno = EEXIST;
    return false;
}

void FileTarget::removeLeftBehind() const {
    const std::string start = temporaryStart(file_);
    struct Closing {
        void operator()(DIR* folder) const noexcept { ::closedir(folder); }
    };
    // Not a directory_iterator: that of GNU terminates the process when it gets no memory.
    const fs::path parent = folderOf(file_);
    const std::unique_ptr<DIR, Closing> folder(::opendir(parent.c_str()));
    while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr)
        if (isTemporaryName(entry->d_name, start))
            removeUnlessLocked(parent / entry->d_name);
}

void FileTarget::write(const unsigned char* data, std::size_t size) {
    writeFileAt(output_.get(), position_, data, size, label_);
    position_ += size;
}

/// File systems that share blocks between files do not copy anything.
std::uint64_t FileTarget::writeFrom(const FilePiece& piece) {
    const ssize_t count = linuxcalls::copyBetween(piece.file, piece.offset, output_.get(), position_, piece.size);
    if (count > 0) {
        position_ += static_cast<std::uint64_t>(count);
        return static_cast<std::uint64_t>(count);
    }
    if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO))
        failWithErrno(errno, label_ + ": cannot be written");
    return 0; // not between these two files
}

void FileTarget::failForeign() const {
    fail(Errc::device_or_resource_busy, label_ + ": another program " + (destination_.known ? "replaced" : "created") +
                                            " the file since it was opened");
}

/// @return whether the known file is there; false when it is gone.
/// @throws opc::Exception device_or_resource_busy when there is another one.
bool FileTarget::findKnown() const {
    struct stat now = {};
    if (::lstat(file_.c_str(), &now) != 0) {
        if (errno == ENOENT)
            return false;
        failWithErrno(errno, label_ + ": cannot be replaced");
    }
    if (!destination_.known || *destination_.known != FileIdentity(now))
        failForeign();
    return true;
}

void FileTarget::replace() {
    // From the check to the rename, other savers of the file that was opened wait.
    const BriefLock lock(destination_.unlocked);
    const bool isThere = findKnown();
    if ((isThere ? ::rename(temporary_.c_str(), file_.c_str()) : renameWhereFree(temporary_, file_)) != 0) {
        if (errno == EEXIST)
            failForeign();
        failWithErrno(errno, label_ + ": cannot be replaced");
    }
}

void FileTarget::commit() {
    if (old_)
        keepRights(*old_, file_, output_.get(), label_);
    // A second descriptor keeps the lock until the file has its name.
    const FileDescriptor lock(::fcntl(output_.get(), F_DUPFD_CLOEXEC, 0));
    if (!lock.isOpen() || ::fsync(output_.get()) != 0 || output_.close() != 0)
        failWithErrno(errno, label_ + ": cannot be written");
    // Before the rename, since nothing may fail for lack of memory after it.
    const FileDescriptor folder(::open(folderOf(file_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat written = {};
    if (::fstat(lock.get(), &written) != 0)
        failWithErrno(errno, label_ + ": cannot be written");
    replace();
    temporary_.clear();
    destination_.known = FileIdentity(written);
    // A folder without read permission, or a file system that cannot sync folders, is not an error.
    if (folder.isOpen() && ::fsync(folder.get()) != 0 && errno != EINVAL && errno != EROFS)
        failWithErrno(errno, label_ + ": the file was replaced, but its folder cannot be synced");
}

} // namespace opc::storage
