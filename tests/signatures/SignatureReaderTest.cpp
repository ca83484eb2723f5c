// SPDX-License-Identifier: Apache-2.0
#include "signatures/StoredSignature.hpp"

namespace opc::model::test {

namespace {

using SignatureReader = StoredSignature;

const std::string OBJECT_TYPE = "Type=\"" + DSIG + "Object\"";
const std::string TIME = "<pds:SignatureTime><pds:Format>YYYY-MM-DDThh:mmTZD</pds:Format>"
                         "<pds:Value>2026-03-04T05:06Z</pds:Value></pds:SignatureTime>";
const std::string RELATIONSHIP_TRANSFORM =
    "<Transform Algorithm=\"http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform\">";
const std::string GROUP = "<pds:RelationshipGroupReference SourceType=\"urn:link\"/>";
const std::string PDS = " xmlns:pds=\"http://schemas.openxmlformats.org/package/2006/digital-signature\" ";

std::string absent(const std::string& name) {
    return "XML signature: " + name + " is not present.";
}
std::string empty(const std::string& name) {
    return "XML signature: " + name + " is empty.";
}

TEST_F(SignatureReader, RefusesEveryMissingElementByItsName) {
    const Fault faults[] = {
        {absent("SignedInfo"), {{of("SignedInfo"), ""}}, "", Seen::Behind},
        {absent("CanonicalizationMethod"), {{of("CanonicalizationMethod"), ""}}, "", Seen::Behind},
        {absent("SignatureMethod"), {{of("SignatureMethod"), ""}}, "", Seen::Behind},
        {absent("SignatureValue"), {{of("SignatureValue"), ""}}, "", Seen::Behind},
        {absent("KeyInfo"), {{of("KeyInfo"), ""}}, "the schema does without"},
        {absent("Modulus"), {{of("Modulus"), ""}}, "", Seen::Behind},
        {absent("Exponent"), {{of("Exponent"), ""}}, "", Seen::Behind},
        {absent("DigestMethod"), {{of("DigestMethod"), ""}}, "of SignedInfo", Seen::Behind},
        {absent("DigestValue"), {{of("DigestValue"), ""}}, "of SignedInfo", Seen::Behind},
        {absent("DigestValue"),
         {{manifestReference(), edited(manifestReference(), {{elementOf(manifestReference(), "DigestValue"), ""}})}},
         "of the manifest",
         Seen::Behind},
        {absent("SignatureTime"), {{of("SignatureProperty"), ""}}, "no property at all", Seen::Behind},
        {absent("SignatureTime"), {{TIME, "<x:y xmlns:x=\"urn:x\"/>"}}, "a property of another kind"},
        {absent("SignatureTime"),
         {{"</SignatureProperties>", "<SignatureProperty Target=\"#Signature1\"><x:y xmlns:x=\"urn:x\"/>"
                                     "</SignatureProperty></SignatureProperties>"}},
         "one more of another kind"},
        {absent("Format"), {{of("pds:Format"), ""}}, "", Seen::Behind},
        {absent("Value"), {{of("pds:Value"), ""}}, "", Seen::Behind},
        {absent("Signature"), {{good_, of("SignedInfo")}}, "another root"},
        {absent("Signature"), {{DSIG, "urn:x"}}, "another namespace", Seen::Behind},
    };
    for (const Fault& fault : faults)
        expectRefused(good_, fault);
}

TEST_F(SignatureReader, RefusesEveryEmptyTextAndAttributeByItsName) {
    const std::string c14n = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
    const std::string rsa = "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256";
    const std::string sha = "http://www.w3.org/2001/04/xmlenc#sha256";
    const std::string canonicalization = "Algorithm=\"" + c14n + '"';
    const auto emptied = [this](const std::string& name) {
        return Edits{{of(name), '<' + name + "> </" + name + '>'}};
    };
    const Fault faults[] = {
        {empty("CanonicalizationMethod"), {{c14n, ""}}, ""},
        {empty("CanonicalizationMethod"), {{canonicalization, ""}}, "not even an attribute", Seen::Behind},
        {empty("SignatureMethod"), {{rsa, ""}}, ""},
        {empty("SignatureValue"), emptied("SignatureValue"), ""},
        {empty("Modulus"), emptied("Modulus"), ""},
        {empty("Exponent"), emptied("Exponent"), ""},
        {empty("DigestMethod"), {{sha, ""}}, "of SignedInfo"},
        {empty("DigestMethod"), {{sha + "\"/>", "\"/>"}}, "of the manifest"},
        {empty("DigestValue"), emptied("DigestValue"), ""},
        {empty("Format"), emptied("pds:Format"), "", Seen::Behind},
        {empty("Value"), emptied("pds:Value"), "", Seen::Behind},
        {empty("referenceType"), {{OBJECT_TYPE, ""}}, ""},
        {empty("x509CertificateElement"),
         {{of("KeyValue"), "<X509Data><X509Certificate><!-- --> </X509Certificate></X509Data>"}},
         ""},
        {empty("TransformMethod"), {{RELATIONSHIP_TRANSFORM, "<Transform Algorithm=\"\">"}}, ""},
        {"XML signature: SourceID of a relationship transform is empty.", {{"SourceId=\"rId1\"", "SourceId=\"\""}}, ""},
        {"XML signature: SourceID of a relationship transform is empty.", {{"SourceId", "Id"}}, "", Seen::Behind},
        {"XML signature: Source type of a relationship group transform is empty.", {{"\"urn:link\"", "\"\""}}, ""},
        {"XML signature: Source type of a relationship group transform is not a valid URI",
         {{"\"urn:link\"", "\" urn:link\""}},
         ""},
        {"XML signature: Object missing Id attribute.",
         {{"</Signature>", "<Object Id=\"\"/></Signature>"}},
         "",
         Seen::Behind},
        {"XML signature: Object missing Id attribute.", {{"</Signature>", "<Object/></Signature>"}}, ""},
        {"XML signature: Object missing Id attribute.", {{"<Object Id=\"idPackageObject\"", "<Object"}}, ""},
        {"XML signature: SignatureProperty does not have a target.", {{"\"#Signature1\"", "\"\""}}, ""},
        {"XML signature: SignatureProperty does not have a target.",
         {{"Target=\"#Signature1\"", ""}},
         "not even an attribute",
         Seen::Behind},
    };
    for (const Fault& fault : faults)
        expectRefused(good_, fault);
}

TEST_F(SignatureReader, RefusesMethodsAndKeysThatItDoesNotKnow) {
    const std::string mechanisms = "Supported key management mechanisms in signatures are KeyValue using RSA or X509 "
                                   "certificates. Others are not supported.";
    const std::string noRSA = "RSA Key Value is missing. DSA for signatures is not supported yet.";
    const std::string size = "Input key size is not supported as a Signature Method.";
    const auto modulus = [](const std::string& value) { return Edits{{std::string(opc::test::FIXED_MODULUS), value}}; };
    const Fault faults[] = {
        {"XML signature: CanonicalizationMethod is not supported: http://www.w3.org/2001/10/xml-exc-c14n#",
         {{"http://www.w3.org/TR/2001/REC-xml-c14n-20010315", "http://www.w3.org/2001/10/xml-exc-c14n#"}},
         "it is not how SignedInfo is verified"},
        {noRSA, {{of("RSAKeyValue"), "<DSAKeyValue><Y>AA==</Y></DSAKeyValue>"}}, "DSA"},
        {noRSA, {{of("RSAKeyValue"), "<x:y xmlns:x=\"urn:x\"/>"}}, "a key of another kind"},
        {mechanisms, {{of("KeyValue"), "<KeyName>Ada</KeyName>"}}, "a name"},
        {size,
         {{of("KeyValue"), "<X509Data><X509SKI>AAAA</X509SKI></X509Data>"},
          {of("SignatureValue"), "<SignatureValue>AAAA</SignatureValue>"}},
         "no certificate, and a value that no key made"},
        {"XML signature: RSAKeyValue: The text is not base64.", modulus("AAA"), "", Seen::Behind},
        {"XML signature: RSAKeyValue: The public exponent of the RSA key is not an odd number of at least 3.",
         {{"AQAB", "AQ=="}},
         "every value would be its signature"},
        {size, modulus("AAAB"), "too short"},
        {size, modulus(std::string(512 / 3 * 4, 'A') + std::string(684, '/')), "too long"},
        {size, modulus(std::string(512, '/')), "3072 bits"},
        {"XML signature: X509Certificate: The text is not base64.",
         {{of("KeyValue"), "<X509Data><X509Certificate>AAA</X509Certificate></X509Data>"}},
         "",
         Seen::Behind},
    };
    for (const Fault& fault : faults)
        expectRefused(good_, fault);
    EXPECT_TRUE(opc::test::throwsSaying<InvalidPartContent>("XML signature: X509Certificate: ", [&] {
        read(edited(good_, {{of("KeyValue"), "<X509Data><X509Certificate>AAAA</X509Certificate></X509Data>"}}));
    })) << "no certificate, in the words of OpenSSL";
}

TEST_F(SignatureReader, RefusesReferencesThatLeadAstrayOrHoldMore) {
    const std::string uri = "URI=\"#idPackageObject\"";
    const std::string reference = of("Reference");
    const std::string manifest = manifestReference();
    const std::string notValid = "XML signature: Reference URI is not valid";
    const std::string notThere = "XML signature: Could not find referenced object ";
    const std::string more = "XML signature: SignedInfo holds more than is understood.";
    const std::string moreSelectors = "XML signature: a relationships transform holds more than selectors.";
    const std::string noReference = "Internal Exception: Did not get Reference Element as expected.";
    const auto type = [](const std::string& identifier) { return Edits{{OBJECT_TYPE, "Type=\"" + identifier + '"'}}; };
    const auto transformed = [](const std::string& transform) {
        return Edits{{"<DigestMethod", "<Transforms>" + transform + "</Transform></Transforms><DigestMethod"}};
    };
    const Fault faults[] = {
        {noReference, {{"<Reference", "<x:y xmlns:x=\"urn:x\"/><Reference"}}, "in SignedInfo", Seen::Behind},
        {noReference, {{"<Manifest>", "<Manifest><x:y xmlns:x=\"urn:x\"/>"}}, "in the manifest", Seen::Behind},
        {"XML Signature: Reference does not have a URI. It is not supported.", {{uri, ""}}, ""},
        {"XML signature: Manifest reference missing URI attribute.",
         {{"URI=\"/word/document.xml?ContentType=application/xml\"", ""}},
         ""},
        {notValid, {{uri, "URI=\"#id PackageObject\""}}, "in SignedInfo; the schema takes spaces"},
        {notValid, {{"/word/document.xml", "/word/a document.xml"}}, "in the manifest"},
        {"XAsES SignedProperties element is not supported yet.", type("http://uri.etsi.org/01903#SignedProperties"),
         ""},
        {"XMLDSig SignatureProperties element is not supported yet.", type(DSIG + "SignatureProperties"), ""},
        {"XML Signature: referenceType not supported yet.", type(DSIG + "Manifest"), ""},
        {"XML Signature: referenceType not supported yet.", type(DSIG + "object"), "by letter"},
        {"XML Signature: referenceType not supported yet.", type(' ' + DSIG + "Object"), "white space is kept"},
        {"XAsES SignedProperties element is not supported yet.",
         {{uri, "URI=\"#other\""}, {OBJECT_TYPE, "Type=\"http://uri.etsi.org/01903#SignedProperties\""}},
         "judged before what it leads to"},
        {notThere + "other", {{uri, "URI=\"#other\""}}, ""},
        {notThere + "idpackageobject", {{uri, "URI=\"#idpackageobject\""}}, "by letter"},
        {notThere, {{uri, "URI=\"\""}}, "the whole document"},
        {notThere, {{uri, "URI=\"idPackageObject\""}}, "another document"},
        {notThere + "idPackageObject", {{uri, "URI=\"/a.xml#idPackageObject\""}}, "of another document"},
        {"XML signature: two references of SignedInfo lead to the object idPackageObject",
         {{reference, reference + reference}},
         ""},
        {"XML signature: no reference of SignedInfo leads to the package specific object.",
         {{uri, "URI=\"#other\""}, {"</Signature>", "<Object Id=\"other\"/></Signature>"}},
         "only to one that says nothing about the package"},
        {"XML signature: no reference of SignedInfo leads to the package specific object.",
         {{reference, ""}},
         "none at all",
         Seen::Behind},
        {"XML signature: a reference of SignedInfo has a relationships transform.",
         transformed(RELATIONSHIP_TRANSFORM + edited(GROUP, {{" ", PDS}})), "it would change what is digested"},
        {"XML signature: a reference of SignedInfo has a relationships transform.", transformed(RELATIONSHIP_TRANSFORM),
         "without selectors"},
        {"XML signature: a reference has more than one relationships transform.",
         {{RELATIONSHIP_TRANSFORM, RELATIONSHIP_TRANSFORM + GROUP + "</Transform>" + RELATIONSHIP_TRANSFORM}},
         ""},
        {moreSelectors, {{RELATIONSHIP_TRANSFORM, RELATIONSHIP_TRANSFORM + "<x:y xmlns:x=\"urn:x\"/>"}}, ""},
        {moreSelectors,
         {{"RelationshipGroupReference SourceType", "relationshipGroupReference SourceType"}},
         "an element of the right namespace and of another name"},
        {moreSelectors,
         {{GROUP, "<pds:RelationshipGroupReference xmlns:pds=\"urn:x\" SourceType=\"urn:link\"/>"}},
         "an element of the right name and of another namespace"},
        {more, {{"<SignedInfo", "<SignedInfo Id=\"s\""}}, "an attribute"},
        {more, {{"<SignatureMethod", "<!-- --><SignatureMethod"}}, "a comment"},
        {more, {{"<SignatureMethod", "\n<SignatureMethod"}}, "white space"},
        {more, {{"<SignatureMethod", "<?p?><SignatureMethod"}}, "an instruction"},
        {more,
         {{"</SignatureMethod>", "<x:y xmlns:x=\"urn:x\"/></SignatureMethod>"}},
         "a parameter of the method",
         Seen::Behind},
        {more, {{"</SignatureMethod>", "text</SignatureMethod>"}}, "a text"},
        {more, {{"<Signature ", "<Signature xmlns:x=\"urn:x\" "}}, "a namespace of its parent"},
        {more,
         {{"<Signature ", "<ds:Signature xmlns:ds=\"" + DSIG + "\" "}, {"</Signature>", "</ds:Signature>"}},
         "the prefix of its parent"},
        {"XML content with the relative namespace \"x\" has no canonical form",
         {{"<Signature ", "<Signature xmlns:x=\"x\" "}},
         "a namespace of its parent that is none"},
        {more,
         {{reference, edited(reference, {{"<DigestMethod", "<Transforms><Transform Algorithm=\"urn:x\"><XPath/>"
                                                           "</Transform></Transforms><DigestMethod"}})}},
         "what a transform is to do"},
    };
    for (const Fault& fault : faults)
        expectRefused(good_, fault);
}

TEST_F(SignatureReader, RefusesObjectsThatAreNotTheOneOfThePackage) {
    const std::string manifest = of("Manifest");
    const std::string properties = of("SignatureProperties");
    const std::string noManifest = "XML signature: Could not find manifest object ";
    const std::string noObject = "XML signature: Could not find referenced object idPackageObject";
    const std::string only = " element in package specific Object element.";
    const std::string onlyManifest = "XML signature: There must exist only one Manifest" + only;
    const std::string onlyProperties = "XML signature: There must exist only one SignatureProperties" + only;
    const std::string onlyTime = "XML signature: There must exist only one SignatureTime element.";
    const std::string target = "XML signature: the target of a SignatureProperty is not its signature.";
    const std::string noTime = "XML signature: the time of the signature is no time: ";
    const std::string foreign = "<x:Manifest xmlns:x=\"urn:x\"/>";
    const auto time = [](const std::string& value) { return Edits{{"2026-03-04T05:06Z", value}}; };
    const Fault faults[] = {
        {"XML signature: two objects have the Id idPackageObject",
         {{"</Signature>", "<Object Id=\"idPackageObject\"/></Signature>"}},
         "",
         Seen::Behind},
        {noObject, {{"Id=\"idPackageObject\"", "Id=\"other\""}}, "no package object"},
        {noObject, {{"Id=\"idPackageObject\"", "Id=\" idPackageObject\""}}, "white space is kept"},
        {noManifest, {{manifest, ""}}, ""},
        {noObject,
         {{"</KeyInfo>", of("Object") + "</KeyInfo>"}, {"</KeyInfo>" + of("Object"), "</KeyInfo>"}},
         "an object that is no child of the signature",
         Seen::Behind},
        {noManifest, {{manifest, "<x:y xmlns:x=\"urn:x\">" + manifest + "</x:y>"}}, "wrapped"},
        {onlyManifest, {{manifest, manifest + manifest}}, ""},
        {onlyManifest, {{properties, properties + foreign}}, "one of another namespace"},
        {"Internal Exception: Did not get Manifest Element as expected.", {{manifest, foreign}}, ""},
        {"XML signature: Could not find signatureProperties object ", {{properties, ""}}, ""},
        {onlyProperties, {{properties, properties + edited(properties, {{"Id=\"idSignatureTime\"", ""}})}}, ""},
        {target, {{"Target=\"#Signature1\"", "Target=\"#Signature2\""}}, ""},
        {target, {{"Target=\"#Signature1\"", "Target=\"Signature1\""}}, ""},
        {target, {{"Target=\"#Signature1\"", "Target=\" #Signature1\""}}, "white space is kept"},
        {target, {{"<Signature Id=\"Signature1\"", "<Signature Id=\"Signature2\""}}, "the signature is another one"},
        {target, {{"<Signature Id=\"Signature1\"", "<Signature"}}, "the signature has no Id"},
        {onlyTime, {{TIME, TIME + TIME}}, ""},
        {onlyTime,
         {{"</SignatureProperty>",
           "</SignatureProperty><SignatureProperty Target=\"#Signature1\">" + TIME + "</SignatureProperty>"}},
         "in two properties"},
        {noTime + "2026-02-30T05:06Z", time("2026-02-30T05:06Z"), "the schema does not know calendars"},
        {noTime + "0999-01-01T00:00Z", time("0999-01-01T00:00Z"), "before the years that can be told"},
        {noTime + "9999-12-31T23:59-00:01", time("9999-12-31T23:59-00:01"), "after them"},
        {noTime + "now", time("now"), "", Seen::Behind},
        {noTime + " 2026-03-04T05:06Z", time(" 2026-03-04T05:06Z"), "white space", Seen::Behind},
    };
    for (const Fault& fault : faults)
        expectRefused(good_, fault);
}

TEST_F(SignatureReader, RefusesWhatIsNoXmlOfASignature) {
    const std::pair<std::string, const char*> documents[] = {
        {"", "nothing"},
        {good_.substr(0, good_.size() - 1), "cut off"},
        {edited(good_, {{"<Signature ", "<!DOCTYPE Signature [<!ENTITY e \"\">]><Signature "}}), "a document type"},
        {edited(good_, {{"AQAB", "AQ\xFF\x42"}}), "no UTF-8"},
        {edited(good_, {{"UTF-8", "ISO-8859-1"}}), "another encoding"},
        {edited(good_, {{"</SignatureValue>", "&e;</SignatureValue>"}}), "an entity"},
        {edited(good_, {{"<KeyInfo>", "<KeyInfo unknown=\"\">"}}), "an attribute that the schema does not know"},
        {edited(good_, {{of("SignatureValue"), ""}, {"<SignedInfo", of("SignatureValue") + "<SignedInfo"}}),
         "another order"},
    };
    for (const auto& [document, why] : documents) {
        SCOPED_TRACE(why);
        EXPECT_THROW(read(document), InvalidPartContent);
        EXPECT_EQ(verdictWith(document).substr(0, 9), "refused: ");
    }
}

} // namespace

} // namespace opc::model::test
