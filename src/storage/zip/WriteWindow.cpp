// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/WriteWindow.hpp"

#include <algorithm>

namespace opc::storage {

namespace {

constexpr std::size_t SIZE = 256 * 1024;

} // namespace

void WriteWindow::writeAt(std::uint64_t offset, const unsigned char* data, std::size_t size) {
    if (offset < start_ || offset > start_ + bytes_.size() || offset - start_ + size > SIZE) {
        flush();
        start_ = offset;
    }
    if (size > SIZE) {
        write_(offset, data, size);
        start_ = offset + size;
        return;
    }
    const std::size_t place = offset - start_;
    bytes_.reserve(SIZE);
    bytes_.resize(std::max(bytes_.size(), place + size));
    std::copy_n(data, size, bytes_.begin() + static_cast<std::ptrdiff_t>(place));
}

void WriteWindow::flush() {
    if (!bytes_.empty()) {
        write_(start_, bytes_.data(), bytes_.size());
        start_ += bytes_.size();
        bytes_.clear();
    }
}

} // namespace opc::storage
