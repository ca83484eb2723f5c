// SPDX-License-Identifier: Apache-2.0
#include "Fixture.hpp"

#include "signatures/XadesReader.hpp"
#include "signatures/XadesVerifier.hpp"
#include "support/Throws.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <tuple>

namespace opc::model::test {
namespace {

using opc::detail::toUTF8String;
using opc::test::throws;

const std::string STAMP = "<xd:UnsignedProperties><xd:UnsignedSignatureProperties><xd:SignatureTimeStamp>";
const std::string END = "</xd:SignatureTimeStamp></xd:UnsignedSignatureProperties></xd:UnsignedProperties>";

class XadesTest : public opc::test::WithCleanErrorQueue {
protected:
    DigitalSignatureData read(std::string content, const std::string& from = "", const std::string& to = "") {
        for (const auto& [what, text] : {std::pair("{STAMP}", STAMP), {"{END}", END}, {"\\n", "\n"}})
            boost::replace_all(content, what, text);
        std::string document = "<Signature xmlns='http://www.w3.org/2000/09/xmldsig#' xmlns:o='urn:o' Id='s'>"
                               "<SignatureValue Id='v'><!--c-->AA==</SignatureValue><Object><xd:QualifyingProperties "
                               "xmlns:xd='http://uri.etsi.org/01903/v1.3.2#' Target='#s'>" +
                               content + "</xd:QualifyingProperties></Object></Signature>";
        replaceIn(document, from, to);
        const Bytes bytes = toBytes(document);
        ByteArrayInAdaptor stream(bytes);
        const auto* root =
            XercesHelper::readDocumentFromStream(*parser_, stream, false, u"", u"")->getDocumentElement();
        const auto* element = root->getLastElementChild()->getFirstElementChild();
        EXPECT_TRUE(isQualifyingProperties(*element) && !isQualifyingProperties(*root));
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

/// Id | time | certificates | policy | place | roles | commitments | texts | time stamps | others.
std::string described(const DigitalSignatureData& data) {
    const SignedProperties& signedOnes = data.standard.properties;
    const bool hasTime = !signedOnes.signingTime.is_special();
    std::u16string text = signedOnes.id + u'|' +
                          (hasTime ? convertTimeToString(signedOnes.signingTime) : signedOnes.signingTimeText) + u'|';
    for (const auto& each : signedOnes.certificates)
        text += each.digestMethod + u',' + each.digestValue + u',' + each.issuer + u',' + each.serialNumber + u';';
    text += u'|' + signedOnes.policy + u'|';
    for (const auto* texts :
         {&signedOnes.place, &signedOnes.roles, &signedOnes.commitments, &signedOnes.commitmentTexts})
        text += boost::join(*texts, u",") + u'|';
    for (const auto& stamp : data.standard.unsignedProperties.timeStamps)
        text += toString(stamp.problem.empty() ? std::to_string(stamp.token.size()) + ' ' + stamp.imprint + ';'
                                               : stamp.problem);
    return toUTF8String(text + u'|' + boost::join(data.standard.unsignedProperties.others, u","));
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
    EXPECT_EQ(described(read("<xd:SignedProperties Id='p'/>", "v1.3.2", "v1.2.2")), "|||||||||QualifyingProperties");
    for (const char* target : {"", "s", "#v", "#"})
        EXPECT_TRUE(throws<InvalidPartContent>("XML signature: the Target of QualifyingProperties, \"" +
                                                   std::string(target) + "\", is not the signature.",
                                               [&] { read("", "#s", target); }));
    std::string many = STAMP;
    for (int i = 0; i < 21; ++i)
        many += "<xd:EncapsulatedTimeStamp/>";
    EXPECT_EQ(described(read(many + END)), "|||||||||SignatureTimeStamp") << "too many";
}

TEST_F(XadesTest, ComparesTheDigestsOfTheCertificateThatAreSigned) {
    opc::test::Authority authority;
    authority.issue({.name = "signer", .issuer = "signer", .bits = "1024"});
    const auto certificate = X509Certificate::fromPEM(authority.text("signer"));
    std::map<char, std::u16string> methods = {{'x', u"urn:x"}}, values = {{'-', u"AAAA"}, {'?', u"?"}};
    for (const auto& [name, digest] : {std::pair('1', DigestMethod::SHA1), {'5', DigestMethod::SHA512}}) {
        auto engine = crypto::CryptoEngine::createDigestEngine(static_cast<crypto::DigestAlgorithm>(digest));
        engine.update(certificate.toDER());
        methods[name] = AlgorithmURIMap::getAlgorithmURI(digest);
        values[name] = toString(crypto::CryptoEngine::encodeBase64(engine.finish()));
    }
    for (const auto& [claimed, claim, place] : {std::tuple("11", CertificateClaim::Holds, 0U),
                                                {"1-x-55", CertificateClaim::Holds, 2U},
                                                {"511-1?", CertificateClaim::Differs, 0U},
                                                {"x11-", CertificateClaim::NotSupported, 0U},
                                                {"", CertificateClaim::None, 0U}}) {
        DigitalSignatureData data;
        for (const char* each = claimed; *each != 0; each += 2)
            data.standard.properties.certificates.push_back({methods[each[0]], values[each[1]], u"CN=other", u"1"});
        EXPECT_EQ(examineCertificateClaim(data, certificate).claim, CertificateClaim::None) << "they are not signed";
        data.standard.arePropertiesSigned = true;
        EXPECT_EQ(examineCertificateClaim(data, certificate).claim, claim) << claimed;
        EXPECT_EQ(examineCertificateClaim(data, certificate).place, place) << claimed;
    }
}

TEST_F(XadesTest, VerifiesTimeStampsOfTheSignatureValue) {
    opc::test::Authority authority;
    const std::string until = "20500101000000Z";
    authority.issue({.name = "root", .issuer = "root", .extensions = "basicConstraints=CA:TRUE", .until = until});
    authority.issue(
        {.name = "tsa", .issuer = "root", .extensions = "extendedKeyUsage=critical,timeStamping", .until = until});
    authority.issue({.name = "other", .issuer = "other", .until = until});
    authority.write("ts.cnf", "[tsa]\nserial=serial\nsigner_digest=sha256\ndefault_policy=1.2\ndigests=md5,sha1\n");
    const auto token = [&](const std::string& octets, const char* digest, bool isForged = false) {
        authority.write("octets", octets);
        openssl(authority.folder, {"ts", "-query", "-data", "octets", digest, "-cert", "-out", "query"});
        openssl(authority.folder, {"ts", "-reply", "-config", "ts.cnf", "-section", "tsa", "-queryfile", "query",
                                   "-signer", "tsa.pem", "-inkey", "tsa.key", "-token_out", "-out", "token"});
        auto bytes = opc::test::readFile(authority.folder / "token");
        bytes.back() ^= isForged ? 1 : 0; // of the signature
        return "<xd:EncapsulatedTimeStamp>" + crypto::CryptoEngine::encodeBase64(bytes) + "</xd:EncapsulatedTimeStamp>";
    };
    const std::string octets = "<SignatureValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\" xmlns:o=\"urn:o\" "
                               "Id=\"v\">AA==</SignatureValue>";
    const DigitalSignatureData data =
        read("{STAMP}" + token(octets, "-sha1") + token(octets, "-md5") + token("AA==", "-sha1") +
             token(octets, "-sha1", true) +
             "<xd:EncapsulatedTimeStamp>AAAA</xd:EncapsulatedTimeStamp><xd:EncapsulatedTimeStamp>?"
             "</xd:EncapsulatedTimeStamp>{END}");
    const auto verdicts = [&](const char* trusted) {
        TrustStore trust;
        if (*trusted != 0)
            trust.addCertificate(X509Certificate::fromPEM(authority.text(trusted)));
        std::string text;
        for (const TimeStampReport& report : examineTimeStamps(data, trust, {}))
            text += std::to_string(report.holds) + std::to_string(report.isTrusted) + ' ' + report.authority + ' ' +
                    toUTF8String(report.digestMethod).substr(0, 20) + ' ' + report.problem.substr(0, 32) + '\n';
        return text;
    };
    const std::string rest = "10 CN=tsa http://www.w3.org/20 The time stamp is over a digest \n"
                             "00 CN=tsa http://www.w3.org/20 The time stamp is not one of thi\n"
                             "00 CN=tsa http://www.w3.org/20 The signature of the time stamp \n"
                             "00   The time stamp is not valid DER \n00   The time stamp is not base64.\n";
    EXPECT_EQ(verdicts("root"), "11 CN=tsa http://www.w3.org/20 \n" + rest);
    EXPECT_EQ(verdicts(""), "10 CN=tsa http://www.w3.org/20 No certificate is trusted for ti\n" + rest);
    EXPECT_EQ(verdicts("other"), "10 CN=tsa http://www.w3.org/20 The certificate of the time stam\n" + rest);
}

} // namespace
} // namespace opc::model::test
