// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/DigestEngine.hpp>

#include <memory>
#include <string_view>
#include <vector>

namespace opc::crypto {

/// The kinds of keys that signatures of packages are made with.
enum class KeyKind {
    RSA, ///< signs by RSASSA-PKCS1-v1_5 (RFC 8017 §8.2)
    EC,  ///< signs by ECDSA (FIPS 186-4 §6)
    DSA, ///< verifies only (FIPS 186-4 §4)
};

/// A public key: RSA with 1024 to 8192 bits, one of the elliptic curves P-256, P-384 and P-521, or DSA with 1024 to
/// 3072 bits.
///
/// Immutable; copies share one key, which any number of threads may use. Every function that makes a key refuses,
/// before it computes anything with it, a size or a curve that is not named here (`UnsupportedKeySize`), an RSA modulus
/// that is even, and an RSA exponent that is even, below 3, not below the modulus, above 256 bits, or above 64 bits
/// with a modulus of more than 3072 bits. A point has to lie on its curve.
class OPCRAFT_API PublicKey {
public:
    /// Reads a SubjectPublicKeyInfo (RFC 5280 §4.1.2.7). A curve is named by its object identifier.
    /// @throws opc::Exception when the bytes are none (bytes behind the key included), or the key is refused.
    static PublicKey fromDER(const std::vector<unsigned char>& der);

    /// Reads a SubjectPublicKeyInfo or an RSAPublicKey of PKCS#1, in DER or as the first public key of a PEM text.
    /// @throws opc::Exception as `fromDER` does, and when the PEM text is malformed or has no public key.
    static PublicKey fromPEMOrDER(const std::vector<unsigned char>& bytes);

    /// The numbers of an `RSAKeyValue` (XML-DSig §4.4.2.2), unsigned and big-endian; zeros in front are ignored.
    /// @throws opc::Exception when they are refused.
    static PublicKey fromRSAKeyValue(const std::vector<unsigned char>& modulus,
                                     const std::vector<unsigned char>& exponent);

    /// What stands in an `ECKeyValue` (XML-DSig 1.1 §4.5.2.3).
    /// @param curve the object identifier of the curve: "1.2.840.10045.3.1.7", "1.3.132.0.34" or "1.3.132.0.35".
    /// @param point not compressed (SEC 1 §2.3.3).
    /// @throws opc::Exception when the curve is another one or the point is none of it.
    static PublicKey fromECKeyValue(std::string_view curve, const std::vector<unsigned char>& point);

    /// The numbers of a `DSAKeyValue` (XML-DSig §4.4.2.1), unsigned and big-endian.
    /// @throws opc::Exception when they are refused.
    static PublicKey fromDSAKeyValue(const std::vector<unsigned char>& p, const std::vector<unsigned char>& q,
                                     const std::vector<unsigned char>& g, const std::vector<unsigned char>& y);

    KeyKind getKind() const noexcept;

    /// In bits: of the modulus, of the order of the curve, of DSA's p.
    unsigned getKeySize() const noexcept;

    /// The key as a SubjectPublicKeyInfo.
    const std::vector<unsigned char>& toDER() const noexcept;

    /// Whether the signature is one over the octets by this key, as XML-DSig writes it (§6.4): with RSA as long as the
    /// modulus; with ECDSA and DSA the numbers r and s one behind the other, each as long as the order of the curve or
    /// DSA's q. Anything else is not a signature.
    /// @throws opc::Exception when `digest` is none of the enumerators, or OpenSSL fails.
    bool verify(DigestAlgorithm digest, const std::vector<unsigned char>& octets,
                const std::vector<unsigned char>& signature) const;

    /// For the library's own use.
    struct Impl;
    const Impl& getImpl() const noexcept { return *impl_; }
    explicit PublicKey(std::shared_ptr<const Impl> impl) noexcept;

private:
    std::shared_ptr<const Impl> impl_;
};

/// True when both are the same key.
OPCRAFT_API bool operator==(const PublicKey& a, const PublicKey& b) noexcept;
OPCRAFT_API bool operator!=(const PublicKey& a, const PublicKey& b) noexcept;

} // namespace opc::crypto
