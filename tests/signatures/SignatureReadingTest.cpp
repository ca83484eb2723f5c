// SPDX-License-Identifier: Apache-2.0
#include "signatures/StoredSignature.hpp"
#include "support/Authority.hpp"

#include <functional>
#include <sstream>
#include <tuple>

namespace opc::model::test {

namespace {

using certificates::X509Certificate;
using SignatureReading = StoredSignature;

const std::string FIXED_KEY_VALUE = "<KeyValue><RSAKeyValue><Modulus>" + std::string(opc::test::FIXED_MODULUS) +
                                    "</Modulus><Exponent>AQAB</Exponent></RSAKeyValue></KeyValue>";

TEST_F(SignatureReading, ReadsWhatMayBeWrittenInOtherWays) {
    const auto kept = [](const DigitalSignatureData&) { return true; };
    struct {
        std::string why;
        Edits edits;
        std::string verdict;
        std::function<bool(const DigitalSignatureData&)> holds;
    } const cases[] = {
        {"nothing changed", {}, "valid", kept},
        {"no declaration of XML", {{good_.substr(0, good_.find("<Signature ")), ""}}, "valid", kept},
        {"white space, comments and instructions between the children of the signature",
         {{"<SignedInfo", "\n<!-- --><?p?>  <SignedInfo"}, {"</Signature>", "\t</Signature>\n<!-- -->"}},
         "valid",
         kept},
        {"white space and a comment in the value",
         {{"<SignatureValue>", "<SignatureValue> \n<!-- -->\t"}},
         "valid",
         kept},
        {"the value in a CDATA section",
         {{"<SignatureValue>", "<SignatureValue><![CDATA["}, {"</SignatureValue>", "]]></SignatureValue>"}},
         "valid",
         kept},
        {"white space in the key", {{"AQAB", "A QA\nB"}}, "valid", kept},
        {"a name beside the key", {{"<KeyValue>", "<KeyName>Ada</KeyName><KeyValue>"}}, "valid", kept},
        {"quotes, spaces in tags and references to characters in what is signed",
         {{"<SignatureMethod Algorithm=\"http", "<SignatureMethod  Algorithm = \"&#x68;ttp"},
          {"SourceId=\"rId1\"", "SourceId='&#114;Id1' "},
          {"Id=\"idPackageObject\"", "Id='idPackageObject'\n"}},
         "valid",
         kept},
        {"another object",
         {{"</Signature>", "<Object Id=\"x\">text<x/></Object></Signature>"}},
         "valid",
         [](const DigitalSignatureData& data) { return data.objects.size() == 2 && data.objects[1].id == u"x"; }},
        {"a prefix where nothing is signed",
         {{"<SignatureValue>", "<ds:SignatureValue xmlns:ds=\"" + DSIG + "\">"},
          {"</SignatureValue><KeyInfo>", "</ds:SignatureValue><k:KeyInfo xmlns:k=\"" + DSIG + "\">"},
          {"</KeyInfo>", "</k:KeyInfo>"}},
         "valid",
         kept},
        {"a prefix in what is signed: another text",
         {{"<Manifest>", "<ds:Manifest xmlns:ds=\"" + DSIG + "\">"}, {"</Manifest>", "</ds:Manifest>"}},
         "invalid",
         kept},
        {"white space in what is signed", {{"<Manifest>", "<Manifest> "}}, "invalid", kept},
        {"white space in an Id that is signed, which a schema takes away",
         {{"\"idSignatureTime\"", "\"idSignatureTime \""}},
         "invalid",
         kept},
        {"white space in an Id and in the name of an algorithm",
         {{"SourceId=\"rId1\"", "SourceId=\"rId1 \""},
          {"xmlenc#sha256\"/><DigestValue", "xmlenc#sha256 \"/><DigestValue"}},
         "refused: Relationship with ID rId1  referenced to in the signature is not present in the /word/document.xml",
         [](const DigitalSignatureData& data) {
             return data.manifestReferences[0].digestMethod == u"http://www.w3.org/2001/04/xmlenc#sha256 ";
         }},
        {"white space in base64 that is signed",
         {{"</DigestValue></Reference></Manifest>", " </DigestValue></Reference></Manifest>"}},
         "invalid",
         kept},
        {"the newer name of the transform",
         {{"package/2005/06/Rel", "package/2006/Rel"}},
         "invalid",
         [](const DigitalSignatureData& data) {
             return data.manifestReferences[1].relationshipSourceIds.size() == 1 &&
                    data.manifestReferences[1].transforms.front() ==
                        u"http://schemas.openxmlformats.org/package/2006/RelationshipTransform";
         }},
        {"the published name of a selector",
         {{"RelationshipGroupReference", "RelationshipsGroupReference"}},
         "invalid",
         [](const DigitalSignatureData& data) {
             return data.manifestReferences[1].relationshipSourceTypes == std::vector<std::u16string>{u"urn:link"};
         }},
        {"an Id, a Type and a transform of a reference",
         {{manifestReference(),
           edited(manifestReference(),
                  {{"<Reference", "<Reference Id=\"i\" Type=\"t\""},
                   {"<DigestMethod", "<Transforms><Transform Algorithm=\"u\"/></Transforms><DigestMethod"}})}},
         "invalid",
         [](const DigitalSignatureData& data) {
             const auto& reference = data.manifestReferences.front();
             return reference.id == u"i" && reference.type == u"t" &&
                    reference.transforms == std::vector<std::u16string>{u"u"};
         }},
        {"another granularity of the time",
         {{"YYYY-MM-DDThh:mmTZD", "YYYY-MM-DDThh:mm:ss.sTZD"}, {"2026-03-04T05:06Z", "2026-03-04T05:06:07.5+02:00"}},
         "invalid",
         [](const DigitalSignatureData& data) {
             return data.signedTime == boost::posix_time::time_from_string("2026-03-04 03:06:07.5");
         }},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.why);
        const std::string part = edited(good_, each.edits);
        EXPECT_TRUE(each.holds(read(part)));
        EXPECT_EQ(verdictWith(part), each.verdict);
    }
}

TEST_F(SignatureReading, TakesValuesOverSignedInfoInItsPlainForm) {
    const std::string canonical = of("SignedInfo");
    const std::string plain = edited(
        canonical, {{"></CanonicalizationMethod>", "/>"}, {"></SignatureMethod>", "/>"}, {"></DigestMethod>", "/>"}});
    const struct {
        std::string signedText;
        std::string verdict;
        const char* why;
    } cases[] = {
        {canonical, "valid", "the canonical form"},
        {plain, "valid", "empty elements as one tag"},
        {edited(plain, {{"/>", "></CanonicalizationMethod>"}}), "invalid", "neither: one element opened"},
        {edited(canonical, {{" xmlns=\"" + DSIG + '"', ""}}), "invalid", "neither: no namespace"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.why);
        auto signer = crypto::CryptoEngine::createRSASigner(crypto::RSAPrivateKey::fromDER(fixedKey()),
                                                            crypto::DigestAlgorithm::SHA256);
        signer.update(toBytes(each.signedText));
        const std::string value = crypto::CryptoEngine::encodeBase64(signer.sign());
        for (const std::string& written : {canonical, plain})
            EXPECT_EQ(
                verdictWith(edited(good_, {{canonical, written},
                                           {of("SignatureValue"), "<SignatureValue>" + value + "</SignatureValue>"}})),
                each.verdict);
    }
}

TEST_F(SignatureReading, FindsTheSignerAmongTheCertificates) {
    opc::test::Authority authority;
    for (const std::string name : {"root", "signer", "other"})
        authority.issue(
            {name, "root", "", "keyUsage=digitalSignature", "20240101000000Z", "20260101000000Z", "sha256", "1024"});
    authority.issue({"elliptic", "root", [&] {
                         opc::test::openssl(authority.folder, {"ecparam", "-name", "prime256v1", "-genkey", "-noout",
                                                               "-out", "elliptic.key"});
                         return "elliptic";
                     }()});
    const auto certificate = [&](const std::string& name) { return X509Certificate::fromPEM(authority.text(name)); };
    const auto element = [&](const std::string& name) {
        return "<X509Certificate>" + crypto::CryptoEngine::encodeBase64(certificate(name).toDER()) +
               "</X509Certificate>";
    };
    opc::test::openssl(authority.folder, {"pkey", "-in", "signer.key", "-outform", "DER", "-out", "signer.der"});
    const Bytes key = opc::test::readFile(authority.folder / "signer.der");
    items_ = Items(changed(letter().toZip(), [&](Opened& opened) {
        TrustStore trust;
        trust.addCertificate(certificate("root"));
        opened.manager.sign({u"/word/styles.xml"}, {}, key, certificate("signer"),
                            certificates::X509CertificateChain({certificate("root")}), noOptions(), params1024, trust);
    }));
    const std::string written = items_[PART];
    const std::string data = elementOf(written, "X509Data");
    EXPECT_EQ(data, "<X509Data>" + element("signer") + element("root") + "</X509Data>");

    const struct {
        std::string material;
        std::string signer; ///< empty: no certificate
        std::vector<std::string> chain;
        std::string verdict;
    } cases[] = {
        {data, "signer", {"root"}, "valid"},
        {"<X509Data>" + element("root") + element("other") + element("signer") + "</X509Data>",
         "signer",
         {"root", "other"},
         "valid"},
        {"<X509Data>" + element("root") + "</X509Data><X509Data><X509SubjectName>x</X509SubjectName>" +
             element("signer") + "</X509Data>",
         "signer",
         {"root"},
         "valid"},
        {"<X509Data>" + element("elliptic") + element("signer") + "</X509Data>", "signer", {"elliptic"}, "valid"},
        {"<X509Data>" + element("signer") + element("signer") + "</X509Data>", "signer", {"signer"}, "valid"},
        {"<X509Data>" + element("other") + element("root") + "</X509Data>", "other", {"root"}, "invalid"},
        {data + FIXED_KEY_VALUE, "", {}, "invalid"}, // the bare key decides, whatever comes first
        {"<X509Data><X509SKI>AAAA</X509SKI></X509Data>",
         "",
         {},
         "refused: Signature does not contain a default key or certificate. Please use a verify method which takes a "
         "key/cert."},
        {"<X509Data><X509Certificate>not even read</X509Certificate></X509Data>" + FIXED_KEY_VALUE, "", {}, ""},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.material);
        const std::string part = edited(written, {{data, each.material}});
        const DigitalSignatureData found = each.verdict.empty() ? readUnvalidated(part) : read(part);
        EXPECT_EQ(found.certificate, each.signer.empty() ? X509Certificate() : certificate(each.signer));
        EXPECT_EQ(found.publicKey.has_value(), each.material.find("KeyValue") != std::string::npos);
        std::vector<X509Certificate> chain;
        for (const std::string& name : each.chain)
            chain.push_back(certificate(name));
        EXPECT_EQ(found.certificateChain.getCertificates(), chain);
        EXPECT_EQ(each.verdict.empty() ? "" : verdictWith(part), each.verdict);
        if (each.verdict.empty())
            continue;
        items_[PART] = part;
        Bytes zip = items_.toZip();
        const Opened opened(zip, OpenMode::ReadOnly);
        const DigitalSignature signature = opened.manager.getSignature(u"sig1");
        EXPECT_TRUE(opened.manager.verifySignature(signature, publicKeyOf(key)).isValid());
        EXPECT_TRUE(opened.manager.verifySignature(signature, certificate("signer"), {}, noOptions(), {}).isValid());
    }

    std::string many;
    for (int i = 0; i < 101; ++i)
        many += element("other");
    expectRefused(written, {"XML signature: there are more than 100 certificates.",
                            {{data, "<X509Data>" + many + "</X509Data>"}},
                            "each costs a verification"});
    expectRefused(written, {"Input key size is not supported as a Signature Method.",
                            {{data, "<X509Data>" + element("elliptic") + "</X509Data>"}},
                            "a key that is none of RSA"});
}

/// All but the transforms, which are told in another way until they are written.
auto fieldsOf(const DigitalSignatureData::ReferenceData& reference) {
    return std::make_tuple(reference.id, reference.uri, reference.type, reference.relationshipSourceIds,
                           reference.relationshipSourceTypes, reference.digestMethod, reference.digestValue);
}

auto fieldsOf(const DigitalSignatureData::SignaturePropertyData& property) {
    return std::make_tuple(property.target, property.id, property.format, property.value);
}

template <class Entry>
void expectSame(const std::vector<Entry>& read, const std::vector<Entry>& made) {
    ASSERT_EQ(read.size(), made.size());
    for (std::size_t i = 0; i < read.size(); ++i)
        EXPECT_EQ(fieldsOf(read[i]), fieldsOf(made[i])) << i;
}

TEST_F(SignatureReading, ReadsWhatWasWritten) {
    std::shared_ptr<DigitalSignatureData> made;
    const URI source(u"/word/document.xml");
    Bytes zip = changed(letter().toZip(), [&](Opened& opened) {
        made = opened.manager
                   .sign({PartName(source), u"/word/styles.xml"},
                         {{source, RelationshipSelectorType::ById, u"rId2"},
                          {source, RelationshipSelectorType::ByType, u"urn:link"},
                          {URI(u"/"), RelationshipSelectorType::ById, u"rId1"}},
                         fixedKey(), {DigestMethod::SHA384, SignatureMethod::RSA1024})
                   .getImpl();
    });
    const Opened opened(zip, OpenMode::ReadOnly);
    const DigitalSignature signature = opened.manager.getSignature(u"sig1");
    const DigitalSignatureData& read = *signature.getImpl();
    EXPECT_EQ(read.signedTime, boost::posix_time::time_from_string("2026-03-04 05:06:00")) << "in whole minutes";
    EXPECT_EQ(read.signatureParams.getDigestMethod(), DigestMethod::SHA384);
    EXPECT_EQ(read.signatureParams.getSignatureMethod(), SignatureMethod::RSA1024);
    EXPECT_EQ(read.signatureMethod, u"http://www.w3.org/2001/04/xmldsig-more#rsa-sha384");
    EXPECT_EQ(read.canonicalizationMethod, u"http://www.w3.org/TR/2001/REC-xml-c14n-20010315");
    EXPECT_EQ(read.partName, u"/_xmlsignatures/sig1.xml");
    EXPECT_EQ(read.signatureId, u"1");
    EXPECT_EQ(read.signedPartNames, (std::vector<PartName>{PartName(source), u"/word/styles.xml"}));
    EXPECT_EQ(read.signedRelationships.size(), 3U) << "one is selected twice";
    ASSERT_EQ(read.manifestReferences.size(), 4U);
    EXPECT_EQ(read.manifestReferences[0].uri.toString(), u"/word/document.xml?ContentType=application/xml");
    EXPECT_EQ(read.manifestReferences[2].uri.toString(), u"/_rels/.rels?ContentType=application/"
                                                         u"vnd.openxmlformats-package.relationships+xml");
    EXPECT_EQ(read.manifestReferences[3].transforms,
              std::vector<std::u16string>{u"http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform"});

    EXPECT_EQ(read.signedTime, made->signedTime);
    EXPECT_EQ(read.signatureValue, made->signatureValue);
    EXPECT_EQ(read.publicKey, made->publicKey);
    EXPECT_EQ(read.signedPartNames, made->signedPartNames);
    EXPECT_EQ(read.relationshipSelectors, made->relationshipSelectors);
    EXPECT_TRUE(std::is_permutation(read.signedRelationships.begin(), read.signedRelationships.end(),
                                    made->signedRelationships.begin(), made->signedRelationships.end()));
    expectSame(read.signedInfoReferences, made->signedInfoReferences);
    expectSame(read.manifestReferences, made->manifestReferences);
    expectSame(read.signatureProperties, made->signatureProperties);
}

TEST_F(SignatureReading, TellsWhatItFindsInItsTrace) {
    std::ostringstream trace;
    read(good_, trace);
    std::size_t position = 0;
    for (const std::string label :
         {"Canonicalization Algorithm http://www.w3.org/TR/2001/REC-xml-c14n-20010315\n",
          "Signature Algorithm http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\n",
          "Signature value: ",
          " -------------------- Reference --------------------\n",
          "Reference URI = #idPackageObject\n",
          "URI = ",
          "Type = http://www.w3.org/2000/09/xmldsig#Object\n",
          "Digest Algorithm http://www.w3.org/2001/04/xmlenc#sha256\n",
          "Digest value: ",
          "Number of reference elements = 1\n",
          "Number of object elements = 1\n",
          "Object ID found = idPackageObject\n",
          "Found the package specific object. \n",
          "Number of reference elements = 2\n",
          "URI = /word/document.xml?ContentType=application/xml\n",
          "Number of transform elements = 1\n",
          "Transform Algorithm http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform\n",
          "Number of relationship reference elements = 1\n",
          "Number of relationship group reference elements = 1\n",
          "Time Format = YYYY-MM-DDThh:mmTZD\n",
          " and Value = 2026-03-04T05:06Z\n",
          "Time after conversion: 2026-03-04T05:06:00Z\n"}) {
        const std::size_t found = trace.str().find(label, position);
        EXPECT_NE(found, std::string::npos) << label << "is not behind " << position << " in " << trace.str();
        position = found == std::string::npos ? position : found + label.size();
    }
    read(edited(good_, {{of("KeyValue"), "<X509Data><X509SKI>AAAA</X509SKI></X509Data>"}}), trace);
    EXPECT_NE(trace.str().find("Number of x509Certificate elements = 0\n"), std::string::npos);
}

TEST(SignatureDump, SaysEverythingThatIsKnown) {
    DigitalSignatureData data;
    data.signatureId = u"7";
    data.signedTime = boost::posix_time::time_from_string("2026-03-04 05:06:00");
    data.canonicalizationMethod = u"urn:c14n";
    data.signatureMethod = u"urn:rsa";
    data.signatureValue = u"AAEC";
    data.signedPartNames = {u"/a.xml", u"/b/c.png"};
    data.signedInfoReferences = {{u"r1", URI(u"#o"), u"urn:type", {}, {}, {}, u"urn:sha", u"AA=="}};
    data.manifestReferences = {
        {u"", URI(u"/a.xml?ContentType=a/b"), u"", {}, {}, {}, u"urn:sha", u"AQ=="},
        {u"", URI(u"/_rels/.rels"), u"", {u"urn:t", u"urn:u"}, {u"rId1", u"rId2"}, {u"urn:x"}, u"urn:sha", u"Ag=="}};
    data.signatureProperties = {{u"#Signature7", u"idSignatureTime", u"YYYY-MM-DDThh:mmTZD", u"2026-03-04T05:06Z"}};
    data.objects = {{u"o", u"<Object Id=\"o\"/>"}, {u"p", u"<Object/>"}};
    std::ostringstream out;
    EXPECT_EQ(&prettyPrint(out, data), &out);
    EXPECT_EQ(out.str(), R"(----------- Pretty Print of Digital Signature data --------------------
Name: sig7
Signature Time: 2026-03-04T05:06:00Z
C14n Method: urn:c14n
Signature Method:urn:rsa
m_signatureValueInXML:AAEC
List of signed parts:
/a.xml, /b/c.png

Printing SignedInfo data... 
Printing references... 
referenceID: r1
referenceURI: #o
referenceType: urn:type
digestMethod: urn:sha
digestValue: AA==


Printing the package specific object....

Printing manifest...
Printing references...
referenceID: 
referenceURI: /a.xml?ContentType=a/b
referenceType: 
digestMethod: urn:sha
digestValue: AQ==

referenceID: 
referenceURI: /_rels/.rels
referenceType: 
digestMethod: urn:sha
digestValue: Ag==

Transform Algorithm: urn:t
Transform Algorithm: urn:u
RelationshipReference	rId1
RelationshipReference	rId2
RelationshipGroupReference	urn:x
Printing Signature Properties...
Number of properties = 1
Signature Property Target: #Signature7
Signature Property Time: Format = YYYY-MM-DDThh:mmTZD	 Value = 2026-03-04T05:06Z
Signature Property ID: idSignatureTime

Printing all objects....
objectID: o
XMLBytes: <Object Id="o"/>
objectID: p
XMLBytes: <Object/>
-----------------------------------------------------------------------
)");
}

} // namespace

} // namespace opc::model::test
