// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/signatures/DigestMethod.hpp>

#include <optional>
#include <string>

namespace opc::model {

/// How a signature value is made (XML-DSig §6.4, RFC 9231 §2.3): by which kind of key over which digest. A value.
struct OPCRAFT_API SignatureAlgorithm {
    std::u16string identifier{};
    std::optional<crypto::KeyKind> keyKind{};   ///< none when the identifier is not known
    std::optional<DigestMethod> digestMethod{}; ///< none when the identifier is not known
    unsigned keySize = 0;                       ///< in bits; 0 when the key is not known

    /// An identifier that is not supported gives a value with neither kind of key nor digest.
    static SignatureAlgorithm of(const std::u16string& identifier);
    /// @throws opc::Exception when there is no identifier: DSA with another digest than SHA-1 or SHA-256, ECDSA with
    ///         MD5, or a value that is not an enumerator.
    static SignatureAlgorithm of(crypto::KeyKind keyKind, DigestMethod digestMethod);

    /// "RSA-PSS" for an identifier that is known but not supported, otherwise empty.
    static std::string findUnsupportedName(const std::u16string& identifier);
};

} // namespace opc::model
