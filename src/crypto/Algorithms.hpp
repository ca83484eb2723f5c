// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/OpenSSL.hpp"

#include <opc/crypto/DigestEngine.hpp>
#include <opc/crypto/RSASigner.hpp>

namespace opc::crypto {

/// OpenSSL's name of a digest.
/// @throws opc::Exception for a value that is not an enumerator.
const char* nameOf(DigestAlgorithm digest);

/// Starts signing or verifying; with RSA, by PKCS#1 v1.5.
/// @param context is reset, also on failure.
/// @param initialize OpenSSL's function for signing or verifying.
/// @param failure the message on failure.
/// @throws opc::Exception for a value that is not an enumerator, or when OpenSSL fails.
/// @return the operation, whose padding may be set.
EVP_PKEY_CTX* startSignature(DigestContext& context, decltype(&EVP_DigestSignInit_ex) initialize, const Key& key,
                             DigestAlgorithm digest, const char* failure);

/// The same, with a padding.
void startSignature(DigestContext& context, decltype(&EVP_DigestSignInit_ex) initialize, const Key& key,
                    DigestAlgorithm digest, RSAPaddingMode padding, const char* failure);

} // namespace opc::crypto
