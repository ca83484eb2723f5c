// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>

namespace opc::interfaces {
class IPhysicalInputStream;
}

namespace opc::model {

/// A physical input stream as an `opc::InputStream`. It forwards and nothing else: the physical stream is not owned,
/// and destroying the adaptor neither closes nor deletes it. Throws what the physical stream throws.
class OPCRAFT_API PhysicalInputStream final : public InputStream {
public:
    explicit PhysicalInputStream(interfaces::IPhysicalInputStream* stream);

    void open() override;
    unsigned long read(unsigned char* buffer, unsigned long size) override;
    bool isDone() const override;
    void close() override;
    ~PhysicalInputStream() override;

private:
    interfaces::IPhysicalInputStream* stream_;
};

} // namespace opc::model
