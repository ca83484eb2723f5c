// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/RSAPublicKey.hpp>

#include <opc/crypto/UnsupportedKeySize.hpp>

#include "crypto/Pem.hpp"
#include "crypto/RSAKeys.hpp"

#include <opc/core/Exception.hpp>

#include <openssl/core_names.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <string>
#include <utility>

namespace opc::crypto {

namespace {

constexpr const char* NO_PUBLIC_KEY_IN_DER = "The bytes are not an RSA public key in DER.";
constexpr const char* NO_PUBLIC_KEY_IN_PEM = "The key in the PEM file is not an RSA public key.";
/// The longest supported number, in bytes.
constexpr std::size_t MAXIMUM_RSA_NUMBER = std::end(RSAPublicKey::KEY_SIZES)[-1] / 8;

template <class TooLong>
Number toNumber(const std::vector<unsigned char>& bytes, const ErrorScope& errors, const char* tooLong) {
    const auto first = std::find_if(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte != 0; });
    if (static_cast<std::size_t>(bytes.end() - first) > MAXIMUM_RSA_NUMBER)
        throw TooLong(tooLong);
    return opc::crypto::toNumber(bytes, errors);
}

Number toNumber(const ASN1_TYPE* type, const char* notAKey) {
    if (ASN1_TYPE_get(type) != V_ASN1_INTEGER)
        throw Exception(notAKey);
    Number number(ASN1_INTEGER_to_BN(type->value.integer, nullptr));
    if (!number || BN_is_negative(number.get()))
        throw Exception(notAKey);
    return number;
}

void check(const BIGNUM* modulus, const BIGNUM* exponent) {
    const auto bits = static_cast<unsigned>(BN_num_bits(modulus));
    const auto& sizes = RSAPublicKey::KEY_SIZES;
    if (std::find(std::begin(sizes), std::end(sizes), bits) == std::end(sizes))
        throw UnsupportedKeySize("An RSA key has to have 1024, 2048 or 4096 bits; this one has " +
                                 std::to_string(bits) + ".");
    throwIfUnusableRSANumbers(modulus, exponent);
}

std::shared_ptr<const RSAPublicKey::Impl> makePublicKey(const BIGNUM* modulus, const BIGNUM* exponent,
                                                        const ErrorScope& errors) {
    check(modulus, exponent);
    Key key = makeRSAPublicKey(modulus, exponent, errors);
    std::vector<unsigned char> der = encodePublicKey(key.get(), errors);
    return std::make_shared<const RSAPublicKey::Impl>(
        RSAPublicKey::Impl{std::move(key), static_cast<unsigned>(BN_num_bits(modulus)), toBytes(modulus),
                           toBytes(exponent), std::move(der)});
}

/// The two numbers of an RSAPublicKey of PKCS#1; null when the bytes are not one.
TypeSequence readNumbers(const std::vector<unsigned char>& der) {
    const unsigned char* position = der.data();
    TypeSequence numbers(d2i_ASN1_SEQUENCE_ANY(nullptr, &position, static_cast<long>(der.size())));
    if (position != der.data() + der.size() || sk_ASN1_TYPE_num(numbers.get()) != 2 ||
        ASN1_TYPE_get(sk_ASN1_TYPE_value(numbers.get(), 0)) != V_ASN1_INTEGER)
        return nullptr;
    return numbers;
}

Key readKeyInfo(const std::vector<unsigned char>& der, const char* notAKey) {
    const unsigned char* position = der.data();
    Key key(d2i_PUBKEY_ex(nullptr, &position, static_cast<long>(der.size()), libraryContext(), nullptr));
    if (!key || position != der.data() + der.size() || !EVP_PKEY_is_a(key.get(), "RSA"))
        throw Exception(notAKey);
    return key;
}

/// @param notAKey the message when the bytes are not an RSA public key.
std::shared_ptr<const RSAPublicKey::Impl> readPublicKey(const std::vector<unsigned char>& der, const char* notAKey) {
    const ErrorScope errors;
    if (der.empty() || der.size() > INT_MAX)
        throw Exception(notAKey);
    if (const TypeSequence numbers = readNumbers(der)) {
        const Number modulus = toNumber(sk_ASN1_TYPE_value(numbers.get(), 0), notAKey);
        const Number exponent = toNumber(sk_ASN1_TYPE_value(numbers.get(), 1), notAKey);
        return makePublicKey(modulus.get(), exponent.get(), errors);
    }
    const Key key = readKeyInfo(der, notAKey);
    const Number modulus = numberOf(key.get(), OSSL_PKEY_PARAM_RSA_N, errors);
    const Number exponent = numberOf(key.get(), OSSL_PKEY_PARAM_RSA_E, errors);
    return makePublicKey(modulus.get(), exponent.get(), errors);
}

} // namespace

UnsupportedKeySize::UnsupportedKeySize(const std::string& message) : Exception(message) {}

UnsupportedKeySize::~UnsupportedKeySize() = default;

RSAPublicKey::RSAPublicKey(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}

RSAPublicKey RSAPublicKey::fromDER(const std::vector<unsigned char>& der) {
    return RSAPublicKey(readPublicKey(der, NO_PUBLIC_KEY_IN_DER));
}

RSAPublicKey RSAPublicKey::fromPEMOrDER(const std::vector<unsigned char>& bytes) {
    if (!looksLikePem(bytes))
        return fromDER(bytes);
    for (const PemBlock& block : readPem(asText(bytes)))
        if (block.label == "PUBLIC KEY" || block.label == "RSA PUBLIC KEY")
            return RSAPublicKey(readPublicKey(block.bytes.get(), NO_PUBLIC_KEY_IN_PEM));
    throw Exception("The PEM file holds no public key.");
}

RSAPublicKey RSAPublicKey::fromModulusAndExponent(const std::vector<unsigned char>& modulus,
                                                  const std::vector<unsigned char>& exponent) {
    const ErrorScope errors;
    const Number n = toNumber<UnsupportedKeySize>(modulus, errors,
                                                  "An RSA key has to have 1024, 2048 or 4096 bits; this one has more.");
    const Number e = toNumber<Exception>(exponent, errors, "The public exponent of the RSA key is too long.");
    return RSAPublicKey(makePublicKey(n.get(), e.get(), errors));
}

unsigned RSAPublicKey::getKeySize() const noexcept {
    return impl_->bits;
}

const std::vector<unsigned char>& RSAPublicKey::getModulus() const noexcept {
    return impl_->modulus;
}

const std::vector<unsigned char>& RSAPublicKey::getExponent() const noexcept {
    return impl_->exponent;
}

const std::vector<unsigned char>& RSAPublicKey::toDER() const noexcept {
    return impl_->der;
}

bool operator==(const RSAPublicKey& a, const RSAPublicKey& b) noexcept {
    return a.toDER() == b.toDER();
}

bool operator!=(const RSAPublicKey& a, const RSAPublicKey& b) noexcept {
    return !(a == b);
}

} // namespace opc::crypto
