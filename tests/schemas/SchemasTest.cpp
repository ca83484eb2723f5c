// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "iri/IRI.hpp"
#include "support/Process.hpp"
#include "support/Table.hpp"
#include "support/TemporaryFolder.hpp"
#include "xml/SchemaValidation.hpp"

#include <boost/algorithm/hex.hpp>
#include <gtest/gtest.h>

#include <map>

namespace opc::model::test {
namespace {

using opc::test::Bytes;
using opc::test::TemporaryFolder;
using opc::test::toBytes;

/// In the order in which they are loaded.
using Schemas = std::vector<const EmbeddedSchema*>;

using namespace embedded;
const std::map<std::string, Schemas> KINDS = {
    {"content types", {&opc_contentTypes}}, {"relationships", {&opc_relationships}},
    {"URIs", {&opc_relationships}},         {"core properties", {&xml, &dc, &dcmitype, &dcterms, &opc_coreProperties}},
    {"signatures", {&opc_dsig, &xmldsig}},
};

/// The texts are fixed data, which was compared with the published schemas over thousands of documents.
TEST(Schemas, AreThoseThatWereExamined) {
    const std::map<const EmbeddedSchema*, std::string> digests = {
        {&xml, "46b283f0bda2faab1f35f931237cef189fcfe6be72d8fe3f196bba87c4cc43f0"},
        {&dc, "ea1079f58ab649926270a7e1b30e58474924756cd26887c04636ef7537ebd20c"},
        {&dcmitype, "043d5f07ccb88175c4506862a28d29c15d5946891aaf0ec714d33a62d8cc7d03"},
        {&dcterms, "32563c60533b05f645bca152b3c4e34063c57dde58f16c794dab0cf14d810a6c"},
        {&opc_coreProperties, "cd2b72226926de83163c23179c1be15db3f9c87655d11e8334659e5fddf25aac"},
        {&opc_contentTypes, "da4d4c4d04b0dc127c283ef62dd8661f0661d90c48974ad199eee1c79ea91323"},
        {&opc_relationships, "772c3e43b385386be9dc3c026d450cb43c3fc3bfd2001642804867aefd05dad9"},
        {&opc_dsig, "cbb9bff784f3b4cc886d35a1c1250058a1897ce0037076da54c44ed757c82244"},
        {&xmldsig, "9b7a773c5b903b80f1ec6d39e365abf89c8160f6cc3d3bda48d813fa6af05eeb"},
    };
    for (const auto& [schema, digest] : digests) {
        auto engine = crypto::CryptoEngine::createDigestEngine(crypto::DigestAlgorithm::SHA256);
        engine.update(toBytes({schema->text, schema->length}));
        std::string hex;
        boost::algorithm::hex_lower(engine.finish(), std::back_inserter(hex));
        EXPECT_EQ(hex, digest) << schema->systemId;
    }
}

/// Their values are URIs, which is not left to the schemas.
const char* const URI_ATTRIBUTES[] = {"PartName", "Target", "Type", "SourceType"};

struct Document {
    bool valid;
    std::string text;
    std::string why;
};

/// The text with all namespaces of the four kinds declared on its root element.
std::string declared(const std::string& text) {
    static const std::string opc = "http://schemas.openxmlformats.org/package/2006/";
    static const std::string namespaces =
        " xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
        " xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' xmlns:cp='" +
        opc + "metadata/core-properties' xmlns:ct='" + opc + "content-types' xmlns:rel='" + opc +
        "relationships' xmlns:pds='" + opc + "digital-signature' xmlns:ds='http://www.w3.org/2000/09/xmldsig#'";
    return std::string(text).insert(text.find_first_of(" />"), namespaces);
}

/// The documents by their kinds. A URI stands in one as a target.
std::map<std::string, std::vector<Document>> readDocuments() {
    std::map<std::string, std::vector<Document>> documents;
    for (const auto& row : opc::test::readTable("schemas/documents.tsv")) {
        const std::string uri = "<rel:Relationship Id='i' Type='t' Target='" + row[2] + "'/>";
        documents[row[0]].push_back({row[1] == "valid", declared(row[0] == "URIs" ? uri : row[2]), row[3]});
    }
    return documents;
}

std::string targetNamespace(const std::string& schema) {
    const auto start = schema.find("targetNamespace=\"") + 17;
    return schema.substr(start, schema.find('"', start) - start);
}

/// Writes the schemas with the places of what they import, which xmllint needs, and with the types of URIs, which the
/// library checks itself; and one that imports them all.
void writeSchemas(const TemporaryFolder& folder, const Schemas& schemas) {
    std::map<std::string, std::string> imports;
    std::string all = "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">";
    for (const EmbeddedSchema* schema : schemas) {
        const std::string name = "namespace=\"" + targetNamespace(schema->text) + "\"";
        imports[name + "/>"] = name + " schemaLocation=\"" + schema->systemId + "\"/>";
        all += "<xs:import " + imports[name + "/>"];
    }
    opc::test::writeFile(folder / "all.xsd", toBytes(all + "</xs:schema>"));
    for (const EmbeddedSchema* schema : schemas) {
        std::string text = schema->text;
        for (const auto& [plain, located] : imports)
            boost::replace_all(text, plain, located);
        for (const std::string name : URI_ATTRIBUTES)
            for (const std::string prefix : {"xs", "xsd"})
                boost::replace_all(text, "name=\"" + name + "\" type=\"" + prefix + ":string\"",
                                   "name=\"" + name + "\" type=\"" + prefix + ":anyURI\"");
        opc::test::writeFile(folder / schema->systemId, toBytes(text));
    }
}

/// What xmllint says of the documents, which are called by their numbers.
std::string xmllint(const Schemas& schemas, const std::vector<Document>& documents) {
    const TemporaryFolder folder;
    writeSchemas(folder, schemas);
    std::vector<std::string> arguments = {"--nonet", "--nocatalogs", "--noout", "--schema", "all.xsd"};
    for (const Document& document : documents) {
        arguments.push_back(std::to_string(arguments.size()));
        opc::test::writeFile(folder / arguments.back(), toBytes(document.text));
    }
    return "\n" + opc::test::runProcess(OPCRAFT_XMLLINT, arguments, {.folder = folder.path()}).err;
}

/// Why the library refuses the document; empty when it does not.
std::string refusal(xercesc::DOMLSParser& parser, const std::string& text) {
    const Bytes bytes = toBytes(text);
    ByteArrayInAdaptor stream(bytes);
    try {
        const auto* root = XercesHelper::readDocumentFromStream(parser, stream, true, u"", u"")->getDocumentElement();
        auto elements = XercesHelper::getElements(root, XercesString(u"*"));
        elements.push_back(const_cast<xercesc::DOMElement*>(root));
        for (const xercesc::DOMElement* element : elements)
            for (const char* name : URI_ATTRIBUTES)
                if (!iri::isAnyURI(element->getAttribute(XercesString(toString(std::string(name))).toXMLCh())))
                    return std::string(name) + " is no URI";
        return "";
    } catch (const InvalidXMLDocument& e) {
        return e.what();
    }
}

TEST(Schemas, GiveTheVerdictsOfTheStandardHereAndInXmllint) {
    const auto all = readDocuments();
    EXPECT_EQ(all.size(), KINDS.size());
    for (const auto& [kind, documents] : all) {
        const XercesGuard guard;
        const auto parser = XercesHelper::createParser();
        for (const EmbeddedSchema* schema : KINDS.at(kind))
            loadEmbeddedSchema(*parser, *schema);
        const std::string theirs = xmllint(KINDS.at(kind), documents);
        EXPECT_EQ(theirs.find("warning"), std::string::npos) << theirs;
        for (std::size_t i = 0; i < documents.size(); ++i) {
            const auto& [valid, text, why] = documents[i];
            const std::string reason = refusal(*parser, text);
            EXPECT_EQ(reason.empty(), valid) << kind << ": " << why << "\n" << text << "\n" << reason;
            const std::string verdict =
                "\n" + std::to_string(5 + i) + (valid ? " validates\n" : " fails to validate\n");
            EXPECT_TRUE(why.starts_with("xmllint") || theirs.find(verdict) != std::string::npos)
                << kind << ": xmllint: " << why << "\n"
                << text;
        }
    }
}

} // namespace
} // namespace opc::model::test
