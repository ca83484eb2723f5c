// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

namespace opc {

/// A source of bytes that can be read from its start any number of times.
///
/// Used by one thread at a time. What a concrete stream throws is an `opc::Exception`.
class OPCRAFT_API InputStream {
public:
    /// Moves to the first byte. Called before reading; after `close`, or again at any time, it restarts the stream.
    virtual void open() = 0;

    /// Reads up to `size` bytes into `buffer`.
    /// @return the bytes delivered; 0 only at the end (or for a size of 0).
    virtual unsigned long read(unsigned char* buffer, unsigned long size) = 0;

    /// True once the end was reached. A stream may find its end only by the read that delivers nothing.
    virtual bool isDone() const = 0;

    /// Ends reading. Closing a stream that is not open does nothing.
    virtual void close() = 0;

    virtual ~InputStream();
};

} // namespace opc
