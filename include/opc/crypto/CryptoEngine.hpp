// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/DigestEngine.hpp>
#include <opc/crypto/RSAPrivateKey.hpp>
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/crypto/RSASigner.hpp>
#include <opc/crypto/RSAVerifier.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace opc::crypto {

/// Creates digest engines, signers and verifiers; also random bytes and base64.
///
/// Uses an OpenSSL library context of its own: providers and security levels that the system or the program configures
/// for OpenSSL have no effect. (Two exceptions: OpenSSL reads the system's configuration for the program's own context,
/// whoever calls it first; and an ENGINE that the program makes the default one serves the whole process.) OpenSSL's
/// error queue is left unchanged. Stateless; every function may be called from any thread.
class OPCRAFT_API CryptoEngine {
public:
    CryptoEngine() = delete;

    /// @throws opc::Exception when `algorithm` is not an enumerator, or OpenSSL fails.
    static DigestEngine createDigestEngine(DigestAlgorithm algorithm);

    /// @throws opc::Exception when `digest` or `padding` is not an enumerator, or OpenSSL fails.
    static RSASigner createRSASigner(const RSAPrivateKey& key, DigestAlgorithm digest,
                                     RSAPaddingMode padding = getDefaultRSASigningPaddingMode());

    /// @throws opc::Exception when `digest` or `padding` is not an enumerator, or OpenSSL fails.
    static RSAVerifier createRSAVerifier(const RSAPublicKey& key, DigestAlgorithm digest,
                                         RSAPaddingMode padding = getDefaultRSASigningPaddingMode());

    /// RSASSA-PKCS1-v1_5, what the RSA algorithms of XML-DSig use.
    static RSAPaddingMode getDefaultRSASigningPaddingMode() noexcept;

    /// `count` bytes of the default pseudo-random generator, seeded by the operating system, which signers also use
    /// (for blinding and salts).
    /// @throws opc::Exception when it cannot be seeded.
    static std::vector<unsigned char> generateRandomBytes(std::size_t count);

    /// Base64 (RFC 4648 §4), padded, without line breaks.
    static std::string encodeBase64(const std::vector<unsigned char>& bytes);

    /// Decodes base64 (RFC 4648 §4). White space of XML (space, tab, CR, LF) is ignored.
    /// @throws opc::Exception for any other character, missing, excess or misplaced padding, and non-zero bits after
    ///         the last byte.
    static std::vector<unsigned char> decodeBase64(std::string_view text);
    static std::vector<unsigned char> decodeBase64(std::u16string_view text);
};

} // namespace opc::crypto
