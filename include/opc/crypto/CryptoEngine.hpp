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

/// Makes what digests, signs and verifies, and offers what goes with it: random bytes and base64.
///
/// It works in an OpenSSL library context of its own: the providers and security levels that the configuration of the
/// system or the program sets up for OpenSSL change nothing here. (Two things are out of reach: OpenSSL reads the
/// system's configuration for the program's own context, whoever calls it first; and an ENGINE that the program makes
/// the default one serves the whole process.) OpenSSL's error queue is left as it was found. There is no state that
/// callers see; every function may be called from any thread.
class OPCRAFT_API CryptoEngine {
public:
    CryptoEngine() = delete;

    /// @throws opc::Exception when `algorithm` is none of the enumerators, or OpenSSL fails.
    static DigestEngine createDigestEngine(DigestAlgorithm algorithm);

    /// @throws opc::Exception when `digest` or `padding` is none of the enumerators, or OpenSSL fails.
    static RSASigner createRSASigner(const RSAPrivateKey& key, DigestAlgorithm digest,
                                     RSAPaddingMode padding = getDefaultRSASigningPaddingMode());

    /// @throws opc::Exception when `digest` or `padding` is none of the enumerators, or OpenSSL fails.
    static RSAVerifier createRSAVerifier(const RSAPublicKey& key, DigestAlgorithm digest,
                                         RSAPaddingMode padding = getDefaultRSASigningPaddingMode());

    /// RSASSA-PKCS1-v1_5, what the RSA algorithms of XML-DSig use.
    static RSAPaddingMode getDefaultRSASigningPaddingMode() noexcept;

    /// `count` bytes of the default pseudo-random generator: the one that signers, too, draw from (for blinding and
    /// salts), seeded by the operating system.
    /// @throws opc::Exception when it cannot be seeded.
    static std::vector<unsigned char> generateRandomBytes(std::size_t count);

    /// Base64 (RFC 4648 §4), padded, without line breaks.
    static std::string encodeBase64(const std::vector<unsigned char>& bytes);

    /// Reads base64 (RFC 4648 §4). The white space of XML (space, tab, CR, LF) is skipped wherever it stands.
    /// @throws opc::Exception for any other character, padding that is missing, too much or not at the end, and
    ///         bits behind the last byte that are not zero.
    static std::vector<unsigned char> decodeBase64(std::string_view text);
    static std::vector<unsigned char> decodeBase64(std::u16string_view text);
};

} // namespace opc::crypto
