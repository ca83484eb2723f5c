// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/OutputStream.hpp>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace opcraft {

/// Reads a file, or the standard input for "-", sequentially.
class FileInput {
public:
    /// @throws Failure naming the file when it cannot be opened.
    explicit FileInput(std::string name);
    ~FileInput();

    FileInput(const FileInput&) = delete;
    FileInput& operator=(const FileInput&) = delete;

    /// The size in bytes; 0 when it is not known.
    std::uint64_t getSize() const noexcept { return size_; }

    /// @return the number of bytes read; 0 at the end.
    /// @throws Failure naming the file when it cannot be read.
    std::size_t read(unsigned char* buffer, std::size_t size);

    /// @param limit bytes.
    /// @throws Failure the same, and when there are more.
    std::vector<unsigned char> readAll(std::uint64_t limit = std::numeric_limits<std::uint64_t>::max());

private:
    std::string name_;
    int descriptor_;
    std::uint64_t size_ = 0;
};

/// Whether the name is that of a file that can be read only once: the standard input ("-"), a pipe, a device.
bool isStream(const std::string& name);

/// @throws Failure for wrong usage when more than one of these files is the standard input.
void throwIfSharedInput(const std::vector<std::string>& names);

/// Writes what is left of a file to a stream, and closes that.
void copyContent(FileInput& input, opc::OutputStream& output);

/// @param from the argument of --from.
/// @throws Failure for wrong usage when both are the standard input.
void throwIfOneStream(const std::string& file, const std::string& from);

} // namespace opcraft
