// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace opc::storage {

/// A row of bytes that can be read from any place, by several readers in turn.
class Bytes {
public:
    virtual ~Bytes() = default;

    virtual std::uint64_t size() const = 0;

    /// Reads up to `size` bytes from `offset` on.
    /// @return the bytes delivered; fewer than asked for at the end only.
    /// @throws opc::Exception what the system reports.
    virtual std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const = 0;
};

/// Takes the bytes of a whole file, one after another. What was there before is replaced by `commit`, all at once;
/// destroyed without it, the target leaves everything as it was.
class Target {
public:
    virtual ~Target() = default;
    virtual void write(const unsigned char* data, std::size_t size) = 0;
    virtual void commit() = 0;
};

} // namespace opc::storage
