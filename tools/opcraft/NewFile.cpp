// SPDX-License-Identifier: Apache-2.0
#include "opcraft/NewFile.hpp"

#include "opcraft/Failure.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace opcraft {

NewFile::NewFile(std::string name)
    : name_(std::move(name)), descriptor_(::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0 && errno == EEXIST)
        throw Failure(ExitCode::NotProcessed, name_, "", "the file exists, and is not replaced");
    if (descriptor_ < 0)
        fail(errno);
}

NewFile::~NewFile() {
    if (descriptor_ < 0)
        return;
    ::close(descriptor_);
    ::unlink(name_.c_str());
}

void NewFile::write(const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(descriptor_, data, size);
        if (count < 0 && errno != EINTR)
            fail(errno);
        if (count > 0) {
            data += count;
            size -= static_cast<std::size_t>(count);
        }
    }
}

void NewFile::keep() {
    if (::fsync(descriptor_) != 0)
        fail(errno);
    ::close(std::exchange(descriptor_, -1));
}

void NewFile::fail(int number) const {
    throw Failure(ExitCode::NotProcessed, name_, "", "cannot be written: " + systemReason(number));
}

} // namespace opcraft
