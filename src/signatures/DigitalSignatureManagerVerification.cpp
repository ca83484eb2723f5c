// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "signatures/Coverage.hpp"
#include "signatures/ErrorTranslation.hpp"
#include "signatures/ReferenceExaminer.hpp"
#include "signatures/SignatureForm.hpp"
#include "signatures/SignatureKeys.hpp"
#include "signatures/TrustedCertificates.hpp"

namespace opc::model {

namespace {

using Bytes = std::vector<unsigned char>;
using certificates::CertificateValidationOptions;
using certificates::TrustStore;
using certificates::X509Certificate;
using certificates::X509CertificateChain;

void throwIfKeyIsEmpty(const Bytes& publicKey) {
    if (publicKey.empty())
        throw InvalidSignature("Verification by an empty public key  was attempted.");
}

void throwIfCertificateIsEmpty(const X509Certificate& certificate) {
    if (certificate.isEmpty())
        throw Exception("Verification by an empty certificate was attempted.");
}

void throwIfMethodIsNotRSA(const DigitalSignatureData& signature) {
    try {
        AlgorithmURIMap::getSigningParameters(signature.signatureMethod);
    } catch (const Exception&) {
        throw InvalidSignature("Signature Method is incorrect.");
    }
}

/// The verdict on a report, where misuse and what cannot be read are errors.
DigitalSignatureVerificationStatus toStatus(const SignatureReport& report,
                                            const CertificateValidationOptions* options) {
    const bool checksPurpose = options != nullptr && options->checksPurpose() && report.certificateChecked;
    if (checksPurpose && !report.certificate.allowsDigitalSignatures())
        throw InvalidSignature("The provided certificate's purpose is not intended for verifying digital signatures.");
    for (const ReferenceReport& reference : report.references)
        if (reference.verdict == ReferenceVerdict::NotReadable)
            throw InvalidSignature(reference.problem);
    return report.getStatus();
}

/// Examines one after the other; what speaks against one does not keep the others from it.
template <class Examine>
std::vector<SignatureReport> tellingOfEach(const std::vector<DigitalSignature>& signatures, Examine examine) {
    std::vector<SignatureReport> reports;
    for (const DigitalSignature& signature : signatures) {
        try {
            reports.push_back(examine(signature));
        } catch (const Exception& e) {
            reports.emplace_back(signature).problem = e.what();
        }
    }
    return reports;
}

} // namespace

/// What a signature is verified by: a key, or a certificate and what is asked of it.
struct DigitalSignatureManager::VerificationMaterial {
    KeySource source;
    crypto::RSAPublicKey key;
    X509Certificate certificate{};
    X509CertificateChain chain{};
    const CertificateValidationOptions* options = nullptr;
    const TrustStore* trustStore = nullptr;
};

SignatureReport DigitalSignatureManager::examine(const DigitalSignature& signature,
                                                 const VerificationMaterial& material,
                                                 ReferenceExaminer& examiner) const {
    const DigitalSignatureData& data = *signature.getImpl();
    if (!fitsParams(material.key.getKeySize(), data.signatureParams))
        throw InvalidSignature(KEY_DOES_NOT_FIT);
    SignatureReport report(signature);
    report.keySource = material.source;
    report.keySize = material.key.getKeySize();
    report.certificate = material.certificate;
    report.certificateChain = material.chain;
    report.signatureValueHolds = SignatureValue(data).isOf(material.key);
    if (!report.signatureValueHolds)
        return report;
    if (!material.certificate.isEmpty()) {
        report.certificateChecked = true;
        report.certificateResults =
            material.certificate.validate(material.chain, *material.options, trustedBy(*material.trustStore));
    }
    report.references = examiner.examine(data);
    report.uncoveredObjects = ReferenceExaminer::findUncoveredObjects(data);
    return report;
}

SignatureReport DigitalSignatureManager::examineSignature(const DigitalSignature& signature,
                                                          const Bytes& publicKey) const {
    throwIfPackageNotOpen();
    throwIfKeyIsEmpty(publicKey);
    throwIfMethodIsNotRSA(*signature.getImpl());
    return translatingErrorsTo<InvalidSignature>([&] {
        ReferenceExaminer examiner(getPackage());
        return examine(signature, {KeySource::Caller, readPublicKey(publicKey)}, examiner);
    });
}

SignatureReport DigitalSignatureManager::examineSignature(const DigitalSignature& signature,
                                                          const X509Certificate& certificate,
                                                          const X509CertificateChain& chain,
                                                          const CertificateValidationOptions& options,
                                                          const TrustStore& trustStore) const {
    throwIfPackageNotOpen();
    throwIfCertificateIsEmpty(certificate);
    throwIfMethodIsNotRSA(*signature.getImpl());
    return translatingErrorsTo<InvalidSignature>([&] {
        ReferenceExaminer examiner(getPackage());
        return examine(signature,
                       {KeySource::Certificate, readPublicKey(certificate), certificate, chain, &options, &trustStore},
                       examiner);
    });
}

SignatureReport DigitalSignatureManager::examineSignature(const DigitalSignature& signature,
                                                          const CertificateValidationOptions& options,
                                                          const TrustStore& trustStore) const {
    throwIfPackageNotOpen();
    ReferenceExaminer examiner(getPackage());
    return examineByOwnMaterial(signature, options, trustStore, examiner);
}

SignatureReport DigitalSignatureManager::examineByOwnMaterial(const DigitalSignature& signature,
                                                              const CertificateValidationOptions& options,
                                                              const TrustStore& trustStore,
                                                              ReferenceExaminer& examiner) const {
    const DigitalSignatureData& data = *signature.getImpl();
    if (!data.publicKey && data.certificate.isEmpty())
        throw InvalidSignature("Signature does not contain a default key or certificate. Please use a verify method "
                               "which takes a key/cert.");
    throwIfMethodIsNotRSA(data);
    return translatingErrorsTo<InvalidSignature>([&] {
        if (data.publicKey)
            return examine(signature, {KeySource::KeyValue, *data.publicKey}, examiner);
        return examine(signature,
                       {KeySource::Certificate, readPublicKey(data.certificate), data.certificate,
                        data.certificateChain, &options, &trustStore},
                       examiner);
    });
}

std::vector<SignatureReport> DigitalSignatureManager::examineAllSignatures(const CertificateValidationOptions& options,
                                                                           const TrustStore& trustStore) const {
    throwIfPackageNotOpen();
    ReferenceExaminer examiner(getPackage());
    return tellingOfEach(loaded(), [&](const DigitalSignature& signature) {
        return examineByOwnMaterial(signature, options, trustStore, examiner);
    });
}

std::vector<SignatureReport> DigitalSignatureManager::examineAllSignatures(const Bytes& publicKey) const {
    throwIfPackageNotOpen();
    throwIfKeyIsEmpty(publicKey);
    return translatingErrorsTo<InvalidSignature>([&] {
        const VerificationMaterial material{KeySource::Caller, readPublicKey(publicKey)};
        ReferenceExaminer examiner(getPackage());
        return tellingOfEach(loaded(), [&](const DigitalSignature& signature) {
            throwIfMethodIsNotRSA(*signature.getImpl());
            return examine(signature, material, examiner);
        });
    });
}

std::vector<CoverageReport> DigitalSignatureManager::examineCoverage(const std::vector<SignatureReport>& reports,
                                                                     const std::vector<std::string>& otherItems,
                                                                     CoverageScope scope) const {
    throwIfPackageNotOpen();
    return Coverage(getPackage(), loaded(), otherItems, scope).examine(reports);
}

SigningGaps DigitalSignatureManager::findSigningGaps(const std::vector<std::string>& otherItems) const {
    throwIfPackageNotOpen();
    return Coverage(getPackage(), loaded(), otherItems, CoverageScope::All).findGaps();
}

DigitalSignatureVerificationStatus DigitalSignatureManager::verifySignature(const DigitalSignature& signature,
                                                                            const Bytes& publicKey) const {
    return toStatus(examineSignature(signature, publicKey), nullptr);
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

DigitalSignatureVerificationStatus DigitalSignatureManager::verifyCountersignature(const Bytes& publicKey) const {
    throwIfPackageNotCountersigned();
    return verifySignature(getCountersignature(), publicKey);
}

DigitalSignatureVerificationStatus
DigitalSignatureManager::verifyCountersignature(const X509Certificate& certificate, const X509CertificateChain& chain,
                                                const CertificateValidationOptions& options,
                                                const TrustStore& trustStore) const {
    throwIfPackageNotCountersigned();
    return verifySignature(getCountersignature(), certificate, chain, options, trustStore);
}

DigitalSignatureVerificationStatus
DigitalSignatureManager::verifyCountersignature(const CertificateValidationOptions& options,
                                                const TrustStore& trustStore) const {
    throwIfPackageNotCountersigned();
    return verifySignature(getCountersignature(), options, trustStore);
}

DigitalSignatureVerificationStatus
DigitalSignatureManager::verifyAllSignatures(const CertificateValidationOptions& options,
                                             const TrustStore& trustStore) const {
    throwIfPackageNotOpen();
    ReferenceExaminer examiner(getPackage());
    for (const DigitalSignature& signature : loaded()) {
        const auto status = toStatus(examineByOwnMaterial(signature, options, trustStore, examiner), &options);
        if (!status.isValid())
            return status;
    }
    return makeValidVerificationStatus();
}

} // namespace opc::model
