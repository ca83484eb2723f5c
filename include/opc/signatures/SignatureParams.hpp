// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigestMethod.hpp>
#include <opc/signatures/SignatureMethod.hpp>

namespace opc::model {

/// What a caller chooses for a signature: the digest and the size of the key. A value.
class SignatureParams {
public:
    SignatureParams(DigestMethod digestMethod, SignatureMethod signatureMethod) noexcept
        : digestMethod_(digestMethod), signatureMethod_(signatureMethod) {}

    DigestMethod getDigestMethod() const noexcept { return digestMethod_; }
    SignatureMethod getSignatureMethod() const noexcept { return signatureMethod_; }

private:
    DigestMethod digestMethod_;
    SignatureMethod signatureMethod_;
};

} // namespace opc::model
