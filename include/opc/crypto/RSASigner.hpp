// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/DigestEngine.hpp>
#include <opc/crypto/RSAPrivateKey.hpp>

#include <cstddef>
#include <memory>
#include <vector>

namespace opc::crypto {

/// How a digest is padded to the size of the key (RFC 8017).
enum class RSAPaddingMode {
    PKCS1, ///< RSASSA-PKCS1-v1_5, §8.2
    PSS,   ///< RSASSA-PSS, §8.1; MGF1 with the same digest, and a salt as long as the digest
};

/// Signs data in blocks. Created by `CryptoEngine::createRSASigner`.
///
/// It shares the key and owns its state; it can be moved, and a moved-from signer can only be destroyed or assigned to.
/// Used by one thread at a time.
class OPCRAFT_API RSASigner {
public:
    RSASigner(RSASigner&& other) noexcept;
    RSASigner& operator=(RSASigner&& other) noexcept;
    ~RSASigner();

    /// Adds the next `size` bytes.
    /// @throws opc::Exception when OpenSSL fails.
    void update(const unsigned char* data, std::size_t size);
    void update(const std::vector<unsigned char>& data) { update(data.data(), data.size()); }

    /// The signature over all bytes added, as long as the modulus. The signer is reset.
    /// @throws opc::Exception when the key is inconsistent, or too short for the padding of this digest (SHA-512 with
    ///         PSS and 1024 bits).
    std::vector<unsigned char> sign();

private:
    friend class CryptoEngine;
    RSASigner(const RSAPrivateKey& key, DigestAlgorithm digest, RSAPaddingMode padding);

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace opc::crypto
