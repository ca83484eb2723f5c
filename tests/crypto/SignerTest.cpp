// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/crypto/Signer.hpp>
#include <opc/crypto/UnsupportedKeySize.hpp>

#include "support/OpenSSL.hpp"
#include "support/Throws.hpp"

#include <openssl/ecdsa.h>

#include <algorithm>

namespace opc::crypto {
namespace {

using test::Bytes;
using test::readFile;
using test::throws;
using test::toBytes;
using test::writeFile;

/// The numbers of a signature in DER, one behind the other, and back.
Bytes toNumbers(const Bytes& der, int size) {
    const unsigned char* position = der.data();
    ECDSA_SIG* numbers = d2i_ECDSA_SIG(nullptr, &position, static_cast<long>(der.size()));
    Bytes bytes(static_cast<std::size_t>(2 * size));
    BN_bn2binpad(ECDSA_SIG_get0_r(numbers), bytes.data(), size);
    BN_bn2binpad(ECDSA_SIG_get0_s(numbers), bytes.data() + size, size);
    ECDSA_SIG_free(numbers);
    return bytes;
}

Bytes toDER(const Bytes& bytes, int size) {
    ECDSA_SIG* numbers = ECDSA_SIG_new();
    ECDSA_SIG_set0(numbers, BN_bin2bn(bytes.data(), size, nullptr), BN_bin2bn(bytes.data() + size, size, nullptr));
    Bytes der(static_cast<std::size_t>(i2d_ECDSA_SIG(numbers, nullptr)));
    unsigned char* end = der.data();
    i2d_ECDSA_SIG(numbers, &end);
    ECDSA_SIG_free(numbers);
    return der;
}

class Signers : public test::WithOpenSSL {
protected:
    /// Makes the file "key" by genpkey. @return the public one.
    PublicKey generate(const std::string& options) {
        writeFile(folder / "key", made("genpkey " + options));
        writeFile(folder / "public", made("pkey -in key -pubout -outform DER"));
        return PublicKey::fromDER(readFile(folder / "public"));
    }
};

TEST_F(Signers, HoldHereAndInTheOpensslCommandForEachKindOfKeyAndDigest) {
    const std::string digests[] = {"md5", "sha1", "sha224", "sha256", "sha384", "sha512"};
    const struct {
        const char* options;
        KeyKind kind;
        unsigned bits;
        int size; ///< of the numbers, in bytes
    } keys[] = {
        {"-algorithm RSA -pkeyopt rsa_keygen_bits:1536", KeyKind::RSA, 1536, 0},
        {"-algorithm RSA -pkeyopt rsa_keygen_bits:3072", KeyKind::RSA, 3072, 0},
        {"-algorithm EC -pkeyopt ec_paramgen_curve:P-256", KeyKind::EC, 256, 32},
        {"-algorithm EC -pkeyopt ec_paramgen_curve:P-384", KeyKind::EC, 384, 48},
        {"-algorithm EC -pkeyopt ec_paramgen_curve:P-521", KeyKind::EC, 521, 66},
        {"-paramfile parameters", KeyKind::DSA, 1024, 20},
    };
    const Bytes data = CryptoEngine::generateRandomBytes(1000);
    writeFile(folder / "data", data);
    writeFile(
        folder / "parameters",
        made("genpkey -genparam -algorithm DSA -pkeyopt dsa_paramgen_bits:1024 -pkeyopt dsa_paramgen_q_bits:160"));
    for (const auto& row : keys) {
        const PublicKey key = generate(row.options);
        EXPECT_EQ(key.getKind(), row.kind);
        EXPECT_EQ(key.getKeySize(), row.bits);
        EXPECT_EQ(key.toDER(), readFile(folder / "public"));
        for (int i = 0; i < 6; ++i) {
            SCOPED_TRACE(row.options + digests[i]);
            const auto digest = static_cast<DigestAlgorithm>(i);
            Bytes theirs = made("dgst -" + digests[i] + " -sign key data");
            EXPECT_EQ(key.verify(digest, data, theirs), row.size == 0) << "DER is not the form of XML";
            theirs = row.size == 0 ? theirs : toNumbers(theirs, row.size);
            EXPECT_TRUE(key.verify(digest, data, theirs));
            EXPECT_FALSE(key.verify(digest, toBytes("other"), theirs));
            EXPECT_FALSE(key.verify(static_cast<DigestAlgorithm>((i + 1) % 6), data, theirs));
            for (Bytes bad : {Bytes(theirs.size(), 0), Bytes(theirs.rbegin(), theirs.rend()), Bytes()})
                EXPECT_FALSE(key.verify(digest, data, bad));
            theirs.insert(theirs.begin() + row.size, 0);
            EXPECT_FALSE(key.verify(digest, data, theirs));
            if (row.kind == KeyKind::DSA)
                continue;
            KeySigner signer = KeySigner::fromPEMOrDER(readFile(folder / "key"));
            EXPECT_EQ(signer.getPublicKey(), key);
            const Bytes ours = signer.sign(digest, data);
            EXPECT_TRUE(key.verify(digest, data, ours));
            writeFile(folder / "ours", row.size == 0 ? ours : toDER(ours, row.size));
            EXPECT_EQ(made("dgst -" + digests[i] + " -keyform DER -verify public -signature ours data"),
                      toBytes("Verified OK\n"));
        }
    }
    EXPECT_TRUE(throws<Exception>("The private key is not one of RSA or of an elliptic curve.",
                                  [&] { KeySigner::fromPEMOrDER(readFile(folder / "key")); }));
}

TEST_F(Signers, ReadKeysInEachFormAndDecryptThem) {
    for (const char* options :
         {"-algorithm RSA -pkeyopt rsa_keygen_bits:1024", "-algorithm EC -pkeyopt ec_paramgen_curve:P-256"}) {
        const PublicKey key = generate(options);
        const auto phrase = [](const char* text) { return [text] { return SecretBytes(toBytes(text)); }; };
        for (const char* form :
             {"pkey -in key -outform DER", "pkey -in key -traditional", "pkey -in key -traditional -outform DER"})
            EXPECT_EQ(KeySigner::fromPEMOrDER(made(form)).getPublicKey(), key);
        for (const char* form :
             {"pkcs8 -in key -topk8 -passout pass:p+q", "pkcs8 -in key -topk8 -passout pass:p+q -outform DER",
              "pkey -in key -traditional -aes256 -passout pass:p+q"}) {
            const Bytes encrypted = made(form);
            EXPECT_EQ(KeySigner::fromPEMOrDER(encrypted, phrase("p+q")).getPublicKey(), key);
            EXPECT_TRUE(throws<Exception>(
                "The private key is encrypted.", [&] { KeySigner::fromPEMOrDER(encrypted); }));
            EXPECT_TRUE(throws<Exception>(
                "The private key cannot be decrypted: the pass phrase is another one, or the key is damaged.",
                [&] { KeySigner::fromPEMOrDER(encrypted, phrase("p")); }));
        }
        test::readDamaged(made("pkey -in key -outform DER"),
                          [](const Bytes& bytes) { KeySigner::fromPEMOrDER(bytes); });
        std::vector<std::string> publicForms{"pkey -in key -pubout", "pkey -in key -pubout -outform DER"};
        if (key.getKind() == KeyKind::RSA)
            publicForms.insert(publicForms.end(),
                               {"rsa -in key -RSAPublicKey_out", "rsa -in key -RSAPublicKey_out -outform DER"});
        for (const std::string& form : publicForms)
            EXPECT_EQ(PublicKey::fromPEMOrDER(made(form)), key);
        test::readDamaged(made(publicForms.back()), [](const Bytes& bytes) { PublicKey::fromPEMOrDER(bytes); });
    }
    EXPECT_TRUE(throws<Exception>("The PEM file holds no private key.", [] {
        KeySigner::fromPEMOrDER(toBytes("-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n"));
    }));
}

TEST_F(Signers, RefusePublicKeysOfOtherSizesAndCurves) {
    EXPECT_TRUE(throws<UnsupportedKeySize>(
        "The elliptic curve \"secp256k1\" is not supported; P-256, P-384 and P-521 are.",
        [&] { generate("-algorithm EC -pkeyopt ec_paramgen_curve:secp256k1"); }));
    EXPECT_TRUE(throws<Exception>("The key is not one of RSA, of an elliptic curve or of DSA.",
                                  [&] { generate("-algorithm ED25519"); }));

    const char* const p256 = "1.2.840.10045.3.1.7";
    Bytes point(65, 1);
    EXPECT_TRUE(throws<Exception>("The point is not an uncompressed one of its elliptic curve.",
                                  [&] { PublicKey::fromECKeyValue(p256, point); }));
    point[0] = 4;
    EXPECT_THROW(PublicKey::fromECKeyValue(p256, point), Exception) << "not on the curve";
    const PublicKey key = generate("-algorithm EC -pkeyopt ec_paramgen_curve:P-256");
    const Bytes der = key.toDER();
    EXPECT_EQ(PublicKey::fromECKeyValue(p256, {der.end() - 65, der.end()}), key);
    EXPECT_THROW(PublicKey::fromECKeyValue("1.3.132.0.34", {der.end() - 65, der.end()}), Exception);

    const Bytes odd(128, 0xFF);
    const Bytes q(20, 0xFF);
    EXPECT_EQ(PublicKey::fromRSAKeyValue(Bytes(1024, 0xFF), {3}).getKeySize(), 8192U);
    const struct {
        const char* message;
        std::function<void()> make;
    } refused[] = {
        {"An RSA key has to have 1024 to 8192 bits; this one has 1016.",
         [] { PublicKey::fromRSAKeyValue(Bytes(127, 0xFF), {3}); }},
        {"A number of the key is longer than 8192 bits.", [] { PublicKey::fromRSAKeyValue(Bytes(1025, 0xFF), {3}); }},
        {"A DSA key has to have 1024 to 3072 bits; this one has 1016.",
         [&] { PublicKey::fromDSAKeyValue(Bytes(127, 0xFF), q, {2}, {2}); }},
        {"The q of a DSA key has to have 160, 224 or 256 bits; this one has 152.",
         [&] { PublicKey::fromDSAKeyValue(odd, Bytes(19, 0xFF), {2}, {2}); }},
    };
    for (const auto& row : refused)
        EXPECT_TRUE(throws<UnsupportedKeySize>(row.message, row.make));
    EXPECT_TRUE(throws<Exception>(
        "The g or the y of the DSA key is not between 1 and its p.",
        [&] { PublicKey::fromDSAKeyValue(odd, q, {2}, odd); }));
    EXPECT_TRUE(throws<Exception>("The p or the q of the DSA key is even.",
                                  [&] { PublicKey::fromDSAKeyValue(Bytes(128, 0xFE), q, {2}, {2}); }));
}

} // namespace
} // namespace opc::crypto
