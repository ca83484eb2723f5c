// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigestMethod.hpp>
#include <opc/signatures/SignatureMethod.hpp>

namespace opc::model {

/// The digest and the key size of a signature. A value.
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
