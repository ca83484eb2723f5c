// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Console.hpp"

#include "opcraft/Text.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <stop_token>
#include <system_error>

namespace opcraft {

namespace {

constexpr std::string_view CLEAR_LINE = "\r\033[K";

/// Select Graphic Rendition (ECMA-48 §8.3.117).
constexpr std::array<const char*, 5> COLOR_CODES = {"", "\033[31m", "\033[32m", "\033[33m", "\033[36m"};

std::string_view environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

bool hasColors() {
    return ::isatty(STDOUT_FILENO) == 1 && environment("NO_COLOR").empty() && environment("TERM") != "dumb" &&
           !environment("TERM").empty();
}

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

/// Writes to the terminal at most once: a terminal that accepts nothing does not stop the work.
void show(const std::string& text) {
    [[maybe_unused]] const ssize_t count = ::write(STDERR_FILENO, text.data(), text.size());
}

/// All that was and will be read; 0 when that is not known.
std::atomic<std::uint64_t> bytesExpected = 0;

/// ", 42 %"; empty when it is not known.
std::string percentText() {
    const std::uint64_t all = bytesExpected;
    const double part = all == 0 ? 0 : static_cast<double>(Progress::bytesRead) / static_cast<double>(all);
    return all == 0 ? "" : ", " + std::to_string(static_cast<int>(std::min(99.0, part * 100))) + " %";
}

void tick(const std::stop_token& stop, const std::string& subject) {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    int seconds = 0;
    for (;;) {
        wake.wait_for(lock, stop, std::chrono::seconds(1), [] { return false; });
        if (stop.stop_requested())
            break;
        ++seconds;
        show(std::string(CLEAR_LINE) + "opcraft: " + subject + ": working, " + std::to_string(seconds) + " s" +
             percentText());
    }
    if (seconds > 0)
        show(std::string(CLEAR_LINE));
}

} // namespace

std::atomic<std::uint64_t> Progress::bytesRead = 0;

void Progress::expect(std::uint64_t bytes) {
    const std::uint64_t all = bytesExpected == 0 ? bytesRead.load() : bytesExpected.load();
    bytesExpected = all + std::min(bytes, std::numeric_limits<std::uint64_t>::max() - all);
}

Progress::Progress(const std::string& subject) {
    if (::isatty(STDERR_FILENO) != 1)
        return;
    try {
        ticker_ = std::jthread([subject = escaped(subject)](const std::stop_token& stop) { tick(stop, subject); });
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): without threads there is no progress line
    }
}

void Progress::stop() noexcept {
    if (!ticker_.joinable())
        return;
    ticker_.request_stop();
    ticker_.join();
}

void Console::write(std::string_view bytes, const char* done) {
    if (::isatty(STDOUT_FILENO) == 1)
        progress_.stop();
    const int number = writeAll(STDOUT_FILENO, bytes);
    if (number == 0)
        return;
    const std::string reason = "cannot be written: " + systemReason(number) + done;
    if (number == EPIPE)
        throw BrokenPipe(ExitCode::NotProcessed, "standard output", "", reason);
    throw Failure(ExitCode::NotProcessed, "standard output", "", reason);
}

void Console::write(std::string_view lines, Color (*colorOf)(std::string_view line), ColorWhen when) {
    if (when == ColorWhen::Never || (when == ColorWhen::Auto && !hasColors()))
        return write(lines);
    std::string text;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
        const char* const code = COLOR_CODES.at(static_cast<std::size_t>(colorOf(line)));
        ((text += code) += line) += *code == '\0' ? "\n" : "\033[m\n";
    }
    write(text);
}

void Console::show(std::string_view lines) {
    progress_.stop();
    writeAll(STDERR_FILENO, lines);
}

void Console::note(const std::string& line) {
    show("opcraft: " + escaped(line) + '\n');
}

} // namespace opcraft
