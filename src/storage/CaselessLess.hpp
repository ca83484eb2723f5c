// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace opc::storage {

/// Orders part names as they compare: without regard to ASCII case (ECMA-376-2 §6.2.2.3).
struct CaselessLess {
    bool operator()(std::u16string_view a, std::u16string_view b) const noexcept { return caselessCompare(a, b) < 0; }
};

/// Finds part names and extensions in hash tables, without regard to ASCII case.
struct CaselessHash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view text) const noexcept {
        std::uint64_t hash = 0xCBF29CE484222325; // FNV-1a
        for (const char16_t c : text)
            hash = (hash ^ detail::toLowerASCII(c)) * 0x100000001B3;
        return hash;
    }
};

struct CaselessEqual {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const noexcept {
        return a.size() == b.size() && caselessCompare(a, b) == 0;
    }
};

} // namespace opc::storage
