// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "model/ItemBytes.hpp"
#include "signatures/ErrorTranslation.hpp"
#include "signatures/ReferenceExaminer.hpp"
#include "signatures/SignatureForm.hpp"
#include "signatures/SignatureKeys.hpp"
#include "signatures/TrustedCertificates.hpp"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

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

/// One relationship of a package.
using RelationshipKey = std::pair<std::u16string, std::u16string>;

RelationshipKey keyOf(const Relationship& relationship) {
    return {toLowerASCIIString(relationship.getSourceURI().toString()), relationship.getID()};
}

/// Whether what the manifest says was said by the signer, whatever has become of the entries.
bool isManifestAuthentic(const SignatureReport& report) {
    return report.signatureValueHolds &&
           std::all_of(report.references.begin(), report.references.end(),
                       [](const ReferenceReport& each) { return each.kind != ReferenceKind::Object || each.holds(); });
}

/// What signatures cover, by name.
struct Covered {
    std::set<PartName> parts;
    std::set<RelationshipKey> relationships;

    explicit Covered(const std::vector<SignatureReport>& reports) {
        for (const SignatureReport& report : reports)
            if (isManifestAuthentic(report))
                for (const ReferenceReport& reference : report.references)
                    add(reference);
    }

private:
    void add(const ReferenceReport& reference) {
        if (!reference.holds() || reference.kind == ReferenceKind::Object)
            return;
        if (reference.kind == ReferenceKind::Part)
            parts.insert(PartName(reference.target));
        for (const Relationship& relationship : reference.relationships)
            relationships.insert(keyOf(relationship));
    }
};

bool isEmpty(const Part& part) {
    bool empty = true;
    try {
        readItem(*part.getInputStream(),
                 [&empty](const unsigned char*, std::size_t size) { return empty = size == 0; });
    } catch (const Exception&) { // who knows
        return false;
    }
    return empty;
}

/// What ties the signatures to a package: the origin that counts, and what it leads to. Where it is content as well,
/// an origin that is not empty or a part of another content type, it is no mere structure.
class Structure {
public:
    Structure(const Package& package, const std::vector<DigitalSignature>& signatures) {
        const auto origins = package.getRelationshipsByType(libraryForm().originRelationshipType);
        if (origins.empty())
            return;
        originKey_ = keyOf(origins.front());
        origin_.emplace(origins.front().getTargetURI());
        addOrigin(package);
        const ContentType contentType(libraryForm().signatureContentType);
        for (const DigitalSignature& signature : signatures) {
            const PartName name(signature.getImpl()->partName);
            if (package.hasPart(name) && package.getPart(name).getContentType() == contentType)
                parts_.insert(name);
        }
    }

    bool holds(const PartName& name) const { return parts_.count(name) != 0; }
    bool holds(const Relationship& relationship) const {
        return keyOf(relationship) == originKey_ ||
               (origin_ && relationship.getType() == libraryForm().signatureRelationshipType &&
                relationship.getSourceURI() == origin_->getURI());
    }

private:
    void addOrigin(const Package& package) {
        if (!package.hasPart(*origin_))
            return;
        const Part part = package.getPart(*origin_);
        if (part.getContentType() == ContentType(libraryForm().originContentType) && isEmpty(part))
            parts_.insert(*origin_);
    }

    std::optional<PartName> origin_;
    RelationshipKey originKey_;
    std::set<PartName> parts_;
};

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

CoverageReport DigitalSignatureManager::examineCoverage(const std::vector<SignatureReport>& reports,
                                                        const std::vector<std::string>& otherItems) const {
    throwIfPackageNotOpen();
    const Covered covered(reports);
    const Structure structure(getPackage(), loaded());
    CoverageReport coverage;
    coverage.otherItems = otherItems;
    const auto addRelationships = [&](const RelationshipSource& source) {
        for (const Relationship& each : source.getRelationships())
            if (!structure.holds(each))
                (covered.relationships.count(keyOf(each)) != 0 ? coverage.coveredRelationships
                                                               : coverage.uncoveredRelationships)
                    .push_back(each);
    };
    addRelationships(getPackage());
    for (const Part& part : getPackage().getParts()) {
        const PartName name = part.getName();
        if (!structure.holds(name))
            (covered.parts.count(name) != 0 ? coverage.coveredParts : coverage.uncoveredParts).push_back(name);
        addRelationships(part);
    }
    return coverage;
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
