// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/PublicKey.hpp>

#include <string>
#include <vector>

namespace opc::crypto {

/// The numbers of a key as a `KeyValue` of XML-DSig names them: what `PublicKey::fromRSAKeyValue` and
/// `fromECKeyValue` take.
struct KeyValue {
    std::vector<unsigned char> modulus{}; ///< of RSA, as `exponent`
    std::vector<unsigned char> exponent{};
    std::string curve{};                ///< of an elliptic curve, as `point`: its object identifier
    std::vector<unsigned char> point{}; ///< not compressed
};

/// Empty values for a key of another kind.
/// @throws opc::Exception when OpenSSL fails.
KeyValue keyValueOf(const PublicKey& key);

} // namespace opc::crypto
