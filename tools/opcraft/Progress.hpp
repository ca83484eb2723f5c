// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <thread>

namespace opcraft {

/// Tells a user at a terminal that work goes on: from the second second, a line on the standard error stream with the
/// time passed. Shows nothing when that stream is no terminal.
class Progress {
public:
    explicit Progress(const std::string& subject);
    ~Progress() { stop(); }

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Takes the line away for good. Stopping twice does nothing.
    void stop() noexcept;

private:
    std::jthread ticker_;
};

} // namespace opcraft
