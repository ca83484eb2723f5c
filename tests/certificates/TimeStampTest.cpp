// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/TimeStamp.hpp>
#include <opc/core/Exception.hpp>

#include "support/Authority.hpp"
#include "support/Table.hpp"
#include "support/Throws.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

namespace opc::certificates {
namespace {

using test::Bytes;
using test::openssl;
using test::plus;
using test::readFile;

class TimeStamps : public test::WithCleanErrorQueue {
protected:
    TimeStamps() {
        const std::string from = "20200101000000Z";
        const std::string until = "20500101000000Z";
        const std::string stamping = "extendedKeyUsage=critical,timeStamping\nsubjectKeyIdentifier=hash";
        authority.issue({"root", "root", "", "basicConstraints=critical,CA:TRUE", from, until});
        openssl(authority.folder, {"ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", "curve.key"});
        authority.issue({"curve", "root", "", stamping});
        authority.issue({"lax", "root", "", "extendedKeyUsage=timeStamping"});
        authority.issue({"both", "root", "", "extendedKeyUsage=critical,timeStamping,emailProtection"});
        authority.issue({"server", "root", "", "basicConstraints=critical,CA:TRUE\nextendedKeyUsage=serverAuth"});
        authority.issue({"underserver", "server", "", stamping});
        authority.issue({"stranger", "stranger", "", stamping});
        authority.write("serial", "77");
        authority.issue({"tsa", "root", "", stamping});
        authority.write("serial", "77");
        authority.write("index", "");
        authority.issue({"twin", "root", "tsa", stamping, from});
        authority.write("octets", "octets");
        trust.addCertificate(X509Certificate::fromPEM(authority.text("root")));
    }

    /// Writes the content of a token, from "digest time version".
    void writeInfo(const std::string& words) {
        std::vector<std::string> fields;
        boost::split(fields, words, boost::is_any_of(" "));
        const std::string hex = openssl(authority.folder, {"dgst", "-r", "-" + fields[0], "octets"});
        authority.write("info.cnf",
                        "asn1=SEQUENCE:info\n[info]\nv=INTEGER:" + fields[2] +
                            "\np=OID:1.2.3.4\ni=SEQUENCE:imprint\nn=INTEGER:1\nt=GENERALIZEDTIME:" + fields[1] +
                            "\n[imprint]\na=SEQUENCE:algorithm\nd=FORMAT:HEX,OCT:" + hex.substr(0, hex.find(' ')) +
                            "\n[algorithm]\no=OID:" + fields[0] + "\n");
        openssl(authority.folder, {"asn1parse", "-genconf", "info.cnf", "-noout", "-out", "info"});
    }

    /// Signs what was written.
    Bytes token(const std::string& words) const {
        std::vector<std::string> arguments = {"cms", "-sign", "-binary", "-outform", "DER",
                                              "-in", "info",  "-out",    "token"};
        if (words.find("-econtent_type") == std::string::npos)
            arguments = plus(arguments, {"-nodetach", "-econtent_type", "id-smime-ct-TSTInfo"});
        std::vector<std::string> fields;
        boost::split(fields, words, boost::is_any_of(" "));
        for (const std::string& field : fields) {
            arguments.push_back(field);
            if (arguments.end()[-2] == "-signer")
                arguments = plus(arguments, {"-inkey", field.substr(0, field.find('.')) + ".key"});
        }
        openssl(authority.folder, arguments);
        return readFile(authority.folder / "token");
    }

    std::string verdict(const Bytes& der) const {
        try {
            const TimeStamp stamp = TimeStamp::fromDER(der);
            EXPECT_FALSE(stamp.covers("other"));
            const std::string said = std::string(stamp.covers("octets") ? "these " : "other ") +
                                     (stamp.isSignatureValid() ? "valid " : "invalid ");
            try {
                return said + std::to_string(stamp.validateCertificate(trust).getCertificateChainStatus());
            } catch (const Exception& e) {
                return said + e.what();
            }
        } catch (const Exception& e) {
            return e.what();
        }
    }

    test::Authority authority;
    TrustStore trust;
};

TEST_F(TimeStamps, GetTheVerdictsOfTheTable) {
    for (const auto& row : test::readTable("certificates/stamps.tsv")) {
        writeInfo(row[1]);
        EXPECT_EQ(verdict(token(row[2])), row[3]) << row[0];
    }
}

TEST_F(TimeStamps, OfTheOpensslCommandHoldUntilTheyAreChanged) {
    authority.write("ts.cnf", "[tsa]\nserial=serial\nsigner_digest=sha256\ndefault_policy=1.2.3.4\ndigests=sha256\n");
    openssl(authority.folder, {"ts", "-query", "-data", "octets", "-sha256", "-cert", "-out", "query"});
    for (const char* digest : {"sha1", "sha256", "sha512"}) {
        authority.write("options.cnf",
                        test::toText(readFile(authority.folder / "ts.cnf")) + "ess_cert_id_alg=" + digest);
        openssl(authority.folder, {"ts", "-reply", "-config", "options.cnf", "-section", "tsa", "-queryfile", "query",
                                   "-signer", "tsa.pem", "-inkey", "tsa.key", "-token_out", "-out", "token"});
        EXPECT_EQ(verdict(readFile(authority.folder / "token")).substr(0, 12), "these valid ") << digest;
    }
    const Bytes whole = readFile(authority.folder / "token");
    const auto time = TimeStamp::fromDER(whole).getTime();
    EXPECT_LT(boost::posix_time::second_clock::universal_time() - time, boost::posix_time::minutes(5));
    EXPECT_EQ(TimeStamp::fromDER(whole).getPolicy(), "1.2.3.4");
    EXPECT_EQ(TimeStamp::fromDER(whole).getCertificate(), X509Certificate::fromPEM(authority.text("tsa")));
    int valid = 0;
    const int read = test::readDamaged(whole, [&](const Bytes& bytes) {
        const TimeStamp stamp = TimeStamp::fromDER(bytes);
        if (stamp.isSignatureValid()) {
            ++valid;
            EXPECT_TRUE(stamp.covers("octets"));
            EXPECT_EQ(stamp.getTime(), time);
            EXPECT_EQ(stamp.getPolicy(), "1.2.3.4");
        }
    });
    EXPECT_GT(read, 100);
    EXPECT_LT(valid, 20) << "few bytes are not signed";
}

} // namespace
} // namespace opc::certificates
