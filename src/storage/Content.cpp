// SPDX-License-Identifier: Apache-2.0
#include "storage/Content.hpp"

#include <algorithm>

namespace opc::storage {

void Content::append(const unsigned char* data, std::size_t size) {
    bytes_.insert(bytes_.end(), data, data + size);
}

std::size_t Content::readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const {
    if (offset >= bytes_.size()) {
        return 0;
    }
    const std::size_t count = std::min<std::uint64_t>(size, bytes_.size() - offset);
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), count, buffer);
    return count;
}

} // namespace opc::storage
