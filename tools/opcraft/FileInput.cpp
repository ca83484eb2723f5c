// SPDX-License-Identifier: Apache-2.0
#include "opcraft/FileInput.hpp"

#include "opcraft/Failure.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace opcraft {

namespace {

constexpr std::size_t BLOCK_SIZE = 64 * 1024;

} // namespace

FileInput::FileInput(std::string name)
    : name_(std::move(name)),
      descriptor_(name_ == "-" ? STDIN_FILENO : ::open(name_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
    if (descriptor_ < 0)
        throw Failure(ExitCode::NotProcessed, name_, "", "cannot be opened: " + systemReason(errno));
    struct stat status = {};
    if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode))
        size_ = static_cast<std::uint64_t>(status.st_size);
}

FileInput::~FileInput() {
    if (descriptor_ != STDIN_FILENO)
        ::close(descriptor_);
}

std::size_t FileInput::read(unsigned char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        throw Failure(ExitCode::NotProcessed, name_, "", "cannot be read: " + systemReason(errno));
    return static_cast<std::size_t>(count);
}

std::vector<unsigned char> FileInput::readAll(std::uint64_t limit) {
    std::vector<unsigned char> bytes;
    std::size_t count = 0;
    do {
        const std::size_t filled = bytes.size();
        if (filled > limit)
            throw Failure(ExitCode::NotProcessed, name_, "", "more than " + std::to_string(limit) + " bytes");
        bytes.resize(filled + BLOCK_SIZE);
        count = read(bytes.data() + filled, BLOCK_SIZE);
        bytes.resize(filled + count);
    } while (count != 0);
    return bytes;
}

bool isStream(const std::string& name) {
    struct stat status = {};
    return name == "-" || (::stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode));
}

void throwIfSharedInput(const std::vector<std::string>& names) {
    if (std::count(names.begin(), names.end(), "-") > 1)
        throw Failure(ExitCode::WrongUsage, "-", "", "only one of the files can be the standard input");
}

void copyContent(FileInput& input, opc::OutputStream& output) {
    std::vector<unsigned char> block(BLOCK_SIZE);
    std::size_t count = 0;
    do { // also writes nothing, which replaces the content, too
        count = input.read(block.data(), block.size());
        output.write(block.data(), count);
    } while (count != 0);
    output.close();
}

void throwIfOneStream(const std::string& file, const std::string& from) {
    if (file == "-" && from == "-")
        throw Failure(ExitCode::WrongUsage, "-", "", "FILE and --from cannot both be the standard input");
}

} // namespace opcraft
