// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/FileDescriptor.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace opc::storage {

/// Where the new contents of an open package are kept until they are saved: some memory that they share, and a
/// temporary file without a name, which the system removes by itself, whatever becomes of us.
class SpillArea {
public:
    /// @param label starts the messages.
    /// @param memory bytes.
    /// @param folder of the temporary file, which is created when it is needed; empty: where the system keeps large
    /// ones.
    SpillArea(std::string label, std::uint64_t memory, std::filesystem::path folder);

    SpillArea(const SpillArea&) = delete;
    SpillArea& operator=(const SpillArea&) = delete;

    /// @return false when so many more bytes of memory are too many; nothing is reserved then.
    bool reserveMemory(std::uint64_t size) noexcept;
    void freeMemory(std::uint64_t size) noexcept { used_ -= size; }

    /// Appends to the temporary file.
    /// @return where the bytes start.
    /// @throws opc::Exception what the system reports; nothing is appended then.
    std::uint64_t write(const unsigned char* data, std::size_t size);

    /// @return the bytes delivered; fewer than asked for at the end only.
    std::size_t read(std::uint64_t offset, unsigned char* buffer, std::size_t size) const;

    int getFile() const { return file_.get(); }

    /// Gives the room that bytes take back to the disk, where the file system can do that.
    void discard(std::uint64_t offset, std::uint64_t size) noexcept;

private:
    void createFile();

    std::string label_;
    std::uint64_t memory_;
    std::uint64_t used_ = 0;
    std::filesystem::path folder_;
    FileDescriptor file_;
    std::uint64_t end_ = 0;
};

} // namespace opc::storage
