// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Failure.hpp"
#include "opcraft/Progress.hpp"

#include <string>
#include <string_view>

namespace opcraft {

/// Nobody reads the standard output any longer.
class BrokenPipe : public Failure {
public:
    using Failure::Failure;
};

/// Where a command speaks: results go to the standard output, everything else to the standard error stream.
class Console {
public:
    /// @param subject what the progress line names.
    explicit Console(const std::string& subject) : progress_(subject) {}

    /// Writes a result, unchanged.
    /// @throws BrokenPipe when nobody reads it, Failure when it cannot be written otherwise.
    void write(std::string_view bytes);

    /// One line for the user; control characters in it are escaped.
    void note(const std::string& line);

private:
    Progress progress_;
};

/// Writes a result without a console. Throws as `Console::write` does.
void writeToStandardOutput(std::string_view bytes);

} // namespace opcraft
