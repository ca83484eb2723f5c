// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc::model {

/// The size of the RSA key that signs.
enum class SignatureMethod : std::int32_t {
    RSA1024 = 0,
    RSA2048 = 1,
    RSA4096 = 2,
};

} // namespace opc::model
