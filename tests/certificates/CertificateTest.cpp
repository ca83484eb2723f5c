// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/PKCS12Certificate.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/core/Exception.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/crypto/Signer.hpp>

#include "support/Authority.hpp"
#include "support/Throws.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <algorithm>

namespace opc::certificates {
namespace {

using boost::posix_time::time_from_string;
using test::Bytes;
using test::openssl;
using test::plus;
using test::readFile;
using test::throws;
using test::throwsSaying;

class Certificates : public test::WithCleanErrorQueue {
protected:
    std::string field(const std::string& name, const std::vector<std::string>& options) const {
        const std::string line =
            openssl(authority.folder, plus({"x509", "-noout", "-in", test::Authority::file(name)}, options));
        return line.substr(line.find('=') + 1, line.size() - line.find('=') - 2);
    }

    test::Authority authority;
};

class Bundles : public Certificates {
protected:
    Bundles() {
        authority.issue({.name = "root", .issuer = "root", .extensions = "basicConstraints=CA:TRUE", .bits = "1024"});
        authority.issue({.name = "leaf", .issuer = "root", .extensions = "keyUsage=digitalSignature", .bits = "1024"});
    }

    Bytes bundle(const std::vector<std::string>& options,
                 const std::string& protection = "pass:se cret\xc3\xa4") const {
        openssl(authority.folder, plus({"pkcs12", "-export", "-out", "bundle", "-passout", protection}, options));
        return readFile(authority.folder / "bundle");
    }

    const std::vector<std::string> full = {"-inkey", "leaf.key", "-in", "leaf.pem", "-certfile", "root.pem"};
    const std::string password = "se cret\xc3\xa4";
};

TEST_F(Certificates, SayWhatTheOpensslCommandSays) {
    authority.issue({"signer", "signer", "",
                     "keyUsage=digitalSignature,keyAgreement\nextendedKeyUsage=emailProtection,1.2.3.4",
                     "20240229235958Z", "20531231235959Z", "sha256", "1024",
                     "/O=A\\, \"B\" \\+ C/CN=J\xc3\xbcrgen \xe5\xb1\xb1\x01"});
    const X509Certificate one = authority.certificate("signer");
    EXPECT_EQ(one.getSubject(), "O=A\\, \\\"B\\\" \\+ C,CN=J\xc3\xbcrgen \xe5\xb1\xb1\\01");
    EXPECT_EQ(one.getSubject(), field("signer", {"-subject", "-nameopt", "RFC2253,-esc_msb"}));
    EXPECT_EQ(one.getIssuer(), field("signer", {"-issuer", "-nameopt", "RFC2253,-esc_msb"}));
    EXPECT_EQ(one.getSerialNumber(), field("signer", {"-serial"}));
    EXPECT_EQ(one.getDecimalSerialNumber(), std::to_string(std::stoul(one.getSerialNumber(), nullptr, 16)));
    EXPECT_EQ(one.getNotBefore(), time_from_string("2024-02-29 23:59:58"));
    EXPECT_EQ(one.getNotAfter(), time_from_string("2053-12-31 23:59:59"));
    EXPECT_EQ(one.getKeySize(), 1024U);
    EXPECT_EQ(one.getPublicKey(),
              crypto::RSAPrivateKey::fromPEMOrDER(readFile(authority.folder / "signer.key")).getPublicKey());
    EXPECT_EQ(one.getExtendedKeyUsages(), (std::vector<std::string>{"1.3.6.1.5.5.7.3.4", "1.2.3.4"}));
    for (int usage = 0; usage <= static_cast<int>(KeyUsage::DecipherOnly); ++usage) {
        const auto which = static_cast<KeyUsage>(usage);
        EXPECT_EQ(one.allowsKeyUsage(which), which == KeyUsage::DigitalSignature || which == KeyUsage::KeyAgreement)
            << usage;
    }
    authority.issue({"bare", "signer", "signer", "subjectKeyIdentifier=hash"});
    const X509Certificate bare = authority.certificate("bare");
    EXPECT_EQ(bare.getIssuer(), one.getSubject());
    EXPECT_NE(bare.getSerialNumber(), one.getSerialNumber());
    EXPECT_TRUE(bare.getExtendedKeyUsages().empty());
    EXPECT_TRUE(bare.allowsKeyUsage(KeyUsage::KeyCertSign)) << "nothing is said, everything is allowed";
}

TEST_F(Certificates, AreReadAndWrittenInBothForms) {
    authority.issue({.name = "signer", .issuer = "signer", .bits = "1024"});
    authority.issue({"second", "signer", "signer"});
    openssl(authority.folder, {"x509", "-in", "signer.pem", "-outform", "DER", "-out", "der"});
    const Bytes der = readFile(authority.folder / "der");
    const X509Certificate one = X509Certificate::fromDER(der);
    EXPECT_EQ(one.toDER(), der);
    EXPECT_EQ(one.toPEM(), authority.text("signer"));
    EXPECT_EQ(X509Certificate::fromPEM("text\n" + authority.text("signer") + authority.text("second")), one);
    EXPECT_EQ(X509Certificate::fromPEMOrDER(der), one);
    EXPECT_EQ(X509Certificate::fromPEMOrDER(readFile(authority.folder / "signer.pem")), one);
    EXPECT_NE(authority.certificate("second"), one);
    const Bytes key = readFile(authority.folder / "signer.key");
    const auto chain = X509CertificateChain::fromPEM(std::string(key.begin(), key.end()) + authority.text("second") +
                                                     authority.text("signer"));
    EXPECT_EQ(chain.getCertificates(), (std::vector<X509Certificate>{authority.certificate("second"), one}));
    EXPECT_EQ(X509CertificateChain::fromPEMOrDER(der).getCertificates(), (std::vector<X509Certificate>{one}));
    EXPECT_TRUE(throws<Exception>(
        "The PEM text holds no certificate.", [] { X509CertificateChain::fromPEM(""); }));
    EXPECT_TRUE(throws<Exception>(
        "The PEM text holds no certificate.", [] { X509Certificate::fromPEM("no text"); }));
    EXPECT_TRUE(
        throws<Exception>("An empty certificate cannot be part of a chain.", [] { X509CertificateChain().add({}); }));
}

TEST_F(Certificates, ThatAreEmptyOrHaveOtherKeysSaySo) {
    const X509Certificate none;
    EXPECT_TRUE(none.isEmpty());
    EXPECT_EQ(none, X509Certificate());
    for (const auto& get : std::initializer_list<void (*)(const X509Certificate&)>{
             [](const X509Certificate& c) { c.getSubject(); }, [](const X509Certificate& c) { c.toDER(); },
             [](const X509Certificate& c) { c.getPublicKey(); },
             [](const X509Certificate& c) { c.getSubjectPublicKey(); },
             [](const X509Certificate& c) { c.allowsDigitalSignatures(); },
             [](const X509Certificate& c) { c.validate({}, {}, {}); }})
        EXPECT_TRUE(throws<Exception>("The certificate is empty.", [&] { get(none); }));

    openssl(authority.folder,
            {"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", "curve.key"});
    authority.issue({"curve", "curve"});
    const X509Certificate curve = authority.certificate("curve");
    EXPECT_NE(curve, none);
    EXPECT_EQ(curve.getKeySize(), 256U);
    const Bytes key = readFile(authority.folder / "curve.key");
    EXPECT_EQ(curve.getSubjectPublicKey(), crypto::KeySigner::fromPEMOrDER(key).getPublicKey());
    EXPECT_TRUE(throws<Exception>("The key of the certificate is not an RSA key.", [&] { curve.getPublicKey(); }));
}

TEST_F(Certificates, ThatAreCutExtendedOrDamagedThrowAndNothingElse) {
    authority.issue({.name = "signer", .issuer = "signer", .extensions = "extendedKeyUsage=1.2", .bits = "1024"});
    const int read = test::readDamaged(authority.certificate("signer").toDER(), [&](const Bytes& bytes) {
        const X509Certificate one = X509Certificate::fromDER(bytes);
        TrustStore trust;
        trust.addCertificate(one);
        try {
            one.getSubject();
            one.getIssuer();
            one.getSerialNumber();
            one.getNotBefore();
            one.getNotAfter();
            one.getKeySize();
            one.getExtendedKeyUsages();
            one.validate({}, {}, trust);
            one.getSubjectPublicKey();
            one.getPublicKey();
        } catch (const Exception&) { // of what is asked, not of the certificate
        }
    });
    EXPECT_GT(read, 0) << "many changes leave a certificate that can be read";
}

TEST_F(Bundles, OfTodayAndOfOldAreRead) {
    const std::pair<const char*, std::vector<std::string>> bundles[] = {
        {"AES-256 and PBKDF2", plus(full, {})},
        {"RC2-40 and Triple-DES", plus(full, {"-legacy"})},
        {"RC4", plus(full, {"-legacy", "-certpbe", "PBE-SHA1-RC4-128", "-keypbe", "PBE-SHA1-RC4-40"})},
        {"DES, by PKCS#5 version 1", plus(full, {"-legacy", "-certpbe", "PBE-MD5-DES", "-keypbe", "PBE-SHA1-DES"})},
        {"Triple-DES", plus(full, {"-certpbe", "PBE-SHA1-3DES", "-keypbe", "PBE-SHA1-3DES", "-macalg", "sha1"})},
        {"not encrypted", plus(full, {"-certpbe", "NONE", "-keypbe", "NONE"})},
        {"without a MAC", plus(full, {"-nomac"})},
        {"the issuer in front", {"-inkey", "leaf.key", "-in", "root-leaf.pem"}},
    };
    authority.write("root-leaf.pem", authority.text("root") + authority.text("leaf"));
    const auto key = crypto::RSAPrivateKey::fromPEMOrDER(readFile(authority.folder / "leaf.key"));
    for (const auto& [what, options] : bundles) {
        const PKCS12Certificate one(bundle(options), password);
        EXPECT_TRUE(one.hasPrivateKey() && one.hasCertificate()) << what;
        EXPECT_EQ(crypto::RSAPrivateKey::fromDER(one.getPrivateKey().get()).toDER().get(), key.toDER().get()) << what;
        EXPECT_EQ(one.getCertificate(), authority.certificate("leaf")) << what;
        EXPECT_EQ(one.getCertificateChain().getCertificates(),
                  std::vector<X509Certificate>{authority.certificate("root")})
            << what;
    }
    EXPECT_TRUE(PKCS12Certificate(bundle(full, "pass:"), "").hasPrivateKey()) << "an empty password";

    openssl(authority.folder,
            {"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-384", "-out", "curve.key"});
    authority.issue({"curve", "root"});
    const PKCS12Certificate curve(bundle({"-inkey", "curve.key", "-in", "curve.pem"}), password);
    EXPECT_EQ(crypto::KeySigner::fromPEMOrDER(curve.getPrivateKey().get()).getPublicKey(),
              curve.getCertificate().getSubjectPublicKey());
}

TEST_F(Bundles, SayWhatIsMissing) {
    const PKCS12Certificate noKey(bundle({"-nokeys", "-in", "leaf.pem"}), password);
    EXPECT_FALSE(noKey.hasPrivateKey());
    EXPECT_FALSE(noKey.hasCertificate());
    EXPECT_TRUE(noKey.getPrivateKey().get().empty());
    EXPECT_EQ(noKey.getCertificateChain().getCertificates(),
              std::vector<X509Certificate>{authority.certificate("leaf")});
    const PKCS12Certificate noCertificate(bundle({"-nocerts", "-inkey", "leaf.key"}), password);
    EXPECT_TRUE(noCertificate.hasPrivateKey());
    EXPECT_FALSE(noCertificate.hasCertificate());
    EXPECT_TRUE(noCertificate.getCertificate().isEmpty());
    EXPECT_TRUE(noCertificate.getCertificateChain().isEmpty());
}

TEST_F(Bundles, WithAWrongPasswordOrTooMuchWorkAreRefused) {
    const char* const wrong = "The password of the PKCS#12 file is wrong, or the file was changed.";
    for (const auto& more : {std::vector<std::string>{}, {"-legacy"}}) {
        const Bytes bytes = bundle(plus(full, more));
        EXPECT_TRUE(throws<Exception>(
            wrong, [&] { PKCS12Certificate(bytes, "other"); }));
        EXPECT_TRUE(throws<Exception>(
            wrong, [&] { PKCS12Certificate(bytes, ""); }));
        EXPECT_TRUE(throws<Exception>("The password of a PKCS#12 file cannot contain a zero byte.",
                                      [&] { PKCS12Certificate(bytes, password + std::string(1, '\0')); }));
    }
    const Bytes noMac = bundle(plus(full, {"-nomac"}));
    EXPECT_TRUE(throwsSaying<Exception>("The PKCS#12 file cannot be decrypted; the password may be wrong",
                                        [&] { PKCS12Certificate(noMac, "other"); }));

    // 1,000,000 rounds stand in the file as 02 03 0F 42 40; they are changed to a number that makes no sense, and in a
    // key of more than eight million rounds to one that would take minutes.
    const auto replaced = [](Bytes bytes, const Bytes& from, const Bytes& to) {
        const auto position = std::search(bytes.begin(), bytes.end(), from.begin(), from.end());
        if (position == bytes.end())
            throw std::runtime_error("there is no such number of rounds");
        std::copy(to.begin(), to.end(), position);
        return bytes;
    };
    const char* const work = "The PKCS#12 file asks for too many rounds of key derivation.";
    const Bytes mac = replaced(bundle(plus(full, {"-certpbe", "NONE", "-keypbe", "NONE", "-iter", "1000000"})),
                               {0x02, 0x03, 0x0F, 0x42, 0x40}, {0x02, 0x03, 0x80, 0x00, 0x00});
    EXPECT_TRUE(throws<Exception>(work, [&] { PKCS12Certificate(mac, password); }));
    const Bytes key = replaced(bundle({"-nocerts", "-inkey", "leaf.key", "-iter", "8388608", "-nomac"}),
                               {0x02, 0x04, 0x00, 0x80, 0x00, 0x00}, {0x02, 0x04, 0x7F, 0xFF, 0xFF, 0xFF});
    EXPECT_TRUE(throws<Exception>(work, [&] { PKCS12Certificate(key, password); }));
}

TEST_F(Bundles, ThatAreCutExtendedOrDamagedThrowAndNothingElse) {
    for (const auto& more :
         {std::vector<std::string>{}, {"-legacy"}, {"-nomac"}, {"-nomac", "-certpbe", "NONE", "-keypbe", "NONE"}})
        test::readDamaged(
            bundle(plus(plus(full, {"-iter", "1", "-nomaciter"}), more)),
            [&](const Bytes& bytes) { PKCS12Certificate(bytes, password); });
    EXPECT_TRUE(throwsSaying<Exception>("The bytes are not a PKCS#12 file", [] { PKCS12Certificate({}, ""); }));
}

} // namespace
} // namespace opc::certificates
