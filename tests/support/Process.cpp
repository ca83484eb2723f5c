// SPDX-License-Identifier: Apache-2.0
#include "support/Process.hpp"

#include "support/TemporaryFolder.hpp"

#include <boost/algorithm/string/replace.hpp>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <thread>

namespace opc::test {

namespace {

std::string quoted(const std::string& text) {
    return " '" + boost::replace_all_copy(text, "'", "'\\''") + "'";
}

/// The command for a shell, which becomes the program. It starts with the signals as a shell leaves them.
std::string commandFor(const std::string& program, const std::vector<std::string>& arguments, unsigned user) {
    const std::string id = std::to_string(user);
    std::string command = "exec env --default-signal=PIPE --";
    if (user != 0)
        command += " setpriv --reuid " + id + " --regid " + id + " --clear-groups --";
    command += quoted(program);
    for (const std::string& argument : arguments)
        command += quoted(argument);
    return command;
}

std::string outputTo(Output output, const std::string& file) {
    switch (output) {
    case Output::Full:
        return " >/dev/full";
    case Output::Closed:
        return " >&-";
    case Output::Broken:
        return " >&4 4>&-";
    case Output::Captured:
        break;
    }
    return " >" + quoted(file);
}

std::string textOf(const std::filesystem::path& file) {
    const auto bytes = readFile(file);
    return {bytes.begin(), bytes.end()};
}

struct Terminal {
    Terminal() {
        char name[64];
        if (::openpty(&ours, &theirs, name, nullptr, nullptr) != 0)
            throw std::runtime_error("no terminal");
        file = name;
    }
    ~Terminal() { ::close(ours); }

    /// What arrived. A terminal holds a few kilobytes, enough for lines on the standard error stream.
    std::string text() {
        ::close(theirs);
        std::string result;
        char block[4096];
        for (ssize_t count = 0; (count = ::read(ours, block, sizeof block)) > 0;)
            result.append(block, static_cast<std::size_t>(count));
        return result;
    }

    int ours = -1;
    int theirs = -1;
    std::string file;
};

/// @return the status of the command. One that ends before it has read everything is no failure.
int run(const std::string& command, const std::string& input, unsigned delay) {
    std::FILE* pipe = ::popen(command.c_str(), "w");
    if (pipe == nullptr)
        throw std::runtime_error("cannot run " + command);
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    std::this_thread::sleep_for(std::chrono::milliseconds(delay));
    std::fwrite(input.data(), 1, input.size(), pipe);
    const int status = ::pclose(pipe);
    std::signal(SIGPIPE, before);
    return status;
}

} // namespace

ProcessResult runProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                         const ProcessOptions& options) {
    const TemporaryFolder folder;
    std::optional<Terminal> terminal;
    if (options.terminal)
        terminal.emplace();
    std::string command = options.folder.empty() ? "" : "cd" + quoted(options.folder) + " && ";
    if (options.output == Output::Broken) { // a pipe whose reader is gone
        const std::string fifo = quoted(folder / "pipe");
        command += "mkfifo" + fifo + " && exec 3<>" + fifo + " 4>" + fifo + " 3<&- && ";
    }
    command += commandFor(program.string(), arguments, options.user);
    command += outputTo(options.output, folder / "out") + (options.closedInput ? " <&-" : "") + " 2>" +
               quoted(terminal ? terminal->file : (folder / "err").string());
    const int status = run(command, options.input, options.inputDelay);

    ProcessResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.out = options.output == Output::Captured ? textOf(folder / "out") : "";
    result.err = terminal ? terminal->text() : textOf(folder / "err");
    return result;
}

} // namespace opc::test
