// SPDX-License-Identifier: Apache-2.0
#include "Process.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

extern char** environ;

namespace opc::benchmarks {

namespace {

[[noreturn]] void failWith(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// Starts a program whose standard output goes to `output`.
pid_t start(const std::vector<std::string>& arguments, int output) {
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t process = 0;
    const int error = posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        failWith(error, arguments[0]);
    return process;
}

std::string readAll(int descriptor) {
    std::string text;
    std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count == 0)
            return text;
        if (count < 0 && errno != EINTR)
            failWith(errno, "a pipe");
        text.append(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

/// A process that prints its seconds and its peak of memory.
Side measuringItself(std::vector<std::string> arguments) {
    return [arguments = std::move(arguments)] {
        std::istringstream report(runProgram(arguments));
        Cost cost;
        if (!(report >> cost.seconds >> cost.peakBytes))
            throw std::runtime_error(arguments[0] + " reported nothing");
        return cost;
    };
}

} // namespace

std::string runProgram(const std::vector<std::string>& arguments) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        failWith(errno, "a pipe");
    const pid_t process = start(arguments, ends[1]);
    ::close(ends[1]);
    std::string text = readAll(ends[0]);
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error(arguments[0] + " failed");
    return text;
}

Side wholeProcess(std::vector<std::string> arguments) {
    return timed([arguments = std::move(arguments)] {
        if (runProgram(arguments).empty())
            throw std::runtime_error(arguments[0] + " wrote nothing");
        return nullptr;
    });
}

Side hugeTask(const std::string& task, const std::string& file) {
    return measuringItself({"/proc/self/exe", "--task", task, file});
}

Side pythonTask(const std::string& task, const std::string& file) {
    return measuringItself({"/usr/bin/env", "OPCRAFT_LIBRARY=" OPCRAFT_C_LIBRARY, "PYTHONPATH=" OPCRAFT_PYTHON_PACKAGE,
                            "PYTHONDONTWRITEBYTECODE=1", OPCRAFT_PYTHON, OPCRAFT_MEASURE_IN_PYTHON, task, file});
}

/// `getrusage` would count what the process was before it became this program.
std::uint64_t peakOfThisProcess() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:") {
            std::uint64_t kibibytes = 0;
            status >> kibibytes;
            return kibibytes * 1024;
        }
    throw std::runtime_error("the system does not tell the peak of memory");
}

} // namespace opc::benchmarks
