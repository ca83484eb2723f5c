// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/interfaces/CompressionType.hpp>

namespace opc::storage {

/// The level of zlib for a part; 0: it is stored as it is.
constexpr int compressionLevel(interfaces::CompressionType type) {
    switch (type) {
    case interfaces::CompressionType::None:
        return 0;
    case interfaces::CompressionType::Maximum:
        return 9;
    case interfaces::CompressionType::Fast:
        return 3;
    case interfaces::CompressionType::SuperFast:
        return 1;
    case interfaces::CompressionType::Normal:
        break;
    }
    return 6;
}

} // namespace opc::storage
