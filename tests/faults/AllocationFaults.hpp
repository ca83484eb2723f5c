// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace opc::test {

/// What `operator new` of this program does: it counts the allocations of the thread while it is armed, and has some of
/// them fail. Those that may fail without an exception are those of the XML parser; they are counted by themselves.
namespace allocations {

/// Which allocations are counted, and may fail.
enum class Kind { Library, Parser };

/// How many fail: the one of the number, or that one and all that follow, of either kind.
enum class Extent { One, AllFrom };

/// @param number from 1; 0 has none fail.
void arm(Kind kind, Extent extent, unsigned long number) noexcept;
void disarm() noexcept;

/// Since `arm`.
unsigned long count() noexcept;
bool fired() noexcept;

} // namespace allocations
} // namespace opc::test
