// SPDX-License-Identifier: Apache-2.0
#include "Validators.hpp"

#include <gtest/gtest.h>

#include <set>

namespace opc::model::test {
namespace {

using Names = std::vector<std::string>;

const Names ELEMENTS = {"title",  "creator",    "subject", "description", "publisher", "contributor", "date",  "type",
                        "format", "identifier", "source",  "language",    "relation",  "coverage",    "rights"};

/// What refines an element, as qualified names.
const std::vector<std::pair<std::string, Names>> REFINEMENTS = {
    {"dc:title", {"alternative"}},
    {"dc:description", {"tableOfContents", "abstract"}},
    {"dc:date",
     {"created", "valid", "available", "issued", "modified", "dateAccepted", "dateCopyrighted", "dateSubmitted"}},
    {"dc:format", {"extent", "medium"}},
    {"dc:relation",
     {"isVersionOf", "hasVersion", "isReplacedBy", "replaces", "isRequiredBy", "requires", "isPartOf", "hasPart",
      "isReferencedBy", "references", "isFormatOf", "hasFormat", "conformsTo"}},
    {"dc:coverage", {"spatial", "temporal"}},
    {"dcterms:audience", {"mediator", "educationLevel"}},
    {"dc:rights", {"accessRights"}},
    {"dc:identifier", {"bibliographicCitation"}},
};

/// Each term with all that it may stand for, itself included.
std::vector<std::pair<std::string, std::set<std::string>>> termsAndHeads() {
    std::vector<std::pair<std::string, std::set<std::string>>> terms = {
        {"dcterms:audience", {"dcterms:audience", "dc:any"}}};
    for (const std::string& element : ELEMENTS)
        terms.push_back({"dc:" + element, {"dc:" + element, "dc:any"}});
    for (const auto& [head, refinements] : REFINEMENTS)
        for (const std::string& refinement : refinements)
            terms.push_back({"dcterms:" + refinement, {"dcterms:" + refinement, head, "dc:any"}});
    return terms;
}

std::string properties(const std::string& content) {
    return tag("cp:coreProperties", content);
}

std::string typed(const std::string& name, const std::string& scheme, const std::string& content) {
    return tag(name, content, "xsi:type='" + scheme + "'");
}

TEST(Verdicts, on_core_properties) {
    std::vector<Document> documents = {
        {true, properties(""), "none"},
        {true, properties("\n<!-- c --><?p i?>\n"), "comments and white space"},
        {true,
         properties("<cp:category/><cp:contentStatus/><dcterms:created/><dc:creator/><dc:description/><dc:identifier/>"
                    "<cp:keywords/><dc:language/><cp:lastModifiedBy/><cp:lastPrinted>2026-01-02T03:04:05.678Z"
                    "</cp:lastPrinted><dcterms:modified/><cp:revision/><dc:subject/><dc:title/><cp:version/>"),
         "all fifteen"},
        {true, properties("<cp:version/><dc:title/><dcterms:modified/><cp:category/>"), "any order"},
        {false, "<coreProperties/>", "no namespace"},
        {false, properties("text"), "text between them"},
        {false, properties("<cp:unknown/>"), "an unknown element"},
        {false, properties("<cp:title/>"), "another namespace"},
        {false, properties("<dc:category/>"), "another namespace"},
        {false, properties("<cp:created/>"), "another namespace"},
        {false, properties("<category/>"), "no namespace"},
        {false, properties(properties("")), "the root again"},
        {false, properties("<dc:any/>"), "the abstract element"},
        {false, tag("cp:coreProperties", "", "x='y'"), "an attribute of the root"},
        {false, tag("cp:coreProperties", "", "xml:lang='en'"), "a language of the root"},
        {false, "<cp:category/>", "a local element by itself"},
        {false, tag("cp:coreProperties", "", "xsi:nil='true'"), "not nillable"},
        {true, properties(typed("dc:title", "dcterms:URI", "a")),
         "a derived type, which no Dublin Core element blocks"},
        {false, properties("<dc:title/><dcterms:alternative/><dc:title/>"), "a property twice around another"},
        {false, properties("<dc:title/><dcterms:alternative/>"), "a property and what refines it"},
    };
    const Names texts = {"category", "contentStatus", "lastModifiedBy", "revision", "version"};
    for (const std::string& name : texts) {
        const std::string property = tag("cp:" + name, " any &lt; text\n");
        documents.push_back({true, properties(property), name});
        documents.push_back({false, properties(property + property), name + " twice"});
        documents.push_back({false, properties(tag("cp:" + name, "<b/>")), "an element in " + name});
        documents.push_back({false, properties(tag("cp:" + name, "", "xml:lang='en'")), "a language of " + name});
        documents.push_back({false, properties(tag("cp:" + name, "", "x='y'")), "an attribute of " + name});
        documents.push_back({false, properties(tag("cp:" + name, "", "xsi:nil='true'")), name + " is not nillable"});
        documents.push_back({true, properties(typed("cp:" + name, "xs:string", "a")), "the type of " + name});
        documents.push_back({false, properties(typed("cp:" + name, "xs:token", "a")), "derived, blocked for " + name});
    }
    const std::set<std::string> heads = {"dc:creator", "dc:description", "dc:identifier",   "dc:language",
                                         "dc:subject", "dc:title",       "dcterms:created", "dcterms:modified"};
    for (const auto& [term, standsFor] : termsAndHeads()) {
        bool allowed = false;
        for (const std::string& head : heads)
            allowed |= standsFor.count(head) != 0;
        documents.push_back({allowed, properties(tag(term, "text")), term});
        documents.push_back({false, properties(tag(term) + tag(term)), term + " twice"});
    }
    for (const std::string time :
         {"2026-01-02T03:04:05", "2026-01-02T03:04:05Z", "2026-01-02T03:04:05.678-12:30", "2024-02-29T24:00:00Z"})
        documents.push_back({true, properties(tag("cp:lastPrinted", time)), time});
    for (const std::string time : {"", "2026", "2026-01", "2026-01-02", "2026-01-02T03:04Z", "2026-13-02T03:04:05",
                                   "2026-02-29T03:04:05", "2026-01-02T25:04:05", "2026-01-02T03:60:05",
                                   "2026-01-02 03:04:05", "2026-01-02T03:04:05+15:00", "2026-1-2T03:04:05"})
        documents.push_back({false, properties(tag("cp:lastPrinted", time)), "\"" + time + "\" as time of printing"});
    documents.push_back({true, properties(tag("cp:lastPrinted", " 2026-01-02T03:04:05\n")), "white space around a time",
                         "libxml2 keeps the white space around xs:dateTime"});
    documents.push_back({true, properties(tag("cp:lastPrinted", "2016-12-31T23:59:60Z")), "a leap second",
                         "libxml2 ends a minute of xs:dateTime at second 59"});
    const std::string printed = tag("cp:lastPrinted", "2026-01-02T03:04:05");
    documents.push_back({false, properties(printed + printed), "printed twice"});
    documents.push_back({false, properties(tag("cp:lastPrinted", "", "xsi:nil='true'")), "not nillable"});
    documents.push_back(
        {false, properties(tag("cp:lastPrinted", "2026-01-02T03:04:05", "xml:lang='en'")), "a language"});
    expectVerdicts(corePropertiesSchemas(), documents);
}

TEST(Verdicts, on_keywords) {
    const auto keywords = [](const std::string& content, const std::string& attributes = "") {
        return properties(tag("cp:keywords", content, attributes));
    };
    const auto value = [](const std::string& content, const std::string& attributes = "") {
        return tag("cp:value", content, attributes);
    };
    std::vector<Document> documents = {
        {true, keywords(""), "none"},
        {true, keywords("a, b"), "as text"},
        {true, keywords("a" + value("b") + "c" + value("") + value("d")), "mixed with values"},
        {true, keywords(value(" b ", "xml:lang='de-CH'"), "xml:lang='en'"), "in languages"},
        {false, properties(tag("cp:keywords") + tag("cp:keywords")), "twice"},
        {false, keywords("<value/>"), "a value without a namespace"},
        {false, keywords("<dc:title/>"), "another element"},
        {false, keywords("<dc:any/>"), "the abstract element"},
        {false, keywords(value(value(""))), "a value in a value"},
        {false, keywords("", "x='y'"), "an attribute"},
        {false, keywords("", "lang='en'"), "a language without a namespace"},
        {false, keywords("", "xml:space='preserve'"), "another attribute of all vocabularies"},
        {false, keywords(value("", "x='y'")), "an attribute of a value"},
        {false, keywords(value("", "xml:base='y'")), "another attribute of all vocabularies"},
        {false, properties(value("")), "a value outside"},
        {false, keywords(value("", "xsi:nil='true'")), "not nillable"},
        {false, keywords("", "xsi:type='cp:CT_Keyword'"), "the type of the other"},
        {true, keywords(value("", "xsi:type='cp:CT_Keyword'")), "the type that it has"},
    };
    for (const std::string language : {"en", "de-CH-1996", "i-klingon", "x-a-12345678", " en "})
        for (const std::string& document :
             {keywords("", "xml:lang='" + language + "'"), keywords(value("", "xml:lang='" + language + "'")),
              properties(tag("dc:title", "", "xml:lang='" + language + "'"))})
            documents.push_back({true, document, language});
    for (const std::string language : {"", "en GB", "en_GB", "toolonglanguage", "en-", "-en", "1a", "\xC3\xA9"})
        for (const std::string& document :
             {keywords("", "xml:lang='" + language + "'"), keywords(value("", "xml:lang='" + language + "'")),
              properties(tag("dc:title", "", "xml:lang='" + language + "'"))})
            documents.push_back({false, document, "no language"});
    expectVerdicts(corePropertiesSchemas(), documents);
}

TEST(Verdicts, on_dublin_core_elements) {
    std::vector<Document> documents = {{false, "<dc:any/>", "abstract"},
                                       {false, "<dcterms:any/>", "unknown"},
                                       {false, "<dc:created/>", "of the other namespace"},
                                       {false, "<dcterms:title/>", "of the other namespace"}};
    for (const auto& [term, standsFor] : termsAndHeads()) {
        documents.push_back({true, tag(term, " any<!-- c --><![CDATA[ < ]]>text "), term});
        documents.push_back({true, tag(term, "a", "xml:lang='en'"), term + " in a language"});
        documents.push_back({true, typed(term, "dcterms:TGN", "a"), term + " in an encoding scheme"});
        documents.push_back({false, tag(term, "<b/>"), "an element in " + term});
        documents.push_back({false, tag(term, "", "x='y'"), "an attribute of " + term});
        documents.push_back({false, tag(term, "", "xsi:nil='true'"), term + " is not nillable"});
        documents.push_back({false, typed(term, "dc:elementContainer", ""), term + " with a type that is not derived"});
    }
    expectVerdicts(corePropertiesSchemas(), documents);
}

TEST(Verdicts, on_encoding_schemes) {
    std::vector<Document> documents = {
        {false, typed("dc:title", "dcterms:Unknown", "a"), "an unknown scheme"},
        {false, typed("dc:title", "W3CDTF", "2026"), "a scheme without a namespace"},
        {false, typed("dc:title", "xs:string", "a"), "no scheme"},
        {false, typed("dc:title", "dcterms:elementOrRefinementContainer", ""),
         "not derived from the type of the element"},
        {true, typed("dc:title", "dc:SimpleLiteral", "a"), "the type that it has"},
    };
    const auto add = [&](bool valid, const std::string& scheme, const Names& texts) {
        for (const std::string& text : texts)
            documents.push_back({valid, typed("dc:title", "dcterms:" + scheme, text), scheme + ": " + text});
    };
    for (const std::string scheme : {"LCSH", "MESH", "DDC", "LCC", "UDC", "Period", "IMT", "ISO639-2", "Point",
                                     "ISO3166", "Box", "TGN", "DCMIType", "W3CDTF", "URI", "RFC1766", "RFC3066"}) {
        const std::string text = scheme == "DCMIType" ? "Text" : scheme == "W3CDTF" ? "2026" : "en";
        add(true, scheme, {text, "<!-- c -->" + text});
        add(false, scheme, {"<b/>"});
        const std::string type = "xsi:type='dcterms:" + scheme + "'";
        documents.push_back({false, tag("dc:title", text, type + " xml:lang='en'"), scheme + " in a language"});
        documents.push_back({false, tag("dc:title", text, type + " x='y'"), scheme + " with an attribute"});
    }
    for (const char* scheme :
         {"LCSH", "MESH", "DDC", "LCC", "UDC", "Period", "IMT", "ISO639-2", "Point", "ISO3166", "Box", "TGN"})
        add(true, scheme, {"", " any  text %zz"});
    add(true, "DCMIType",
        {"Collection", "Dataset", "Event", "Image", "InteractiveResource", "Service", "Software", "Sound",
         "PhysicalObject", " Text "});
    add(false, "DCMIType", {"", "text", "MovingImage", "StillImage", "Text Text"});
    add(true, "URI", {"", "http://a/b", " a ", "a b"});
    add(false, "URI", {"%zz", "a#b#c"});
    for (const char* scheme : {"RFC1766", "RFC3066"}) {
        add(true, scheme, {"en-GB", "i-klingon", " en "});
        add(false, scheme, {"", "en GB", "toolonglanguage", "en_GB"});
    }
    add(true, "W3CDTF",
        {"2026Z", "2026-02", "2026-02-28", "2024-02-29", "2026-02-28Z", "2026-02-28T12:34:56", "2026-02-28T12:34:56Z",
         "2026-02-28T12:34:56.789+01:00", "-0044", "20260228", " 2026 ", "2026-12-31T24:00:00"});
    add(false, "W3CDTF",
        {"", "26", "now", "2026-13", "2026-00", "2026-02-30", "2025-02-29", "2026-04-31", "2026-02-28T12:34Z",
         "2026-02-28T12Z", "2026-02-28T25:00:00", "2026-02-28T12:60:00", "2026-02-28T12:34:61", "2026-02-28t12:34:56Z",
         "2026-2-28", "--02-28", "12:34:56", "2026-02-28T12:34:56+15:00", "2026 2027"});
    expectVerdicts(corePropertiesSchemas(), documents);
}

/// A schema of the test's own, for what no document of the four kinds reaches: who may stand for whom, the containers,
/// and the attributes of all vocabularies.
class ReachingSchema {
public:
    ReachingSchema() {
        for (const std::string& head : heads())
            text_ += "<xs:element name='" + name(head) + "'><xs:complexType><xs:sequence><xs:element ref='" + head +
                     "'/></xs:sequence></xs:complexType></xs:element>";
        text_ += "<xs:element name='elements' type='dc:elementContainer'/>"
                 "<xs:element name='terms' type='dcterms:elementOrRefinementContainer'/>"
                 "<xs:element name='attributes'><xs:complexType><xs:attributeGroup ref='xml:specialAttrs'/>"
                 "</xs:complexType></xs:element></xs:schema>";
        schema_ = {"reaching.xsd", text_.c_str(), text_.size()};
        schemas_.push_back(&schema_);
    }
    ReachingSchema(const ReachingSchema&) = delete;
    ReachingSchema& operator=(const ReachingSchema&) = delete;

    const Schemas& schemas() const { return schemas_; }

    static Names heads() {
        Names heads = {"dc:any"};
        for (const auto& [term, standsFor] : termsAndHeads())
            heads.push_back(term);
        return heads;
    }

    static std::string name(const std::string& head) { return "own-" + head.substr(head.find(':') + 1); }

private:
    std::string text_ =
        "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:dc='http://purl.org/dc/elements/1.1/' "
        "xmlns:dcterms='http://purl.org/dc/terms/' targetNamespace=\"urn:own\">"
        "<xs:import namespace=\"http://purl.org/dc/elements/1.1/\"/><xs:import "
        "namespace=\"http://purl.org/dc/terms/\"/>"
        "<xs:import namespace=\"http://www.w3.org/XML/1998/namespace\"/>";
    EmbeddedSchema schema_{};
    Schemas schemas_ = corePropertiesSchemas();
};

std::string own(const std::string& name, const std::string& content, const std::string& attributes = "") {
    return "<own:" + name + " xmlns:own='urn:own' " + attributes + ">" + content + "</own:" + name + ">";
}

TEST(Verdicts, on_who_stands_for_whom) {
    const ReachingSchema reaching;
    std::vector<Document> documents;
    for (const auto& [term, standsFor] : termsAndHeads()) {
        std::set<std::string> heads = {"dc:creator", "dc:date", "dc:relation", "dcterms:audience", "dcterms:created"};
        heads.insert(standsFor.begin(), standsFor.end());
        for (const std::string& head : heads)
            documents.push_back(
                {standsFor.count(head) != 0, own(ReachingSchema::name(head), tag(term)), term + " for " + head});
    }
    documents.push_back({false, own("own-any", "<dc:any/>"), "the abstract element"});
    expectVerdicts(reaching.schemas(), documents);
}

TEST(Verdicts, on_containers_and_the_attributes_of_all_vocabularies) {
    const ReachingSchema reaching;
    std::vector<Document> documents;
    for (const std::string container : {"elements", "terms"}) {
        documents.push_back({true, own(container, ""), "an empty container"});
        documents.push_back(
            {true, own(container, "<dc:title/><dcterms:abstract/><dc:title/>"), "any number and order"});
        documents.push_back({false, own(container, "text"), "text in a container"});
        documents.push_back({false, own(container, "<dc:any/>"), "the abstract element"});
        documents.push_back({false, own(container, "<cp:category/>"), "another element"});
        documents.push_back({false, own(container, "", "x='y'"), "an attribute"});
    }
    for (const std::string attribute :
         {"xml:lang='en'", "xml:space='default'", "xml:space=' preserve '", "xml:base='http://a/b c'", "xml:base=''"})
        documents.push_back({true, own("attributes", "", attribute), attribute});
    for (const std::string attribute : {"xml:lang=''", "xml:space='other'", "xml:space=''", "xml:base='%zz'",
                                        "xml:id='a'", "xml:other='a'", "lang='en'"})
        documents.push_back({false, own("attributes", "", attribute), attribute});
    expectVerdicts(reaching.schemas(), documents);
}

} // namespace
} // namespace opc::model::test
