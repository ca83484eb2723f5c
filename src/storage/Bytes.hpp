// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace opc::storage {

/// A stretch of an open file.
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
    /// @return the bytes delivered; fewer than asked for at the end only.
    /// @throws opc::Exception what the system reports.
    virtual std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const = 0;

    /// Where bytes from `offset` on lie in a file, at most so many; nothing when they lie in none.
    virtual std::optional<FilePiece> findInFile(std::uint64_t /*offset*/, std::uint64_t /*size*/) const {
        return std::nullopt;
    }
};

/// Takes the bytes of a whole file, one after another. What was there before is replaced by `commit`, all at once;
/// destroyed without it, the target leaves everything as it was.
class Target {
public:
    virtual ~Target() = default;
    virtual void write(const unsigned char* data, std::size_t size) = 0;

    /// Writes bytes of a file as the system does it best.
    /// @return how many were written; 0 when the system cannot do it.
    virtual std::uint64_t writeFrom(const FilePiece& /*piece*/) { return 0; }
    virtual void commit() = 0;
};

} // namespace opc::storage
