// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/TrustStore.hpp>
#include <opc/core/Exception.hpp>
#include <opc/crypto/UnsupportedKeySize.hpp>

#include "support/Authority.hpp"
#include "support/Table.hpp"
#include "support/Throws.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <openssl/x509_vfy.h>

#include <iterator>
#include <sstream>

namespace opc::certificates {
namespace {

using boost::posix_time::ptime;
using boost::posix_time::time_from_string;
using test::Authority;
using test::throws;

const char* const CA = "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign";
const ptime MIDDLE = time_from_string("2025-06-01 12:00:00");

std::vector<std::string> namesIn(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

/// root <- middle <- the certificates of signers, which share the key of "leaf"; other is a root besides.
class Validation : public test::WithCleanErrorQueue {
protected:
    Validation() {
        const std::string from = "20200101000000Z";
        const std::string until = "20500101000000Z";
        authority.issue({"root", "root", "", CA, from, until});
        authority.issue({"other", "other", "", CA, from, until});
        authority.issue({"middle", "root", "", CA, from, until});
        authority.issue({"leaf", "middle"});
        options.setPointInTime(MIDDLE);
    }

    static CertificateValidationOptions checking(bool time, bool purpose, bool chain, const ptime& when = MIDDLE) {
        CertificateValidationOptions result;
        result.setPointInTime(when);
        result.setCheckValidityTime(time);
        result.setCheckPurpose(purpose);
        result.setCheckChain(chain);
        return result;
    }

    /// The verdict on a certificate with others and trusted ones, whose names are separated by blanks.
    int status(const std::string& name, const std::string& chain, const std::string& trusted,
               const CertificateValidationOptions& how) const {
        X509CertificateChain others;
        for (const std::string& other : namesIn(chain))
            others.add(authority.certificate(other));
        TrustStore trust;
        for (const std::string& anchor : namesIn(trusted))
            trust.addCertificate(authority.certificate(anchor));
        const auto results = authority.certificate(name).validate(others, how, trust);
        const int code = results.getCertificateChainStatus();
        EXPECT_EQ(results.getMessage(), code == 0 ? "" : X509_verify_cert_error_string(code));
        return code;
    }

    /// The verdict of the command; it knows nothing of what a signer's certificate is for.
    int theirs(const std::string& name, const std::string& chain, const std::string& trusted, const ptime& when) const {
        const std::string time = std::to_string(boost::posix_time::to_time_t(when));
        std::vector<std::string> arguments = {
            "verify", "-no-CAfile", "-no-CApath", "-no-CAstore", "-partial_chain", "-auth_level", "1", "-attime", time};
        for (const std::string& other : namesIn(chain))
            arguments.insert(arguments.end(), {"-untrusted", Authority::file(other)});
        for (const std::string& anchor : namesIn(trusted))
            arguments.insert(arguments.end(), {"-trusted", Authority::file(anchor)});
        arguments.push_back(Authority::file(name));
        const auto result = test::runProcess(OPCRAFT_OPENSSL, arguments, {.folder = authority.folder.path()});
        if (result.exitCode == 0)
            return 0;
        const std::string text = result.err + result.out;
        const auto position = text.find("error ");
        if (position == std::string::npos)
            throw std::runtime_error(text);
        return std::stoi(text.substr(position + 6));
    }

    Authority authority;
    CertificateValidationOptions options;
};

TEST_F(Validation, GivesEachCertificateItsVerdictAndTheOneOfTheOpensslCommand) {
    const std::string end = "20500101000000Z";
    authority.issue({"selfsigned", "selfsigned", "leaf"});
    authority.issue({"stranger", "other", "leaf"});
    authority.issue({"old", "root", "leaf", "keyUsage=digitalSignature", "20200101000000Z", "20210101000000Z"});
    authority.issue({"coming", "root", "leaf", "keyUsage=digitalSignature", "20400101000000Z", end});
    authority.issue({"oldmiddle", "root", "", CA, "20200101000000Z", "20210101000000Z"});
    authority.issue({"underold", "oldmiddle", "leaf"});
    authority.issue({"noca", "root", "", "basicConstraints=CA:FALSE\nkeyUsage=digitalSignature"});
    authority.issue({"undernoca", "noca", "leaf"});
    authority.issue({"critical", "root", "leaf", "1.2.3.4=critical,ASN1:NULL"});
    authority.issue({"sha1", "root", "leaf", "keyUsage=digitalSignature", "20240101000000Z", end, "sha1"});
    authority.issue({"small", "root", "", "keyUsage=digitalSignature", "20240101000000Z", end, "sha256", "1024"});
    authority.issue({"tiny", "root", "", "keyUsage=digitalSignature", "20240101000000Z", end, "sha256", "768"});
    authority.issue({"odd", "root", "", "keyUsage=digitalSignature", "20240101000000Z", end, "sha256", "1536"});
    test::openssl(authority.folder, {"ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", "curveroot.key"});
    test::openssl(authority.folder, {"ecparam", "-name", "secp521r1", "-genkey", "-noout", "-out", "curve.key"});
    authority.issue({"curveroot", "curveroot", "", CA});
    authority.issue({"curve", "curveroot"});

    for (const auto& row : test::readTable("certificates/verdicts.tsv")) {
        const ptime when = row[5] == "-" ? MIDDLE : time_from_string(row[5]);
        EXPECT_EQ(status(row[1], row[2], row[3], checking(true, true, true, when)), std::stoi(row[4])) << row[0];
        EXPECT_EQ(theirs(row[1], row[2], row[3], when), std::stoi(row[4])) << row[0] << ", by the command";
    }
    EXPECT_EQ(authority.certificate("tiny").getKeySize(), 768U);
    EXPECT_TRUE(throws<crypto::UnsupportedKeySize>("An RSA key has to have 1024, 2048 or 4096 bits; this one has 768.",
                                                   [&] { authority.certificate("tiny").getPublicKey(); }));

    // What is not asked for is not checked.
    EXPECT_EQ(status("old", "", "root", checking(false, true, true)), X509_V_OK);
    EXPECT_EQ(status("old", "", "", checking(false, false, false)), X509_V_OK);
    EXPECT_EQ(status("old", "", "", checking(true, false, false)), X509_V_ERR_CERT_HAS_EXPIRED);
    EXPECT_EQ(status("coming", "", "", checking(true, true, false)), X509_V_ERR_CERT_NOT_YET_VALID);
    EXPECT_EQ(status("underold", "oldmiddle", "root", checking(false, true, true)), X509_V_OK);
    EXPECT_EQ(status("stranger", "", "root", checking(true, true, false)), X509_V_OK);
    EXPECT_TRUE(authority.certificate("leaf").isValid(options));
    EXPECT_FALSE(authority.certificate("old").isValid(options));
    EXPECT_TRUE(authority.certificate("old").isValid(checking(false, true, true)));

    // Without a point in time it is the present one.
    CertificateValidationOptions now;
    EXPECT_EQ(status("old", "", "root", now), X509_V_ERR_CERT_HAS_EXPIRED);
    EXPECT_EQ(status("root", "", "root", checking(true, false, true, ptime())), X509_V_OK);
}

TEST_F(Validation, RefusesOtherPurposesThanSigning) {
    for (const auto& row : test::readTable("certificates/purposes.tsv")) {
        authority.issue({row[2], "middle", "leaf", boost::replace_all_copy(row[0], "; ", "\n")});
        const int expected = row[1] == "yes" ? X509_V_OK : X509_V_ERR_INVALID_PURPOSE;
        EXPECT_EQ(authority.certificate(row[2]).allowsDigitalSignatures(), row[1] == "yes") << row[2];
        EXPECT_EQ(status(row[2], "middle", "root", options), expected) << row[2];
        EXPECT_EQ(status(row[2], "", "", checking(true, true, false)), expected) << row[2];
        EXPECT_EQ(status(row[2], "middle", "root", checking(true, false, true)), X509_V_OK) << row[2];
    }
    // An issuer that is there for servers cannot vouch for signatures, unless it is trusted itself.
    authority.issue({"tls", "root", "", std::string(CA) + "\nextendedKeyUsage=serverAuth,clientAuth"});
    authority.issue({"undertls", "tls", "leaf"});
    EXPECT_EQ(status("undertls", "tls", "root", options), X509_V_ERR_INVALID_PURPOSE);
    EXPECT_EQ(status("undertls", "", "tls", options), X509_V_OK);
    EXPECT_EQ(status("undertls", "tls", "root", checking(true, false, true)), X509_V_OK);
}

TEST_F(Validation, RefusesAForgedIssuerAndMalformedExtensions) {
    // A certificate with the name of the intermediate but another key.
    authority.issue({"forger", "root", "", CA, "20200101000000Z", "20500101000000Z", "sha256", "2048", "/CN=middle"});
    EXPECT_NE(status("leaf", "forger", "root", options), X509_V_OK);
    EXPECT_EQ(status("leaf", "forger middle", "root", options), X509_V_OK);

    authority.issue({"broken", "root", "leaf", "2.5.29.15=DER:04:01:00"}); // a key usage that is not a bit string
    EXPECT_FALSE(authority.certificate("broken").isValid(options));
    EXPECT_EQ(status("broken", "", "root", options), X509_V_ERR_INVALID_EXTENSION);
    EXPECT_EQ(status("broken", "", "", checking(false, false, false)), X509_V_ERR_INVALID_EXTENSION);

    std::vector<unsigned char> changed = authority.certificate("leaf").toDER();
    changed.back() ^= 1; // in the issuer's signature
    TrustStore trust;
    trust.addCertificate(authority.certificate("root"));
    trust.addCertificate(authority.certificate("middle"));
    EXPECT_EQ(X509Certificate::fromDER(changed).validate({}, options, trust).getCertificateChainStatus(),
              X509_V_ERR_CERT_SIGNATURE_FAILURE);
}

TEST_F(Validation, TakesTrustFromFilesAndTheSystem) {
    TrustStore trust;
    EXPECT_TRUE(trust.isEmpty());
    const auto verdict = [&](const TrustStore& store) {
        return authority.certificate("leaf").validate({}, options, store).getCertificateChainStatus();
    };
    EXPECT_TRUE(test::throwsSaying<Exception>(
        "cannot be read: No such file or directory", [&] { trust.addPEMFile(authority.folder / "none.pem"); }));
    EXPECT_TRUE(test::throwsSaying<Exception>(
        "cannot be read", [&] { trust.addPEMFile(authority.folder.path()); }));
    EXPECT_TRUE(test::throwsSaying<Exception>(
        "too large", [&] { trust.addPEMFile("/dev/zero"); }));
    EXPECT_TRUE(throws<Exception>("The PEM text holds no certificate.",
                                  [&] { trust.addPEMFile(authority.folder / "leaf.key"); }));
    authority.write("cut.pem", authority.text("root") + authority.text("middle").substr(0, 300));
    EXPECT_TRUE(test::throwsSaying<Exception>(
        "The PEM file is malformed", [&] { trust.addPEMFile(authority.folder / "cut.pem"); }));
    EXPECT_TRUE(throws<Exception>("An empty certificate cannot be trusted.", [&] { trust.addCertificate({}); }));
    EXPECT_TRUE(trust.isEmpty()) << "nothing is added by a call that throws";

    authority.write("two.pem", "Two of them:\n" + authority.text("middle") + "and\n" + authority.text("root"));
    trust.addPEMFile(authority.folder / "two.pem");
    EXPECT_FALSE(trust.isEmpty());
    EXPECT_EQ(trust.getCertificates().size(), 2U);
    EXPECT_EQ(verdict(trust), X509_V_OK);

    TrustStore system;
    system.addSystemCertificates();
    EXPECT_FALSE(system.isEmpty());
    EXPECT_EQ(verdict(system), X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    ::setenv("SSL_CERT_FILE", (authority.folder / "two.pem").c_str(), 1);
    EXPECT_EQ(verdict(system), X509_V_OK);
    ::unsetenv("SSL_CERT_FILE");
    EXPECT_EQ(verdict(system), X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
}

TEST(ValidationOptions, TakeATimeButNoInfinity) {
    CertificateValidationOptions options;
    EXPECT_TRUE(options.getPointInTime().is_not_a_date_time());
    EXPECT_TRUE(options.checksChain() && options.checksPurpose() && options.checksValidityTime());
    EXPECT_TRUE(throws<Exception>("An infinite time is not a point in time.",
                                  [&] { options.setPointInTime(boost::posix_time::pos_infin); }));
    EXPECT_TRUE(options.getPointInTime().is_not_a_date_time());
}

} // namespace
} // namespace opc::certificates
