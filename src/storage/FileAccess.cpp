// SPDX-License-Identifier: Apache-2.0
#include "storage/FileAccess.hpp"

#include "storage/Failure.hpp"
#include "storage/LinuxCalls.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace opc::storage {

std::size_t readFileAt(int file, std::uint64_t offset, unsigned char* buffer, std::size_t size,
                       const std::string& label) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::pread(file, buffer + done, size - done, static_cast<off_t>(offset + done));
        if (count == 0)
            break;
        if (count < 0 && errno != EINTR)
            failWithErrno(errno, label + ": cannot be read");
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return done;
}

void writeFileAt(int file, std::uint64_t offset, const unsigned char* data, std::size_t size,
                 const std::string& label) {
    while (size > 0) {
        const ssize_t count = ::pwrite(file, data, size, static_cast<off_t>(offset));
        if (count < 0) {
            if (errno == EINTR)
                continue;
            failWithErrno(errno, label + ": cannot be written");
        }
        data += count;
        size -= static_cast<std::size_t>(count);
        offset += static_cast<std::uint64_t>(count);
    }
}

struct stat statusOf(int file, const std::string& label) {
    struct stat status = {};
    if (::fstat(file, &status) != 0)
        failWithErrno(errno, label + ": cannot be read");
    return status;
}

bool lockFile(int file, std::chrono::milliseconds wait, const std::atomic<bool>* cancelled) {
    using std::chrono::steady_clock;
    constexpr std::chrono::milliseconds longest(50);
    const auto end = steady_clock::now() + wait;
    std::chrono::milliseconds pause(1);
    while (linuxcalls::tryLock(file) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return true; // EBADF, ENOLCK, EOPNOTSUPP, …
        if (steady_clock::now() >= end || (cancelled != nullptr && cancelled->load()))
            return false;
        std::this_thread::sleep_for(pause);
        pause = std::min(2 * pause, longest);
    }
    return true;
}

} // namespace opc::storage
