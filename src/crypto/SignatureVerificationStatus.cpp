// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/SignatureVerificationStatus.hpp>

namespace opc::crypto {

SignatureVerificationStatus makeValidSignatureVerificationStatus() noexcept {
    return SignatureVerificationStatus(true);
}

SignatureVerificationStatus makeInvalidSignatureVerificationStatus() noexcept {
    return SignatureVerificationStatus(false);
}

} // namespace opc::crypto
