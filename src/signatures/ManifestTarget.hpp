// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>

#include <string>

namespace opc::model {

/// What the URI of a manifest reference names (ECMA-376-2 §10.5.9).
struct ManifestTarget {
    PartName name;                ///< of a part, or of a relationships part
    std::u16string contentType{}; ///< without the escapes of a URI; empty when there is none

    /// @throws InvalidSignature when the URI leads outside of the package or into the signature itself.
    /// @throws InvalidPartName
    static ManifestTarget of(const URI& uri);

    bool isRelationships() const noexcept { return name.isRelationshipName(); }
};

/// The URI for a part and its content type.
/// @throws CouldNotGenerateSignature when a URI cannot carry the content type.
URI makeManifestURI(const std::u16string& partName, const std::u16string& contentType);

} // namespace opc::model
