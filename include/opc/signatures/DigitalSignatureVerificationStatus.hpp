// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/SignatureVerificationStatus.hpp>

namespace opc::model {

/// The verdict on one signature: whether the cryptography holds, and what is known of the signer's certificate. A
/// value.
class OPCRAFT_API DigitalSignatureVerificationStatus {
public:
    DigitalSignatureVerificationStatus(const crypto::SignatureVerificationStatus& signature,
                                       const certificates::CertificateValidationResults& certificate);

    /// Whether the signature value and everything that it covers hold. Who signed is another matter.
    bool isSignatureValid() const noexcept { return signature_.isSignatureValid(); }

    /// Whether the signature holds and nothing is wrong with the certificate. A signature that was verified by a bare
    /// key has no certificate with which anything could be wrong.
    bool isValid() const noexcept;

    certificates::CertificateValidationResults getCertificateValidationResults() const { return certificate_; }

private:
    crypto::SignatureVerificationStatus signature_;
    certificates::CertificateValidationResults certificate_;
};

/// Signature and certificate hold.
OPCRAFT_API DigitalSignatureVerificationStatus makeValidVerificationStatus();
/// The signature does not hold; of the certificate nothing bad is known.
OPCRAFT_API DigitalSignatureVerificationStatus makeInvalidVerificationStatus();
/// The signature holds; the certificate is as given.
OPCRAFT_API DigitalSignatureVerificationStatus
makeValidSigCertificateResults(const certificates::CertificateValidationResults& results);
/// The signature does not hold; the certificate is as given.
OPCRAFT_API DigitalSignatureVerificationStatus
makeInvalidSigCertificateResults(const certificates::CertificateValidationResults& results);

} // namespace opc::model
