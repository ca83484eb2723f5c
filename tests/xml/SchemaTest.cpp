// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include "xml/EmbeddedSchemas.hpp"
#include "xml/SchemaValidation.hpp"

#include <cstring>

namespace opc::model::test {
namespace {

struct Document {
    bool valid;
    std::string text;
    const char* why;
};

class SchemaTest : public XmlTest {
protected:
    void load(const std::vector<const EmbeddedSchema*>& schemas) {
        for (const EmbeddedSchema* schema : schemas) {
            EXPECT_NO_THROW(loadEmbeddedSchema(*parser_, *schema)) << schema->systemId;
        }
    }

    /// The content stands in the root element `head` ... `tail`.
    void check(const std::string& head, const std::string& tail, const std::vector<Document>& documents) {
        for (const auto& [valid, text, why] : documents) {
            const std::string result = verdict(head + text + tail, true);
            EXPECT_EQ(result == "accepted", valid) << why << ": " << result << "\n" << text;
        }
    }
};

std::string loadVerdict(const std::string& text, const ParserHandle& parser = XercesHelper::createParser()) {
    try {
        loadEmbeddedSchema(*parser, {"test.xsd", text.c_str(), text.size()});
    } catch (const InvalidXMLSchema& e) {
        return e.what();
    }
    return "loaded";
}

TEST_F(SchemaTest, loading_says_why_a_schema_could_not_be_loaded) {
    const std::string start = "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>";
    const std::string failed = "Schema could not be loaded: ";
    EXPECT_EQ(loadVerdict(start + "</xs:schema>"), "loaded");
    EXPECT_EQ(loadVerdict("<a"), failed + "unexpected end of input");
    EXPECT_EQ(loadVerdict("<a/>"), failed + "root element name of XML Schema document must be 'schema'");
    EXPECT_EQ(loadVerdict(start + "<xs:include schemaLocation='/etc/hostname'/></xs:schema>"),
              failed + "XML content can not refer to another resource: /etc/hostname");
    EXPECT_THROW(loadEmbeddedSchema(*parser_, embedded::opc_coreProperties), InvalidXMLSchema)
        << "what it imports is not in the cache";
}

TEST_F(SchemaTest, every_embedded_schema_names_no_location_and_holds_no_document_type) {
    for (const auto* schema :
         {&embedded::xml, &embedded::dc, &embedded::dcmitype, &embedded::dcterms, &embedded::opc_coreProperties,
          &embedded::opc_contentTypes, &embedded::opc_relationships, &embedded::opc_dsig, &embedded::xmldsig}) {
        EXPECT_EQ(std::strlen(schema->text), schema->length) << schema->systemId;
        EXPECT_EQ(verdict(schema->text), "accepted") << schema->systemId;
        EXPECT_EQ(std::string(schema->text).find("schemaLocation"), std::string::npos) << schema->systemId;
    }
}

TEST_F(SchemaTest, a_parser_takes_more_schemas_between_reads_and_keeps_those_it_has) {
    const std::string types = "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'/>";
    const std::string relationships =
        "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'/>";
    load({&embedded::opc_contentTypes});
    EXPECT_EQ(verdict(types, true), "accepted");
    EXPECT_NE(verdict(relationships, true), "accepted") << "no grammar for its namespace";
    load({&embedded::opc_relationships});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(verdict(types, true), "accepted");
        EXPECT_EQ(verdict(relationships, true), "accepted");
        EXPECT_NE(verdict("<Types/>", true), "accepted") << "the namespace counts";
    }
}

TEST_F(SchemaTest, content_types) {
    load({&embedded::opc_contentTypes});
    const std::string type = " ContentType='a/b'";
    check("<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>", "</Types>",
          {
              {true, "", "no entry"},
              {true,
               "<Default Extension='xml'" + type + "/><Override PartName='/a'" + type + "/><Default Extension='b'" +
                   type + "/>",
               "any order"},
              {true, "<Default Extension='xml'" + type + "/><Default Extension='xml'" + type + "/>", "equal entries"},
              {true, "<Default Extension=\"a!$&amp;'()*+,:=@-_~09AZ%2f\"" + type + "/>",
               "all that an extension may hold"},
              {true, "\n <!-- c --><?p i?>\n", "comments and white space"},
              {false, "<Default Extension=''" + type + "/>", "an empty extension"},
              {false, "<Default Extension='.js'" + type + "/>", "a dot"},
              {false, "<Default Extension='a;b'" + type + "/>", "a semicolon"},
              {false, "<Default Extension='a%2'" + type + "/>", "half an escape"},
              {false, "<Default Extension='\xC3\xA9'" + type + "/>", "not ASCII"},
              {false, "<Default Extension=' xml'" + type + "/>", "a space"},
              {false, "<Default" + type + "/>", "no extension"},
              {false, "<Default Extension='xml'/>", "no type for an extension"},
              {false, "<Override PartName='/a'/>", "no type for a part"},
              {false, "<Override" + type + "/>", "no part name"},
              {false, "<Override PartName='/a' Extension='b'" + type + "/>", "an attribute of the other"},
              {false, "<Override PartName='%zz'" + type + "/>", "a part name that is no URI"},
              {false, "<Default Extension='xml'" + type + ">x</Default>", "text in an entry"},
              {false, "x", "text between entries"},
              {false, "<Other/>", "an unknown element"},
              {false, "<Types/>", "the root again"},
              {false, "<Default xmlns='' Extension='xml'" + type + "/>", "no namespace"},
          });
}

TEST_F(SchemaTest, relationships) {
    load({&embedded::opc_relationships});
    const std::string rest = " Type='http://t' Target='a.xml'";
    check("<r:Relationships xmlns:r='http://schemas.openxmlformats.org/package/2006/relationships'>",
          "</r:Relationships>",
          {
              {true, "", "no relationship"},
              {true, "<r:Relationship Id='a'" + rest + "/><r:Relationship Id='b'" + rest + ">text</r:Relationship>",
               "text in one"},
              {true, "<r:Relationship Id='a' TargetMode='Internal'" + rest + "/>", "internal"},
              {true, "<r:Relationship Id='a' TargetMode='External'" + rest + "/>", "external"},
              {true, "<r:Relationship Id='_a-1.\xC3\xA9'" + rest + "/>", "an odd Id"},
              {true, "<r:Relationship Id='a' Type='' Target='a b{}|\xC3\xA9'/>", "targets that are no strict URIs"},
              {false, "<r:Relationship Id='a'" + rest + "/><r:Relationship Id='a'" + rest + "/>", "an Id twice"},
              {false, "<r:Relationship Id='1'" + rest + "/>", "an Id that starts with a digit"},
              {false, "<r:Relationship Id='a:b'" + rest + "/>", "an Id with a colon"},
              {false, "<r:Relationship Id=''" + rest + "/>", "an empty Id"},
              {false, "<r:Relationship" + rest + "/>", "no Id"},
              {false, "<r:Relationship Id='a' Type='t'/>", "no target"},
              {false, "<r:Relationship Id='a' Target='t'/>", "no type"},
              {false, "<r:Relationship Id='a' Type='t' Target='%zz'/>", "a bad escape"},
              {false, "<r:Relationship Id='a' TargetMode='external'" + rest + "/>", "the case of the mode"},
              {false, "<r:Relationship Id='a' TargetMode=''" + rest + "/>", "an empty mode"},
              {false, "<r:Relationship Id='a' x='y'" + rest + "/>", "an unknown attribute"},
              {false, "<r:Relationship Id='a'" + rest + "><r:Relationship/></r:Relationship>", "an element in one"},
              {false, "<Relationship Id='a'" + rest + "/>", "no namespace"},
              {false, "text", "text between them"},
          });
}

class CorePropertiesSchemaTest : public SchemaTest {
protected:
    CorePropertiesSchemaTest() {
        load({&embedded::xml, &embedded::dc, &embedded::dcmitype, &embedded::dcterms, &embedded::opc_coreProperties});
    }

    const std::string head_ =
        "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
        "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
        "xmlns:dcmitype='http://purl.org/dc/dcmitype/' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'>";
    const std::string tail_ = "</cp:coreProperties>";
};

TEST_F(CorePropertiesSchemaTest, core_properties) {
    check(head_, tail_,
          {
              {true, "", "none"},
              {true,
               "<cp:category/><cp:contentStatus/><dcterms:created/><dc:creator/><dc:description/><dc:identifier/>"
               "<cp:keywords/><dc:language/><cp:lastModifiedBy/><cp:lastPrinted>2026-01-02T03:04:05.678Z"
               "</cp:lastPrinted><dcterms:modified/><cp:revision/><dc:subject/><dc:title/><cp:version/>",
               "all fifteen"},
              {true, "<cp:version/><dc:title/><cp:category/>", "any order"},
              {true, "<cp:keywords xml:lang='en'>a<cp:value xml:lang='de-CH'>b</cp:value>c<cp:value/></cp:keywords>",
               "keywords in languages"},
              {true, "<dc:title xml:lang='en'>a</dc:title>", "a title in a language"},
              {false, "<dc:title xml:lang=''>a</dc:title>", "an empty language"},
              {true, "<dcterms:abstract>a</dcterms:abstract>", "refines the description"},
              {true, "<dcterms:alternative>a</dcterms:alternative>", "refines the title"},
              {true, "<dcterms:bibliographicCitation/>", "refines the identifier"},
              {false, "<dc:title/><dc:title/>", "a property twice"},
              {false, "<cp:title/>", "another namespace"},
              {false, "<dc:date/>", "an element that is no core property"},
              {false, "<dcterms:issued/>", "refines an element that is no core property"},
              {false, "<dc:any/>", "the abstract element"},
              {false, "<dc:title><b/></dc:title>", "an element in a literal"},
              {false, "<dc:title x='y'/>", "an attribute of a literal"},
              {false, "<cp:lastPrinted>2026-01-02</cp:lastPrinted>", "a date where a time stands"},
              {false, "<cp:keywords><dc:title/></cp:keywords>", "another element in keywords"},
              {false, "<cp:category xml:lang='en'/>", "a language where none may stand"},
              {false, "<cp:keywords xml:lang='not a language'/>", "no language"},
              {false, "text", "text between them"},
          });
}

TEST_F(CorePropertiesSchemaTest, encoding_schemes) {
    const auto of = [](const std::string& element, const std::string& scheme, const std::string& text) {
        return "<" + element + " xsi:type='dcterms:" + scheme + "'>" + text + "</" + element + ">";
    };
    const auto time = [&](const std::string& text) { return of("dcterms:created", "W3CDTF", text); };
    check(
        head_, tail_,
        {
            {true, time("2026"), "a year"},
            {true, time("2026-02"), "a month"},
            {true, time("2026-02-28"), "a day"},
            {true, time("2026-02-28T12:34:56Z"), "seconds"},
            {true, time("2026-02-28T12:34:56.789+01:00"), "a fraction and an offset"},
            {false, time("2026-02-28T12:34Z"), "minutes are no XML type"},
            {false, time("2026-02-30"), "no such day"},
            {false, time("now"), "no time"},
            {false, time(""), "nothing"},
            {false, "<dcterms:created xsi:type='dcterms:W3CDTF' xml:lang='en'>2026</dcterms:created>", "a language"},
            {true, of("dc:language", "RFC3066", "en-GB"), "a language tag"},
            {true, of("dc:language", "RFC1766", "i-klingon"), "an old one"},
            {false, of("dc:language", "RFC3066", "en GB"), "no language tag"},
            {true, of("dc:language", "ISO639-2", "deu"), "a language code"},
            {true, of("dc:identifier", "URI", "http://a/b"), "a URI"},
            {false, of("dc:identifier", "URI", "%zz"), "no URI"},
            {true, of("dc:subject", "DCMIType", "PhysicalObject"), "a type of the vocabulary"},
            {false, of("dc:subject", "DCMIType", "MovingImage"), "a type of a later vocabulary"},
            {true, of("dc:subject", "LCSH", "a") + of("dc:title", "TGN", "b") + of("dc:creator", "Box", "c"), "texts"},
            {false, of("cp:category", "URI", "a"), "a type that is none of the element's"},
            {false, of("dc:title", "Unknown", "a"), "an unknown scheme"},
        });
    for (const char* scheme :
         {"LCSH", "MESH", "DDC", "LCC", "UDC", "Period", "IMT", "ISO639-2", "Point", "ISO3166", "Box", "TGN"}) {
        check(head_, tail_, {{true, of("dc:title", scheme, "any text"), scheme}});
    }
}

TEST_F(CorePropertiesSchemaTest, refinements_stand_for_what_they_refine) {
    // A container of the test's own tells which group each term is in.
    const std::string schema =
        "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:dc='http://purl.org/dc/elements/1.1/' "
        "xmlns:t='http://purl.org/dc/terms/' targetNamespace='urn:test' elementFormDefault='qualified'>"
        "<xs:import namespace='http://purl.org/dc/elements/1.1/'/><xs:import namespace='http://purl.org/dc/terms/'/>";
    std::string groups;
    for (const std::string group : {"dc:title", "dc:creator", "dc:subject", "dc:description", "dc:publisher",
                                    "dc:contributor", "dc:date", "dc:type", "dc:format", "dc:identifier", "dc:source",
                                    "dc:language", "dc:relation", "dc:coverage", "dc:rights", "t:audience", "dc:any"}) {
        groups += "<xs:element name='" + group.substr(group.find(':') + 1) + "'><xs:complexType><xs:sequence>" +
                  "<xs:element ref='" + group + "'/></xs:sequence></xs:complexType></xs:element>";
    }
    ASSERT_EQ(loadVerdict(schema + groups + "</xs:schema>", parser_), "loaded");
    const std::vector<std::pair<std::string, std::vector<const char*>>> members = {
        {"title", {"alternative"}},
        {"description", {"tableOfContents", "abstract"}},
        {"date",
         {"created", "valid", "available", "issued", "modified", "dateAccepted", "dateCopyrighted", "dateSubmitted"}},
        {"format", {"extent", "medium"}},
        {"relation",
         {"isVersionOf", "hasVersion", "isReplacedBy", "replaces", "isRequiredBy", "requires", "isPartOf", "hasPart",
          "isReferencedBy", "references", "isFormatOf", "hasFormat", "conformsTo"}},
        {"coverage", {"spatial", "temporal"}},
        {"audience", {"audience", "mediator", "educationLevel"}},
        {"rights", {"accessRights"}},
        {"identifier", {"bibliographicCitation"}},
    };
    for (const auto& [group, terms] : members) {
        for (const char* term : terms) {
            const std::string content = std::string("><t:") + term + " xmlns:t='http://purl.org/dc/terms/'/></";
            for (const std::string& other : {group, std::string("any"), std::string("creator")}) {
                const std::string text = "<" + other + " xmlns='urn:test'" + content + other + ">";
                EXPECT_EQ(verdict(text, true) == "accepted", other != "creator") << text;
            }
        }
    }
}

class SignatureSchemaTest : public SchemaTest {
protected:
    SignatureSchemaTest() { load({&embedded::opc_dsig, &embedded::xmldsig}); }

    static std::string reference(const std::string& transforms) {
        return "<Reference URI='#a'>" + transforms +
               "<DigestMethod Algorithm='http://d'/><DigestValue>AAEC\nAwQF</DigestValue></Reference>";
    }

    static std::string time(const std::string& format, const std::string& value) {
        return "<Object Id='o'><SignatureProperties><SignatureProperty Target='#s'><m:SignatureTime><m:Format>" +
               format + "</m:Format><m:Value>" + value +
               "</m:Value></m:SignatureTime></SignatureProperty></SignatureProperties></Object>";
    }

    static std::string transform(const std::string& content) {
        return "<Object><Manifest>" +
               reference("<Transforms><Transform Algorithm='http://t'>" + content + "</Transform></Transforms>") +
               "</Manifest></Object>";
    }

    /// A signature around the key information and objects.
    void checkSignature(const std::vector<Document>& documents) {
        check("<Signature xmlns='http://www.w3.org/2000/09/xmldsig#' "
              "xmlns:m='http://schemas.openxmlformats.org/package/2006/digital-signature' Id='s'><SignedInfo>"
              "<CanonicalizationMethod Algorithm='http://c'/><SignatureMethod Algorithm='http://m'/>" +
                  reference("") + "</SignedInfo><SignatureValue>AAEC</SignatureValue>",
              "</Signature>", documents);
    }
};

TEST_F(SignatureSchemaTest, signatures) {
    const std::string rsa =
        "<KeyValue><RSAKeyValue><Modulus>AAEC</Modulus><Exponent>AQAB</Exponent></RSAKeyValue></KeyValue>";
    const std::string dsa = "<KeyValue><DSAKeyValue>";
    checkSignature({
        {true, "", "neither key nor object"},
        {true, "<KeyInfo>" + rsa + "</KeyInfo>", "an RSA key"},
        {true, "<KeyInfo>" + dsa + "<Y>AAEC</Y></DSAKeyValue></KeyValue></KeyInfo>", "the least of a DSA key"},
        {true,
         "<KeyInfo>" + dsa +
             "<P>AA==</P><Q>AA==</Q><G>AA==</G><Y>AA==</Y><J>AA==</J><Seed>AA==</Seed><PgenCounter>AA==</PgenCounter>"
             "</DSAKeyValue></KeyValue></KeyInfo>",
         "all of a DSA key"},
        {false, "<KeyInfo>" + dsa + "<P>AA==</P><Y>AA==</Y></DSAKeyValue></KeyValue></KeyInfo>", "P without Q"},
        {false, "<KeyInfo><KeyValue><RSAKeyValue><Modulus>AAEC</Modulus></RSAKeyValue></KeyValue></KeyInfo>",
         "no exponent"},
        {true,
         "<KeyInfo Id='k'>text<X509Data><X509IssuerSerial><X509IssuerName>n</X509IssuerName><X509SerialNumber>-12"
         "</X509SerialNumber></X509IssuerSerial><X509SKI>AA==</X509SKI><X509SubjectName/><X509Certificate>AA=="
         "</X509Certificate><X509CRL>AA==</X509CRL></X509Data><KeyName/><MgmtData/></KeyInfo>",
         "all of X.509"},
        {true, "<KeyInfo><RetrievalMethod/><SPKIData><SPKISexp>AA==</SPKISexp></SPKIData></KeyInfo>", "other keys"},
        {true, "<KeyInfo><PGPData><PGPKeyPacket>AA==</PGPKeyPacket></PGPData></KeyInfo>", "PGP"},
        {false, "<KeyInfo/>", "an empty KeyInfo"},
        {false, "<KeyInfo><X509Data/></KeyInfo>", "empty X.509 data"},
        {false, "<KeyInfo><X509Data><X509Certificate>not base64!</X509Certificate></X509Data></KeyInfo>", "no base64"},
        {true, "<Object/>", "an empty object"},
        {true, "<Object Id='o' MimeType='m' Encoding='http://e'>text<x xmlns='urn:x' y='z'><w/></x></Object>",
         "foreign content"},
        {false, "<Object Id='s'/>", "an Id twice"},
        {false, "<Object x='y'/>", "an unknown attribute"},
        {false, "<Object/><KeyInfo>" + rsa + "</KeyInfo>", "the wrong order"},
        {false, "<Object><Manifest/></Object>", "an empty manifest"},
        {false, "<Object><SignatureProperties/></Object>", "no property"},
        {false,
         "<Object><SignatureProperties><SignatureProperty><m:x/></SignatureProperty></SignatureProperties></Object>",
         "no target"},
        {true, "<Object><x:y xmlns:x='urn:x'><Signature2/></x:y></Object>", "unknown elements below foreign ones"},
    });
    EXPECT_NE(verdict("<Signature xmlns='http://www.w3.org/2000/09/xmldsig#'/>", true), "accepted");
}

TEST_F(SignatureSchemaTest, signature_times) {
    const std::string minutes = "YYYY-MM-DDThh:mmTZD";
    std::vector<Document> documents;
    for (const char* format :
         {"YYYY", "YYYY-MM", "YYYY-MM-DD", "YYYY-MM-DDThh:mmTZD", "YYYY-MM-DDThh:mm:ssTZD", "YYYY-MM-DDThh:mm:ss.sTZD",
          "YYYY-MM-DDThh:mm:ss,sTZD"}) { // the dot of the published pattern is any character
        documents.push_back({true, time(format, "2026"), format});
    }
    for (const char* value : {"2026", "2026-12", "2026-02-31", "2026-01-31T23:59Z", "2026-01-31T00:00+23:59",
                              "2026-01-31T23:59:59-01:00", "2026-01-31T23:59:59.5Z"}) {
        documents.push_back({true, time(minutes, value), value});
    }
    for (const char* value : {"", "26", "2026-13", "2026-00", "2026-01-32", "2026-01-00", "2026-01-31T24:00Z",
                              "2026-01-31T23:60Z", "2026-01-31T23:59", "2026-01-31T23:59:59", "2026-01-31T23:59:59.Z",
                              "2026-01-31T23:59:59.55Z", "2026-01-31T23:59z", "2026-01-31T23:59+24:00", " 2026"}) {
        documents.push_back({false, time(minutes, value), value});
    }
    for (const char* format : {"", "yyyy", "YYYY "}) {
        documents.push_back({false, time(format, "2026"), format});
    }
    documents.push_back(
        {false, "<Object><m:SignatureTime><m:Format>YYYY</m:Format></m:SignatureTime></Object>", "no value"});
    documents.push_back(
        {false, "<Object><m:SignatureTime><m:Value>2026</m:Value></m:SignatureTime></Object>", "no format"});
    checkSignature(documents);
}

TEST_F(SignatureSchemaTest, relationship_transforms) {
    checkSignature({
        {true, transform(""), "no selector"},
        {true, transform("<m:RelationshipReference SourceId='rId1'/>"), "by Id"},
        {true, transform("<m:RelationshipReference SourceId='1 any text'>text</m:RelationshipReference>"), "any Id"},
        {true, transform("<m:RelationshipsGroupReference SourceType='http://t'/>"), "by type"},
        {true,
         transform("<m:RelationshipsGroupReference SourceType='a'/><m:RelationshipReference SourceId='b'/>"
                   "<m:RelationshipReference SourceId='b'/>"),
         "several"},
        {true, transform("<XPath>a</XPath>"), "XPath"},
        {true, transform("<m:RelationshipGroupReference SourceType='a'/>"), "an element that the schema does not know"},
        {false, transform("<m:RelationshipReference/>"), "no Id"},
        {false, transform("<m:RelationshipReference SourceType='a'/>"), "the attribute of the other"},
        {false, transform("<m:RelationshipsGroupReference/>"), "no type"},
        {false, transform("<m:RelationshipsGroupReference SourceType='%zz'/>"), "a type that is no URI"},
        {false, transform("<m:RelationshipReference SourceId='a'><b/></m:RelationshipReference>"), "an element in one"},
        {false, transform("<DigestMethod Algorithm='http://d'/>"), "an element of XML-DSig that has no place there"},
    });
}

} // namespace
} // namespace opc::model::test
