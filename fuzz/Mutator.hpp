// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fuzz.hpp"

#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximumSize);

/// What the targets share that change their inputs in a way of their own, beside any byte of them.
namespace opc::fuzz {

inline void mutate(std::string& text, std::size_t maximumSize) {
    const std::size_t limit = std::min(std::max(text.size() + 32, text.size() * 2), maximumSize);
    const std::size_t size = std::min(text.size(), limit);
    text.resize(limit);
    text.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(text.data()), size, limit));
}

/// Copies a range to somewhere else, erases it or moves it.
template <class Item>
void rearrange(std::vector<Item>& items, std::size_t first, std::size_t last, std::minstd_rand& random) {
    const auto at = [&](std::size_t index) { return items.begin() + static_cast<std::ptrdiff_t>(index); };
    const std::vector<Item> range(at(first), at(last));
    const unsigned what = random() % 3;
    if (what != 0)
        items.erase(at(first), at(last));
    if (what != 1)
        items.insert(at(random() % (items.size() + 1)), range.begin(), range.end());
}

/// Puts a mutant in the place of an input. @return its size.
inline std::size_t put(const std::string& mutant, std::uint8_t* data, std::size_t size, std::size_t maximumSize) {
    if (mutant.empty() || mutant.size() > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(mutant.begin(), mutant.end(), data);
    return mutant.size();
}

} // namespace opc::fuzz
