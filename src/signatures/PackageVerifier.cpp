// SPDX-License-Identifier: Apache-2.0
#include "signatures/PackageVerifier.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include "signatures/ErrorTranslation.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/SignatureKeys.hpp"

namespace opc::model {

namespace {

const Package& requireOpen(const Package& package) {
    throwIfNotOpen(package);
    return package;
}

void throwIfKeyIsEmpty(const Bytes& publicKey) {
    if (publicKey.empty())
        throw InvalidSignature("Verification by an empty public key  was attempted.");
}

void throwIfMethodIsNotRSA(const DigitalSignature& signature) {
    try {
        AlgorithmURIMap::getSigningParameters(signature.getImpl()->signatureMethod);
    } catch (const Exception&) {
        throw InvalidSignature("Signature Method is incorrect.");
    }
}

/// Examines each signature. An error becomes the problem of its report and does not affect the others.
template <class Examine>
std::vector<SignatureReport> examineEach(const std::vector<DigitalSignature>& signatures, Examine examine) {
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

/// What verifies a signature: a key, or a certificate and how it is validated.
struct PackageVerifier::Material {
    KeySource source;
    crypto::RSAPublicKey key;
    X509Certificate certificate{};
    X509CertificateChain chain{};
    const CertificateValidationOptions* options = nullptr;
    const TrustStore* trustStore = nullptr;
};

PackageVerifier::PackageVerifier(const Package& package) : examiner_(requireOpen(package)) {}

SignatureReport PackageVerifier::examine(const DigitalSignature& signature, const Material& material) {
    const DigitalSignatureData& data = *signature.getImpl();
    if (!fitsParams(material.key.getKeySize(), data.signatureParams))
        throw InvalidSignature(KEY_DOES_NOT_FIT);
    SignatureReport report(signature);
    report.keySource = material.source;
    report.keySize = material.key.getKeySize();
    report.certificate = material.certificate;
    report.certificateChain = material.chain;
    report.signatureValueHolds = SignatureValue(data).isValidFor(material.key);
    if (!report.signatureValueHolds)
        return report;
    if (!material.certificate.isEmpty()) {
        report.certificateChecked = true;
        report.certificateResults =
            material.certificate.validate(material.chain, *material.options, orSystemTrust(*material.trustStore));
    }
    report.references = examiner_.examine(data);
    report.uncoveredObjects = ReferenceExaminer::findUncoveredObjects(data);
    return report;
}

SignatureReport PackageVerifier::examine(const DigitalSignature& signature, const Bytes& publicKey) {
    throwIfKeyIsEmpty(publicKey);
    throwIfMethodIsNotRSA(signature);
    return translatingErrorsTo<InvalidSignature>([&] {
        return examine(signature, {KeySource::Caller, readPublicKey(publicKey)});
    });
}

SignatureReport PackageVerifier::examine(const DigitalSignature& signature, const X509Certificate& certificate,
                                         const X509CertificateChain& chain, const CertificateValidationOptions& options,
                                         const TrustStore& trustStore) {
    if (certificate.isEmpty())
        throw Exception("Verification by an empty certificate was attempted.");
    throwIfMethodIsNotRSA(signature);
    return translatingErrorsTo<InvalidSignature>([&] {
        return examine(signature,
                       {KeySource::Certificate, readPublicKey(certificate), certificate, chain, &options, &trustStore});
    });
}

SignatureReport PackageVerifier::examine(const DigitalSignature& signature, const CertificateValidationOptions& options,
                                         const TrustStore& trustStore) {
    const DigitalSignatureData& data = *signature.getImpl();
    if (!data.publicKey && data.certificate.isEmpty())
        throw InvalidSignature("Signature does not contain a default key or certificate. Please use a verify method "
                               "which takes a key/cert.");
    if (!data.publicKey)
        return examine(signature, data.certificate, data.certificateChain, options, trustStore);
    throwIfMethodIsNotRSA(signature);
    return translatingErrorsTo<InvalidSignature>([&] {
        return examine(signature, {KeySource::KeyValue, *data.publicKey});
    });
}

std::vector<SignatureReport> PackageVerifier::examineAll(const std::vector<DigitalSignature>& signatures,
                                                         const Bytes& publicKey) {
    throwIfKeyIsEmpty(publicKey);
    const Material material = translatingErrorsTo<InvalidSignature>([&] {
        return Material{KeySource::Caller, readPublicKey(publicKey)};
    });
    return examineEach(signatures, [&](const DigitalSignature& signature) {
        throwIfMethodIsNotRSA(signature);
        return examine(signature, material);
    });
}

std::vector<SignatureReport> PackageVerifier::examineAll(const std::vector<DigitalSignature>& signatures,
                                                         const CertificateValidationOptions& options,
                                                         const TrustStore& trustStore) {
    return examineEach(
        signatures, [&](const DigitalSignature& signature) { return examine(signature, options, trustStore); });
}

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

} // namespace opc::model
