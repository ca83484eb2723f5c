// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/VerificationOptions.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include "signatures/CertificateTypes.hpp"
#include "signatures/ReferenceExaminer.hpp"

#include <vector>

namespace opc::model {

/// Verifies signatures of a package. What each function throws is said at `DigitalSignatureManager::examineSignature`
/// and `examineAllSignatures`. For the time in which the package does not change.
class PackageVerifier {
public:
    /// @throws PackageNotOpen
    explicit PackageVerifier(const Package& package, bool strict = false, ReportDetail detail = ReportDetail::Full);

    SignatureReport examine(const DigitalSignature& signature, const Bytes& publicKey);
    SignatureReport examine(const DigitalSignature& signature, const X509Certificate& certificate,
                            const X509CertificateChain& chain, const CertificateValidationOptions& options,
                            const TrustStore& trustStore);
    /// With the key or certificate that the signature contains.
    SignatureReport examine(const DigitalSignature& signature, const CertificateValidationOptions& options,
                            const TrustStore& trustStore);
    std::vector<SignatureReport> examineAll(const std::vector<DigitalSignature>& signatures, const Bytes& publicKey);
    std::vector<SignatureReport> examineAll(const std::vector<DigitalSignature>& signatures,
                                            const CertificateValidationOptions& options, const TrustStore& trustStore);
    /// @param options whose `strict` is that of the constructor.
    std::vector<SignatureReport> examineAll(const std::vector<DigitalSignature>& signatures,
                                            const VerificationOptions& options);

private:
    struct Material;

    struct StandardMaterial;

    SignatureReport examine(const DigitalSignature& signature, const Material& material);
    SignatureReport examineLibrary(const DigitalSignature& signature, const VerificationOptions& options);
    SignatureReport examineStandard(const DigitalSignature& signature, const StandardMaterial& material,
                                    const VerificationOptions& options);
    SignatureReport examineStandard(const DigitalSignature& signature, const VerificationOptions& options);

    ReferenceExaminer examiner_;
};

/// The status that a report amounts to.
/// @param options null: the purpose of a certificate is not checked.
/// @throws InvalidSignature when the certificate has another purpose or a reference cannot be read.
DigitalSignatureVerificationStatus toStatus(const SignatureReport& report,
                                            const CertificateValidationOptions* options = nullptr);

} // namespace opc::model
