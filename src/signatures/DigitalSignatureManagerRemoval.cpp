// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "signatures/PackageGuards.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureOrigin.hpp"

#include <algorithm>
#include <utility>

namespace opc::model {

namespace {

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

/// False for content that a relationship of the origin's type leads to.
bool isOrigin(const Part& part, const SignatureFormRules& form) {
    return part.getName() == PartName(form.originPartName) ||
           caselessCompare(part.getContentType().toString(), form.originContentType) == 0;
}

/// Deletes the relationships of a type with that target.
void deleteRelationshipsTo(RelationshipSource& source, const std::u16string& type, const URI& target) {
    for (const Relationship& relationship : source.getRelationshipsByType(type))
        if (relationship.getTargetURI() == target)
            deleteRelationship(source, relationship.getID());
}

} // namespace

void DigitalSignatureManager::removeSignature(const std::u16string& name) {
    throwIfNotOpenForModify(getPackage());
    remove(findSignature(name));
}

void DigitalSignatureManager::removeSignature(const DigitalSignature& signature) {
    throwIfNotOpenForModify(getPackage());
    // Two signatures in different folders may have the same name.
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
    throwIfNotOpenForModify(getPackage());
    if (isPackageCountersigned())
        removeSignature(std::u16string(SIGNATURE_NAME_PREFIX) + COUNTERSIGNATURE_ID);
}

void DigitalSignatureManager::removeAllSignatures() {
    throwIfNotOpenForModify(getPackage());
    for (const DigitalSignature& signature : getSignatures())
        remove(signature);
}

void DigitalSignatureManager::deleteSignaturePart(const PartName& name) const {
    throwIfNotOpenForModify(getPackage());
    const SignatureFormRules& form = throwIfNotValidSignaturePart(name);
    const URI originURI = findOriginRelationship(getPackage(), form)->getTargetURI();
    Part origin = getPackage().getPart(PartName(originURI));
    deleteRelationshipsTo(origin, form.signatureRelationshipType, name.getURI());
    deletePart(getPackage(), name);
    if (!origin.getRelationshipsByType(form.signatureRelationshipType).empty())
        return;
    if (isOrigin(origin, form))
        deletePart(getPackage(), PartName(originURI));
    deleteRelationshipsTo(getPackage(), form.originRelationshipType, originURI);
}

} // namespace opc::model
