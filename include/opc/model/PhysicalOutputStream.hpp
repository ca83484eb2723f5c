// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/OutputStream.hpp>

namespace opc::interfaces {
class IPhysicalOutputStream;
}

namespace opc::model {

/// A physical output stream as an `opc::OutputStream`. It forwards and nothing else: the physical stream is not owned,
/// and destroying the adaptor neither closes nor deletes it. Throws what the physical stream throws.
class OPCRAFT_API PhysicalOutputStream final : public OutputStream {
public:
    explicit PhysicalOutputStream(interfaces::IPhysicalOutputStream* stream);

    void write(const unsigned char* data, unsigned long size) override;
    bool isDone() const override;
    void flush() override;
    void close() override;
    ~PhysicalOutputStream() override;

private:
    interfaces::IPhysicalOutputStream* stream_;
};

} // namespace opc::model
