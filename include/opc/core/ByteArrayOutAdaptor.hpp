// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/OutputStream.hpp>

#include <vector>

namespace opc {

/// Appends what is written to a vector, which it does not own: the vector outlives the adaptor.
///
/// As every output stream, the first write after a `close` starts new content: it empties the vector.
/// What the vector holds at construction is kept and appended to.
class OPCRAFT_API ByteArrayOutAdaptor final : public OutputStream {
public:
    explicit ByteArrayOutAdaptor(std::vector<unsigned char>& bytes);
    ~ByteArrayOutAdaptor() override;

    /// @throws std::bad_alloc when memory is exhausted.
    void write(const unsigned char* data, unsigned long size) override;
    bool isDone() const override;
    void flush() override;
    void close() override;

private:
    std::vector<unsigned char>& bytes_;
    bool closed_ = false;
};

} // namespace opc
