// SPDX-License-Identifier: Apache-2.0
#include "Fixture.hpp"

#include "signatures/XadesReader.hpp"
#include "signatures/XadesVerifier.hpp"
#include "support/Throws.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

namespace opc::model::test {
namespace {

using opc::detail::toUTF8String;
using opc::test::throws;

const std::string STAMP = "<xd:UnsignedProperties><xd:UnsignedSignatureProperties><xd:SignatureTimeStamp>";
const std::string END = "</xd:SignatureTimeStamp></xd:UnsignedSignatureProperties></xd:UnsignedProperties>";

class XadesTest : public opc::test::WithCleanErrorQueue {
protected:
    DigitalSignatureData read(std::string content, const std::string& target = "#s", const char* version = "v1.3.2") {
        boost::replace_all(content, "STAMP", STAMP);
        boost::replace_all(content, "END", END);
        boost::replace_all(content, "\\n", "\n");
        const std::string document = "<Signature xmlns='http://www.w3.org/2000/09/xmldsig#' xmlns:o='urn:o' Id='s'>"
                                     "<SignatureValue Id='v'><!--c-->AA==</SignatureValue><Object>"
                                     "<xd:QualifyingProperties xmlns:xd='http://uri.etsi.org/01903/" +
                                     std::string(version) + "#' Target='" + target + "'>" + content +
                                     "</xd:QualifyingProperties></Object></Signature>";
        const Bytes bytes = toBytes(document);
        ByteArrayInAdaptor stream(bytes);
        const auto* root =
            XercesHelper::readDocumentFromStream(*parser_, stream, false, u"", u"")->getDocumentElement();
        const auto* element =
            XercesHelper::getElementNS(root, XercesString(u"*"), XercesString(u"QualifyingProperties"));
        EXPECT_TRUE(isQualifyingProperties(*element));
        EXPECT_FALSE(isQualifyingProperties(*root));
        DigitalSignatureData data;
        data.standard.documentId = u"s";
        readQualifyingProperties(*element, data);
        EXPECT_TRUE(data.standard.hasProperties);
        EXPECT_THROW(readQualifyingProperties(*element, data), InvalidPartContent) << "twice";
        return data;
    }

    XercesGuard guard_;
    ParserHandle parser_ = XercesHelper::createParser();
};

std::string described(const DigitalSignatureData& data) {
    const SignedProperties& properties = data.standard.properties;
    std::u16string text;
    const auto add = [&](const char16_t* name, const std::u16string& value) {
        if (!value.empty())
            text += std::u16string(name) + u' ' + value + u"; ";
    };
    add(u"id", properties.id);
    if (properties.signingTime.is_special())
        add(u"no time", properties.signingTimeText);
    else
        add(u"time", convertTimeToString(properties.signingTime));
    for (const auto& each : properties.certificates)
        add(u"certificate",
            each.digestMethod + u' ' + each.digestValue + u' ' + each.issuer + u' ' + each.serialNumber);
    add(u"policy", properties.policy);
    for (const auto& [name, values] :
         {std::pair(u"place", properties.place), std::pair(u"role", properties.roles),
          std::pair(u"commitment", properties.commitments), std::pair(u"text", properties.commitmentTexts)})
        for (const std::u16string& value : values)
            add(name, value);
    for (const auto& stamp : data.standard.unsignedProperties.timeStamps) {
        add(u"problem", toString(stamp.problem));
        if (stamp.problem.empty())
            add(u"stamp", toString(std::to_string(stamp.token.size()) + ' ' + stamp.imprint));
    }
    for (const std::u16string& other : data.standard.unsignedProperties.others)
        add(u"other", other);
    return toUTF8String(text);
}

TEST_F(XadesTest, ReadsThePropertiesOfTheTable) {
    for (const Fields& row : opc::test::readTable("signatures/xades.tsv")) {
        std::string found;
        try {
            found = described(read(row[1]));
        } catch (const InvalidPartContent& e) {
            found = e.what();
        }
        EXPECT_EQ(found, row[2]) << row[0];
    }
    EXPECT_EQ(described(read("<xd:SignedProperties Id='p'/>", "#s", "v1.2.2")), "other QualifyingProperties; ");
    for (const char* target : {"", "s", "#v", "#"})
        EXPECT_TRUE(throws<InvalidPartContent>("XML signature: the Target of QualifyingProperties, \"" +
                                                   std::string(target) + "\", is not the signature.",
                                               [&] { read("", target); }));
    std::string many = STAMP;
    for (int i = 0; i < 101; ++i)
        many += "<xd:EncapsulatedTimeStamp/>";
    EXPECT_EQ(described(read(many + END)), "other SignatureTimeStamp; ") << "too many";
}

TEST_F(XadesTest, ComparesTheDigestsOfTheCertificateThatAreSigned) {
    opc::test::Authority authority;
    authority.issue({.name = "signer", .issuer = "signer", .bits = "1024"});
    const auto certificate = X509Certificate::fromPEM(authority.text("signer"));
    const auto claim = [&](const std::vector<std::pair<std::u16string, std::u16string>>& digests,
                           bool areSigned = true) {
        DigitalSignatureData data;
        data.standard.arePropertiesSigned = areSigned;
        for (const auto& [method, value] : digests)
            data.standard.properties.certificates.push_back({method, value, u"CN=other", u"1"});
        return examineCertificateClaim(data, certificate);
    };
    const auto digest = [&](const char* option) {
        openssl(authority.folder, {"x509", "-in", "signer.pem", "-outform", "DER", "-out", "der"});
        openssl(authority.folder, {"dgst", option, "-binary", "-out", "digest", "der"});
        return toString(crypto::CryptoEngine::encodeBase64(opc::test::readFile(authority.folder / "digest")));
    };
    const std::u16string sha1 = u"http://www.w3.org/2000/09/xmldsig#sha1";
    const std::u16string sha512 = u"http://www.w3.org/2001/04/xmlenc#sha512";
    const std::u16string issuer = u"AAAA";
    EXPECT_EQ(claim({{sha1, digest("-sha1")}}), CertificateClaim::Holds);
    EXPECT_EQ(claim({{sha1, issuer}, {u"urn:x", issuer}, {sha512, digest("-sha512")}}), CertificateClaim::Holds);
    EXPECT_EQ(claim({{sha512, digest("-sha1")}}), CertificateClaim::Differs);
    EXPECT_EQ(claim({{sha1, issuer}, {sha1, u"?"}, {sha1, u""}}), CertificateClaim::Differs);
    EXPECT_EQ(claim({{u"urn:x", digest("-sha1")}, {sha1, issuer}}), CertificateClaim::NotSupported);
    EXPECT_EQ(claim({}), CertificateClaim::None);
    EXPECT_EQ(claim({{sha1, issuer}}, false), CertificateClaim::None) << "what is not signed is no claim";
}

TEST_F(XadesTest, VerifiesTimeStampsOfTheSignatureValue) {
    opc::test::Authority authority;
    const std::string until = "20500101000000Z";
    authority.issue({.name = "root", .issuer = "root", .extensions = "basicConstraints=CA:TRUE", .until = until});
    authority.issue(
        {.name = "tsa", .issuer = "root", .extensions = "extendedKeyUsage=critical,timeStamping", .until = until});
    const auto token = [&](const std::string& octets, const char* digest) {
        authority.write("octets", octets);
        authority.write("ts.cnf", "[tsa]\nserial=serial\nsigner_digest=sha256\ndefault_policy=1.2\n"
                                  "digests=md5,sha1\n");
        openssl(authority.folder, {"ts", "-query", "-data", "octets", digest, "-cert", "-out", "query"});
        openssl(authority.folder, {"ts", "-reply", "-config", "ts.cnf", "-section", "tsa", "-queryfile", "query",
                                   "-signer", "tsa.pem", "-inkey", "tsa.key", "-token_out", "-out", "token"});
        return "<xd:EncapsulatedTimeStamp>" +
               crypto::CryptoEngine::encodeBase64(opc::test::readFile(authority.folder / "token")) +
               "</xd:EncapsulatedTimeStamp>";
    };
    const std::string octets = "<SignatureValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\" xmlns:o=\"urn:o\" "
                               "Id=\"v\">AA==</SignatureValue>";
    const DigitalSignatureData data =
        read("STAMP" + token(octets, "-sha1") + token(octets, "-md5") + token("AA==", "-sha1") +
             "<xd:EncapsulatedTimeStamp>AAAA</xd:EncapsulatedTimeStamp><xd:EncapsulatedTimeStamp>?"
             "</xd:EncapsulatedTimeStamp>END");
    const auto verdicts = [&](const TrustStore& trust) {
        std::string text;
        for (const TimeStampReport& report : examineTimeStamps(data, trust))
            text += (report.holds ? "holds, " : "") + std::string(report.isTrusted ? "trusted, " : "") +
                    report.authority + ' ' + report.problem.substr(0, 44) + '\n';
        return text;
    };
    const std::string rest = "holds, CN=tsa The time stamp is over a digest by MD5, of w\n"
                             "CN=tsa The time stamp is not one of this signature \n"
                             " The time stamp is not valid DER (OpenSSL: wr\n"
                             " The time stamp is not base64.\n";
    TrustStore root;
    root.addCertificate(X509Certificate::fromPEM(authority.text("root")));
    authority.issue({.name = "other", .issuer = "other", .until = until});
    TrustStore other;
    other.addCertificate(X509Certificate::fromPEM(authority.text("other")));
    EXPECT_EQ(verdicts(root), "holds, trusted, CN=tsa \n" + rest);
    EXPECT_EQ(verdicts({}), "holds, CN=tsa No certificate is trusted for time stamps.\n" + rest);
    EXPECT_EQ(verdicts(other), "holds, CN=tsa The certificate of the time stamp is not tru\n" + rest);
    EXPECT_EQ(examineTimeStamps(data, root)[0].digestMethod, u"http://www.w3.org/2000/09/xmldsig#sha1");
}

} // namespace
} // namespace opc::model::test
