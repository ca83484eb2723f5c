// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

namespace opc::crypto {

/// The result of verifying a signature value or a set of digests. A value; it may be copied to other threads.
class OPCRAFT_API SignatureVerificationStatus {
public:
    explicit SignatureVerificationStatus(bool valid) noexcept : valid_(valid) {}

    bool isSignatureValid() const noexcept { return valid_; }

private:
    bool valid_;
};

/// A status whose `isSignatureValid()` is true.
OPCRAFT_API SignatureVerificationStatus makeValidSignatureVerificationStatus() noexcept;

/// A status whose `isSignatureValid()` is false.
OPCRAFT_API SignatureVerificationStatus makeInvalidSignatureVerificationStatus() noexcept;

} // namespace opc::crypto
