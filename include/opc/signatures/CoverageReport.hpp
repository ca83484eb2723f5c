// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace opc::model {

/// What a signature has to cover to be complete.
enum class CoverageScope : std::int32_t {
    /// Everything except what `All` excludes and the properties and the thumbnail of the package, which are
    /// - internal relationships of the package of the types of core properties (that of ECMA-376-2 Annex E and those
    ///   that LibreOffice writes), extended properties (transitional and strict) and the thumbnail. Two relationships
    ///   of the same kind are content, and so is one whose target has an authority, a query or a fragment;
    /// - the target part of such a relationship, provided that no other relationship of the package, signed or not,
    ///   leads to it, that it has no relationships, that it is by content type and bytes what the relationship says
    ///   (XML with the root of such properties, or an image that `findImageType` knows), that its name is not one that
    ///   makes an OpenDocument file, that properties do not lie among content (in a folder of it or below, but for
    ///   "/docProps"), and that the relationship is not signed: a part added as the target of a signed relationship is
    ///   content.
    Content,
    /// All parts, relationships, and stored items that are not parts. Excluded are the parts that store the signatures
    /// (an empty origin part, signature parts, and parts that are exactly one certificate), each with its content type
    /// and no other relationship to it, and the relationships to them. Also excluded are folder items ("word/") and
    /// items in "[trash]/", unless a relationship leads to one.
    All,
};

/// What one signature covers by itself. Changing anything else does not invalidate it. The coverage of several
/// signatures is never combined, since the second signer need not have seen what the first one signed.
///
/// A part or relationship is covered when its reference is valid and so are the signature value and the references to
/// objects; the other references do not matter. A countersignature has to cover the other signature parts only.
struct OPCRAFT_API CoverageReport {
    std::vector<PartName> coveredParts{};
    std::vector<PartName> uncoveredParts{};
    std::vector<Relationship> coveredRelationships{};
    std::vector<Relationship> uncoveredRelationships{};
    /// Names of stored items that are not parts, which no signature can cover; and of those of which only a part could
    /// be read (`Package::getItemsNotReadWhole`).
    std::vector<std::string> otherItems{};

    // Neither covered nor required.
    std::vector<PartName> exceptedParts{};
    std::vector<Relationship> exceptedRelationships{};
    std::vector<std::string> exceptedItems{};

    /// The number of external relationships. Their targets are never signed.
    std::size_t externalTargets = 0;

    /// Whether the signature covers everything that it has to cover, and at least something.
    bool isComplete() const noexcept;
};

/// What a new signature cannot cover.
struct SigningGaps {
    /// Internal relationships without a target part. A part that is added there later is not signed.
    std::vector<Relationship> danglingRelationships{};
    /// Names of stored items that are not parts, except folders and "[trash]/" as above.
    std::vector<std::string> otherItems{};
};

} // namespace opc::model
