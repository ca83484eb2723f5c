// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc::interfaces {

/// How strongly a new part is compressed.
enum class CompressionType : std::int32_t {
    None = 0,      ///< stored uncompressed
    Normal = 1,    ///< used by the model for the parts that it creates itself
    Maximum = 2,   ///< smallest
    Fast = 3,      ///< quicker than normal
    SuperFast = 4, ///< quickest
};

} // namespace opc::interfaces
