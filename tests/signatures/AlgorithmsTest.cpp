// SPDX-License-Identifier: Apache-2.0
#include "support/Throws.hpp"

#include <opc/core/Exception.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/signatures/DigitalSignatureVerificationStatus.hpp>
#include <opc/signatures/SignatureAlgorithm.hpp>

#include <functional>
#include <tuple>

namespace opc::model {

namespace {

using certificates::CertificateValidationResults;
using opc::test::throws;
using Map = AlgorithmURIMap;

const std::string UNKNOWN_TAG = "Internal Error: Algorithm tag is not recognized.";
const std::string NO_DIGEST = "Internal error: Digest Method is not supported in algorithm map.";
const std::string NO_SIGNATURE = "Internal error: Signature Method is not supported in algorithm map.";
const std::string UNKNOWN = "URI provided is not supported as an algorithm.";

TEST(Algorithms, HaveOneIdentifierEach) {
    const char16_t* const identifiers[] = {u"2001/04/xmldsig-more#md5",        u"2000/09/xmldsig#sha1",
                                           u"2001/04/xmldsig-more#sha224",     u"2001/04/xmlenc#sha256",
                                           u"2001/04/xmldsig-more#sha384",     u"2001/04/xmlenc#sha512",
                                           u"2001/04/xmldsig-more#rsa-md5",    u"2000/09/xmldsig#rsa-sha1",
                                           u"2001/04/xmldsig-more#rsa-sha224", u"2001/04/xmldsig-more#rsa-sha256",
                                           u"2001/04/xmldsig-more#rsa-sha384", u"2001/04/xmldsig-more#rsa-sha512",
                                           u"TR/2001/REC-xml-c14n-20010315"};
    for (std::int32_t tag = 0; tag <= 12; ++tag) {
        const std::u16string identifier = std::u16string(u"http://www.w3.org/") + identifiers[tag];
        EXPECT_EQ(Map::getAlgorithmURI(static_cast<AlgorithmTag>(tag)), identifier) << tag;
        EXPECT_EQ(Map::getAlgorithmTag(identifier), static_cast<AlgorithmTag>(tag));
        const auto digest = static_cast<DigestMethod>(tag % 6);
        if (tag < 6) {
            EXPECT_EQ(Map::getAlgorithmURI(digest), identifier);
            EXPECT_EQ(Map::getDigestMethod(identifier), digest);
        } else {
            EXPECT_TRUE(throws<Exception>(
                NO_DIGEST, [&] { Map::getDigestMethod(identifier); }));
        }
        if (tag >= 6 && tag < 12) {
            for (const auto size : {SignatureMethod::RSA1024, SignatureMethod::RSA2048, SignatureMethod::RSA4096})
                EXPECT_EQ(Map::getAlgorithmURI(digest, size), identifier) << "the key's size changes nothing";
            EXPECT_EQ(Map::getSigningParameters(identifier).getDigestMethod(), digest);
            EXPECT_EQ(Map::getSigningParameters(identifier).getSignatureMethod(), SignatureMethod::RSA2048);
        } else {
            EXPECT_TRUE(throws<Exception>(
                NO_SIGNATURE, [&] { Map::getSigningParameters(identifier); }));
        }
    }
    const std::pair<SignatureMethod, unsigned> sizes[] = {
        {SignatureMethod::RSA1024, 1024}, {SignatureMethod::RSA2048, 2048}, {SignatureMethod::RSA4096, 4096}};
    for (const auto& [method, bits] : sizes) {
        EXPECT_EQ(toKeySize(method), bits);
        EXPECT_EQ(toSignatureMethod(bits), method);
    }
}

TEST(Algorithms, ThatAreNotKnownAreRefused) {
    const auto size = [](int value) { return static_cast<SignatureMethod>(value); };
    const auto noDigest = static_cast<DigestMethod>(6);
    const std::string noSize = "Input key size is not supported as a Signature Method.";
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[] { Map::getAlgorithmURI(static_cast<AlgorithmTag>(13)); }, UNKNOWN_TAG},
        {[] { Map::getAlgorithmURI(static_cast<AlgorithmTag>(-1)); }, UNKNOWN_TAG},
        {[&] { Map::getAlgorithmURI(noDigest); }, NO_DIGEST},
        {[] { Map::getAlgorithmURI(static_cast<DigestMethod>(-1)); }, NO_DIGEST},
        {[&] { Map::getAlgorithmURI(DigestMethod::SHA1, size(3)); }, NO_SIGNATURE},
        {[&] { Map::getAlgorithmURI(noDigest, size(3)); }, NO_SIGNATURE},
        {[&] { Map::getAlgorithmURI(noDigest, size(0)); }, NO_DIGEST},
        {[] { Map::getAlgorithmTag(u"http://www.w3.org/2000/09/xmldsig#sha1 "); }, UNKNOWN},
        {[] { Map::getAlgorithmTag(u"http://www.w3.org/2000/09/XMLDSIG#sha1"); }, UNKNOWN},
        {[] { Map::getDigestMethod(u""); }, UNKNOWN},
        {[] { Map::getSigningParameters(u"urn:none"); }, UNKNOWN},
        {[&] { toKeySize(size(3)); }, "Signature Method is unsupported."},
        {[] { toSignatureMethod(1536); }, noSize},
        {[] { toSignatureMethod(0); }, noSize},
    };
    for (const auto& [action, message] : rows)
        EXPECT_TRUE(throws<Exception>(message, action));
    try {
        toSignatureMethod(0);
    } catch (const Exception& e) {
        EXPECT_EQ(e.code(), boost::system::error_code(0, boost::system::system_category()));
    }
}

TEST(Algorithms, OfSignaturesHaveAKindOfKeyAndADigest) {
    using crypto::KeyKind;
    const std::tuple<const char16_t*, KeyKind, DigestMethod> rows[] = {
        {u"2001/04/xmldsig-more#rsa-md5", KeyKind::RSA, DigestMethod::MD5},
        {u"2000/09/xmldsig#rsa-sha1", KeyKind::RSA, DigestMethod::SHA1},
        {u"2001/04/xmldsig-more#rsa-sha512", KeyKind::RSA, DigestMethod::SHA512},
        {u"2001/04/xmldsig-more#ecdsa-sha1", KeyKind::EC, DigestMethod::SHA1},
        {u"2001/04/xmldsig-more#ecdsa-sha224", KeyKind::EC, DigestMethod::SHA224},
        {u"2001/04/xmldsig-more#ecdsa-sha256", KeyKind::EC, DigestMethod::SHA256},
        {u"2001/04/xmldsig-more#ecdsa-sha384", KeyKind::EC, DigestMethod::SHA384},
        {u"2001/04/xmldsig-more#ecdsa-sha512", KeyKind::EC, DigestMethod::SHA512},
        {u"2000/09/xmldsig#dsa-sha1", KeyKind::DSA, DigestMethod::SHA1},
        {u"2009/xmldsig11#dsa-sha256", KeyKind::DSA, DigestMethod::SHA256},
    };
    for (const auto& [name, keyKind, digestMethod] : rows) {
        const auto algorithm = SignatureAlgorithm::of(u"http://www.w3.org/" + std::u16string(name));
        EXPECT_EQ(algorithm.keyKind, keyKind);
        EXPECT_EQ(algorithm.digestMethod, digestMethod);
        EXPECT_EQ(SignatureAlgorithm::of(keyKind, digestMethod).identifier, algorithm.identifier);
        EXPECT_EQ(SignatureAlgorithm::findUnsupportedName(algorithm.identifier), "");
    }
    const std::pair<const char16_t*, const char*> others[] = {
        {u"http://www.w3.org/2007/05/xmldsig-more#rsa-pss", "RSA-PSS"},
        {u"http://www.w3.org/2007/05/xmldsig-more#sha256-rsa-MGF1", "RSA-PSS"},
        {u"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256", "HMAC"},
        {u"http://www.w3.org/2021/04/xmldsig-more#eddsa-ed25519", "EdDSA"},
        {u"http://www.w3.org/2001/04/xmldsig-more#RSA-SHA1", ""},
    };
    for (const auto& [identifier, name] : others) {
        EXPECT_FALSE(SignatureAlgorithm::of(identifier).keyKind || SignatureAlgorithm::of(identifier).digestMethod);
        EXPECT_EQ(SignatureAlgorithm::findUnsupportedName(identifier), name);
    }
    for (const auto& [keyKind, digestMethod] :
         {std::pair(KeyKind::DSA, DigestMethod::SHA512), {KeyKind::EC, DigestMethod::MD5}})
        EXPECT_THROW(SignatureAlgorithm::of(keyKind, digestMethod), Exception);
}

TEST(VerificationStatus, IsValidOnlyWhenSignatureAndCertificateAre) {
    const CertificateValidationResults expired(10, "certificate has expired");
    const struct {
        DigitalSignatureVerificationStatus status;
        bool signature, all;
        int code;
    } rows[] = {
        {makeValidVerificationStatus(), true, true, 0},
        {makeInvalidVerificationStatus(), false, false, 0},
        {makeValidSigCertificateResults(CertificateValidationResults()), true, true, 0},
        {makeValidSigCertificateResults(expired), true, false, 10},
        {makeInvalidSigCertificateResults(CertificateValidationResults()), false, false, 0},
        {makeInvalidSigCertificateResults(expired), false, false, 10},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.status.isSignatureValid(), row.signature);
        EXPECT_EQ(row.status.isValid(), row.all);
        EXPECT_EQ(row.status.getCertificateValidationResults().getCertificateChainStatus(), row.code);
        EXPECT_EQ(row.status.getCertificateValidationResults().getMessage(), row.code == 0 ? "" : expired.getMessage());
    }
}

} // namespace

} // namespace opc::model
