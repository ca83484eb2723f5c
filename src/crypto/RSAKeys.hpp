// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/OpenSSL.hpp"

#include <opc/crypto/RSAPrivateKey.hpp>
#include <opc/crypto/RSAPublicKey.hpp>

namespace opc::crypto {

struct RSAPublicKey::Impl {
    Key key;
    unsigned bits;
    std::vector<unsigned char> modulus;
    std::vector<unsigned char> exponent;
    std::vector<unsigned char> der;
};

struct RSAPrivateKey::Impl {
    Key key;
    RSAPublicKey publicKey;
};

/// The public part of any key as a SubjectPublicKeyInfo.
/// @throws opc::Exception when OpenSSL fails.
std::vector<unsigned char> encodePublicKey(const EVP_PKEY* key, const ErrorScope& errors);

} // namespace opc::crypto
