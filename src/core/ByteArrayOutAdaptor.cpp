// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayOutAdaptor.hpp>

namespace opc {

ByteArrayOutAdaptor::ByteArrayOutAdaptor(std::vector<unsigned char>& bytes) : bytes_(bytes) {}

ByteArrayOutAdaptor::~ByteArrayOutAdaptor() = default;

void ByteArrayOutAdaptor::write(const unsigned char* data, unsigned long size) {
    if (closed_) {
        bytes_.clear();
        closed_ = false;
    }
    bytes_.insert(bytes_.end(), data, data + size);
}

bool ByteArrayOutAdaptor::isDone() const {
    return closed_;
}

void ByteArrayOutAdaptor::flush() {}

void ByteArrayOutAdaptor::close() {
    closed_ = true;
}

} // namespace opc
