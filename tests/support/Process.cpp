// SPDX-License-Identifier: Apache-2.0
#include "support/Process.hpp"

#include <fcntl.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves it to the program

namespace opc::test {

namespace {

void throwIf(bool failed, const char* what) {
    if (failed)
        throw std::runtime_error(std::string("cannot run the program: ") + what);
}

class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return number_; }
    void close() {
        if (number_ >= 0)
            ::close(std::exchange(number_, -1));
    }

private:
    int number_;
};

struct Pipe {
    Pipe() {
        int ends[2];
        throwIf(::pipe2(ends, O_CLOEXEC) != 0, "no pipe");
        reading = Descriptor(ends[0]);
        writing = Descriptor(ends[1]);
    }
    Descriptor reading;
    Descriptor writing;
};

/// A file without a name. What a program writes there never makes it wait for a reader.
class Capture {
public:
    Capture() : file_(std::tmpfile(), &std::fclose) { throwIf(!file_, "no temporary file"); }

    int get() const { return ::fileno(file_.get()); }
    std::string text() const {
        std::string result;
        std::rewind(file_.get());
        char block[65536];
        while (const std::size_t count = std::fread(block, 1, sizeof block, file_.get()))
            result.append(block, count);
        return result;
    }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

struct Terminal {
    Terminal() {
        int ends[2];
        throwIf(::openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0, "no terminal");
        ours = Descriptor(ends[0]);
        theirs = Descriptor(ends[1]);
    }
    /// What arrived. A terminal holds a few kilobytes, enough for lines on the standard error stream.
    std::string text() {
        theirs.close();
        std::string result;
        char block[4096];
        ssize_t count = 0;
        while ((count = ::read(ours.get(), block, sizeof block)) > 0)
            result.append(block, static_cast<std::size_t>(count));
        return result;
    }
    Descriptor ours;
    Descriptor theirs;
};

class FileActions {
public:
    FileActions() { ::posix_spawn_file_actions_init(&actions_); }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    posix_spawn_file_actions_t* get() { return &actions_; }
    void use(int descriptor, int as) { ::posix_spawn_file_actions_adddup2(&actions_, descriptor, as); }

private:
    posix_spawn_file_actions_t actions_{};
};

/// The program starts with the signals as a shell leaves them.
class Attributes {
public:
    Attributes() {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGPIPE);
        ::posix_spawnattr_init(&attributes_);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
    }
    ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    posix_spawnattr_t* get() { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

void directOutput(FileActions& actions, Output output, const Capture& capture, Pipe& broken) {
    switch (output) {
    case Output::Captured:
        return actions.use(capture.get(), STDOUT_FILENO);
    case Output::Full:
        ::posix_spawn_file_actions_addopen(actions.get(), STDOUT_FILENO, "/dev/full", O_WRONLY, 0);
        return;
    case Output::Closed:
        ::posix_spawn_file_actions_addclose(actions.get(), STDOUT_FILENO);
        return;
    case Output::Broken:
        broken.reading.close();
        return actions.use(broken.writing.get(), STDOUT_FILENO);
    }
}

pid_t spawn(const std::vector<std::string>& command, FileActions& actions) {
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    Attributes attributes;
    pid_t child = 0;
    throwIf(::posix_spawn(&child, arguments.front(), actions.get(), attributes.get(), arguments.data(), environ) != 0,
            command.front().c_str());
    return child;
}

/// A program that ends before it has read everything is no failure.
void feed(Descriptor& pipe, std::string_view input) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    while (!input.empty()) {
        const ssize_t count = ::write(pipe.get(), input.data(), input.size());
        if (count < 0 && errno != EINTR)
            break;
        if (count > 0)
            input.remove_prefix(static_cast<std::size_t>(count));
    }
    pipe.close();
    std::signal(SIGPIPE, before);
}

} // namespace

ProcessResult runProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                         const ProcessOptions& options) {
    Pipe input;
    Pipe broken;
    Capture out;
    Capture err;
    Terminal terminal;
    FileActions actions;
    if (options.closedInput)
        ::posix_spawn_file_actions_addclose(actions.get(), STDIN_FILENO);
    else
        actions.use(input.reading.get(), STDIN_FILENO);
    directOutput(actions, options.output, out, broken);
    actions.use(options.terminal ? terminal.theirs.get() : err.get(), STDERR_FILENO);
    if (!options.folder.empty())
        ::posix_spawn_file_actions_addchdir_np(actions.get(), options.folder.c_str());

    std::vector<std::string> command;
    if (options.user != 0)
        command = {"/usr/bin/setpriv", "--reuid", std::to_string(options.user), "--regid", std::to_string(options.user),
                   "--clear-groups",   "--"};
    command.push_back(program.string());
    command.insert(command.end(), arguments.begin(), arguments.end());
    const pid_t child = spawn(command, actions);
    input.reading.close();
    std::this_thread::sleep_for(std::chrono::milliseconds(options.inputDelay));
    feed(input.writing, options.input);

    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        throwIf(errno != EINTR, "it cannot be waited for");
    ProcessResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.out = out.text();
    result.err = options.terminal ? terminal.text() : err.text();
    return result;
}

} // namespace opc::test
