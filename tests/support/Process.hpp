// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Bytes.hpp"
#include "support/TemporaryFolder.hpp"

#include <boost/algorithm/string/replace.hpp>

#include <sys/wait.h>

#include <cstdlib>

namespace opc::test {

struct ProcessOptions {
    std::string input{};            ///< the standard input, through a pipe
    std::filesystem::path folder{}; ///< where it runs; empty: here
};

struct ProcessResult {
    int exitCode; ///< 128 and its number for a signal, 126 or 127 for a program that cannot be run, as in a shell
    std::string out;
    std::string err;
};

/// Runs a program, with the signals as a shell leaves them, and waits for its end. Every argument arrives as it is.
inline ProcessResult runProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                                const ProcessOptions& options = {}) {
    const auto quoted = [](const std::string& text) {
        return " '" + boost::replace_all_copy(text, "'", "'\\''") + "'";
    };
    const TemporaryFolder files;
    writeFile(files / "in", toBytes(options.input));
    std::string command = "cat" + quoted(files / "in") + " | exec env --default-signal=PIPE -C";
    command += quoted(options.folder.empty() ? "." : options.folder) + " --" + quoted(program);
    for (const std::string& argument : arguments)
        command += quoted(argument);
    const int status = std::system((command + " >" + quoted(files / "out") + " 2>" + quoted(files / "err")).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), toText(readFile(files / "out")),
            toText(readFile(files / "err"))};
}

} // namespace opc::test
