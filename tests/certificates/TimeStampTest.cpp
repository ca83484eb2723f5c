// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/TimeStamp.hpp>
#include <opc/core/Exception.hpp>

#include "support/Authority.hpp"
#include "support/Table.hpp"
#include "support/Throws.hpp"

#include <boost/algorithm/string.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

#include <array>
#include <initializer_list>

namespace opc::certificates {
namespace {

using test::Bytes;
using test::openssl;
using test::readFile;

std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> words;
    return boost::split(words, text, boost::is_any_of(" "));
}

class TimeStamps : public test::WithCleanErrorQueue {
protected:
    TimeStamps() {
        const std::string from = "20200101000000Z", until = "20500101000000Z", ca = "basicConstraints=critical,CA:TRUE";
        const std::string stamping = "extendedKeyUsage=critical,timeStamping\nsubjectKeyIdentifier=hash";
        openssl(authority.folder, {"ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", "curve.key"});
        for (const auto& [name, issuer, extensions] : std::initializer_list<std::array<std::string, 3>>{
                 {"root", "root", ca},
                 {"server", "root", ca + "\nextendedKeyUsage=serverAuth"},
                 {"curve", "root", stamping},
                 {"underserver", "server", stamping},
                 {"stranger", "stranger", stamping},
                 {"signer", "root", ca},
                 {"undersigner", "signer", stamping},
                 {"lax", "root", "extendedKeyUsage=timeStamping"},
                 {"both", "root", "extendedKeyUsage=critical,timeStamping,emailProtection"}})
            authority.issue({name, issuer, "", extensions, from, until});
        authority.write("serial", "77");
        authority.issue({"tsa", "root", "", stamping});
        authority.write("serial", "77");
        authority.write("index", "");
        authority.issue({"twin", "root", "tsa", stamping, from});
        authority.write("octets", "octets");
        trust.addCertificate(X509Certificate::fromPEM(authority.text("root")));
        signer = X509Certificate::fromPEM(authority.text("signer"));
    }

    /// Signs a content of "digest time version" by the options of a command.
    Bytes token(const std::string& content, const std::string& options) {
        const auto fields = wordsOf(content);
        const std::string hex = openssl(authority.folder, {"dgst", "-r", "-" + fields[0], "octets"});
        authority.write("info.cnf",
                        "asn1=SEQUENCE:info\n[info]\nv=INTEGER:" + fields[2] +
                            "\np=OID:1.2.3.4\ni=SEQUENCE:imprint\nn=INTEGER:1\nt=GENERALIZEDTIME:" + fields[1] +
                            "\n[imprint]\na=SEQUENCE:algorithm\nd=FORMAT:HEX,OCT:" + hex.substr(0, hex.find(' ')) +
                            "\n[algorithm]\no=OID:" + fields[0] + "\n");
        openssl(authority.folder, {"asn1parse", "-genconf", "info.cnf", "-noout", "-out", "info"});
        std::string command = "cms -sign -binary -outform DER -in info -out token " + options;
        if (options.find("-econtent_type") == std::string::npos)
            command += " -nodetach -econtent_type id-smime-ct-TSTInfo";
        openssl(authority.folder, wordsOf(command));
        return readFile(authority.folder / "token");
    }

    std::string verdict(const Bytes& der) const {
        try {
            const TimeStamp stamp = TimeStamp::fromDER(der);
            EXPECT_FALSE(stamp.covers("other"));
            const std::string said = std::string(stamp.covers("octets") ? "these " : "other ") +
                                     (stamp.isSignatureValid() ? "valid " : "invalid ");
            try {
                return said + std::to_string(stamp.validateCertificate(trust, signer).getCertificateChainStatus());
            } catch (const Exception& e) {
                return said + e.what();
            }
        } catch (const Exception& e) {
            return e.what();
        }
    }

    test::Authority authority;
    TrustStore trust;
    X509Certificate signer;
};

TEST_F(TimeStamps, GetTheVerdictsOfTheTable) {
    for (const auto& row : test::readTable("certificates/stamps.tsv"))
        EXPECT_EQ(verdict(token(row[1], row[2])), row[3]) << row[0];
}

TEST_F(TimeStamps, OfTheOpensslCommandHoldUntilTheyAreChanged) {
    openssl(authority.folder, {"ts", "-query", "-data", "octets", "-sha256", "-cert", "-out", "query"});
    for (const char* digest : {"sha1", "sha256", "sha512"}) {
        authority.write("ts.cnf", "[tsa]\nserial=serial\nsigner_digest=sha256\ndefault_policy=1.2.3.4\n"
                                  "digests=sha256\ness_cert_id_alg=" +
                                      std::string(digest));
        openssl(authority.folder, wordsOf("ts -reply -config ts.cnf -section tsa -queryfile query -signer curve.pem "
                                          "-inkey curve.key -token_out -out token"));
        EXPECT_EQ(verdict(readFile(authority.folder / "token")), "these valid 0") << digest;
    }
    const Bytes whole = readFile(authority.folder / "token");
    const auto time = TimeStamp::fromDER(whole).getTime();
    EXPECT_LT(boost::posix_time::second_clock::universal_time() - time, boost::posix_time::minutes(5));
    EXPECT_EQ(TimeStamp::fromDER(whole).getCertificate(), X509Certificate::fromPEM(authority.text("curve")));
    int valid = 0;
    const int read = test::readDamaged(whole, [&](const Bytes& bytes) {
        const TimeStamp stamp = TimeStamp::fromDER(bytes);
        if (!stamp.isSignatureValid())
            return;
        ++valid;
        EXPECT_TRUE(stamp.covers("octets") && stamp.getTime() == time && stamp.getPolicy() == "1.2.3.4");
    });
    EXPECT_GT(read, 100);
    EXPECT_LT(valid, 20) << "few bytes are not signed";
}

} // namespace
} // namespace opc::certificates
