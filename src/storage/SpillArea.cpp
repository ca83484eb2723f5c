// SPDX-License-Identifier: Apache-2.0
#include "storage/SpillArea.hpp"

#include "storage/Failure.hpp"
#include "storage/FileAccess.hpp"
#include "storage/LinuxCalls.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace opc::storage {

namespace {

namespace fs = std::filesystem;

/// Large files go to /var/tmp: /tmp is often in memory.
fs::path largeFilesFolder() {
    const char* chosen = std::getenv("TMPDIR");
    if (chosen && *chosen)
        return chosen;
    std::error_code ignored;
    return fs::is_directory("/var/tmp", ignored) ? "/var/tmp" : "/tmp";
}

/// For file systems without O_TMPFILE: the name is removed before anything is written.
FileDescriptor createAndUnlink(const fs::path& folder) {
    std::string name = (folder / "opcraft-XXXXXX").string();
    FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (file.isOpen())
        ::unlink(name.c_str());
    return file;
}

} // namespace

SpillArea::SpillArea(std::string label, std::uint64_t memory, fs::path folder)
    : label_(std::move(label)), memory_(memory), folder_(std::move(folder)) {}

bool SpillArea::reserveMemory(std::uint64_t size) noexcept {
    if (size > memory_ || used_ > memory_ - size)
        return false;
    used_ += size;
    return true;
}

void SpillArea::createFile() {
    const fs::path folder = folder_.empty() ? largeFilesFolder() : folder_;
    file_ = FileDescriptor(linuxcalls::openUnnamed(AT_FDCWD, folder.c_str(), 0600));
    if (!file_.isOpen() && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL))
        file_ = createAndUnlink(folder);
    if (!file_.isOpen())
        failWithErrno(errno, label_ + ": no temporary file can be created in " + inQuotes(folder.string()));
    owner_ = ::getpid();
    label_ += ": the temporary file in " + inQuotes(folder.string());
}

std::uint64_t SpillArea::write(const unsigned char* data, std::size_t size) {
    if (!file_.isOpen())
        createFile();
    const std::uint64_t offset = end_;
    writeFileAt(getFile(), offset, data, size, label_);
    end_ += size;
    return offset;
}

int SpillArea::getFile() const {
    if (owner_ != ::getpid())
        failWithErrno(EPERM, label_ + ": belongs to the process that this one was forked from");
    return file_.get();
}

std::size_t SpillArea::read(std::uint64_t offset, unsigned char* buffer, std::size_t size) const {
    return readFileAt(getFile(), offset, buffer, size, label_);
}

void SpillArea::discard(std::uint64_t offset, std::uint64_t size) noexcept {
    if (owner_ == ::getpid())
        linuxcalls::punchHole(file_.get(), offset, size);
}

} // namespace opc::storage
