// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

namespace opc::interfaces {

/// The bytes of one stored item, which can be read from the start any number of times.
///
/// Owned by the physical part or package that returned it, and valid until the package is closed or the
/// part deleted. Used by one thread at a time. Every failure is an `opc::Exception` with a code.
class OPCRAFT_API IPhysicalInputStream {
public:
    /// Moves to the first byte, whatever was read before.
    virtual void open() = 0;

    /// Reads up to `size` bytes.
    /// @return the bytes delivered; 0 at the end.
    virtual unsigned long read(unsigned char* buffer, unsigned long size) = 0;

    /// True when the end was reached.
    virtual bool isDone() const = 0;

    /// Ends reading; nothing when the stream is not open.
    virtual void close() = 0;

    virtual ~IPhysicalInputStream();
};

} // namespace opc::interfaces
