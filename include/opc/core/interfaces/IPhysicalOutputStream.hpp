// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

namespace opc::interfaces {

/// Receives new content for one stored item.
///
/// The first write, and the first after a `close`, starts new content; a `close` without a write changes
/// nothing. Owned by the physical part or package that returned it, and valid until the package is closed
/// or the part deleted. Used by one thread at a time. Every failure is an `opc::Exception` with a code.
class OPCRAFT_API IPhysicalOutputStream {
public:
    /// Takes all `size` bytes or throws.
    virtual void write(const unsigned char* data, unsigned long size) = 0;

    /// True when no content is being written: before the first write, and after a close.
    virtual bool isDone() const = 0;

    /// Flushes buffered bytes to the destination.
    virtual void flush() = 0;

    /// Ends the content that was written.
    virtual void close() = 0;

    virtual ~IPhysicalOutputStream();
};

} // namespace opc::interfaces
