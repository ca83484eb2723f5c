// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/crypto/SecretBytes.hpp>

#include <memory>
#include <vector>

namespace opc::crypto {

/// An RSA private key whose modulus has exactly 1024, 2048 or 4096 bits; its public numbers are subject to the same
/// rules as those of an `RSAPublicKey`.
///
/// Immutable; copies share one key, which any number of threads may use. The key's memory is wiped when the last copy
/// is destroyed. The caller has to wipe the bytes that it is read from (`wipe`, `SecretBytes`).
class OPCRAFT_API RSAPrivateKey {
public:
    /// Reads a PrivateKeyInfo of PKCS#8 (RFC 5208) or an RSAPrivateKey of PKCS#1 (RFC 8017 §A.1.2), not encrypted.
    /// @throws opc::Exception when the bytes are neither (bytes behind the key included), when the key is not one for
    ///         RSA in general (an RSASSA-PSS key is not), or when its public numbers are refused.
    static RSAPrivateKey fromDER(const std::vector<unsigned char>& der);

    /// Reads what `fromDER` takes, or a PEM file with a "PRIVATE KEY" or "RSA PRIVATE KEY". The first of
    /// several keys is read.
    /// @throws opc::Exception as `fromDER` does, and when a PEM file contains no such key, an encrypted one, or is
    ///         malformed. There is no password prompt.
    static RSAPrivateKey fromPEMOrDER(const std::vector<unsigned char>& bytes);

    /// The size of the modulus in bits.
    unsigned getKeySize() const noexcept;

    RSAPublicKey getPublicKey() const;

    /// The key as a PrivateKeyInfo of PKCS#8, not encrypted.
    /// @throws opc::Exception when OpenSSL fails.
    SecretBytes toDER() const;

    /// For the library's own use.
    struct Impl;
    const Impl& getImpl() const noexcept { return *impl_; }

private:
    explicit RSAPrivateKey(std::shared_ptr<const Impl> impl);

    std::shared_ptr<const Impl> impl_;
};

} // namespace opc::crypto
