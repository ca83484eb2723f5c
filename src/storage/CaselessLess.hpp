// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Strings.hpp>

#include <string_view>

namespace opc::storage {

/// Orders part names as they compare: without regard to ASCII case (ECMA-376-2 §6.2.2.3).
struct CaselessLess {
    bool operator()(std::u16string_view a, std::u16string_view b) const noexcept { return caselessCompare(a, b) < 0; }
};

} // namespace opc::storage
