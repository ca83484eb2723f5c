// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureVerificationStatus.hpp>

namespace opc::model {

using certificates::CertificateValidationResults;
using crypto::makeInvalidSignatureVerificationStatus;
using crypto::makeValidSignatureVerificationStatus;

DigitalSignatureVerificationStatus::DigitalSignatureVerificationStatus(
    const crypto::SignatureVerificationStatus& signature, const CertificateValidationResults& certificate)
    : signature_(signature), certificate_(certificate) {}

bool DigitalSignatureVerificationStatus::isValid() const noexcept {
    return isSignatureValid() && certificate_.getCertificateChainStatus() == 0;
}

DigitalSignatureVerificationStatus makeValidVerificationStatus() {
    return makeValidSigCertificateResults(CertificateValidationResults());
}

DigitalSignatureVerificationStatus makeInvalidVerificationStatus() {
    return makeInvalidSigCertificateResults(CertificateValidationResults());
}

DigitalSignatureVerificationStatus makeValidSigCertificateResults(const CertificateValidationResults& results) {
    return {makeValidSignatureVerificationStatus(), results};
}

DigitalSignatureVerificationStatus makeInvalidSigCertificateResults(const CertificateValidationResults& results) {
    return {makeInvalidSignatureVerificationStatus(), results};
}

} // namespace opc::model
