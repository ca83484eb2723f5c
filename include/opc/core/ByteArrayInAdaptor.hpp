// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/InputStream.hpp>

#include <cstddef>
#include <vector>

namespace opc {

/// Reads the bytes of a vector, which it neither copies nor owns: the vector outlives the adaptor.
///
/// It is open from construction; when closed, it delivers no bytes until it is opened again. Never throws.
class OPCRAFT_API ByteArrayInAdaptor final : public InputStream {
public:
    explicit ByteArrayInAdaptor(const std::vector<unsigned char>& bytes);
    ~ByteArrayInAdaptor() override;

    void open() override;
    unsigned long read(unsigned char* buffer, unsigned long size) override;
    bool isDone() const override;
    void close() override;

private:
    const std::vector<unsigned char>& bytes_;
    std::size_t position_ = 0;
};

} // namespace opc
