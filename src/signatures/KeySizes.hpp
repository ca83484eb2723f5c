// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/SignatureMethod.hpp>

namespace opc::model {

/// In bits.
/// @throws opc::Exception for a value that is no enumerator.
unsigned toKeySize(SignatureMethod signatureMethod);

/// @throws opc::Exception for a size that no signature method has.
SignatureMethod toSignatureMethod(unsigned keySize);

} // namespace opc::model
