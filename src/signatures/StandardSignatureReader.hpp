// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/Limits.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

namespace opc::model {

/// Reads a signature part of `SignatureForm::Standard` or `Office` (XML-DSig §4, ECMA-376-2 §10.5), whatever its
/// spelling. What it is digested over is kept as octets, made of the elements in place; all data is read from those
/// same elements.
///
/// Each reference of `SignedInfo` leads, by an Id that the document has once, to an `Object` or to an element at a
/// fixed place in one: so no element counts as signed for where it stands.
/// @return everything but what depends on the package: id, part name, certificate parts and the targets of references.
/// @throws InvalidPartContent for every fault of the document, and for what signatures of packages may not use.
/// @throws opc::Exception what the stream throws.
DigitalSignatureData readStandardSignature(InputStream& stream, const Limits& limits);

/// Whether the value is one of this key over `SignedInfo`. False for a key of another kind, a method that is not
/// supported, and a value that is not base64.
/// @throws opc::Exception when OpenSSL fails.
bool isSignatureValueValid(const DigitalSignatureData& data, const crypto::PublicKey& key);

} // namespace opc::model
