// SPDX-License-Identifier: Apache-2.0
// Certificates, bundles, keys and time stamps. The first byte of the input says what the rest is.
#include <opc/certificates/PKCS12Certificate.hpp>
#include <opc/certificates/TimeStamp.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/crypto/RSAPrivateKey.hpp>

#include "Fuzz.hpp"

namespace {

using namespace opc::certificates;
using opc::crypto::RSAPrivateKey;
using opc::crypto::RSAPublicKey;
using opc::fuzz::accepted;
using opc::fuzz::Bytes;

void check(const RSAPublicKey& key) {
    OPCRAFT_REQUIRE(key.getKeySize() == 1024 || key.getKeySize() == 2048 || key.getKeySize() == 4096);
    OPCRAFT_REQUIRE(RSAPublicKey::fromDER(key.toDER()) == key);
    OPCRAFT_REQUIRE(RSAPublicKey::fromModulusAndExponent(key.getModulus(), key.getExponent()) == key);
}

void check(const RSAPrivateKey& key) {
    OPCRAFT_REQUIRE(RSAPrivateKey::fromDER(key.toDER().get()).getPublicKey() == key.getPublicKey());
    check(key.getPublicKey());
}

/// What is asked of a certificate has an answer, whatever it says.
void check(const X509Certificate& certificate) {
    OPCRAFT_REQUIRE(X509Certificate::fromDER(certificate.toDER()) == certificate);
    OPCRAFT_REQUIRE(X509Certificate::fromPEM(certificate.toPEM()) == certificate);
    for (const std::string& text : {certificate.getSubject(), certificate.getIssuer()}) {
        opc::toString(text); // is UTF-8
        OPCRAFT_REQUIRE(text.find_first_of("\n\r\t\x1B") == std::string::npos);
    }
    OPCRAFT_REQUIRE(certificate.getSerialNumber().size() % 2 == (certificate.getSerialNumber()[0] == '-' ? 1U : 0U));
    certificate.getNotBefore();
    certificate.getNotAfter();
    certificate.getExtendedKeyUsages();
    for (const KeyUsage usage : {KeyUsage::DigitalSignature, KeyUsage::DecipherOnly})
        certificate.allowsKeyUsage(usage);
    accepted([&] { certificate.getDecimalSerialNumber(); });
    accepted([&] { OPCRAFT_REQUIRE(certificate.getSubjectPublicKey().getKeySize() == certificate.getKeySize()); });
    accepted([&] { OPCRAFT_REQUIRE(certificate.getPublicKey().getKeySize() == certificate.getKeySize()); });

    const CertificateValidationOptions all;
    TrustStore trust;
    trust.addCertificate(certificate);
    const bool valid =
        certificate.validate(X509CertificateChain({certificate}), all, trust).getCertificateChainStatus() == 0;
    OPCRAFT_REQUIRE(!valid || (certificate.allowsDigitalSignatures() && certificate.isValid(all)));
    OPCRAFT_REQUIRE(certificate.validate({}, all, TrustStore()).getCertificateChainStatus() != 0);
}

void check(const X509CertificateChain& chain) {
    for (const X509Certificate& certificate : chain.getCertificates())
        check(certificate);
}

void check(const PKCS12Certificate& bundle) {
    OPCRAFT_REQUIRE(bundle.hasCertificate() != bundle.getCertificate().isEmpty());
    OPCRAFT_REQUIRE(bundle.hasPrivateKey() != bundle.getPrivateKey().get().empty());
    accepted([&] { check(RSAPrivateKey::fromDER(bundle.getPrivateKey().get())); });
    if (bundle.hasCertificate())
        check(bundle.getCertificate());
    check(bundle.getCertificateChain());
}

void check(const TimeStamp& stamp) {
    OPCRAFT_REQUIRE(!stamp.getTime().is_special());
    OPCRAFT_REQUIRE(!stamp.covers("octets") || stamp.getDigestAlgorithm());
    const bool valid = stamp.isSignatureValid();
    if (stamp.getCertificate().isEmpty())
        OPCRAFT_REQUIRE(!valid);
    else
        OPCRAFT_REQUIRE(stamp.validateCertificate(TrustStore(), {}).getCertificateChainStatus() != 0);
}

void check(char kind, const Bytes& bytes) {
    switch (kind) {
    case 'c':
        return check(X509Certificate::fromPEMOrDER(bytes));
    case 'k':
        return check(RSAPublicKey::fromPEMOrDER(bytes));
    case 's':
        return check(RSAPrivateKey::fromPEMOrDER(bytes));
    case 't':
        return check(TimeStamp::fromDER(bytes));
    case 'h':
        return check(X509CertificateChain::fromPEMOrDER(bytes));
    default:
        return check(PKCS12Certificate(bytes, kind == 'p' ? "" : "fuzz"));
    }
}

const auto target = opc::fuzz::targets().emplace("certificates", [](const Bytes& bytes) {
    if (!bytes.empty())
        accepted([&] { check(static_cast<char>(bytes[0]), Bytes(bytes.begin() + 1, bytes.end())); });
});

} // namespace
