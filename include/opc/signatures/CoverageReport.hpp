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

/// What a signature is asked to cover.
enum class CoverageScope : std::int32_t {
    /// The content: everything, but for what `All` leaves out and the properties and the thumbnail of the package, that
    /// is
    /// - relationships of the package of the types of core properties (that of ECMA-376-2 Annex E and those that
    ///   LibreOffice writes), extended properties (transitional and strict) and the thumbnail. A kind of which there
    ///   are two is content;
    /// - the part that such a relationship leads to, when no other relationship of the package leads to it, whether it
    ///   is signed or not; it has no relationships; its content type is that of core properties, of extended properties
    ///   or of an image; and the relationship is not signed either: a part that came to a signed relationship is
    ///   content.
    Content,
    /// Everything: parts, relationships, and stored items that are no parts. Left out is what ties the signatures to
    /// the package: the origin part when it is empty, the signature parts and the certificate parts that it leads to,
    /// each with its content type and no other relationship that leads to it, and the relationships to them. Left out
    /// of the items are those of folders ("word/") and of "[trash]/", unless a relationship leads to one.
    All,
};

/// What one signature covers by itself, and what not: changing the latter does not break it. What several signatures
/// cover is never added up, since the second signer need not have seen what the first one signed.
///
/// Something is covered when its own reference holds in a signature whose value and whose objects hold, whether or not
/// other references of the signature hold. Of a countersignature, the parts are the other signature parts, and nothing
/// else is asked.
struct OPCRAFT_API CoverageReport {
    std::vector<PartName> coveredParts{};
    std::vector<PartName> uncoveredParts{};
    std::vector<Relationship> coveredRelationships{};
    std::vector<Relationship> uncoveredRelationships{};
    /// Names of stored items that are no parts, which no signature can cover.
    std::vector<std::string> otherItems{};

    // Not covered, and not asked for.
    std::vector<PartName> exceptedParts{};
    std::vector<Relationship> exceptedRelationships{};
    std::vector<std::string> exceptedItems{};

    /// Relationships that lead out of the package. What they lead to is never signed.
    std::size_t externalTargets = 0;

    /// Whether the signature covers all that it is asked to cover, and anything at all.
    bool isComplete() const noexcept;
};

/// What a signature that is made now cannot stand for.
struct SigningGaps {
    /// Internal relationships that lead to no part. A part that is put there later is not signed.
    std::vector<Relationship> danglingRelationships{};
    /// Names of stored items that are no parts and so cannot be signed, folders and "[trash]/" left out as above.
    std::vector<std::string> otherItems{};
};

} // namespace opc::model
