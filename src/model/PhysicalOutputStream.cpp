// SPDX-License-Identifier: Apache-2.0
#include <opc/model/PhysicalOutputStream.hpp>

#include <opc/core/interfaces/IPhysicalOutputStream.hpp>

namespace opc::model {

PhysicalOutputStream::PhysicalOutputStream(interfaces::IPhysicalOutputStream* stream) : stream_(stream) {}

PhysicalOutputStream::~PhysicalOutputStream() = default;

void PhysicalOutputStream::write(const unsigned char* data, unsigned long size) {
    stream_->write(data, size);
}

bool PhysicalOutputStream::isDone() const {
    return stream_->isDone();
}

void PhysicalOutputStream::flush() {
    stream_->flush();
}

void PhysicalOutputStream::close() {
    stream_->close();
}

} // namespace opc::model
