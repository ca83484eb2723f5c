// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "signatures/PackageGuards.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureOrigin.hpp"

#include <algorithm>
#include <optional>
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

/// The part that a relationship leads to, none when that is no part name.
std::optional<PartName> pathTargetOf(const Relationship& relationship) {
    try {
        if (relationship.getTargetMode() == TargetMode::Internal)
            return PartName(URI(relationship.getTargetURI().getPath()));
    } catch (const Exception&) { // not a part name
    }
    return std::nullopt;
}

/// Deletes the relationships of a type with that target.
/// @param substitute the target of those that lead to no part name.
void deleteRelationshipsTo(RelationshipSource& source, const std::u16string& type, const PartName& target,
                           const PartName& substitute) {
    for (const Relationship& relationship : source.getRelationshipsByType(type))
        if (pathTargetOf(relationship).value_or(substitute) == target)
            deleteRelationship(source, relationship.getID());
}

bool isRelated(const Package& package, const PartName& target) {
    const auto leadsTo = [&](const RelationshipSource& source) {
        const auto relationships = source.getRelationships();
        return std::any_of(relationships.begin(), relationships.end(),
                           [&](const Relationship& each) { return pathTargetOf(each) == target; });
    };
    const auto parts = package.getParts();
    return leadsTo(package) || std::any_of(parts.begin(), parts.end(), leadsTo);
}

/// Deletes a signature part with the certificates that only it uses. Content that is related as a signature stays.
void deleteSignatureAndCertificates(Package& package, const SignatureFormRules& form, const PartName& name) {
    const auto isOfType = [&](const PartName& part, const char16_t* type) {
        return package.hasPart(part) && caselessCompare(package.getPart(part).getContentType().toString(), type) == 0;
    };
    if (!isOfType(name, form.signatureContentType))
        return;
    const auto certificates = package.getPart(name).getRelationshipsByType(form.certificateRelationshipType);
    deletePart(package, name);
    for (const Relationship& each : certificates)
        if (const auto certificate = pathTargetOf(each);
            certificate && isOfType(*certificate, form.certificateContentType) && !isRelated(package, *certificate))
            deletePart(package, *certificate);
}

/// Deletes a signature of the standard forms, which need not be readable, and the origin when nothing is left of it.
void deleteStandardSignature(Package& package, const SignatureFormRules& form, const PartName& name) {
    for (const Relationship& each : package.getRelationshipsByType(form.originRelationshipType)) {
        const auto originName = pathTargetOf(each);
        if (!originName || !package.hasPart(*originName))
            continue;
        Part origin = package.getPart(*originName);
        deleteRelationshipsTo(origin, form.signatureRelationshipType, name, *originName);
        if (!origin.getRelationships().empty())
            continue;
        if (isOrigin(origin, form))
            deletePart(package, *originName);
        deleteRelationship(package, each.getID());
    }
    deleteSignatureAndCertificates(package, form, name);
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
        deleteStandardSignature(getPackage(), form, PartName(data->partName));
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
    for (const DigitalSignature& signature : getSignatures())
        remove(signature);
}

void DigitalSignatureManager::deleteSignaturePart(const PartName& name) const {
    throwIfNotOpenForModify(getPackage());
    const SignatureFormRules& form = throwIfNotValidSignaturePart(name);
    if (form.isStandard())
        return deleteStandardSignature(getPackage(), form, name);
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
