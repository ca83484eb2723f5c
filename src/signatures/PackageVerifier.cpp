// SPDX-License-Identifier: Apache-2.0
#include "signatures/PackageVerifier.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include "signatures/ErrorTranslation.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/SignatureKeys.hpp"
#include "signatures/StandardSignatureReader.hpp"
#include "signatures/XadesVerifier.hpp"

namespace opc::model {

namespace {

constexpr int UNSPECIFIED = 1; ///< X509_V_ERR_UNSPECIFIED of OpenSSL
constexpr const char* NO_KEY = "Signature does not contain a default key or certificate. Please use a verify method "
                               "which takes a key/cert.";

const Package& requireOpen(const Package& package) {
    throwIfNotOpen(package);
    return package;
}

void throwIfPublicKeyIsEmpty(const Bytes& publicKey) {
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

void throwIfMethodIsNotSupported(const SignatureAlgorithm& algorithm) {
    if (algorithm.keyKind)
        return;
    const std::string identifier = detail::toUTF8String(algorithm.identifier, false);
    const std::string name = SignatureAlgorithm::findUnsupportedName(algorithm.identifier);
    throw InvalidSignature("The signature method is not supported: " +
                           (name.empty() ? identifier : name + " (" + identifier + ")"));
}

void throwIfUnreadable(const DigitalSignature& signature) {
    if (!signature.getProblem().empty())
        throw InvalidSignature(signature.getProblem());
}

/// The time that the signer claims, by XAdES when that is signed; not-a-date-time when there is none.
boost::posix_time::ptime claimedTimeOf(const DigitalSignature& signature) {
    const SignedProperties properties = signature.getSignedProperties();
    return properties.signingTimeText.empty() ? signature.getSignedTime() : properties.signingTime;
}

/// The time of the earliest trusted time stamp; not-a-date-time when there is none.
boost::posix_time::ptime stampedTimeOf(const SignatureReport& report) {
    boost::posix_time::ptime time;
    for (const TimeStampReport& stamp : report.timeStamps)
        if (stamp.isTrusted && (time.is_special() || stamp.time < time))
            time = stamp.time;
    return time;
}

/// Validates the certificate at the point in time that the options ask for.
void validateCertificate(SignatureReport& report, const VerificationOptions& options) {
    certificates::CertificateValidationOptions validation = options.validation;
    report.certificateChecked = true;
    if (options.time != ValidationTime::Given) {
        const bool isStamp = options.time == ValidationTime::Stamped;
        const auto time = isStamp ? stampedTimeOf(report) : claimedTimeOf(report.signature);
        if (time.is_special()) {
            report.certificateResults = certificates::CertificateValidationResults(
                UNSPECIFIED, isStamp ? "the signature has no trusted time stamp" : "the signature claims no time");
            return;
        }
        validation.setPointInTime(time);
    }
    report.validationTime = validation.getPointInTime().is_special() ? boost::posix_time::second_clock::universal_time()
                                                                     : validation.getPointInTime();
    report.certificateResults =
        report.certificate.validate(report.certificateChain, validation, orSystemTrust(options.trust));
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

/// The same for a signature of the standard forms.
struct PackageVerifier::StandardMaterial {
    KeySource source;
    crypto::PublicKey key;
    X509Certificate certificate{};
    X509CertificateChain chain{};

    static StandardMaterial of(const DigitalSignatureData& data, const Bytes& publicKey) {
        if (!publicKey.empty())
            return {KeySource::Caller, crypto::PublicKey::fromPEMOrDER(publicKey)};
        if (!data.certificate.isEmpty())
            return {KeySource::Certificate, data.certificate.getSubjectPublicKey(), data.certificate,
                    data.certificateChain};
        if (data.standard.keyValue)
            return {KeySource::KeyValue, *data.standard.keyValue};
        throw InvalidSignature(NO_KEY);
    }
};

PackageVerifier::PackageVerifier(const Package& package, bool strict, ReportDetail detail)
    : examiner_(requireOpen(package), strict, detail) {}

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

SignatureReport PackageVerifier::examineStandard(const DigitalSignature& signature, const StandardMaterial& material,
                                                 const VerificationOptions& options) {
    const DigitalSignatureData& data = *signature.getImpl();
    throwIfMethodIsNotSupported(data.standard.algorithm);
    SignatureReport report(signature);
    report.keySource = material.source;
    report.keySize = material.key.getKeySize();
    report.certificate = material.certificate;
    report.certificateChain = material.chain;
    report.signatureValueHolds = isSignatureValueValid(data, material.key);
    if (!report.signatureValueHolds)
        return report;
    report.timeStamps = examineTimeStamps(data, options.trust, material.certificate);
    if (!material.certificate.isEmpty()) {
        validateCertificate(report, options);
        const ClaimedCertificate claimed = examineCertificateClaim(data, material.certificate);
        report.certificateClaim = claimed.claim;
        report.claimedCertificate = claimed.place;
        report.certificateCovered = report.certificateClaim == CertificateClaim::Holds ||
                                    (data.standard.isCertificateSigned && material.certificate == data.certificate);
    }
    report.references = examiner_.examine(data);
    report.uncoveredObjects = ReferenceExaminer::findUncoveredObjects(data);
    return report;
}

SignatureReport PackageVerifier::examineStandard(const DigitalSignature& signature,
                                                 const VerificationOptions& options) {
    throwIfUnreadable(signature);
    return translatingErrorsTo<InvalidSignature>([&] {
        return examineStandard(signature, StandardMaterial::of(*signature.getImpl(), options.publicKey), options);
    });
}

SignatureReport PackageVerifier::examine(const DigitalSignature& signature, const Bytes& publicKey) {
    throwIfPublicKeyIsEmpty(publicKey);
    if (signature.getForm() != SignatureForm::Library)
        return examineStandard(signature, {{}, {}, ValidationTime::Given, publicKey});
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
    if (signature.getForm() != SignatureForm::Library) {
        throwIfUnreadable(signature);
        return translatingErrorsTo<InvalidSignature>([&] {
            return examineStandard(signature,
                                   {KeySource::Certificate, certificate.getSubjectPublicKey(), certificate, chain},
                                   {options, trustStore});
        });
    }
    throwIfMethodIsNotRSA(signature);
    return translatingErrorsTo<InvalidSignature>([&] {
        return examine(signature,
                       {KeySource::Certificate, readPublicKey(certificate), certificate, chain, &options, &trustStore});
    });
}

SignatureReport PackageVerifier::examine(const DigitalSignature& signature, const CertificateValidationOptions& options,
                                         const TrustStore& trustStore) {
    const DigitalSignatureData& data = *signature.getImpl();
    if (data.form != SignatureForm::Library)
        return examineStandard(signature, {options, trustStore});
    if (!data.publicKey && data.certificate.isEmpty())
        throw InvalidSignature(NO_KEY);
    if (!data.publicKey)
        return examine(signature, data.certificate, data.certificateChain, options, trustStore);
    throwIfMethodIsNotRSA(signature);
    return translatingErrorsTo<InvalidSignature>([&] {
        return examine(signature, {KeySource::KeyValue, *data.publicKey});
    });
}

std::vector<SignatureReport> PackageVerifier::examineAll(const std::vector<DigitalSignature>& signatures,
                                                         const Bytes& publicKey) {
    throwIfPublicKeyIsEmpty(publicKey);
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

SignatureReport PackageVerifier::examineLibrary(const DigitalSignature& signature, const VerificationOptions& options) {
    if (!options.publicKey.empty()) {
        const auto key = crypto::PublicKey::fromPEMOrDER(options.publicKey);
        return examine(signature, key.toDER());
    }
    SignatureReport report = examine(signature, options.validation, options.trust);
    if (report.certificateChecked)
        validateCertificate(report, options);
    return report;
}

std::vector<SignatureReport> PackageVerifier::examineAll(const std::vector<DigitalSignature>& signatures,
                                                         const VerificationOptions& options) {
    if (!options.publicKey.empty())
        translatingErrorsTo<InvalidSignature>([&] { crypto::PublicKey::fromPEMOrDER(options.publicKey); });
    return examineEach(signatures, [&](const DigitalSignature& signature) {
        return signature.getForm() == SignatureForm::Library ? examineLibrary(signature, options)
                                                             : examineStandard(signature, options);
    });
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
