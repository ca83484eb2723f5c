// SPDX-License-Identifier: Apache-2.0
#include <opc/model/PhysicalInputStream.hpp>

#include <opc/core/interfaces/IPhysicalInputStream.hpp>

namespace opc::model {

PhysicalInputStream::PhysicalInputStream(interfaces::IPhysicalInputStream* stream) : stream_(stream) {}

PhysicalInputStream::~PhysicalInputStream() = default;

void PhysicalInputStream::open() {
    stream_->open();
}

unsigned long PhysicalInputStream::read(unsigned char* buffer, unsigned long size) {
    return stream_->read(buffer, size);
}

bool PhysicalInputStream::isDone() const {
    return stream_->isDone();
}

void PhysicalInputStream::close() {
    stream_->close();
}

} // namespace opc::model
