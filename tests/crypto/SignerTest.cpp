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
using test::openssl;
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

class Signers : public test::WithCleanErrorQueue {
protected:
    /// Makes "key" as the words say, and "public".
    void generate(const std::vector<std::string>& words) {
        if (words.front() == "DSA") {
            openssl(folder, {"genpkey", "-genparam", "-algorithm", "DSA", "-out", "parameters", "-pkeyopt",
                             words.back(), "-pkeyopt", "dsa_paramgen_q_bits:160"});
            openssl(folder, {"genpkey", "-paramfile", "parameters", "-out", "key"});
        } else if (words.size() == 1) {
            openssl(folder, {"genpkey", "-algorithm", words.front(), "-out", "key"});
        } else {
            openssl(folder, {"genpkey", "-algorithm", words.front(), "-pkeyopt", words.back(), "-out", "key"});
        }
        openssl(folder, {"pkey", "-in", "key", "-pubout", "-outform", "DER", "-out", "public"});
    }

    Bytes converted(const std::vector<std::string>& command) {
        openssl(folder, test::plus(command, {"-in", "key", "-out", "converted"}));
        return readFile(folder / "converted");
    }

    test::TemporaryFolder folder;
};

TEST_F(Signers, HoldHereAndInTheOpensslCommandForEachKindOfKeyAndDigest) {
    const std::string digests[] = {"-md5", "-sha1", "-sha224", "-sha256", "-sha384", "-sha512"};
    const struct {
        std::vector<std::string> words;
        KeyKind kind;
        unsigned bits;
        int size; ///< of the numbers, in bytes
    } keys[] = {
        {{"RSA", "rsa_keygen_bits:1536"}, KeyKind::RSA, 1536, 0},
        {{"RSA", "rsa_keygen_bits:3072"}, KeyKind::RSA, 3072, 0},
        {{"EC", "ec_paramgen_curve:P-256"}, KeyKind::EC, 256, 32},
        {{"EC", "ec_paramgen_curve:P-384"}, KeyKind::EC, 384, 48},
        {{"EC", "ec_paramgen_curve:P-521"}, KeyKind::EC, 521, 66},
        {{"DSA", "dsa_paramgen_bits:1024"}, KeyKind::DSA, 1024, 20},
    };
    const Bytes data = CryptoEngine::generateRandomBytes(1000);
    writeFile(folder / "data", data);
    for (const auto& row : keys) {
        generate(row.words);
        const PublicKey key = PublicKey::fromDER(readFile(folder / "public"));
        EXPECT_EQ(key.getKind(), row.kind);
        EXPECT_EQ(key.getKeySize(), row.bits);
        EXPECT_EQ(key.toDER(), readFile(folder / "public"));
        for (int i = 0; i < 6; ++i) {
            SCOPED_TRACE(row.words.back() + digests[i]);
            const auto digest = static_cast<DigestAlgorithm>(i);
            openssl(folder, {"dgst", digests[i], "-sign", "key", "-out", "theirs", "data"});
            Bytes theirs = readFile(folder / "theirs");
            EXPECT_EQ(key.verify(digest, data, theirs), row.size == 0) << "DER is not the form of XML";
            theirs = row.size == 0 ? theirs : toNumbers(theirs, row.size);
            EXPECT_TRUE(key.verify(digest, data, theirs));
            EXPECT_FALSE(key.verify(digest, toBytes("other"), theirs));
            EXPECT_FALSE(key.verify(static_cast<DigestAlgorithm>((i + 1) % 6), data, theirs));
            for (Bytes bad : {test::Bytes(theirs.size(), 0), Bytes(theirs.rbegin(), theirs.rend()), Bytes()})
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
            EXPECT_EQ(openssl(folder, {"dgst", digests[i], "-keyform", "DER", "-verify", "public", "-signature", "ours",
                                       "data"}),
                      "Verified OK\n");
        }
    }
    EXPECT_TRUE(throws<Exception>("The private key is not one of RSA or of an elliptic curve.",
                                  [&] { KeySigner::fromPEMOrDER(readFile(folder / "key")); }));
}

TEST_F(Signers, ReadKeysInEachFormAndDecryptThem) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"RSA", "rsa_keygen_bits:1024"}, {"EC", "ec_paramgen_curve:P-256"}}) {
        generate(words);
        const PublicKey key = PublicKey::fromDER(readFile(folder / "public"));
        const auto phrase = [](const char* text) { return [text] { return SecretBytes(toBytes(text)); }; };
        for (const std::vector<std::string>& form :
             {std::vector<std::string>{"-outform", "DER"}, {"-traditional"}, {"-traditional", "-outform", "DER"}})
            EXPECT_EQ(KeySigner::fromPEMOrDER(converted(test::plus({"pkey"}, form))).getPublicKey(), key);
        for (const std::vector<std::string>& form :
             {std::vector<std::string>{"pkcs8", "-topk8", "-passout", "pass:p q"},
              {"pkcs8", "-topk8", "-passout", "pass:p q", "-outform", "DER"},
              {"pkey", "-traditional", "-aes256", "-passout", "pass:p q"}}) {
            const Bytes encrypted = converted(form);
            EXPECT_EQ(KeySigner::fromPEMOrDER(encrypted, phrase("p q")).getPublicKey(), key);
            EXPECT_TRUE(throws<Exception>(
                "The private key is encrypted.", [&] { KeySigner::fromPEMOrDER(encrypted); }));
            EXPECT_TRUE(throws<Exception>(
                "The private key cannot be decrypted: the pass phrase is another one, or the key is damaged.",
                [&] { KeySigner::fromPEMOrDER(encrypted, phrase("p")); }));
        }
        test::readDamaged(converted({"pkey", "-outform", "DER"}),
                          [](const Bytes& bytes) { KeySigner::fromPEMOrDER(bytes); });
        std::vector<std::vector<std::string>> publicForms{{"pkey", "-pubout"}, {"pkey", "-pubout", "-outform", "DER"}};
        if (key.getKind() == KeyKind::RSA)
            publicForms.insert(publicForms.end(),
                               {{"rsa", "-RSAPublicKey_out"}, {"rsa", "-RSAPublicKey_out", "-outform", "DER"}});
        for (const auto& form : publicForms)
            EXPECT_EQ(PublicKey::fromPEMOrDER(converted(form)), key);
        test::readDamaged(converted(publicForms.back()), [](const Bytes& bytes) { PublicKey::fromPEMOrDER(bytes); });
    }
    EXPECT_TRUE(throws<Exception>("The PEM file holds no private key.", [] {
        KeySigner::fromPEMOrDER(toBytes("-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n"));
    }));
}

TEST_F(Signers, RefusePublicKeysOfOtherSizesAndCurves) {
    const auto ofFile = [&] { PublicKey::fromDER(readFile(folder / "public")); };
    generate({"EC", "ec_paramgen_curve:secp256k1"});
    EXPECT_TRUE(throws<UnsupportedKeySize>(
        "The elliptic curve \"secp256k1\" is not supported; P-256, P-384 and P-521 are.", ofFile));
    generate({"ED25519"});
    EXPECT_TRUE(throws<Exception>("The key is not one of RSA, of an elliptic curve or of DSA.", ofFile));

    const char* const p256 = "1.2.840.10045.3.1.7";
    Bytes point(65, 1);
    EXPECT_TRUE(throws<Exception>("The point is not an uncompressed one of its elliptic curve.",
                                  [&] { PublicKey::fromECKeyValue(p256, point); }));
    point[0] = 4;
    EXPECT_THROW(PublicKey::fromECKeyValue(p256, point), Exception) << "not on the curve";
    generate({"EC", "ec_paramgen_curve:P-256"});
    const PublicKey key = PublicKey::fromDER(readFile(folder / "public"));
    EXPECT_EQ(PublicKey::fromECKeyValue(p256, {key.toDER().end() - 65, key.toDER().end()}), key);
    EXPECT_THROW(PublicKey::fromECKeyValue("1.3.132.0.34", {key.toDER().end() - 65, key.toDER().end()}), Exception);

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
