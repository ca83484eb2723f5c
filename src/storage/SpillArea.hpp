// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/FileDescriptor.hpp"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace opc::storage {

/// Holds the new contents of an open package until they are saved: a shared amount of memory, and a
/// temporary file without a name, which the system removes when the process ends. A process that is forked shares the
/// file, and leaves it as it is.
class SpillArea {
public:
    /// @param label starts the messages.
    /// @param memory bytes.
    /// @param folder of the temporary file, which is created when it is needed; empty: the default for large
    /// temporary files.
    SpillArea(std::string label, std::uint64_t memory, std::filesystem::path folder);

    SpillArea(const SpillArea&) = delete;
    SpillArea& operator=(const SpillArea&) = delete;

    /// @return false when the memory is exceeded; nothing is reserved then.
    bool reserveMemory(std::uint64_t size) noexcept;
    void freeMemory(std::uint64_t size) noexcept { used_ -= size; }

    /// Appends to the temporary file.
    /// @return the offset of the bytes.
    /// @throws opc::Exception what the system reports, and as `getFile`; nothing is appended then.
    std::uint64_t write(const unsigned char* data, std::size_t size);

    /// @return the bytes delivered; fewer than requested at the end only.
    std::size_t read(std::uint64_t offset, unsigned char* buffer, std::size_t size) const;

    /// @throws opc::Exception operation_not_permitted in a process that was forked since the file was created: both
    ///         have one file, and either may discard what the other one needs.
    int getFile() const;

    /// Releases the disk space of bytes, where the file system supports it.
    void discard(std::uint64_t offset, std::uint64_t size) noexcept;

private:
    void createFile();

    std::string label_;
    std::uint64_t memory_;
    std::uint64_t used_ = 0;
    std::filesystem::path folder_;
    FileDescriptor file_;
    pid_t owner_ = 0; ///< the process that created it
    std::uint64_t end_ = 0;
};

} // namespace opc::storage
