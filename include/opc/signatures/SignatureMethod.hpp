// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstdint>

namespace opc::model {

/// The size of the RSA key that signs.
enum class SignatureMethod : std::int32_t {
    RSA1024 = 0,
    RSA2048 = 1,
    RSA4096 = 2,
};

/// The key size in bits.
/// @throws opc::Exception for a value that is not an enumerator.
OPCRAFT_API unsigned toKeySize(SignatureMethod signatureMethod);

/// @param keySize in bits.
/// @throws opc::Exception for a size without a signature method.
OPCRAFT_API SignatureMethod toSignatureMethod(unsigned keySize);

} // namespace opc::model
