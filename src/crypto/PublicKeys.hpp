// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/OpenSSL.hpp"

#include <opc/crypto/PublicKey.hpp>

namespace opc::crypto {

struct PublicKey::Impl {
    Key key;
    KeyKind kind;
    unsigned bits;
    std::size_t numberSize; ///< of r and of s, in bytes; 0 for RSA
    std::vector<unsigned char> der;
};

/// An unsigned big-endian number.
Number toNumber(const std::vector<unsigned char>& bytes, const ErrorScope& errors);

/// The bytes of a number, without zeros in front.
std::vector<unsigned char> toBytes(const BIGNUM* number);

/// A number of a key by OpenSSL's name of it.
/// @throws opc::Exception when the key has none.
Number numberOf(const EVP_PKEY* key, const char* name, const ErrorScope& errors);

/// What is asked of the numbers of an RSA key, whatever its size.
/// @throws opc::Exception
void throwIfUnusableRSANumbers(const BIGNUM* modulus, const BIGNUM* exponent);

/// @throws opc::Exception when OpenSSL fails.
Key makeRSAPublicKey(const BIGNUM* modulus, const BIGNUM* exponent, const ErrorScope& errors);

/// The public part of any key as a SubjectPublicKeyInfo.
/// @throws opc::Exception when OpenSSL fails.
std::vector<unsigned char> encodePublicKey(const EVP_PKEY* key, const ErrorScope& errors);

} // namespace opc::crypto
