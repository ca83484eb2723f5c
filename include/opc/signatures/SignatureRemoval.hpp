// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/relationships/Relationship.hpp>
#include <opc/signatures/DigitalSignature.hpp>

#include <optional>
#include <set>
#include <vector>

namespace opc::model {

class DigitalSignatureManager;
class Package;

/// A part that a removal of signatures keeps, because something else than signatures is in it or uses it.
struct KeptSignaturePart {
    PartName name;
    bool hasContent = false; ///< an origin with content, of which signatures make none
    std::vector<Relationship>
        relationships{}; ///< those of the part and those that lead to it which signatures do not make
};

/// What a removal of signatures did.
struct SignatureRemoval {
    std::vector<PartName> removed{}; ///< the signature parts that were deleted
    std::vector<KeptSignaturePart> kept{};
};

/// Removes the XML signatures of a package, of all forms, that a signature origin of the package leads to
/// (ECMA-376-2 §10), whether they can be read or not: the relationships to them, their parts, the certificate parts
/// that no other signature uses, and the origins.
///
/// What is not a signature stays. A part of a signature or an origin is kept as a part when another relationship leads
/// to it, when it has relationships that signatures do not make, and an origin also when it has content; an origin that
/// is kept stays related to the package. Content that is related as a signature or as an origin but has no content type
/// of one is kept without mention. A `DigitalSignatureManager` of the package does not learn of the removal.
/// @throws PackageNotOpen, PackageReadOnly, PackageCreateOnly
/// @throws CouldNotRemoveSignature when a part or relationship cannot be deleted; close the package with discard then.
OPCRAFT_API SignatureRemoval removeSignatures(Package& package);
/// As above, those alone that have these names; `DigitalSignature::getPartName` tells them. Origins go with the last
/// signature.
OPCRAFT_API SignatureRemoval removeSignatures(Package& package, const std::set<PartName>& names);

/// The first of these signatures that a countersignature, which is none of them, covers: by their removal that would
/// not hold any longer. Those made after a countersignature may be removed.
/// @param names of signature parts.
/// @throws PackageNotOpen
OPCRAFT_API std::optional<DigitalSignature> findCountersigned(const DigitalSignatureManager& manager,
                                                              const std::set<PartName>& names);

} // namespace opc::model
