// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstddef>
#include <memory>
#include <vector>

namespace opc::crypto {

/// The supported digests (RFC 1321, FIPS 180-4).
enum class DigestAlgorithm { MD5, SHA1, SHA224, SHA256, SHA384, SHA512 };

/// Computes digests of data in blocks. Created by `CryptoEngine::createDigestEngine`.
///
/// It owns its state and can be moved; a moved-from engine can only be destroyed or assigned to. Used by one thread at
/// a time.
class OPCRAFT_API DigestEngine {
public:
    DigestEngine(DigestEngine&& other) noexcept;
    DigestEngine& operator=(DigestEngine&& other) noexcept;
    ~DigestEngine();

    /// Adds the next `size` bytes.
    /// @throws opc::Exception when OpenSSL fails.
    void update(const unsigned char* data, std::size_t size);
    void update(const std::vector<unsigned char>& data) { update(data.data(), data.size()); }

    /// The digest of all bytes added, 16 (MD5) to 64 (SHA-512) bytes long. The engine is reset.
    /// @throws opc::Exception when OpenSSL fails.
    std::vector<unsigned char> finish();

private:
    friend class CryptoEngine;
    explicit DigestEngine(DigestAlgorithm algorithm);

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace opc::crypto
