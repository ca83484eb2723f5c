// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/model/Part.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

namespace opc::model {

/// Follows the relationships of a signature part to certificates in parts of their own (ECMA-376-2 §10.4): a part that
/// is one certificate in DER goes to the certificate parts, and the certificate to the chain; when the signature itself
/// has no certificate, to the choice of the signer. Anything else that they lead to is passed over: it is content.
/// @param data a signature in a standard form that was read.
/// @throws InvalidPartContent when the relationships are more than the certificates that a signature may have.
/// @throws opc::Exception what the store throws.
void addCertificateParts(const Package& package, const Part& signaturePart, DigitalSignatureData& data);

} // namespace opc::model
