// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/crypto/CryptoEngine.hpp>

#include "support/OpenSSL.hpp"
#include "support/Throws.hpp"

#include <boost/algorithm/hex.hpp>

namespace opc::crypto {
namespace {

using test::Bytes;
using test::throws;
using test::throwsSaying;
using test::toBytes;

class Digests : public test::WithCleanErrorQueue {};

std::string finish(DigestEngine& engine) {
    std::string text;
    boost::algorithm::hex_lower(engine.finish(), std::back_inserter(text));
    return text;
}

const std::pair<DigestAlgorithm, const char*> OF_ABC[] = {
    // RFC 1321 A.5, FIPS 180 examples
    {DigestAlgorithm::MD5, "900150983cd24fb0d6963f7d28e17f72"},
    {DigestAlgorithm::SHA1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {DigestAlgorithm::SHA224, "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
    {DigestAlgorithm::SHA256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {DigestAlgorithm::SHA384, "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
                              "8086072ba1e7cc2358baeca134c825a7"},
    {DigestAlgorithm::SHA512, "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                              "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
};

TEST_F(Digests, AreThePublishedOnesHoweverTheDataIsCutAndAgainAfterTheFirst) {
    for (const auto& [algorithm, expected] : OF_ABC) {
        DigestEngine engine = CryptoEngine::createDigestEngine(algorithm);
        engine.update(toBytes("abc"));
        EXPECT_EQ(finish(engine), expected);
        engine.update(toBytes("a"));
        engine.update(nullptr, 0);
        DigestEngine moved = std::move(engine);
        moved.update(toBytes("bc"));
        EXPECT_EQ(finish(moved), expected) << "in blocks, by an engine that was used and moved";
    }
    DigestEngine engine = CryptoEngine::createDigestEngine(DigestAlgorithm::SHA256);
    EXPECT_EQ(finish(engine), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855") << "of nothing";
    for (int i = 0; i < 1000; ++i)
        engine.update(Bytes(1000, 'a'));
    EXPECT_EQ(finish(engine), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0")
        << "of a million letters";
    EXPECT_TRUE(throws<Exception>("Unknown digest algorithm.",
                                  [] { CryptoEngine::createDigestEngine(static_cast<DigestAlgorithm>(6)); }));
}

TEST_F(Digests, NeedNothingOfTheSystemsConfiguration) {
    // The command and the library that it is part of do nothing under this configuration; this library does.
    const test::TemporaryFolder folder;
    test::writeFile(folder / "openssl.cnf", toBytes("openssl_conf = init\n[init]\nproviders = providers\n"
                                                    "alg_section = algorithms\n[providers]\nbase = base\n"
                                                    "[base]\nactivate = 1\n[algorithms]\n"
                                                    "default_properties = fips=yes\n"));
    const std::string setting = "OPENSSL_CONF=" + (folder / "openssl.cnf").string();
    const auto command = test::runProcess("/usr/bin/env", {setting, OPCRAFT_OPENSSL, "dgst", "-sha256"});
    EXPECT_NE(command.exitCode, 0) << "the configuration does not forbid anything: " << command.out;
    const auto self = std::filesystem::read_symlink("/proc/self/exe").string();
    const auto child = test::runProcess(
        "/usr/bin/env", {setting, self, "--gtest_filter=Digests.AreThePublished*:RSAKeys.*Rebuilt*:Signatures.Fixed*"});
    EXPECT_EQ(child.exitCode, 0) << child.out;
    EXPECT_NE(child.out.find("[  PASSED  ] 3 tests."), std::string::npos) << child.out;
}

TEST(Base64, IsWrittenWithoutBreaksAndReadBack) {
    const std::pair<std::string_view, const char*> rows[] = {
        // RFC 4648 §10
        {"", ""},
        {"Zg==", "f"},
        {"Zm8=", "fo"},
        {"Zm9v", "foo"},
        {"Zm9vYg==", "foob"},
        {"Zm9vYmE=", "fooba"},
        {"Zm9vYmFy", "foobar"},
        {"+/+/", "\xfb\xff\xbf"},
    };
    for (const auto& [text, bytes] : rows) {
        EXPECT_EQ(CryptoEngine::encodeBase64(toBytes(bytes)), text);
        EXPECT_EQ(CryptoEngine::decodeBase64(text), toBytes(bytes));
    }
    Bytes large(3 * (3 << 20) + 1);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<unsigned char>(i * 7 + i / 251);
    for (const std::size_t size : {large.size(), large.size() - 1, large.size() - 2, std::size_t{3 << 20}}) {
        large.resize(size);
        const std::string text = CryptoEngine::encodeBase64(large);
        EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
        EXPECT_EQ(text.find('\n'), std::string::npos);
        EXPECT_TRUE(CryptoEngine::decodeBase64(text) == large) << size;
    }
}

TEST(Base64, IsReadWithWhiteSpaceOfXmlAndRefusedWithAnythingElse) {
    EXPECT_EQ(CryptoEngine::decodeBase64(std::u16string_view(u" \tZ m\r\n9v\nYg\n= = ")), toBytes("foob"));
    EXPECT_EQ(CryptoEngine::decodeBase64(std::string_view(" \n\t\r")), Bytes());
    const std::string_view refused[] = {
        "Z",        "Zg",           "Zg=",    "Zg===",  "Zm9v====", "====",  "=",
        "Z===",                             // missing or needless padding
        "Zg==Zg==", "Zm8=Zg==",     "=Zg=", // padding that is not at the end
        "Zh==",     "Zm9=",                 // bits behind the last byte
        "Zm9-",     "Zm9_",         "Zm9v\f", "Zm9v\v", "-Zm9",     "Zm9v-", std::string_view("Zm9v\0", 5),
        "Zm9v\x7f", "Zm9v\xc3\xa4", "Zm9v!", // other characters
    };
    for (const std::string_view text : refused)
        EXPECT_TRUE(throwsSaying<Exception>("is not base64", [text] { CryptoEngine::decodeBase64(text); })) << text;
    for (const std::u16string_view text : {u"Zm9v\u00a0", u"Zm9v\u0141", u"Zm9\uff36", u"Zm9v\u2028", u"\u0100Zm9"})
        EXPECT_TRUE(throwsSaying<Exception>("is not base64", [text] { CryptoEngine::decodeBase64(text); }));
}

TEST(RandomBytes, DifferEachTime) {
    const Bytes first = CryptoEngine::generateRandomBytes(32);
    EXPECT_EQ(first.size(), 32U);
    EXPECT_NE(first, CryptoEngine::generateRandomBytes(32));
    EXPECT_TRUE(CryptoEngine::generateRandomBytes(0).empty());
}

} // namespace
} // namespace opc::crypto
