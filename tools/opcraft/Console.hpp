// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Failure.hpp"

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

namespace opcraft {

/// Nobody reads the standard output any longer.
class BrokenPipe : public Failure {
public:
    using Failure::Failure;
};

/// Shows a user at a terminal that the work goes on: after one second, a line on the standard error stream with the
/// time passed, and how much of what is known to be read was read. Shows nothing when that stream is not a terminal.
class Progress {
public:
    /// Of all packages; `opc::storage::ZipOptions::bytesRead`.
    static std::atomic<std::uint64_t> bytesRead;

    /// So many bytes are to be read from now on, in addition to those that were expected before.
    static void expect(std::uint64_t bytes);

    explicit Progress(const std::string& subject);
    ~Progress() { stop(); }

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Removes the line for good. Stopping twice does nothing.
    void stop() noexcept;

private:
    std::jthread ticker_;
};

enum class Color { None, Red, Green, Yellow, Cyan };

/// When the standard output is coloured.
enum class ColorWhen {
    Auto, ///< on a terminal, unless NO_COLOR has a value (https://no-color.org) or TERM says that it has no colours
    Always,
    Never,
};

/// The output of a command: results go to the standard output, everything else to the standard error stream.
class Console {
public:
    /// @param subject what the progress line names.
    explicit Console(const std::string& subject) : progress_(subject) {}

    /// Writes a result, unchanged.
    /// @param done what a failure adds where the result tells of something that was done all the same.
    /// @throws BrokenPipe when nobody reads it, Failure when it cannot be written otherwise.
    void write(std::string_view bytes, const char* done = "");

    /// The same of lines that have colours.
    /// @param colorOf of a line, which has no control characters.
    void write(std::string_view lines, Color (*colorOf)(std::string_view line), ColorWhen when);

    /// Lines for the user, as they are.
    void show(std::string_view lines);

    /// One line for the user; control characters in it are escaped.
    void note(const std::string& line);

private:
    Progress progress_;
};

} // namespace opcraft
