// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <memory>
#include <vector>

namespace opc::crypto {

/// An RSA public key whose modulus has exactly 1024, 2048 or 4096 bits.
///
/// Immutable; copies share one key, which any number of threads may use. Every function that makes a key refuses,
/// before it computes anything with it, a modulus of another size (`UnsupportedKeySize`) or an even one, and an
/// exponent that is even, below 3, not below the modulus, above 256 bits, or above 64 bits with a modulus
/// of 4096 bits.
class OPCRAFT_API RSAPublicKey {
public:
    /// The supported sizes of the modulus in bits.
    static constexpr unsigned KEY_SIZES[] = {1024, 2048, 4096};

    /// Reads a SubjectPublicKeyInfo (RFC 5280 §4.1.2.7) or an RSAPublicKey of PKCS#1 (RFC 8017 §A.1.1).
    /// @throws opc::Exception when the bytes are neither (bytes behind the key included), when the key is not one for
    ///         RSA in general (an RSASSA-PSS key is not), or when its numbers are refused.
    static RSAPublicKey fromDER(const std::vector<unsigned char>& der);

    /// Reads what `fromDER` takes, or a PEM file with a "PUBLIC KEY" or "RSA PUBLIC KEY". The first of several
    /// keys is read.
    /// @throws opc::Exception as `fromDER` does, and when a PEM file contains no such key or is malformed.
    static RSAPublicKey fromPEMOrDER(const std::vector<unsigned char>& bytes);

    /// Both are unsigned and big-endian, as in the `RSAKeyValue` of XML-DSig; leading zeros are ignored.
    /// @throws opc::Exception when the numbers are refused.
    static RSAPublicKey fromModulusAndExponent(const std::vector<unsigned char>& modulus,
                                               const std::vector<unsigned char>& exponent);

    /// The size of the modulus in bits.
    unsigned getKeySize() const noexcept;

    /// Unsigned and big-endian, without leading zeros.
    const std::vector<unsigned char>& getModulus() const noexcept;
    /// Unsigned and big-endian, without leading zeros.
    const std::vector<unsigned char>& getExponent() const noexcept;

    /// The key as a SubjectPublicKeyInfo.
    const std::vector<unsigned char>& toDER() const noexcept;

    /// For the library's own use.
    struct Impl;
    const Impl& getImpl() const noexcept { return *impl_; }

private:
    explicit RSAPublicKey(std::shared_ptr<const Impl> impl);

    std::shared_ptr<const Impl> impl_;
};

/// True when modulus and exponent are the same.
OPCRAFT_API bool operator==(const RSAPublicKey& a, const RSAPublicKey& b) noexcept;
OPCRAFT_API bool operator!=(const RSAPublicKey& a, const RSAPublicKey& b) noexcept;

} // namespace opc::crypto
