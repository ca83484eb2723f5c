// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc::interfaces {

/// How hard a new part is compressed.
enum class CompressionType : std::int32_t {
    None = 0,      ///< stored as it is
    Normal = 1,    ///< what the model uses for the parts that it makes itself
    Maximum = 2,   ///< smallest
    Fast = 3,      ///< quicker than normal
    SuperFast = 4, ///< quickest
};

} // namespace opc::interfaces
