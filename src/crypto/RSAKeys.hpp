// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/PublicKeys.hpp"

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

} // namespace opc::crypto
