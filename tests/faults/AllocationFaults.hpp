// SPDX-License-Identifier: Apache-2.0
#pragma once

/// What `operator new` of this program does: it counts the allocations of the thread while it is armed, and has some of
/// them fail. Those inside the XML parser do not come here.
namespace opc::test::allocations {

/// How many fail: the one of the number, or that one and all that follow.
enum class Extent { One, AllFrom };

/// @param number from 1; 0 has none fail.
void arm(Extent extent, unsigned long number) noexcept;
void disarm() noexcept;

/// Since `arm`.
unsigned long count() noexcept;
bool fired() noexcept;

} // namespace opc::test::allocations
