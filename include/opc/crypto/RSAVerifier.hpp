// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/DigestEngine.hpp>
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/crypto/RSASigner.hpp>
#include <opc/crypto/SignatureVerificationStatus.hpp>

#include <cstddef>
#include <memory>
#include <vector>

namespace opc::crypto {

/// Verifies signatures over data in blocks. Created by `CryptoEngine::createRSAVerifier`.
///
/// It shares the key and owns its state; it can be moved, and a moved-from verifier can only be destroyed or assigned
/// to. Used by one thread at a time.
class OPCRAFT_API RSAVerifier {
public:
    RSAVerifier(RSAVerifier&& other) noexcept;
    RSAVerifier& operator=(RSAVerifier&& other) noexcept;
    ~RSAVerifier();

    /// Adds the next `size` bytes.
    /// @throws opc::Exception when OpenSSL fails.
    void update(const unsigned char* data, std::size_t size);
    void update(const std::vector<unsigned char>& data) { update(data.data(), data.size()); }

    /// Whether this is a signature over all bytes added. Malformed signatures, for instance of another length, are
    /// invalid. The verifier is reset.
    /// @throws opc::Exception when OpenSSL fails to reset it.
    SignatureVerificationStatus verify(const std::vector<unsigned char>& signature);

private:
    friend class CryptoEngine;
    RSAVerifier(const RSAPublicKey& key, DigestAlgorithm digest, RSAPaddingMode padding);

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace opc::crypto
