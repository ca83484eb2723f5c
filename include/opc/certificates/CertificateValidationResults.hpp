// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <memory>
#include <string>

namespace opc::certificates {

class X509Certificate;

/// The result of validating a certificate and its chain. A value; it may be copied to other threads.
class OPCRAFT_API CertificateValidationResults {
public:
    /// @param chainStatus 0, or the reason why the certificate is not valid: one of OpenSSL's X509_V_ERR_ values, as
    ///        reported by `openssl verify`.
    /// @param message the reason as text.
    /// @param trustAnchor null when there is none.
    explicit CertificateValidationResults(int chainStatus = 0, std::string message = {},
                                          std::shared_ptr<const X509Certificate> trustAnchor = nullptr);

    /// 0 when all requested checks succeeded.
    int getCertificateChainStatus() const noexcept { return chainStatus_; }

    /// OpenSSL's text for the reason; empty when the status is 0.
    const std::string& getMessage() const noexcept { return message_; }

    /// The trusted certificate that the chain ends at; null when the chain was not checked or is not valid.
    const std::shared_ptr<const X509Certificate>& getTrustAnchor() const noexcept { return trustAnchor_; }

private:
    int chainStatus_;
    std::string message_;
    std::shared_ptr<const X509Certificate> trustAnchor_;
};

} // namespace opc::certificates
