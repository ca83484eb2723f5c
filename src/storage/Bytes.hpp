// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace opc::storage {

/// A range of an open file.
struct FilePiece {
    int file;
    std::uint64_t offset;
    std::uint64_t size;
};

/// A sequence of bytes that can be read from any offset, by several readers in turn.
class Bytes {
public:
    virtual ~Bytes() = default;

    virtual std::uint64_t size() const = 0;

    /// Reads up to `size` bytes from `offset` on.
    /// @return the bytes delivered; fewer than requested at the end only.
    /// @throws opc::Exception what the system reports.
    virtual std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const = 0;

    /// The range of a file that holds the bytes from `offset` on, at most so many; nothing when they are not in a file.
    virtual std::optional<FilePiece> findInFile(std::uint64_t /*offset*/, std::uint64_t /*size*/) const {
        return std::nullopt;
    }
};

/// Receives the bytes of a whole file in order. The old content is replaced atomically by `commit`;
/// without it, the destructor leaves everything unchanged.
class Target {
public:
    virtual ~Target() = default;
    virtual void write(const unsigned char* data, std::size_t size) = 0;

    /// Copies bytes of a file by the fastest system call.
    /// @return how many were written; 0 when the system cannot do it.
    virtual std::uint64_t writeFrom(const FilePiece& /*piece*/) { return 0; }
    virtual void commit() = 0;
};

} // namespace opc::storage
