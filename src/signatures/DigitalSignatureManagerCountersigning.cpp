// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include "signatures/PackageGuards.hpp"
#include "signatures/PackageSigner.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureOrigin.hpp"

#include <set>

namespace opc::model {

namespace {

std::u16string countersignatureName() {
    return std::u16string(SIGNATURE_NAME_PREFIX) + COUNTERSIGNATURE_ID;
}

/// All signature parts, and the relationships that lead to them, by Id.
SigningRequest makeStandardCountersignRequest(const Package& package, const SignatureFormRules& form) {
    const auto toOrigin = findOriginRelationship(package, form);
    if (!toOrigin)
        throw SignatureNotFound("The package has no signatures of the standard forms.");
    const Part origin = package.getPart(PartName(toOrigin->getTargetURI()));
    SigningRequest request;
    request.selectors.emplace_back(PackageHelper::getPackageRootURI(), RelationshipSelectorType::ById,
                                   toOrigin->getID());
    std::set<PartName> names;
    for (const Relationship& each : origin.getRelationshipsByType(form.signatureRelationshipType)) {
        request.selectors.emplace_back(origin.getSourceURI(), RelationshipSelectorType::ById, each.getID());
        if (names.insert(package.getPart(PartName(each.getTargetURI())).getName()).second)
            request.parts.emplace_back(each.getTargetURI());
    }
    return request;
}

} // namespace

bool DigitalSignatureManager::isPackageCountersigned() const {
    throwIfNotOpen(getPackage());
    return getPackage().hasPart(getSignaturePartName(countersignatureName()));
}

DigitalSignature DigitalSignatureManager::getCountersignature() const {
    return getSignature(countersignatureName());
}

void DigitalSignatureManager::throwIfPackageNotCountersigned() const {
    if (!isPackageCountersigned())
        throw SignatureNotFound("No countersignatures found in package.");
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(const Bytes& signingKey,
                                                                   const SignatureParams& params) {
    return signatures_.emplace_back(makeSigner(true).sign(countersignHelper(), signingKey, {}, params));
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(const Bytes& signingKey,
                                                                   const Bytes& verificationKey,
                                                                   const SignatureParams& params) {
    if (verificationKey.empty())
        throw CouldNotGenerateSignature("The verification key is empty.");
    return signatures_.emplace_back(makeSigner(true).sign(countersignHelper(), signingKey, verificationKey, params));
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(
    const Bytes& signingKey, const X509Certificate& certificate, const X509CertificateChain& chain,
    const CertificateValidationOptions& options, const SignatureParams& params, const TrustStore& trustStore) {
    return signatures_.emplace_back(
        makeSigner(true).sign(countersignHelper(), signingKey, certificate, chain, options, params, trustStore));
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(const PKCS12Certificate& pkcs12,
                                                                   const CertificateValidationOptions& options,
                                                                   const SignatureParams& params,
                                                                   const TrustStore& trustStore) {
    return signatures_.emplace_back(makeSigner(true).sign(countersignHelper(), pkcs12, options, params, trustStore));
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(crypto::Signer& signer,
                                                                   const SigningOptions& options) {
    return signatures_.emplace_back(makeSigner(true).sign(countersignHelper(), signer, options));
}

SigningRequest DigitalSignatureManager::countersignHelper() const {
    throwIfNotOpenForModify(getPackage());
    if (!rulesOf(writtenForm_).isStandard() && isPackageCountersigned())
        throw CouldNotGenerateSignature("Package has already been countersigned once. Please remove countersignature "
                                        "before countersigning again.");
    if (!isPackageSigned())
        throw CouldNotGenerateSignature("Package has no signatures present, and so cannot be countersigned.");
    try {
        const SignatureFormRules& form = rulesOf(writtenForm_);
        if (form.isStandard())
            return makeStandardCountersignRequest(getPackage(), form);
        URI target(u"");
        std::u16string id;
        const Part origin = getSignatureOriginPart(target, id);
        SigningRequest request;
        for (const Relationship& relationship : origin.getRelationshipsByType(form.signatureRelationshipType))
            request.parts.emplace_back(relationship.getTargetURI());
        request.selectors = {
            {PackageHelper::getPackageRootURI(), RelationshipSelectorType::ByType, form.originRelationshipType},
            {origin.getSourceURI(), RelationshipSelectorType::ByType, form.signatureRelationshipType}};
        return request;
    } catch (const Exception& e) {
        throw CouldNotGenerateSignature(e.what());
    }
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

} // namespace opc::model
