// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "signatures/Coverage.hpp"
#include "signatures/ErrorTranslation.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/PackageVerifier.hpp"
#include "signatures/SignatureDocumentReader.hpp"

namespace opc::model {

SignatureReport DigitalSignatureManager::examineSignature(const DigitalSignature& signature,
                                                          const Bytes& publicKey) const {
    return PackageVerifier(getPackage()).examine(signature, publicKey);
}

SignatureReport DigitalSignatureManager::examineSignature(const DigitalSignature& signature,
                                                          const X509Certificate& certificate,
                                                          const X509CertificateChain& chain,
                                                          const CertificateValidationOptions& options,
                                                          const TrustStore& trustStore) const {
    return PackageVerifier(getPackage()).examine(signature, certificate, chain, options, trustStore);
}

SignatureReport DigitalSignatureManager::examineSignature(const DigitalSignature& signature,
                                                          const CertificateValidationOptions& options,
                                                          const TrustStore& trustStore) const {
    return PackageVerifier(getPackage()).examine(signature, options, trustStore);
}

std::vector<SignatureReport> DigitalSignatureManager::examineAllSignatures(const CertificateValidationOptions& options,
                                                                           const TrustStore& trustStore) const {
    return PackageVerifier(getPackage()).examineAll(loaded(), options, trustStore);
}

std::vector<SignatureReport> DigitalSignatureManager::examineAllSignatures(const Bytes& publicKey) const {
    return PackageVerifier(getPackage()).examineAll(loaded(), publicKey);
}

std::vector<SignatureReport> DigitalSignatureManager::examineAllSignatures(const VerificationOptions& options) const {
    return PackageVerifier(getPackage(), options.strict).examineAll(loaded(), options);
}

Bytes DigitalSignatureManager::getReferenceOctets(const DigitalSignature& signature, std::size_t index) const {
    throwIfNotOpen(getPackage());
    return translatingErrorsTo<InvalidSignature>(
        [&] { return ReferenceExaminer(getPackage()).octetsOf(*signature.getImpl(), index); });
}

std::vector<CoverageReport> DigitalSignatureManager::examineCoverage(const std::vector<SignatureReport>& reports,
                                                                     const std::vector<std::string>& otherItems,
                                                                     CoverageScope scope) const {
    throwIfNotOpen(getPackage());
    return Coverage(getPackage(), forms_, loaded(), otherItems, scope).examine(reports);
}

SigningGaps DigitalSignatureManager::findSigningGaps(const std::vector<std::string>& otherItems) const {
    throwIfNotOpen(getPackage());
    return Coverage(getPackage(), forms_, loaded(), otherItems, CoverageScope::All).findGaps();
}

DigitalSignatureVerificationStatus DigitalSignatureManager::verifySignature(const DigitalSignature& signature,
                                                                            const Bytes& publicKey) const {
    return toStatus(examineSignature(signature, publicKey));
}

DigitalSignatureVerificationStatus DigitalSignatureManager::verifySignature(const DigitalSignature& signature,
                                                                            const X509Certificate& certificate,
                                                                            const X509CertificateChain& chain,
                                                                            const CertificateValidationOptions& options,
                                                                            const TrustStore& trustStore) const {
    return toStatus(examineSignature(signature, certificate, chain, options, trustStore), &options);
}

DigitalSignatureVerificationStatus DigitalSignatureManager::verifySignature(const DigitalSignature& signature,
                                                                            const CertificateValidationOptions& options,
                                                                            const TrustStore& trustStore) const {
    return toStatus(examineSignature(signature, options, trustStore), &options);
}

DigitalSignatureVerificationStatus
DigitalSignatureManager::verifyAllSignatures(const CertificateValidationOptions& options,
                                             const TrustStore& trustStore) const {
    PackageVerifier verifier(getPackage(), false, ReportDetail::Faults);
    for (const DigitalSignature& signature : loaded()) {
        const auto status = toStatus(verifier.examine(signature, options, trustStore), &options);
        if (!status.isValid())
            return status;
    }
    return makeValidVerificationStatus();
}

} // namespace opc::model
