// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Console.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/Text.hpp"

#include <unistd.h>

#include <cerrno>

namespace opcraft {

namespace {

/// @return 0, or the error number.
int writeAll(int descriptor, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return errno;
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

} // namespace

void writeToStandardOutput(std::string_view bytes) {
    const int number = writeAll(STDOUT_FILENO, bytes);
    if (number == 0)
        return;
    const std::string reason = "cannot be written: " + systemReason(number);
    if (number == EPIPE)
        throw BrokenPipe(ExitCode::NotProcessed, "standard output", "", reason);
    throw Failure(ExitCode::NotProcessed, "standard output", "", reason);
}

void Console::write(std::string_view bytes) {
    if (::isatty(STDOUT_FILENO) == 1)
        progress_.stop();
    writeToStandardOutput(bytes);
}

void Console::note(const std::string& line) {
    progress_.stop();
    writeAll(STDERR_FILENO, "opcraft: " + escaped(line) + '\n');
}

} // namespace opcraft
