// SPDX-License-Identifier: Apache-2.0
#include "storage/Threads.hpp"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <system_error>
#include <thread>

namespace opc::storage {

unsigned countThreads(unsigned wanted) noexcept {
    return wanted > 0 ? wanted : std::max(1U, std::thread::hardware_concurrency());
}

void forEachInParallel(unsigned threads, const std::vector<std::uint64_t>& sizes,
                       const std::function<void(std::size_t)>& action) {
    if (threads < 2 || std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0}) < PARALLEL_SIZE)
        return;
    std::vector<std::size_t> order(sizes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return sizes[a] > sizes[b]; });
    std::atomic<std::size_t> next{0};
    const auto work = [&]() noexcept {
        for (std::size_t i = next++; i < order.size(); i = next++) {
            try {
                action(order[i]);
            } catch (...) { // NOLINT(bugprone-empty-catch): whoever needs the item tries it again
            }
        }
    };
    std::vector<std::jthread> others;
    others.reserve(std::min<std::size_t>(threads, order.size()) - 1);
    try {
        while (others.size() < others.capacity())
            others.emplace_back(work);
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): fewer threads do it as well
    }
    work();
}

} // namespace opc::storage
