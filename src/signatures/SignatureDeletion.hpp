// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/Package.hpp>

#include "signatures/SignatureFormRules.hpp"

/// What the removals of signatures share.
namespace opc::model {

inline void deleteSignatureItem(Package& package, const PartName& name) {
    try {
        package.deletePart(name);
    } catch (const Exception&) {
        if (!package.hasPart(name))
            return; // only its relationships part is left, which the next flush deletes
        throw CouldNotRemoveSignature("Unable to delete part. Please try closing and reopening the package before "
                                      "trying to remove signature.");
    }
}

inline void deleteSignatureRelationship(RelationshipSource& source, const std::u16string& id) {
    try {
        source.deleteRelationship(id);
    } catch (const Exception&) {
        throw CouldNotRemoveSignature("Unable to delete relationship. Please try closing and reopening the package "
                                      "before trying to remove signature.");
    }
}

/// False for content that a relationship of the origin's type leads to.
inline bool isSignatureOrigin(const Part& part, const SignatureFormRules& form) {
    return part.getName() == PartName(form.originPartName) ||
           part.getContentType() == ContentType(form.originContentType);
}

} // namespace opc::model
