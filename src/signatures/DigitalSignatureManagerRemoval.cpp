// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureForm.hpp"

#include <algorithm>
#include <utility>

namespace opc::model {

namespace {

using Bytes = std::vector<unsigned char>;
using certificates::CertificateValidationOptions;
using certificates::PKCS12Certificate;
using certificates::TrustStore;
using certificates::X509Certificate;
using certificates::X509CertificateChain;

void deletePart(Package& package, const PartName& name) {
    try {
        package.deletePart(name);
    } catch (const Exception&) {
        if (!package.hasPart(name))
            return; // only its relationships part is left, which the next flush deletes
        throw CouldNotRemoveSignature("Unable to delete part. Please try closing and reopening the package before "
                                      "trying to remove signature.");
    }
}

void deleteRelationship(RelationshipSource& source, const std::u16string& id) {
    try {
        source.deleteRelationship(id);
    } catch (const Exception&) {
        throw CouldNotRemoveSignature("Unable to delete relationship. Please try closing and reopening the package "
                                      "before trying to remove signature.");
    }
}

/// A relationship of the origin's type may lead to content.
bool isOrigin(const Part& part) {
    return part.getName() == PartName(libraryForm().originPartName) ||
           caselessCompare(part.getContentType().toString(), libraryForm().originContentType) == 0;
}

/// Of a source's relationships of a type, deletes those that lead to a part.
void deleteRelationshipsTo(RelationshipSource& source, const std::u16string& type, const URI& target) {
    for (const Relationship& relationship : source.getRelationshipsByType(type))
        if (relationship.getTargetURI() == target)
            deleteRelationship(source, relationship.getID());
}

} // namespace

DigitalSignature DigitalSignatureManager::countersignAllSignatures(const Bytes& signingKey,
                                                                   const SignatureParams& params) {
    SigningRequest request;
    countersignHelper(request.parts, request.selectors);
    return signHelper(signingKey, {}, params, request, true);
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(const Bytes& signingKey,
                                                                   const Bytes& verificationKey,
                                                                   const SignatureParams& params) {
    if (verificationKey.empty())
        throw CouldNotGenerateSignature("The verification key is empty.");
    SigningRequest request;
    countersignHelper(request.parts, request.selectors);
    return signHelper(signingKey, verificationKey, params, request, true);
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(
    const Bytes& signingKey, const X509Certificate& certificate, const X509CertificateChain& chain,
    const CertificateValidationOptions& options, const SignatureParams& params, const TrustStore& trustStore) {
    SigningRequest request;
    countersignHelper(request.parts, request.selectors);
    return signHelper(signingKey, certificate, chain, options, params, trustStore, request, true);
}

DigitalSignature DigitalSignatureManager::countersignAllSignatures(const PKCS12Certificate& pkcs12,
                                                                   const CertificateValidationOptions& options,
                                                                   const SignatureParams& params,
                                                                   const TrustStore& trustStore) {
    SigningRequest request;
    countersignHelper(request.parts, request.selectors);
    return signHelper(pkcs12, options, params, trustStore, request, true);
}

void DigitalSignatureManager::countersignHelper(std::vector<PartName>& parts,
                                                std::vector<RelationshipSelector>& selectors) const {
    throwIfPackageNotOpenForModify();
    if (isPackageCountersigned())
        throw CouldNotGenerateSignature("Package has already been countersigned once. Please remove countersignature "
                                        "before countersigning again.");
    if (!isPackageSigned())
        throw CouldNotGenerateSignature("Package has no signatures present, and so cannot be countersigned.");
    try {
        const SignatureForm& form = libraryForm();
        URI target(u"");
        std::u16string id;
        const Part origin = getSignatureOriginPart(target, id);
        for (const Relationship& relationship : origin.getRelationshipsByType(form.signatureRelationshipType))
            parts.emplace_back(relationship.getTargetURI());
        selectors.emplace_back(PackageHelper::getPackageRootURI(), RelationshipSelectorType::ByType,
                               form.originRelationshipType);
        selectors.emplace_back(origin.getSourceURI(), RelationshipSelectorType::ByType, form.signatureRelationshipType);
    } catch (const Exception& e) {
        throw CouldNotGenerateSignature(e.what());
    }
}

void DigitalSignatureManager::removeSignature(const std::u16string& name) {
    throwIfPackageNotOpenForModify();
    remove(findSignature(name));
}

void DigitalSignatureManager::removeSignature(const DigitalSignature& signature) {
    throwIfPackageNotOpenForModify();
    // Of two signatures of one name in different folders, the one that is meant.
    const bool isLoaded = std::any_of(loaded().begin(), loaded().end(), [&signature](const DigitalSignature& each) {
        return each.getImpl() == signature.getImpl();
    });
    remove(isLoaded ? signature : findSignature(signature.getName()));
}

void DigitalSignatureManager::remove(const DigitalSignature& signature) {
    const auto data = signature.getImpl();
    deleteSignaturePart(PartName(data->partName));
    signatures_.erase(std::remove_if(signatures_.begin(), signatures_.end(),
                                     [&data](const DigitalSignature& each) { return each.getImpl() == data; }),
                      signatures_.end());
}

void DigitalSignatureManager::removeCountersignature() {
    throwIfPackageNotOpenForModify();
    if (isPackageCountersigned())
        removeSignature(std::u16string(signatureNamePrefix) + countersignatureId);
}

void DigitalSignatureManager::removeAllSignatures() {
    throwIfPackageNotOpenForModify();
    for (const DigitalSignature& signature : getSignatures())
        remove(signature);
}

void DigitalSignatureManager::deleteSignaturePart(const PartName& name) const {
    throwIfPackageNotOpenForModify();
    throwIfNotValidSignaturePart(name);
    const SignatureForm& form = libraryForm();
    URI originURI(u"");
    std::u16string originRelationshipId;
    Part origin = getSignatureOriginPart(originURI, originRelationshipId);
    deleteRelationshipsTo(origin, form.signatureRelationshipType, name.getURI());
    deletePart(getPackage(), name);
    if (!origin.getRelationshipsByType(form.signatureRelationshipType).empty())
        return;
    if (isOrigin(origin))
        deletePart(getPackage(), PartName(originURI));
    deleteRelationshipsTo(getPackage(), form.originRelationshipType, originURI);
}

} // namespace opc::model
