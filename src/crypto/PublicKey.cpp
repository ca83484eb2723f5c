// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/PublicKey.hpp>

#include "crypto/Algorithms.hpp"
#include "crypto/KeyValue.hpp"
#include "crypto/Pem.hpp"
#include "crypto/PublicKeys.hpp"

#include <opc/core/Exception.hpp>
#include <opc/crypto/UnsupportedKeySize.hpp>

#include <openssl/core_names.h>
#include <openssl/decoder.h>
#include <openssl/dsa.h>
#include <openssl/ec.h>

#include <algorithm>
#include <climits>
#include <string>
#include <utility>

namespace opc::crypto {

namespace {

using Bytes = std::vector<unsigned char>;

/// More than any number of a key that is taken, in bytes.
constexpr std::size_t MAXIMUM_NUMBER = 8192 / 8;
/// A longer exponent (FIPS 186-5 §5.4) makes a verification take as long as a signing.
constexpr int LONGEST_EXPONENT = 256;
/// OpenSSL computes with no longer exponents when the modulus has more bits than this.
constexpr int LARGEST_SMALL_MODULUS = 3072;
constexpr int LONGEST_EXPONENT_OF_LARGE = 64;

struct Curve {
    const char* oid;
    const char* name; ///< of OpenSSL
    unsigned bits;

    std::size_t size() const { return (bits + 7) / 8; }
};
constexpr Curve CURVES[] = {
    {"1.2.840.10045.3.1.7", "prime256v1", 256},
    {"1.3.132.0.34", "secp384r1", 384},
    {"1.3.132.0.35", "secp521r1", 521},
};

template <class Matches>
const Curve& findCurve(std::string_view text, Matches matches) {
    const auto* found = std::find_if(std::begin(CURVES), std::end(CURVES), matches);
    if (found == std::end(CURVES))
        throw UnsupportedKeySize("The elliptic curve \"" + std::string(text) +
                                 "\" is not supported; P-256, P-384 and P-521 are.");
    return *found;
}

void throwIfSizeIsNotBetween(int least, int most, const char* kind, int bits) {
    if (bits < least || bits > most)
        throw UnsupportedKeySize(std::string(kind) + " key has to have " + std::to_string(least) + " to " +
                                 std::to_string(most) + " bits; this one has " + std::to_string(bits) + ".");
}

/// Makes a public key out of what `push` gives to a builder; it returns whether it succeeded.
template <class Push>
Key makeKey(const char* type, const ErrorScope& errors, Push push) {
    const ParameterBuilder builder(OSSL_PARAM_BLD_new());
    errors.require(builder && push(builder.get()), "A key cannot be made");
    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const KeyContext context(EVP_PKEY_CTX_new_from_name(libraryContext(), type, nullptr));
    EVP_PKEY* key = nullptr;
    errors.require(parameters && context && EVP_PKEY_fromdata_init(context.get()) > 0 &&
                       EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get()) > 0,
                   "A key cannot be made of these numbers");
    return Key(key);
}

using Made = std::shared_ptr<const PublicKey::Impl>;

Made make(Key key, KeyKind kind, unsigned bits, std::size_t numberSize, const ErrorScope& errors) {
    Bytes der = encodePublicKey(key.get(), errors);
    return std::make_shared<const PublicKey::Impl>(
        PublicKey::Impl{std::move(key), kind, bits, numberSize, std::move(der)});
}

Made makeRSA(const BIGNUM* modulus, const BIGNUM* exponent, const ErrorScope& errors) {
    const int bits = BN_num_bits(modulus);
    throwIfSizeIsNotBetween(1024, 8192, "An RSA", bits);
    throwIfUnusableRSANumbers(modulus, exponent);
    return make(makeRSAPublicKey(modulus, exponent, errors), KeyKind::RSA, static_cast<unsigned>(bits), 0, errors);
}

Made makeEC(const Curve& curve, const Bytes& point, const ErrorScope& errors) {
    if (point.size() != 1 + 2 * curve.size() || point[0] != POINT_CONVERSION_UNCOMPRESSED)
        throw Exception("The point is not an uncompressed one of its elliptic curve.");
    Key key = makeKey("EC", errors, [&](OSSL_PARAM_BLD* builder) {
        return OSSL_PARAM_BLD_push_utf8_string(builder, OSSL_PKEY_PARAM_GROUP_NAME, curve.name, 0) &&
               OSSL_PARAM_BLD_push_octet_string(builder, OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size());
    });
    const KeyContext context(EVP_PKEY_CTX_new_from_pkey(libraryContext(), key.get(), nullptr));
    errors.require(context && EVP_PKEY_public_check(context.get()) > 0, "The point is not on its elliptic curve");
    return make(std::move(key), KeyKind::EC, curve.bits, curve.size(), errors);
}

struct DSANumbers {
    Number p, q, g, y;
};

Made makeDSA(const DSANumbers& numbers, const ErrorScope& errors) {
    const int bits = BN_num_bits(numbers.p.get());
    const int orderBits = BN_num_bits(numbers.q.get());
    throwIfSizeIsNotBetween(1024, 3072, "A DSA", bits);
    if (orderBits != 160 && orderBits != 224 && orderBits != 256)
        throw UnsupportedKeySize("The q of a DSA key has to have 160, 224 or 256 bits; this one has " +
                                 std::to_string(orderBits) + ".");
    for (const BIGNUM* number : {numbers.g.get(), numbers.y.get()})
        if (BN_is_zero(number) || BN_is_one(number) || BN_cmp(number, numbers.p.get()) >= 0)
            throw Exception("The g or the y of the DSA key is not between 1 and its p.");
    if (!BN_is_odd(numbers.p.get()) || !BN_is_odd(numbers.q.get()))
        throw Exception("The p or the q of the DSA key is even.");
    Key key = makeKey("DSA", errors, [&](OSSL_PARAM_BLD* builder) {
        return OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_FFC_P, numbers.p.get()) &&
               OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_FFC_Q, numbers.q.get()) &&
               OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_FFC_G, numbers.g.get()) &&
               OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_PUB_KEY, numbers.y.get());
    });
    return make(std::move(key), KeyKind::DSA, static_cast<unsigned>(bits), static_cast<std::size_t>(orderBits) / 8,
                errors);
}

/// Anew out of its curve's name and its point: parameters that are spelled out, and a compressed point, are gone.
Made remakeEC(const EVP_PKEY* key, const ErrorScope& errors) {
    char name[80] = "";
    EVP_PKEY_get_group_name(key, name, sizeof name, nullptr);
    const Curve& curve = findCurve(name, [&](const Curve& each) { return std::string_view(each.name) == name; });
    const Number x = numberOf(key, OSSL_PKEY_PARAM_EC_PUB_X, errors);
    const Number y = numberOf(key, OSSL_PKEY_PARAM_EC_PUB_Y, errors);
    const int size = static_cast<int>(curve.size());
    Bytes point(1 + 2 * curve.size(), POINT_CONVERSION_UNCOMPRESSED);
    errors.require(BN_bn2binpad(x.get(), point.data() + 1, size) == size &&
                       BN_bn2binpad(y.get(), point.data() + 1 + size, size) == size,
                   "The point of an elliptic curve cannot be read");
    return makeEC(curve, point, errors);
}

Made remakeDSA(const EVP_PKEY* key, const ErrorScope& errors) {
    return makeDSA({numberOf(key, OSSL_PKEY_PARAM_FFC_P, errors), numberOf(key, OSSL_PKEY_PARAM_FFC_Q, errors),
                    numberOf(key, OSSL_PKEY_PARAM_FFC_G, errors), numberOf(key, OSSL_PKEY_PARAM_PUB_KEY, errors)},
                   errors);
}

Made remake(const EVP_PKEY* key, const ErrorScope& errors) {
    if (EVP_PKEY_is_a(key, "RSA"))
        return makeRSA(numberOf(key, OSSL_PKEY_PARAM_RSA_N, errors).get(),
                       numberOf(key, OSSL_PKEY_PARAM_RSA_E, errors).get(), errors);
    if (EVP_PKEY_is_a(key, "EC"))
        return remakeEC(key, errors);
    if (EVP_PKEY_is_a(key, "DSA"))
        return remakeDSA(key, errors);
    throw Exception("The key is not one of RSA, of an elliptic curve or of DSA.");
}

/// An RSAPublicKey of PKCS#1; null when the bytes are something else.
Key readRSAPublicKey(const Bytes& der) {
    EVP_PKEY* key = nullptr;
    const Owned<OSSL_DECODER_CTX, OSSL_DECODER_CTX_free> context(OSSL_DECODER_CTX_new_for_pkey(
        &key, "DER", "type-specific", "RSA", EVP_PKEY_PUBLIC_KEY, libraryContext(), nullptr));
    const unsigned char* position = der.data();
    std::size_t left = der.size();
    const bool isRead = context && OSSL_DECODER_from_data(context.get(), &position, &left) == 1 && left == 0;
    Key owned(key);
    return isRead ? std::move(owned) : nullptr;
}

/// The signature as OpenSSL takes it: the two numbers in DER. Empty when it is none.
Bytes toDERSignature(const Bytes& signature, std::size_t numberSize) {
    if (signature.size() != 2 * numberSize)
        return {};
    const int size = static_cast<int>(numberSize);
    Number r(BN_bin2bn(signature.data(), size, nullptr));
    Number s(BN_bin2bn(signature.data() + size, size, nullptr));
    const Owned<ECDSA_SIG, ECDSA_SIG_free> numbers(ECDSA_SIG_new());
    if (!r || !s || !numbers || ECDSA_SIG_set0(numbers.get(), r.get(), s.get()) != 1)
        throw std::bad_alloc();
    static_cast<void>(r.release());
    static_cast<void>(s.release());
    Bytes der(static_cast<std::size_t>(i2d_ECDSA_SIG(numbers.get(), nullptr))); // one of DSA looks alike
    unsigned char* end = der.data();
    i2d_ECDSA_SIG(numbers.get(), &end);
    return der;
}

} // namespace

Number toNumber(const Bytes& bytes, const ErrorScope& errors) {
    const auto first = std::find_if(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte != 0; });
    const auto size = static_cast<std::size_t>(bytes.end() - first);
    if (size > MAXIMUM_NUMBER)
        throw UnsupportedKeySize("A number of the key is longer than 8192 bits.");
    Number number(BN_bin2bn(bytes.data() + (first - bytes.begin()), static_cast<int>(size), nullptr));
    errors.require(number != nullptr, "A number cannot be read");
    return number;
}

Bytes toBytes(const BIGNUM* number) {
    Bytes bytes(static_cast<std::size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, bytes.data());
    return bytes;
}

Number numberOf(const EVP_PKEY* key, const char* name, const ErrorScope& errors) {
    BIGNUM* number = nullptr;
    errors.require(EVP_PKEY_get_bn_param(key, name, &number) > 0, "A number of the key cannot be read");
    return Number(number);
}

void throwIfUnusableRSANumbers(const BIGNUM* modulus, const BIGNUM* exponent) {
    if (!BN_is_odd(modulus))
        throw Exception("The modulus of the RSA key is even.");
    if (!BN_is_odd(exponent) || BN_is_one(exponent))
        throw Exception("The public exponent of the RSA key is not an odd number of at least 3.");
    const int longest = BN_num_bits(modulus) > LARGEST_SMALL_MODULUS ? LONGEST_EXPONENT_OF_LARGE : LONGEST_EXPONENT;
    if (BN_cmp(exponent, modulus) >= 0 || BN_num_bits(exponent) > longest)
        throw Exception("The public exponent of the RSA key is too long.");
}

Key makeRSAPublicKey(const BIGNUM* modulus, const BIGNUM* exponent, const ErrorScope& errors) {
    return makeKey(
        "RSA", errors,
        [&](OSSL_PARAM_BLD* builder) {
            return OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_RSA_N, modulus) &&
                   OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_RSA_E, exponent);
        });
}

Bytes encodePublicKey(const EVP_PKEY* key, const ErrorScope& errors) {
    const int size = i2d_PUBKEY(key, nullptr);
    errors.require(size > 0, "The public key cannot be encoded");
    Bytes der(static_cast<std::size_t>(size));
    unsigned char* end = der.data();
    i2d_PUBKEY(key, &end);
    return der;
}

KeyValue keyValueOf(const PublicKey& key) {
    const ErrorScope errors;
    const PublicKey::Impl& impl = key.getImpl();
    KeyValue value;
    if (impl.kind == KeyKind::RSA) {
        value.modulus = toBytes(numberOf(impl.key.get(), OSSL_PKEY_PARAM_RSA_N, errors).get());
        value.exponent = toBytes(numberOf(impl.key.get(), OSSL_PKEY_PARAM_RSA_E, errors).get());
    } else if (impl.kind == KeyKind::EC) {
        value.curve = std::find_if(std::begin(CURVES), std::end(CURVES), [&](const Curve& each) {
                          return each.bits == impl.bits;
                      })->oid;
        value.point.assign(impl.der.end() - static_cast<std::ptrdiff_t>(1 + 2 * impl.numberSize), impl.der.end());
    }
    return value;
}

PublicKey::PublicKey(std::shared_ptr<const Impl> impl) noexcept : impl_(std::move(impl)) {}

PublicKey PublicKey::fromDER(const Bytes& der) {
    const ErrorScope errors;
    const unsigned char* position = der.data();
    const Key key(der.empty() || der.size() > INT_MAX
                      ? nullptr
                      : d2i_PUBKEY_ex(nullptr, &position, static_cast<long>(der.size()), libraryContext(), nullptr));
    if (!key || position != der.data() + der.size())
        throw Exception("The bytes are not a public key in DER.");
    return PublicKey(remake(key.get(), errors));
}

PublicKey PublicKey::fromPEMOrDER(const Bytes& bytes) {
    if (!looksLikePem(bytes)) {
        const ErrorScope errors;
        const Key key = readRSAPublicKey(bytes);
        return key ? PublicKey(remake(key.get(), errors)) : fromDER(bytes);
    }
    for (const PemBlock& block : readPem(asText(bytes)))
        if (block.label == "PUBLIC KEY" || block.label == "RSA PUBLIC KEY")
            return fromPEMOrDER(block.bytes.get());
    throw Exception("The PEM file holds no public key.");
}

PublicKey PublicKey::fromRSAKeyValue(const Bytes& modulus, const Bytes& exponent) {
    const ErrorScope errors;
    return PublicKey(makeRSA(toNumber(modulus, errors).get(), toNumber(exponent, errors).get(), errors));
}

PublicKey PublicKey::fromECKeyValue(std::string_view curve, const Bytes& point) {
    const ErrorScope errors;
    return PublicKey(makeEC(findCurve(curve, [&](const Curve& each) { return each.oid == curve; }), point, errors));
}

PublicKey PublicKey::fromDSAKeyValue(const Bytes& p, const Bytes& q, const Bytes& g, const Bytes& y) {
    const ErrorScope errors;
    return PublicKey(
        makeDSA({toNumber(p, errors), toNumber(q, errors), toNumber(g, errors), toNumber(y, errors)}, errors));
}

KeyKind PublicKey::getKind() const noexcept {
    return impl_->kind;
}

unsigned PublicKey::getKeySize() const noexcept {
    return impl_->bits;
}

const Bytes& PublicKey::toDER() const noexcept {
    return impl_->der;
}

bool PublicKey::verify(DigestAlgorithm digest, const Bytes& octets, const Bytes& signature) const {
    const ErrorScope errors;
    DigestContext context;
    startSignature(context, EVP_DigestVerifyInit_ex, impl_->key, digest, "Verifying cannot be started");
    const Bytes value = impl_->kind == KeyKind::RSA ? signature : toDERSignature(signature, impl_->numberSize);
    // 1 is the only value that says "valid"; what the bytes of a signature can cause are the others.
    return !value.empty() &&
           EVP_DigestVerify(context.get(), value.data(), value.size(), octets.data(), octets.size()) == 1;
}

bool operator==(const PublicKey& a, const PublicKey& b) noexcept {
    return a.toDER() == b.toDER();
}

bool operator!=(const PublicKey& a, const PublicKey& b) noexcept {
    return !(a == b);
}

} // namespace opc::crypto
