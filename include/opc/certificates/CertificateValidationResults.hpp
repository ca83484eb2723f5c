// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <memory>
#include <string>

namespace opc::certificates {

class X509Certificate;

/// The verdict on a certificate and its chain. A value; it may be copied to other threads.
class OPCRAFT_API CertificateValidationResults {
public:
    /// @param chainStatus 0, or the reason why the certificate is refused: one of OpenSSL's X509_V_ERR_ values, which
    ///        `openssl verify` reports too.
    /// @param message the reason in words.
    /// @param trustAnchor null when there is none.
    explicit CertificateValidationResults(int chainStatus = 0, std::string message = {},
                                          std::shared_ptr<const X509Certificate> trustAnchor = nullptr);

    /// 0 when all that was asked for holds.
    int getCertificateChainStatus() const noexcept { return chainStatus_; }

    /// OpenSSL's words for the reason; empty when the status is 0.
    const std::string& getMessage() const noexcept { return message_; }

    /// The trusted certificate that the chain ends at; null when the chain was not checked or does not hold.
    const std::shared_ptr<const X509Certificate>& getTrustAnchor() const noexcept { return trustAnchor_; }

private:
    int chainStatus_;
    std::string message_;
    std::shared_ptr<const X509Certificate> trustAnchor_;
};

} // namespace opc::certificates
