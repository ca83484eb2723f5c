// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace opc::storage {

/// Gathers small writes that follow one another, or go back over what was just written, into large ones.
class WriteWindow {
public:
    using Write = std::function<void(std::uint64_t offset, const unsigned char* data, std::size_t size)>;

    explicit WriteWindow(Write write) : write_(std::move(write)) {}

    void writeAt(std::uint64_t offset, const unsigned char* data, std::size_t size);

    /// Writes what is still held back.
    void flush();

private:
    Write write_;
    std::uint64_t start_ = 0;
    std::vector<unsigned char> bytes_;
};

} // namespace opc::storage
