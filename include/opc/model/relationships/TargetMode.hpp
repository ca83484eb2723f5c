// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc::model {

/// Where the target of a relationship is (ECMA-376-2 §6.5.3).
enum class TargetMode : std::int32_t {
    Internal = 0, ///< a part of the same package
    External = 1, ///< a resource outside the package
};

} // namespace opc::model
