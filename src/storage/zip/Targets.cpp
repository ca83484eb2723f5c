// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/Targets.hpp"

#include "storage/Failure.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

/// The file that a name stands for when it is a symbolic link, which need not exist.
fs::path followLinks(fs::path file, const std::string& label) {
    std::error_code error;
    for (int i = 0; i < MAXIMUM_LINKS; ++i) {
        if (!fs::is_symlink(fs::symlink_status(file, error))) {
            return file;
        }
        const fs::path next = fs::read_symlink(file, error);
        if (error) {
            failWithErrno(error.value(), label + ": the symbolic link cannot be followed");
        }
        file = file.parent_path() / next;
    }
    failWithErrno(ELOOP, label + ": the symbolic link cannot be followed");
}

fs::path folderOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

fs::path temporaryName(const fs::path& file) {
    constexpr std::string_view digits = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::random_device random;
    std::string mark;
    for (int i = 0; i < 12; ++i) {
        mark += digits[random() % digits.size()];
    }
    const std::string name = file.filename().string().substr(0, MAXIMUM_NAME_PART);
    return folderOf(file) / ("." + name + "." + mark + ".opcraft-tmp");
}

} // namespace

void throwIfNotWritable(const fs::path& file, const std::string& label) {
    if (::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0 && errno != ENOENT) {
        failWithErrno(errno, label + ": the file cannot be written");
    }
}

FileTarget::FileTarget(const fs::path& file, std::string label) : label_(std::move(label)) {
    file_ = followLinks(file, label_);
    struct stat status = {};
    if (::stat(file_.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            failWithErrno(EISDIR, label_ + ": cannot be replaced");
        }
        // A rename would put a plain file in the place of a device or a pipe.
        if (!S_ISREG(status.st_mode)) {
            fail(Errc::invalid_argument, label_ + ": this is no regular file");
        }
        throwIfNotWritable(file_, label_);
        old_ = Owner{status.st_uid, status.st_gid, status.st_mode & 07777};
    }
    createTemporary();
}

FileTarget::~FileTarget() {
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
    }
}

void FileTarget::createTemporary() {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    // What replaces a file is nobody else's to read before it has the mode of that file.
    const mode_t mode = old_ ? 0600 : 0666;
    for (int i = 0; i < MAXIMUM_ATTEMPTS; ++i) {
        fs::path name = temporaryName(file_);
        output_ = FileDescriptor(::open(name.c_str(), flags, mode));
        if (output_.isOpen()) {
            temporary_ = std::move(name);
            return;
        }
        if (errno != EEXIST && errno != EINTR) {
            break;
        }
    }
    failWithErrno(errno, label_ + ": no temporary file can be created in " + inQuotes(folderOf(file_).string()));
}

void FileTarget::writeAt(std::uint64_t offset, const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::pwrite(output_.get(), data, size, static_cast<off_t>(offset));
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            failWithErrno(errno, label_ + ": cannot be written");
        }
        data += count;
        size -= static_cast<std::size_t>(count);
        offset += static_cast<std::uint64_t>(count);
    }
}

void FileTarget::keepOwnerAndMode() {
    if (!old_) {
        return;
    }
    mode_t mode = old_->mode;
    if (::fchown(output_.get(), old_->user, old_->group) != 0) {
        mode &= 01777; // set-user-id and set-group-id would lend the rights of another owner
        if (::fchown(output_.get(), static_cast<uid_t>(-1), old_->group) != 0) {
            mode &= ~static_cast<mode_t>(070) | (mode & 07) << 3; // another group may do what everybody may
        }
    }
    if (::fchmod(output_.get(), mode) != 0) {
        failWithErrno(errno, label_ + ": the mode of the file cannot be kept");
    }
}

void FileTarget::commit() {
    keepOwnerAndMode();
    if (::fsync(output_.get()) != 0 || output_.close() != 0) {
        failWithErrno(errno, label_ + ": cannot be written");
    }
    if (::rename(temporary_.c_str(), file_.c_str()) != 0) {
        failWithErrno(errno, label_ + ": cannot be replaced");
    }
    temporary_.clear();
    syncFolder();
}

void FileTarget::syncFolder() {
    const FileDescriptor folder(::open(folderOf(file_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // A folder that may be written but not read, or a file system that cannot sync folders, is no failure.
    if (folder.isOpen() && ::fsync(folder.get()) != 0 && errno != EINVAL && errno != EROFS) {
        failWithErrno(errno, label_ + ": the folder cannot be synced");
    }
}

void VectorTarget::writeAt(std::uint64_t offset, const unsigned char* data, std::size_t size) {
    if (written_.size() < offset + size) {
        written_.resize(offset + size);
    }
    std::copy_n(data, size, written_.begin() + static_cast<std::ptrdiff_t>(offset));
}

} // namespace opc::storage
