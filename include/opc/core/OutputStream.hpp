// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

namespace opc {

/// A sink of bytes.
///
/// Used by one thread at a time. What a concrete stream throws is an `opc::Exception`.
class OPCRAFT_API OutputStream {
public:
    /// Takes all `size` bytes or throws.
    virtual void write(const unsigned char* data, unsigned long size) = 0;

    /// True when the stream was closed and nothing was written since.
    virtual bool isDone() const = 0;

    /// Flushes buffered bytes to the destination.
    virtual void flush() = 0;

    /// Ends what was written. Closing twice does nothing.
    virtual void close() = 0;

    virtual ~OutputStream();
};

} // namespace opc
