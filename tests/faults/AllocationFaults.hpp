// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace opc::test {

/// Which allocations fail: the one of the number, or that one and all that follow.
enum class Extent { One, AllFrom };

/// What `operator new` of this program does in a thread: it counts the allocations while it is armed, and has some of
/// them fail. Those inside the XML parser do not come here.
struct AllocationFaults {
    bool armed = false;
    Extent extent = Extent::One;
    unsigned long failing = 0; ///< the number, from 1; 0 for none
    unsigned long count = 0;
    bool fired = false;
};

inline constinit thread_local AllocationFaults allocationFaults;

} // namespace opc::test
