// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace opc::storage {

/// Bytes for which it is worth while to start threads.
constexpr std::uint64_t PARALLEL_SIZE = 4ULL * 1024 * 1024;

/// @param wanted as in `ZipOptions::threads`.
/// @return how many there are to be; at least 1.
unsigned countThreads(unsigned wanted) noexcept;

/// Calls an action for each of some items, the largest first, on the thread of the caller and others. All have ended
/// when it returns. Does nothing for one thread, or for less than `PARALLEL_SIZE`. What an action throws is dropped.
/// @param threads at most, that of the caller included; fewer when the system refuses them.
/// @param sizes of the items.
/// @param action given the index of an item; called by several threads at the same time.
void forEachInParallel(unsigned threads, const std::vector<std::uint64_t>& sizes,
                       const std::function<void(std::size_t)>& action);

} // namespace opc::storage
