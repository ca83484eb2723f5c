// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/VerificationReport.hpp>

#include <algorithm>

namespace opc::model {

bool SignatureReport::isSignatureValid() const noexcept {
    return signatureValueHolds && !references.empty() && findFirstProblem() == nullptr &&
           certificateClaim != CertificateClaim::Differs && certificateClaim != CertificateClaim::NotSupported;
}

DigitalSignatureVerificationStatus SignatureReport::getStatus() const {
    return isSignatureValid() ? makeValidSigCertificateResults(certificateResults)
                              : makeInvalidSigCertificateResults(certificateResults);
}

const ReferenceReport* SignatureReport::findFirstProblem() const noexcept {
    const auto found = std::find_if(references.begin(), references.end(),
                                    [](const ReferenceReport& reference) { return !reference.holds(); });
    return found == references.end() ? nullptr : &*found;
}

} // namespace opc::model
