// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/FileBytes.hpp"

#include "storage/Failure.hpp"
#include "storage/FileAccess.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace opc::storage {

FileBytes::FileBytes(std::filesystem::path file, std::string label) : path_(std::move(file)), label_(std::move(label)) {
    open();
}

void FileBytes::open() {
    // Without O_NONBLOCK the open of a named pipe would block until a process writes to it.
    file_ = FileDescriptor(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!file_.isOpen() || ::fstat(file_.get(), &status_) != 0)
        failWithErrno(errno, label_ + ": cannot be opened");
    if (S_ISDIR(status_.st_mode))
        failWithErrno(EISDIR, label_ + ": cannot be opened");
    if (!S_ISREG(status_.st_mode))
        fail(Errc::bad_message, label_ + ": not a regular file");
}

void FileBytes::lock(std::chrono::milliseconds wait, const std::atomic<bool>* cancelled) {
    const auto end = std::chrono::steady_clock::now() + wait;
    for (;;) {
        const auto left = end - std::chrono::steady_clock::now();
        if (!lockFile(file_.get(), std::chrono::ceil<std::chrono::milliseconds>(left), cancelled))
            fail(cancelled != nullptr && cancelled->load() ? Errc::operation_canceled : Errc::device_or_resource_busy,
                 label_ + ": another process is changing the file");
        struct stat now = {};
        if (::stat(path_.c_str(), &now) == 0 && FileIdentity(now).isFileOf(identity())) {
            status_ = now;
            isLocked_ = true;
            return;
        }
        open(); // the holder of the lock has replaced the file
    }
}

std::size_t FileBytes::readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const {
    return readFileAt(file_.get(), offset, buffer, size, label_);
}

void FileBytes::throwIfChanged() const {
    struct stat now = {};
    if (::fstat(file_.get(), &now) != 0)
        failWithErrno(errno, label_ + ": cannot be read");
    if (FileIdentity(now) != identity())
        fail(Errc::device_or_resource_busy, label_ + ": another program wrote to the file since it was opened");
}

std::size_t VectorBytes::readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const {
    if (offset >= bytes_.size())
        return 0;
    const std::size_t count = std::min<std::uint64_t>(size, bytes_.size() - offset);
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), count, buffer);
    return count;
}

} // namespace opc::storage
