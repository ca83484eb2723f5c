// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/DigestEngine.hpp>
#include <opc/signatures/DigestMethod.hpp>

namespace opc::model {

static_assert(static_cast<int>(crypto::DigestAlgorithm::MD5) == static_cast<int>(DigestMethod::MD5) &&
                  static_cast<int>(crypto::DigestAlgorithm::SHA512) == static_cast<int>(DigestMethod::SHA512),
              "the enumerations have the same values");

inline crypto::DigestAlgorithm toDigestAlgorithm(DigestMethod method) noexcept {
    return static_cast<crypto::DigestAlgorithm>(method);
}

} // namespace opc::model
