// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/OpenSSL.hpp"

#include <opc/crypto/DigestEngine.hpp>
#include <opc/crypto/RSASigner.hpp>

namespace opc::crypto {

/// The name by which OpenSSL knows a digest.
/// @throws opc::Exception for a value that is no enumerator.
const char* nameOf(DigestAlgorithm digest);

/// Starts to digest data for a signature, or for the check of one; with RSA, of PKCS#1 v1.5.
/// @param context what was digested in it is gone, also when this fails.
/// @param initialize of OpenSSL; it tells which of the two.
/// @param failure the message when it fails.
/// @throws opc::Exception for a value that is no enumerator, or when OpenSSL fails.
/// @return the operation, whose padding may be set.
EVP_PKEY_CTX* startSignature(DigestContext& context, decltype(&EVP_DigestSignInit_ex) initialize, const Key& key,
                             DigestAlgorithm digest, const char* failure);

/// The same, with a padding.
void startSignature(DigestContext& context, decltype(&EVP_DigestSignInit_ex) initialize, const Key& key,
                    DigestAlgorithm digest, RSAPaddingMode padding, const char* failure);

} // namespace opc::crypto
