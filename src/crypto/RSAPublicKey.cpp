// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/crypto/UnsupportedKeySize.hpp>

#include "crypto/Pem.hpp"
#include "crypto/RSAKeys.hpp"

#include <opc/core/Exception.hpp>

#include <openssl/core_names.h>

#include <algorithm>
#include <climits>
#include <string>
#include <utility>

namespace opc::crypto {

namespace {

constexpr const char* NOT_A_KEY = "The bytes are not an RSA public key in DER.";
/// More than any key that is taken, in bytes.
constexpr std::size_t MAXIMUM_NUMBER = 4096 / 8;
/// OpenSSL computes with no longer exponents when the modulus is longer than 3072 bits.
constexpr int LONGEST_EXPONENT_OF_4096_BITS = 64;

template <class TooLong>
Number toNumber(const std::vector<unsigned char>& bytes, const ErrorScope& errors, const char* tooLong) {
    const auto first = std::find_if(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte != 0; });
    const auto size = static_cast<std::size_t>(bytes.end() - first);
    if (size > MAXIMUM_NUMBER)
        throw TooLong(tooLong);
    Number number(BN_bin2bn(bytes.data() + (first - bytes.begin()), static_cast<int>(size), nullptr));
    errors.require(number != nullptr, "A number cannot be read");
    return number;
}

Number toNumber(const ASN1_TYPE* type) {
    if (ASN1_TYPE_get(type) != V_ASN1_INTEGER)
        throw Exception(NOT_A_KEY);
    Number number(ASN1_INTEGER_to_BN(type->value.integer, nullptr));
    if (!number || BN_is_negative(number.get()))
        throw Exception(NOT_A_KEY);
    return number;
}

void check(const BIGNUM* modulus, const BIGNUM* exponent) {
    const int bits = BN_num_bits(modulus);
    if (bits != 1024 && bits != 2048 && bits != 4096)
        throw UnsupportedKeySize("An RSA key has to have 1024, 2048 or 4096 bits; this one has " +
                                 std::to_string(bits) + ".");
    if (!BN_is_odd(modulus))
        throw Exception("The modulus of the RSA key is even.");
    if (!BN_is_odd(exponent) || BN_is_one(exponent))
        throw Exception("The public exponent of the RSA key is not an odd number of at least 3.");
    if (BN_cmp(exponent, modulus) >= 0 || (bits == 4096 && BN_num_bits(exponent) > LONGEST_EXPONENT_OF_4096_BITS))
        throw Exception("The public exponent of the RSA key is too long.");
}

std::vector<unsigned char> toBytes(const BIGNUM* number) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, bytes.data());
    return bytes;
}

Key makeKey(const BIGNUM* modulus, const BIGNUM* exponent, const ErrorScope& errors) {
    const ParameterBuilder builder(OSSL_PARAM_BLD_new());
    errors.require(builder && OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus) &&
                       OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, exponent),
                   "An RSA key cannot be made");
    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const KeyContext context(EVP_PKEY_CTX_new_from_name(libraryContext(), "RSA", nullptr));
    EVP_PKEY* key = nullptr;
    errors.require(parameters && context && EVP_PKEY_fromdata_init(context.get()) > 0 &&
                       EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get()) > 0,
                   "An RSA key cannot be made");
    return Key(key);
}

std::shared_ptr<const RSAPublicKey::Impl> makePublicKey(const BIGNUM* modulus, const BIGNUM* exponent,
                                                        const ErrorScope& errors) {
    check(modulus, exponent);
    Key key = makeKey(modulus, exponent, errors);
    std::vector<unsigned char> der = encodePublicKey(key.get(), errors);
    return std::make_shared<const RSAPublicKey::Impl>(
        RSAPublicKey::Impl{std::move(key), static_cast<unsigned>(BN_num_bits(modulus)), toBytes(modulus),
                           toBytes(exponent), std::move(der)});
}

/// The two numbers of an RSAPublicKey of PKCS#1; null when the bytes are something else.
TypeSequence readNumbers(const std::vector<unsigned char>& der) {
    const unsigned char* position = der.data();
    TypeSequence numbers(d2i_ASN1_SEQUENCE_ANY(nullptr, &position, static_cast<long>(der.size())));
    if (position != der.data() + der.size() || sk_ASN1_TYPE_num(numbers.get()) != 2 ||
        ASN1_TYPE_get(sk_ASN1_TYPE_value(numbers.get(), 0)) != V_ASN1_INTEGER)
        return nullptr;
    return numbers;
}

Key readKeyInfo(const std::vector<unsigned char>& der) {
    const unsigned char* position = der.data();
    Key key(d2i_PUBKEY_ex(nullptr, &position, static_cast<long>(der.size()), libraryContext(), nullptr));
    if (!key || position != der.data() + der.size() || !EVP_PKEY_is_a(key.get(), "RSA"))
        throw Exception(NOT_A_KEY);
    return key;
}

} // namespace

UnsupportedKeySize::UnsupportedKeySize(const std::string& message) : Exception(message) {}

UnsupportedKeySize::~UnsupportedKeySize() = default;

std::vector<unsigned char> encodePublicKey(const EVP_PKEY* key, const ErrorScope& errors) {
    const int size = i2d_PUBKEY(key, nullptr);
    errors.require(size > 0, "The public key cannot be encoded");
    std::vector<unsigned char> der(static_cast<std::size_t>(size));
    unsigned char* end = der.data();
    i2d_PUBKEY(key, &end);
    return der;
}

RSAPublicKey::RSAPublicKey(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}

RSAPublicKey RSAPublicKey::fromDER(const std::vector<unsigned char>& der) {
    const ErrorScope errors;
    if (der.empty() || der.size() > INT_MAX)
        throw Exception(NOT_A_KEY);
    if (const TypeSequence numbers = readNumbers(der)) {
        const Number modulus = toNumber(sk_ASN1_TYPE_value(numbers.get(), 0));
        const Number exponent = toNumber(sk_ASN1_TYPE_value(numbers.get(), 1));
        return RSAPublicKey(makePublicKey(modulus.get(), exponent.get(), errors));
    }
    const Key key = readKeyInfo(der);
    BIGNUM* modulus = nullptr;
    BIGNUM* exponent = nullptr;
    const int got = EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_RSA_N, &modulus) > 0 &&
                    EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_RSA_E, &exponent) > 0;
    const Number ownedModulus(modulus);
    const Number ownedExponent(exponent);
    errors.require(got != 0, NOT_A_KEY);
    return RSAPublicKey(makePublicKey(modulus, exponent, errors));
}

RSAPublicKey RSAPublicKey::fromPEMOrDER(const std::vector<unsigned char>& bytes) {
    if (!looksLikePem(bytes))
        return fromDER(bytes);
    for (const PemBlock& block : readPem(asText(bytes))) {
        if (block.label == "PUBLIC KEY" || block.label == "RSA PUBLIC KEY")
            return fromDER(block.bytes.get());
    }
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
