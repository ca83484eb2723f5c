// SPDX-License-Identifier: Apache-2.0
#include "Validators.hpp"

#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "xml/SchemaValidation.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

namespace opc::model::test {
namespace {

struct Case {
    const EmbeddedSchema* schema;
    Schemas before; ///< what has to be loaded before it, and no more
};

void PrintTo(const Case& test, std::ostream* out) {
    *out << test.schema->systemId;
}

class SchemaText : public ::testing::TestWithParam<Case> {};

TEST_P(SchemaText, needs_nothing_but_the_schemas_before_it) {
    const XercesGuard guard;
    const auto parser = XercesHelper::createParser();
    for (const EmbeddedSchema* schema : GetParam().before)
        loadEmbeddedSchema(*parser, *schema);
    EXPECT_NO_THROW(loadEmbeddedSchema(*parser, *GetParam().schema));
}

TEST_P(SchemaText, names_no_location_and_no_document_type) {
    const std::string text(GetParam().schema->text);
    EXPECT_EQ(text.size(), GetParam().schema->length);
    for (const char* refused : {"schemaLocation", "<!DOCTYPE", "<!ENTITY", "xs:include", "redefine"})
        EXPECT_EQ(text.find(refused), std::string::npos) << refused;
}

TEST_P(SchemaText, compiles_in_another_validator_without_a_network) {
    Schemas schemas = GetParam().before;
    schemas.push_back(GetParam().schema);
    EXPECT_EQ(complaintOfXmllint(schemas, *GetParam().schema), "");
}

using namespace embedded;
INSTANTIATE_TEST_SUITE_P(Embedded, SchemaText,
                         ::testing::Values(Case{&xml, {}}, Case{&dc, {&xml}}, Case{&dcmitype, {}},
                                           Case{&dcterms, {&xml, &dc, &dcmitype}},
                                           Case{&opc_coreProperties, {&xml, &dc, &dcmitype, &dcterms}},
                                           Case{&opc_contentTypes, {}}, Case{&opc_relationships, {}},
                                           Case{&opc_dsig, {}}, Case{&xmldsig, {}}),
                         [](const auto& test) {
                             std::string name = test.param.schema->systemId;
                             name = name.substr(0, name.find('.'));
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

} // namespace
} // namespace opc::model::test
