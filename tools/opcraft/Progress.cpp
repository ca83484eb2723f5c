// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Progress.hpp"

#include "opcraft/Text.hpp"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <string_view>
#include <system_error>

namespace opcraft {

namespace {

constexpr std::string_view clearLine = "\r\033[K";

void show(const std::string& text) {
    // A terminal that takes nothing is no reason to end the work.
    [[maybe_unused]] const ssize_t count = ::write(STDERR_FILENO, text.data(), text.size());
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
        show(std::string(clearLine) + "opcraft: " + subject + ": working, " + std::to_string(seconds) + " s");
    }
    if (seconds > 0)
        show(std::string(clearLine));
}

} // namespace

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

} // namespace opcraft
