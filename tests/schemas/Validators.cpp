// SPDX-License-Identifier: Apache-2.0
#include "Validators.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "iri/IRI.hpp"
#include "support/Process.hpp"
#include "support/TemporaryFolder.hpp"
#include "xml/ContentTypePattern.hpp"
#include "xml/SchemaValidation.hpp"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <stdexcept>

namespace opc::model::test {

namespace {

using opc::test::ProcessResult;
using opc::test::TemporaryFolder;

const std::string CONTENT_TYPES = "http://schemas.openxmlformats.org/package/2006/content-types";

std::vector<unsigned char> toBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// The published pattern of ST_ContentType, which the library enforces without it.
std::string contentTypePattern() {
    const std::string token = R"(([\p{IsBasicLatin}-[\p{Cc}&#127;\(\)&lt;&gt;@,;:\\&quot;/\[\]\?=\{\}\s\t]])+)";
    const std::string quoted = R"((&quot;(([\p{IsLatin-1Supplement}\p{IsBasicLatin}-[\p{Cc}&#127;&quot;\n\r]]|(\s+))|)"
                               R"((\\[\p{IsBasicLatin}]))*&quot;))";
    return "(((" + token + "))/((" + token + "))((\\s+)*;(\\s+)*(((" + token + "))=((" + token + ")|" + quoted +
           ")))*)";
}

/// Replaces the first `before` behind `start`.
void replaceBehind(std::string& text, const std::string& start, const std::string& before, const std::string& after) {
    const auto from = text.find(start);
    const auto at = from == std::string::npos ? from : text.find(before, from);
    if (at == std::string::npos)
        throw std::logic_error("not in the text: " + start + " ... " + before);
    text.replace(at, before.size(), after);
}

std::string targetNamespace(const EmbeddedSchema& schema) {
    const std::string text = schema.text;
    const std::string attribute = "targetNamespace=\"";
    const auto start = text.find(attribute) + attribute.size();
    return text.substr(start, text.find('"', start) - start);
}

std::string importOf(const EmbeddedSchema& schema) {
    return "<xs:import namespace=\"" + targetNamespace(schema) + "\" schemaLocation=\"" + schema.systemId + "\"/>";
}

/// The schema as xmllint needs it: with the place of what it imports, and with the types and the pattern that we leave
/// out.
std::string forXmllint(const EmbeddedSchema& schema, const Schemas& all) {
    std::string text(schema.text, schema.length);
    for (const EmbeddedSchema* other : all) {
        const std::string name = "namespace=\"" + targetNamespace(*other) + "\"/>";
        if (text.find(name) != std::string::npos)
            replaceBehind(text, "import", name,
                    name.substr(0, name.size() - 2) + " schemaLocation=\"" + other->systemId + "\"/>");
    }
    for (const std::string name : {"PartName", "Target", "Type", "SourceType"})
        for (const std::string prefix : {"xs", "xsd"})
            if (const std::string attribute = "name=\"" + name + "\" type=\"" + prefix;
                text.find(attribute + ":string") != std::string::npos)
                replaceBehind(text, attribute, ":string", ":anyURI");
    if (&schema == &embedded::opc_relationships)
        replaceBehind(text, "name=\"Id\"", ":NCName", ":ID");
    if (&schema == &embedded::opc_contentTypes) {
        replaceBehind(text, "<xs:simpleType name=\"ST_ContentType\">", "<xs:restriction base=\"xs:string\"/>",
                "<xs:restriction base=\"xs:string\"><xs:pattern value=\"" + contentTypePattern() +
                    "\"/></xs:restriction>");
    }
    return text;
}

void writeSchemas(const TemporaryFolder& folder, const Schemas& schemas) {
    std::string all = "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">";
    for (const EmbeddedSchema* schema : schemas) {
        opc::test::writeFile(folder / schema->systemId, toBytes(forXmllint(*schema, schemas)));
        all += importOf(*schema);
    }
    opc::test::writeFile(folder / "all.xsd", toBytes(all + "</xs:schema>"));
}

ProcessResult xmllint(const TemporaryFolder& folder, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--nonet", "--nocatalogs", "--noout"});
    opc::test::ProcessOptions options;
    options.folder = folder.path();
    return opc::test::runProcess(OPCRAFT_XMLLINT, arguments, options);
}

/// The verdict on each document.
std::vector<bool> xmllintVerdicts(const Schemas& schemas, const std::vector<Document>& documents) {
    const TemporaryFolder folder;
    writeSchemas(folder, schemas);
    std::vector<std::string> arguments = {"--schema", "all.xsd"};
    for (std::size_t i = 0; i < documents.size(); ++i) {
        arguments.push_back(std::to_string(i));
        opc::test::writeFile(folder / arguments.back(), toBytes(declared(documents[i].text)));
    }
    std::map<std::size_t, bool> verdicts;
    const std::string said = xmllint(folder, arguments).err;
    std::istringstream lines(said);
    for (std::string line; std::getline(lines, line);) {
        const auto end = line.find(' ');
        const std::string verdict = end == std::string::npos ? "" : line.substr(end);
        if (verdict == " validates" || verdict == " fails to validate")
            verdicts[std::stoul(line)] = verdict == " validates";
    }
    std::vector<bool> result;
    for (const auto& [document, verdict] : verdicts)
        result.push_back(verdict);
    if (result.size() != documents.size())
        throw std::runtime_error("xmllint has no verdict on some document: " + said.substr(0, 2000));
    return result;
}

class Library {
public:
    explicit Library(const Schemas& schemas) {
        for (const EmbeddedSchema* schema : schemas)
            loadEmbeddedSchema(*parser_, *schema);
    }

    /// The reason of the refusal; empty when there is none.
    std::string refusal(const std::string& text) {
        const auto bytes = toBytes(text);
        ByteArrayInAdaptor stream(bytes);
        try {
            const auto* document = XercesHelper::readDocumentFromStream(*parser_, stream, true, u"", u"");
            if (!haveURIs(*document->getDocumentElement()))
                return "a value is no URI";
            return haveContentTypes(*document) ? "" : "a content type does not match the pattern";
        } catch (const InvalidXMLDocument& e) {
            return e.what();
        }
    }

private:
    static bool haveURIs(const xercesc::DOMElement& root) {
        auto elements = XercesHelper::getElements(&root, XercesString(u"*"));
        elements.push_back(const_cast<xercesc::DOMElement*>(&root));
        for (const xercesc::DOMElement* element : elements)
            for (const char16_t* name : {u"PartName", u"Target", u"Type", u"SourceType"})
                if (!iri::isAnyURI(element->getAttribute(name)))
                    return false;
        return true;
    }

    static bool haveContentTypes(const xercesc::DOMDocument& document) {
        const XercesString entries(std::u16string(CONTENT_TYPES.begin(), CONTENT_TYPES.end()));
        const xercesc::DOMElement* root = document.getDocumentElement();
        auto elements = XercesHelper::getElementsNS(root, entries, XercesString(u"*"));
        if (entries == root->getNamespaceURI())
            elements.push_back(const_cast<xercesc::DOMElement*>(root));
        std::u16string type;
        for (const xercesc::DOMElement* element : elements)
            if (XercesHelper::getElementAttribute(element, XercesString(u"ContentType"), type) &&
                !matchesContentTypePattern(type))
                return false;
        return true;
    }

    XercesGuard guard_;
    ParserHandle parser_ = XercesHelper::createParser();
};

} // namespace

const Schemas& contentTypesSchemas() {
    static const Schemas schemas = {&embedded::opc_contentTypes};
    return schemas;
}

const Schemas& relationshipsSchemas() {
    static const Schemas schemas = {&embedded::opc_relationships};
    return schemas;
}

const Schemas& corePropertiesSchemas() {
    static const Schemas schemas = {&embedded::xml, &embedded::dc, &embedded::dcmitype, &embedded::dcterms,
                                    &embedded::opc_coreProperties};
    return schemas;
}

const Schemas& signatureSchemas() {
    static const Schemas schemas = {&embedded::opc_dsig, &embedded::xmldsig};
    return schemas;
}

std::string tag(const std::string& name, const std::string& content, const std::string& attributes) {
    return "<" + name + (attributes.empty() ? "" : " ") + attributes + ">" + content + "</" + name + ">";
}

std::string declared(const std::string& text) {
    static const std::string namespaces =
        " xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
        " xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties'"
        " xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/'"
        " xmlns:ds='http://www.w3.org/2000/09/xmldsig#' xmlns:ct='" +
        CONTENT_TYPES + "' xmlns:rel='http://schemas.openxmlformats.org/package/2006/relationships'" +
        " xmlns:pds='http://schemas.openxmlformats.org/package/2006/digital-signature'";
    return std::string(text).insert(text.find_first_of(" />"), namespaces);
}

void expectVerdicts(const Schemas& schemas, const std::vector<Document>& documents) {
    const auto theirs = xmllintVerdicts(schemas, documents);
    Library library(schemas);
    for (std::size_t i = 0; i < documents.size(); ++i) {
        const auto& [valid, text, why, xmllintErrs] = documents[i];
        const std::string refusal = library.refusal(declared(text));
        EXPECT_EQ(refusal.empty(), valid) << why << "\n" << text << "\n" << refusal;
        if (xmllintErrs == nullptr) {
            EXPECT_EQ(theirs[i], valid) << "xmllint: " << why << "\n" << text;
        }
    }
}

std::string complaintOfXmllint(const Schemas& schemas, const EmbeddedSchema& schema) {
    const TemporaryFolder folder;
    writeSchemas(folder, schemas);
    opc::test::writeFile(folder / "undeclared", toBytes("<undeclared/>"));
    const ProcessResult result = xmllint(folder, {"--schema", schema.systemId, "undeclared"});
    constexpr int documentInvalid = 3;
    const bool judged = result.exitCode == documentInvalid && result.err.find("warning") == std::string::npos;
    return judged ? "" : result.err;
}

} // namespace opc::model::test
