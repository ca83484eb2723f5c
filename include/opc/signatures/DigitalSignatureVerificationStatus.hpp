// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/SignatureVerificationStatus.hpp>

namespace opc::model {

/// The result of verifying one signature: whether its cryptography is valid, and the validation results of the signer's
/// certificate. A value.
class OPCRAFT_API DigitalSignatureVerificationStatus {
public:
    DigitalSignatureVerificationStatus(const crypto::SignatureVerificationStatus& signature,
                                       const certificates::CertificateValidationResults& certificate);

    /// Whether the signature value and all references are valid. The certificate is not considered.
    bool isSignatureValid() const noexcept { return signature_.isSignatureValid(); }

    /// Whether the signature and the certificate are valid. A signature that was verified with a bare key has no
    /// certificate that could be invalid.
    bool isValid() const noexcept;

    certificates::CertificateValidationResults getCertificateValidationResults() const { return certificate_; }

private:
    crypto::SignatureVerificationStatus signature_;
    certificates::CertificateValidationResults certificate_;
};

/// Signature and certificate are valid.
OPCRAFT_API DigitalSignatureVerificationStatus makeValidVerificationStatus();
/// The signature is not valid; the certificate results are those of a valid certificate.
OPCRAFT_API DigitalSignatureVerificationStatus makeInvalidVerificationStatus();
/// The signature is valid, with the given certificate results.
OPCRAFT_API DigitalSignatureVerificationStatus
makeValidSigCertificateResults(const certificates::CertificateValidationResults& results);
/// The signature is not valid, with the given certificate results.
OPCRAFT_API DigitalSignatureVerificationStatus
makeInvalidSigCertificateResults(const certificates::CertificateValidationResults& results);

} // namespace opc::model
