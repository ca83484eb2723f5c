// SPDX-License-Identifier: Apache-2.0
#include "storage/FileAccess.hpp"

#include "storage/Failure.hpp"

#include <unistd.h>

#include <cerrno>

namespace opc::storage {

std::size_t readFileAt(int file, std::uint64_t offset, unsigned char* buffer, std::size_t size,
                       const std::string& label) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::pread(file, buffer + done, size - done, static_cast<off_t>(offset + done));
        if (count == 0) {
            break;
        }
        if (count < 0 && errno != EINTR) {
            failWithErrno(errno, label + ": cannot be read");
        }
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return done;
}

void writeFileAt(int file, std::uint64_t offset, const unsigned char* data, std::size_t size,
                 const std::string& label) {
    while (size > 0) {
        const ssize_t count = ::pwrite(file, data, size, static_cast<off_t>(offset));
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            failWithErrno(errno, label + ": cannot be written");
        }
        data += count;
        size -= static_cast<std::size_t>(count);
        offset += static_cast<std::uint64_t>(count);
    }
}

} // namespace opc::storage
