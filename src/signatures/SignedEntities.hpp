// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignature.hpp>

#include <vector>

namespace opc::model {

/// Resolves the references of the manifest into the signed parts, the relationship selectors and the signed
/// relationships.
/// @throws PartNotFound, RelationshipNotFound when the package lacks one of them.
/// @throws InvalidSignature when a reference leads outside of the package, or two of them select relationships of the
///         same source.
void fillUpSignedEntities(const Package& package, DigitalSignatureData& data);

/// The same for a signature of the standard forms, which may refer to what the package lacks: a part is named
/// nevertheless, of the relationships those that there are.
/// @throws InvalidSignature, InvalidPartName when a reference does not lead to a part name.
void fillUpFoundEntities(const Package& package, DigitalSignatureData& data);

/// Whether a signature covers other signatures, see `DigitalSignatureManager::isCountersignature`.
/// @param signatures all signatures of the package.
bool isCountersignature(const DigitalSignatureData& signature, const std::vector<DigitalSignature>& signatures);

} // namespace opc::model
