// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include "xml/EmbeddedSchemas.hpp"
#include "xml/SchemaValidation.hpp"

#include <cstring>

namespace opc::model::test {
namespace {

class SchemaTest : public XmlTest {
protected:
    void load(const std::vector<const EmbeddedSchema*>& schemas) {
        for (const EmbeddedSchema* schema : schemas) {
            EXPECT_NO_THROW(loadEmbeddedSchema(*parser_, *schema)) << schema->systemId;
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

} // namespace
} // namespace opc::model::test
