// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <opc/signatures/SignatureRemoval.hpp>

#include "signatures/PackageGuards.hpp"
#include "signatures/SignatureDeletion.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureOrigin.hpp"

#include <algorithm>
#include <utility>

namespace opc::model {

namespace {

/// Deletes the relationships of a type with that target.
void deleteRelationshipsTo(RelationshipSource& source, const std::u16string& type, const URI& target) {
    for (const Relationship& relationship : source.getRelationshipsByType(type))
        if (relationship.getTargetURI() == target)
            deleteSignatureRelationship(source, relationship.getID());
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
    if (const SignatureFormRules& form = rulesOf(data->form); form.isStandard())
        removeSignatures(getPackage(), {PartName(data->partName)});
    else
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
    std::set<PartName> standard;
    for (const DigitalSignature& signature : getSignatures())
        if (rulesOf(signature.getForm()).isStandard())
            standard.insert(signature.getPartName());
        else
            remove(signature);
    if (!standard.empty())
        removeSignatures(getPackage(), standard); // at once: each search for what leads to them reads all relationships
    signatures_.clear();
}

void DigitalSignatureManager::deleteSignaturePart(const PartName& name) const {
    throwIfNotOpenForModify(getPackage());
    const SignatureFormRules& form = throwIfNotValidSignaturePart(name);
    if (form.isStandard()) {
        removeSignatures(getPackage(), {name});
        return;
    }
    const URI originURI = findOriginRelationship(getPackage(), form)->getTargetURI();
    Part origin = getPackage().getPart(PartName(originURI));
    deleteRelationshipsTo(origin, form.signatureRelationshipType, name.getURI());
    deleteSignatureItem(getPackage(), name);
    if (!origin.getRelationshipsByType(form.signatureRelationshipType).empty())
        return;
    if (isSignatureOrigin(origin, form))
        deleteSignatureItem(getPackage(), PartName(originURI));
    deleteRelationshipsTo(getPackage(), form.originRelationshipType, originURI);
}

} // namespace opc::model
