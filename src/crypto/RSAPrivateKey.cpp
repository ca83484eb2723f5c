// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/RSAPrivateKey.hpp>

#include "crypto/Pem.hpp"
#include "crypto/RSAKeys.hpp"

#include <opc/core/Exception.hpp>

#include <climits>
#include <string_view>
#include <utility>

namespace opc::crypto {

namespace {

constexpr const char* NO_PRIVATE_KEY_IN_DER = "The bytes are not an RSA private key in DER.";
constexpr const char* NO_PRIVATE_KEY_IN_PEM = "The key in the PEM file is not an RSA private key.";

/// The key of a PrivateKeyInfo of PKCS#8; null when the bytes are not one.
Key readKeyInfo(const std::vector<unsigned char>& der) {
    const unsigned char* position = der.data();
    const KeyInfo info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &position, static_cast<long>(der.size())));
    if (!info || position != der.data() + der.size())
        return nullptr;
    return Key(EVP_PKCS82PKEY_ex(info.get(), libraryContext(), nullptr));
}

/// The key of an RSAPrivateKey of PKCS#1; null when the bytes are not one.
Key readPlainKey(const std::vector<unsigned char>& der) {
    const unsigned char* position = der.data();
    Key key(
        d2i_PrivateKey_ex(EVP_PKEY_RSA, nullptr, &position, static_cast<long>(der.size()), libraryContext(), nullptr));
    return position == der.data() + der.size() ? std::move(key) : nullptr;
}

/// @param notAKey the message when the bytes are not an RSA private key.
std::shared_ptr<const RSAPrivateKey::Impl> readPrivateKey(const std::vector<unsigned char>& der, const char* notAKey) {
    const ErrorScope errors;
    if (der.empty() || der.size() > INT_MAX)
        throw Exception(notAKey);
    Key key = readKeyInfo(der);
    if (!key)
        key = readPlainKey(der);
    if (!key || !EVP_PKEY_is_a(key.get(), "RSA"))
        throw Exception(notAKey);
    RSAPublicKey publicKey = RSAPublicKey::fromDER(encodePublicKey(key.get(), errors));
    return std::make_shared<const RSAPrivateKey::Impl>(RSAPrivateKey::Impl{std::move(key), std::move(publicKey)});
}

} // namespace

RSAPrivateKey::RSAPrivateKey(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}

RSAPrivateKey RSAPrivateKey::fromDER(const std::vector<unsigned char>& der) {
    return RSAPrivateKey(readPrivateKey(der, NO_PRIVATE_KEY_IN_DER));
}

RSAPrivateKey RSAPrivateKey::fromPEMOrDER(const std::vector<unsigned char>& bytes) {
    if (!looksLikePem(bytes))
        return fromDER(bytes);
    for (const PemBlock& block : readPem(asText(bytes))) {
        const bool isKey = block.label == "PRIVATE KEY" || block.label == "RSA PRIVATE KEY";
        if (block.label == "ENCRYPTED PRIVATE KEY" || (isKey && block.encrypted))
            throw Exception("The private key in the PEM file is encrypted.");
        if (isKey)
            return RSAPrivateKey(readPrivateKey(block.bytes.get(), NO_PRIVATE_KEY_IN_PEM));
    }
    throw Exception("The PEM file holds no RSA private key.");
}

unsigned RSAPrivateKey::getKeySize() const noexcept {
    return impl_->publicKey.getKeySize();
}

RSAPublicKey RSAPrivateKey::getPublicKey() const {
    return impl_->publicKey;
}

SecretBytes RSAPrivateKey::toDER() const {
    const ErrorScope errors;
    const KeyInfo info(EVP_PKEY2PKCS8(impl_->key.get()));
    const int size = info ? i2d_PKCS8_PRIV_KEY_INFO(info.get(), nullptr) : 0;
    errors.require(size > 0, "The RSA key cannot be encoded");
    std::vector<unsigned char> der(static_cast<std::size_t>(size));
    unsigned char* end = der.data();
    i2d_PKCS8_PRIV_KEY_INFO(info.get(), &end);
    return SecretBytes(std::move(der));
}

} // namespace opc::crypto
