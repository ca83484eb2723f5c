// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/DigestEngine.hpp>
#include <opc/crypto/RSASigner.hpp>

#include <openssl/types.h>

namespace opc::crypto {

/// The name by which OpenSSL knows a digest.
/// @throws opc::Exception for a value that is no enumerator.
const char* nameOf(DigestAlgorithm digest);

/// Sets the padding of an operation with a key that has begun with this digest.
/// @throws opc::Exception for a value that is no enumerator, or when OpenSSL fails.
void setPadding(EVP_PKEY_CTX* operation, RSAPaddingMode padding);

} // namespace opc::crypto
