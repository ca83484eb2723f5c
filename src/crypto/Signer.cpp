// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/Signer.hpp>

#include "crypto/Algorithms.hpp"
#include "crypto/Pem.hpp"
#include "crypto/PublicKeys.hpp"

#include <opc/core/Exception.hpp>

#include <openssl/ec.h>
#include <openssl/pem.h>

#include <climits>
#include <string>
#include <utility>

namespace opc::crypto {

namespace {

using Bytes = std::vector<unsigned char>;
using EncryptedKeyInfo = Owned<X509_SIG, X509_SIG_free>;

constexpr const char* NOT_A_KEY = "The bytes are not a private key in DER.";

SecretBytes ask(const KeySigner::PassPhrase& passPhrase) {
    if (!passPhrase)
        throw Exception("The private key is encrypted.");
    return passPhrase();
}

Key decrypted(Key key) {
    if (!key)
        throw Exception("The private key cannot be decrypted: the pass phrase is another one, or the key is damaged.");
    return key;
}

/// An EncryptedPrivateKeyInfo of PKCS#8; null when the bytes are something else.
EncryptedKeyInfo readEncrypted(const Bytes& der) {
    const unsigned char* position = der.data();
    EncryptedKeyInfo info(d2i_X509_SIG(nullptr, &position, static_cast<long>(der.size())));
    return position == der.data() + der.size() ? std::move(info) : nullptr;
}

Key decrypt(const X509_SIG* encrypted, const SecretBytes& phrase) {
    const auto* text = reinterpret_cast<const char*>(phrase.get().data());
    const auto size = static_cast<int>(phrase.get().size());
    const KeyInfo info(PKCS8_decrypt_ex(encrypted, text, size, libraryContext(), nullptr));
    return decrypted(Key(info ? EVP_PKCS82PKEY_ex(info.get(), libraryContext(), nullptr) : nullptr));
}

Key readDER(const Bytes& der, const KeySigner::PassPhrase& passPhrase) {
    if (der.empty() || der.size() > INT_MAX)
        throw Exception(NOT_A_KEY);
    if (const EncryptedKeyInfo encrypted = readEncrypted(der))
        return decrypt(encrypted.get(), ask(passPhrase));
    const unsigned char* position = der.data();
    Key key(d2i_AutoPrivateKey_ex(nullptr, &position, static_cast<long>(der.size()), libraryContext(), nullptr));
    if (!key || position != der.data() + der.size())
        throw Exception(NOT_A_KEY);
    return key;
}

/// The first key of a PEM file whose keys are encrypted as RFC 1421 does it.
Key readEncryptedPem(const Bytes& bytes, const SecretBytes& phrase) {
    Bytes text = phrase.get();
    text.push_back('\0');
    const SecretBytes terminated(std::move(text));
    const Bio input(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
    auto* const data = const_cast<unsigned char*>(terminated.get().data()); // read, as the pass phrase
    return decrypted(Key(PEM_read_bio_PrivateKey_ex(input.get(), nullptr, nullptr, data, libraryContext(), nullptr)));
}

Key readKey(const Bytes& bytes, const KeySigner::PassPhrase& passPhrase) {
    if (!looksLikePem(bytes))
        return readDER(bytes, passPhrase);
    for (const PemBlock& block : readPem(asText(bytes))) {
        if (!block.label.ends_with("PRIVATE KEY"))
            continue;
        return block.encrypted ? readEncryptedPem(bytes, ask(passPhrase)) : readDER(block.bytes.get(), passPhrase);
    }
    throw Exception("The PEM file holds no private key.");
}

/// Two numbers in DER, as OpenSSL gives them, one behind the other.
Bytes toNumbers(const Bytes& der, std::size_t numberSize, const ErrorScope& errors) {
    const unsigned char* position = der.data();
    const Owned<ECDSA_SIG, ECDSA_SIG_free> numbers(d2i_ECDSA_SIG(nullptr, &position, static_cast<long>(der.size())));
    Bytes signature(2 * numberSize);
    const int size = static_cast<int>(numberSize);
    errors.require(numbers && BN_bn2binpad(ECDSA_SIG_get0_r(numbers.get()), signature.data(), size) == size &&
                       BN_bn2binpad(ECDSA_SIG_get0_s(numbers.get()), signature.data() + size, size) == size,
                   "The signature cannot be read");
    return signature;
}

} // namespace

struct KeySigner::Impl {
    Key key;
    PublicKey publicKey;
};

Signer::~Signer() = default;

KeySigner::KeySigner(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}

KeySigner::~KeySigner() = default;

KeySigner KeySigner::fromPEMOrDER(const Bytes& bytes, const PassPhrase& passPhrase) {
    const ErrorScope errors;
    Key key = readKey(bytes, passPhrase);
    if (!EVP_PKEY_is_a(key.get(), "RSA") && !EVP_PKEY_is_a(key.get(), "EC"))
        throw Exception("The private key is not one of RSA or of an elliptic curve.");
    PublicKey publicKey = PublicKey::fromDER(encodePublicKey(key.get(), errors));
    return KeySigner(std::make_shared<const Impl>(Impl{std::move(key), std::move(publicKey)}));
}

PublicKey KeySigner::getPublicKey() const {
    return impl_->publicKey;
}

bool KeySigner::supports(DigestAlgorithm /*digest*/) const {
    return true;
}

Bytes KeySigner::sign(DigestAlgorithm digest, const Bytes& octets) {
    const ErrorScope errors;
    DigestContext context;
    startSignature(context, EVP_DigestSignInit_ex, impl_->key, digest, "Signing cannot be started");
    std::size_t size = 0;
    errors.require(EVP_DigestSign(context.get(), nullptr, &size, octets.data(), octets.size()) > 0,
                   "The private key cannot sign");
    Bytes signature(size);
    errors.require(EVP_DigestSign(context.get(), signature.data(), &size, octets.data(), octets.size()) > 0,
                   "The private key cannot sign");
    signature.resize(size);
    const std::size_t numberSize = impl_->publicKey.getImpl().numberSize;
    return numberSize == 0 ? signature : toNumbers(signature, numberSize, errors);
}

} // namespace opc::crypto
