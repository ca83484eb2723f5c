// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

namespace opc::model {

/// Resolves the references of the manifest into the signed parts, the relationship selectors and the signed
/// relationships.
/// @throws PartNotFound, RelationshipNotFound when the package lacks one of them.
/// @throws InvalidSignature when a reference leads outside of the package, or two of them select relationships of the
///         same source.
void fillUpSignedEntities(const Package& package, DigitalSignatureData& data);

} // namespace opc::model
