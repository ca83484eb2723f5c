// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstddef>
#include <functional>
#include <vector>

namespace opc::interfaces {

class IPhysicalPart;

/// Optional for a physical package: one that can read several parts at the same time, on threads of its own, implements
/// this interface too. The package model then digests the parts that a signature covers on these threads, and calls
/// everything else on the thread that uses the package, as always. Without this interface, all is read there. A
/// decorator of such a package forwards it, with the parts that it decorates.
///
/// The functions are called like those of `IPhysicalPackage`: by one thread at a time.
class OPCRAFT_API IPhysicalParallelReading {
public:
    /// Takes the next bytes of the part with this index in the list; none when all its content was delivered. Called on
    /// any threads, for several parts at the same time, for one part in order and not at the same time. May throw.
    using Take = std::function<void(std::size_t index, const unsigned char* data, std::size_t size)>;

    virtual ~IPhysicalParallelReading();

    /// Whether `readParts` uses other threads than that of the caller.
    virtual bool isParallel() const = 0;

    /// Reads parts ahead, as far as that is worth while. When it returns, no thread that it started is left. A part
    /// that could not be delivered whole, or whose `take` threw, is passed over: whoever needs it reads its stream,
    /// which tells the error. A part that was delivered does not count as read yet.
    /// @param parts of this package, which is not changed meanwhile.
    /// @throws std::bad_alloc
    /// @throws opc::Exception when the physical package is not open.
    virtual void readParts(const std::vector<IPhysicalPart*>& parts, const Take& take) = 0;

    /// Counts a part that was delivered as if its stream was read, where what is read has limits.
    /// @return false when a limit is exceeded: reading the stream tells which.
    /// @throws opc::Exception when the physical package is not open.
    virtual bool countAsRead(IPhysicalPart& part) = 0;
};

} // namespace opc::interfaces
