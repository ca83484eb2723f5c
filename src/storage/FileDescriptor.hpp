// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace opc::storage {

/// Owns a file descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor() {
        if (isOpen())
            ::close(number_);
    }

    bool isOpen() const { return number_ >= 0; }
    int get() const { return number_; }

    /// Leaves the closing to the caller. @return the number.
    int release() noexcept { return std::exchange(number_, -1); }

    /// Closes at once. @return what `close` returns.
    int close() { return ::close(std::exchange(number_, -1)); }

private:
    int number_ = -1;
};

} // namespace opc::storage
