// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <opc/errors/Errors.hpp>

#include "signatures/Coverage.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/PackageSigner.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureOrigin.hpp"
#include "signatures/StandardSignatures.hpp"

namespace opc::model {

namespace {

SigningRequest makeRequest(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors) {
    if (parts.empty() && selectors.empty())
        throw CouldNotGenerateSignature("No parts or relationships provided for signing.");
    return {parts, selectors};
}

} // namespace

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const Bytes& signingKey, const SignatureParams& params) {
    return signatures_.emplace_back(makeSigner(false).sign(makeRequest(parts, selectors), signingKey, {}, params));
}

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const Bytes& signingKey, const Bytes& verificationKey,
                                               const SignatureParams& params) {
    const SigningRequest request = makeRequest(parts, selectors);
    if (verificationKey.empty())
        throw CouldNotGenerateSignature("The verification key is empty.");
    return signatures_.emplace_back(makeSigner(false).sign(request, signingKey, verificationKey, params));
}

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const Bytes& signingKey, const X509Certificate& certificate,
                                               const X509CertificateChain& chain,
                                               const CertificateValidationOptions& options,
                                               const SignatureParams& params, const TrustStore& trustStore) {
    return signatures_.emplace_back(makeSigner(false).sign(makeRequest(parts, selectors), signingKey, certificate,
                                                           chain, options, params, trustStore));
}

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const PKCS12Certificate& pkcs12,
                                               const CertificateValidationOptions& options,
                                               const SignatureParams& params, const TrustStore& trustStore) {
    return signatures_.emplace_back(
        makeSigner(false).sign(makeRequest(parts, selectors), pkcs12, options, params, trustStore));
}

DigitalSignature DigitalSignatureManager::signPackage(const Bytes& signingKey, const SignatureParams& params) {
    const SigningRequest all = getAllPartsAndRels();
    return sign(all.parts, all.selectors, signingKey, params);
}

DigitalSignature DigitalSignatureManager::signPackage(const PKCS12Certificate& pkcs12,
                                                      const CertificateValidationOptions& options,
                                                      const SignatureParams& params, const TrustStore& trustStore) {
    const SigningRequest all = getAllPartsAndRels();
    return sign(all.parts, all.selectors, pkcs12, options, params, trustStore);
}

DigitalSignature DigitalSignatureManager::sign(const SigningRequest& request, crypto::Signer& signer,
                                               const SigningOptions& options) {
    return signatures_.emplace_back(
        makeSigner(false).sign(makeRequest(request.parts, request.selectors), signer, options));
}

SigningRequest DigitalSignatureManager::getAllPartsAndRels() const {
    throwIfNotOpen(getPackage());
    if (rulesOf(writtenForm_).isStandard()) {
        const bool isOffice = writtenForm_ == SignatureForm::Office;
        return Coverage(getPackage(), forms_, loaded(), {}, isOffice ? CoverageScope::Content : CoverageScope::All)
            .makeRequest();
    }
    SigningRequest request;
    const auto managedTypes = getPackage().getManagedRelationshipTypes();
    const auto addRelationships = [&](const RelationshipSource& source) {
        for (const Relationship& relationship : source.getRelationships())
            if (managedTypes.count(relationship.getType()) == 0)
                request.selectors.emplace_back(source.getSourceURI(), RelationshipSelectorType::ById,
                                               relationship.getID());
    };
    addRelationships(getPackage());
    for (const Part& part : getPackage().getParts(ExcludeMode::ExcludeManaged)) {
        request.parts.push_back(part.getName());
        addRelationships(part);
    }
    return request;
}

PackageSigner DigitalSignatureManager::makeSigner(bool isCountersignature) {
    const SignatureFormRules& form = rulesOf(writtenForm_);
    const auto makeId = [=, this, &form]() -> std::u16string {
        if (!form.isStandard())
            return isCountersignature ? COUNTERSIGNATURE_ID : getNextSignatureID();
        std::u16string id = getNextSignatureID();
        while (getPackage().hasPart(makeSignaturePartName(form, SIGNATURE_NAME_PREFIX + id)))
            id = getNextSignatureID();
        return id;
    };
    const auto load = [this, &form](const Part& part) {
        return form.isStandard() ? loadStandardSignature(getPackage(), part) : loadSignature(part, form);
    };
    return {getPackage(), form, signatures_, makeId, load};
}

} // namespace opc::model
