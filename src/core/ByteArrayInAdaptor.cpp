// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayInAdaptor.hpp>

#include <algorithm>

namespace opc {

ByteArrayInAdaptor::ByteArrayInAdaptor(const std::vector<unsigned char>& bytes) : bytes_(bytes) {}

ByteArrayInAdaptor::~ByteArrayInAdaptor() = default;

void ByteArrayInAdaptor::open() {
    position_ = 0;
}

unsigned long ByteArrayInAdaptor::read(unsigned char* buffer, unsigned long size) {
    if (isDone())
        return 0;
    const auto count = std::min<std::size_t>(size, bytes_.size() - position_);
    std::copy_n(bytes_.data() + position_, count, buffer);
    position_ += count;
    return count;
}

bool ByteArrayInAdaptor::isDone() const {
    return position_ >= bytes_.size();
}

void ByteArrayInAdaptor::close() {
    position_ = bytes_.size();
}

} // namespace opc
