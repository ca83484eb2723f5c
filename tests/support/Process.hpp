// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace opc::test {

/// What a program's standard output is.
enum class Output {
    Captured,
    Full,   ///< a device on which nothing can be written
    Closed, ///< no stream at all
    Broken, ///< a pipe that nobody reads
};

struct ProcessOptions {
    std::string input{};            ///< the standard input, through a pipe
    bool closedInput = false;       ///< no standard input at all
    std::filesystem::path folder{}; ///< where it runs; empty: here
    Output output = Output::Captured;
    bool terminal = false;   ///< the standard error stream is a terminal
    unsigned inputDelay = 0; ///< milliseconds before the input is given
    unsigned user = 0;       ///< runs as this user when it is not 0; only root may ask for it
};

struct ProcessResult {
    int exitCode = -1; ///< -1 when a signal ended the program
    int signal = 0;
    std::string out;
    std::string err;
};

/// Runs a program and waits for its end. Every argument arrives as it is. One that cannot be run has the exit code 126
/// or 127, and the reason on its standard error stream.
ProcessResult runProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                         const ProcessOptions& options = {});

} // namespace opc::test
