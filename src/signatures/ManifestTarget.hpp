// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>

#include <string>

namespace opc::model {

/// The target of a manifest reference (ECMA-376-2 §10.5.9).
struct ManifestTarget {
    PartName name;                ///< of a part, or of a relationships part
    std::u16string contentType{}; ///< decoded; empty when there is none

    /// @throws InvalidSignature when the URI is external or a same-document reference.
    /// @throws InvalidPartName
    static ManifestTarget of(const URI& uri);

    bool isRelationships() const noexcept { return name.isRelationshipName(); }
};

/// The URI for a part and its content type.
/// @throws CouldNotGenerateSignature when the content type cannot be written in a URI.
URI makeManifestURI(const std::u16string& partName, const std::u16string& contentType);

/// The same with escapes for what a URI does not allow in a query.
URI makeEscapedManifestURI(const std::u16string& partName, const std::u16string& contentType);

} // namespace opc::model
