// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include "support/Process.hpp"
#include "xml/CanonicalXml.hpp"

#include <xercesc/dom/DOMComment.hpp>
#include <xercesc/dom/DOMEntityReference.hpp>
#include <xercesc/dom/DOMText.hpp>

#include <algorithm>
#include <map>
#include <random>

namespace opc::model::test {
namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;

/// What xmllint, which keeps comments, makes of a document.
std::string xmllint(const std::string& document) {
    opc::test::ProcessOptions options;
    options.input = document;
    const auto result = opc::test::runProcess(OPCRAFT_XMLLINT, {"--nonet", "--nocatalogs", "--c14n", "-"}, options);
    EXPECT_EQ(result.exitCode, 0) << result.err << "\n" << document.substr(0, 2000);
    return result.out;
}

/// As EXPECT_EQ, for texts too long to be shown.
void expectSame(const std::string& ours, const std::string& theirs) {
    const auto [our, their] = std::mismatch(ours.begin(), ours.end(), theirs.begin(), theirs.end());
    const auto at = static_cast<std::size_t>(our - ours.begin());
    EXPECT_TRUE(ours == theirs) << "at " << at << ":\n"
                                << ours.substr(at - std::min<std::size_t>(at, 60), 120) << "\ninstead of\n"
                                << theirs.substr(at - std::min<std::size_t>(at, 60), 120);
}

class CanonicalXmlTest : public XmlTest {
protected:
    std::string canonical(const std::string& text, CanonicalComments comments = CanonicalComments::Keep) {
        return canonicalize(*readRoot(text), comments);
    }

    std::string canonicalApex(const std::string& text) {
        const DOMElement* apex = XercesHelper::getElementNS(readRoot(text), XercesString(u"*"), XercesString(u"apex"));
        return canonicalize(*apex, CanonicalComments::Omit);
    }

    DocumentHandle document_ = XercesHelper::createDocument();
};

struct Whole {
    std::string text;
    const char* why;
    std::string before{}; ///< what stands before the root in the canonical form of the document
    std::string after{};
};

const std::vector<Whole> WHOLE = {
    {"<?xml version=\"1.0\"?>\n\n<?xml-stylesheet   href=\"doc.xsl\"\n   type=\"text/xsl\"   ?>\n\n<doc>Hello, "
     "world!<!-- "
     "Comment 1 --></doc>\n\n<?pi-without-data     ?>\n\n<!-- Comment 2 -->\n\n<!-- Comment 3 -->",
     "§3.1, without its document type", "<?xml-stylesheet href=\"doc.xsl\"\n   type=\"text/xsl\"   ?>\n",
     "\n<?pi-without-data?>\n<!-- Comment 2 -->\n<!-- Comment 3 -->"},
    {"<doc>\n   <clean>   </clean>\n   <dirty>   A   B   </dirty>\n   <mixed>\n      A\n      <clean>   </clean>\n"
     "      B\n      <dirty>   A   B   </dirty>\n      C\n   </mixed>\n</doc>",
     "§3.2"},
    {"<doc>\n   <e1   />\n   <e2   ></e2>\n   <e3   name = \"elem3\"   id=\"elem3\"   />\n   <e4   name=\"elem4\"   "
     "id=\"elem4\"   ></e4>\n   <e5 a:attr=\"out\" b:attr=\"sorted\" attr2=\"all\" attr=\"I'm\"\n"
     "      xmlns:b=\"http://www.ietf.org\"\n      xmlns:a=\"http://www.w3.org\"\n"
     "      xmlns=\"http://example.org\"/>\n   <e6 xmlns=\"\" xmlns:a=\"http://www.w3.org\">\n"
     "      <e7 xmlns=\"http://www.ietf.org\">\n         <e8 xmlns=\"\" xmlns:a=\"http://www.w3.org\">\n"
     "            <e9 xmlns=\"\" xmlns:a=\"http://www.ietf.org\"/>\n         </e8>\n      </e7>\n   </e6>\n</doc>",
     "§3.3, without its document type"},
    {"<doc>\n   <text>First line&#x0d;&#10;Second line</text>\n   <value>&#x32;</value>\n"
     "   <compute><![CDATA[value>\"0\" && value<\"10\" ?\"valid\":\"error\"]]></compute>\n"
     "   <compute expr='value>\"0\" &amp;&amp; value&lt;\"10\" ?\"valid\":\"error\"'>valid</compute>\n"
     "   <norm attr=' &apos;   &#x20;&#13;&#xa;&#9;   &apos; '/>\n</doc>",
     "§3.4, without its document type"},
    {"<doc>&#169;&#x1F600;\xC3\xA9</doc>", "§3.6, and a character of two units"},
    {"<a>1\r\n2\r3<?p x\r\ny?><!--x\r\ny--><b c='1\r\n2\t3\n4'/></a>", "line ends as a parser makes them"},
    {"<a>]]&gt; ' \" \t <![CDATA[]]>x<![CDATA[<b/>&amp;]]]]><![CDATA[>]]></a>", "CDATA sections are text"},
    {"<a>&lt;&amp;&gt;&quot;&apos;<b c=\"&lt;&amp;>&gt;&quot;'&#10;\"/></a>", "the predefined entities"},
    {"<a><?p?><?p   ?><?p  a  b ?><!----><!-- <x> &amp; --></a>", "instructions and comments are as they are"},
    {"<a b='' z='' B='' aa='' a-b='' a.b='' _='' \xC3\xA9='' Z=''/>", "attributes of no namespace come by name"},
    {"<x:a xmlns:x='urn:b' xmlns:y='urn:a' x:a='' y:b='' c='' xml:lang='' x:A='' y:a=''/>", "by namespace, then name"},
    {"<a xmlns:b='urn:1' xmlns:B='urn:2' xmlns='urn:3' xmlns:a-b='urn:4' xmlns:ab='urn:5'/>", "prefixes in order"},
    {"<a xmlns='urn:1'><b xmlns=''><c xmlns=''/><d xmlns='urn:1'/></b><b/><b xmlns='urn:1'/></a>",
     "default namespaces"},
    {"<a xmlns=''><b xmlns=''/></a>", "no default namespace"},
    {"<p:a xmlns:p='urn:1'><p:b xmlns:p='urn:2'><p:c xmlns:p='urn:1'/><p:c xmlns:p='urn:2'/></p:b><p:b/></p:a>",
     "a prefix is what it was when the element that changed it has ended"},
    {"<a><p:b xmlns:p='urn:1'/><p:b xmlns:p='urn:1'/></a>", "a declaration does not reach a sibling"},
    {"<a xmlns:p='urn:1' xmlns:q='urn:1'><q:b xmlns:p='urn:1' p:x=''/></a>", "two prefixes of a namespace"},
    {"<a xmlns:xml='http://www.w3.org/XML/1998/namespace' xml:space='preserve'><b xml:space='preserve'/></a>",
     "the declaration of xml goes, its attributes are like others"},
    {"<a xmlns='URN:A'><b xmlns='urn:a'/><c xmlns='urn:&#x61;'/></a>", "namespaces are the same by character"},
};

TEST_F(CanonicalXmlTest, of_a_document_is_that_of_another_implementation) {
    for (const auto& [text, why, before, after] : WHOLE) {
        EXPECT_EQ(before + canonical(text) + after, xmllint(text)) << why;
    }
}

TEST_F(CanonicalXmlTest, leaves_comments_out_on_request_and_joins_nothing_else) {
    EXPECT_EQ(canonical("<a>1<!-- -->2<?p?><!----><b><!-- --></b></a>", CanonicalComments::Omit),
              "<a>12<?p?><b></b></a>");
}

/// By attribute name, what the descendants of an element have from it: namespaces and xml: attributes.
using Inherited = std::map<std::string, std::string>;

/// Random elements in which everything meets everything.
class Generator {
public:
    struct Element {
        std::string text;
        std::string standalone; ///< with all that it inherits written out
    };

    Inherited declarations(unsigned oneIn) {
        Inherited result;
        for (const char* name : {"xmlns", "xmlns:p", "xmlns:q", "xmlns:r"}) {
            if (random_() % oneIn == 0) {
                const bool none = name == std::string("xmlns") && random_() % 3 == 0;
                result[name] = none ? "" : pick({"urn:1", "urn:10", "urn:2", "URN:1"});
            }
        }
        for (const char* name : {"xml:lang", "xml:space", "xml:base"}) {
            if (random_() % (2 * oneIn) == 0) {
                result[name] = value();
            }
        }
        return result;
    }

    Element element(const Inherited& outer, unsigned depth) {
        const Inherited own = declarations(5);
        Inherited all = own;
        all.insert(outer.begin(), outer.end());
        const std::string name = pick({"", "p:", "q:", "r:"}) + pick({"a", "b"});
        const auto attributes = otherAttributes(all);
        const std::string rest = ">" + content(all, depth) + "</" + name + ">";
        return {"<" + name + written(own, attributes) + rest, "<" + name + written(all, attributes) + rest};
    }

    std::string written(const Inherited& inherited, std::vector<std::string> attributes = {}) {
        for (const auto& [name, value] : inherited) {
            attributes.push_back(" " + name + "=\"" + value + "\"");
        }
        std::shuffle(attributes.begin(), attributes.end(), random_);
        std::string result;
        for (const auto& attribute : attributes) {
            result += attribute;
        }
        return result;
    }

private:
    std::string pick(const std::vector<std::string>& choices) { return choices[random_() % choices.size()]; }

    std::string value() {
        return pick({"", "x", "&lt;"}) + pick({"&#9;", "&#10;", "&#13;", "\n", "&amp;"}) + pick({"'", "&quot;", ">"});
    }

    std::vector<std::string> otherAttributes(const Inherited& all) {
        std::vector<std::string> result;
        for (const char* local : {"a", "b", "\xC3\xA9"}) {
            Inherited prefixes = {{"", ""}}; // by namespace, so that none has an attribute twice
            for (const char* prefix : {"p", "q", "r"}) {
                prefixes[all.at(std::string("xmlns:") + prefix)] = prefix + std::string(":");
            }
            for (const auto& [uri, prefix] : prefixes) {
                if (random_() % 4 == 0) {
                    result.push_back(" " + prefix + local + "=\"" + value() + "\"");
                }
            }
        }
        return result;
    }

    std::string content(const Inherited& all, unsigned depth) {
        std::string result;
        for (auto count = random_() % 5; count > 0; --count) {
            const bool isElement = depth > 0 && random_() % 2 == 0;
            result += isElement ? element(all, depth - 1).text
                                : pick({"&lt;&gt;&amp;\"'\t\r\n&#13;", "<![CDATA[<&>\"]]>", "<!-- <&> -->", "<?p?>",
                                        "<?p <&> ?>", "\xF0\x9F\x98\x80 \xC3\xA9", "<!---->"});
        }
        return result;
    }

    std::mt19937 random_{20010315};
};

struct Random {
    std::string text;
    std::string standalone; ///< its elements two levels below the root, in an element without namespaces
};

Random randomDocument(unsigned groups, unsigned elements) {
    Generator generator;
    const Inherited outer = generator.declarations(1);
    Random result{"<root" + generator.written(outer) + ">", "<all>"};
    for (unsigned group = 0; group < groups; ++group) {
        Inherited inner = generator.declarations(3);
        result.text += "<group" + generator.written(inner) + ">";
        inner.insert(outer.begin(), outer.end());
        for (unsigned i = 0; i < elements; ++i) {
            const auto [text, standalone] = generator.element(inner, 4);
            result.text += text;
            result.standalone += standalone;
        }
        result.text += "</group>";
    }
    return {result.text + "</root>", result.standalone + "</all>"};
}

std::string withoutComments(std::string text) {
    for (auto start = text.find("<!--"); start != std::string::npos; start = text.find("<!--", start)) {
        text.erase(start, text.find("-->", start) + 3 - start);
    }
    return text;
}

TEST_F(CanonicalXmlTest, of_random_elements_is_that_of_another_implementation) {
    const Random random = randomDocument(20, 20);
    expectSame(canonical(random.text), xmllint(random.text));
    expectSame(canonical(random.text, CanonicalComments::Omit), xmllint(withoutComments(random.text)));

    std::string standalone = "<all>";
    const DOMElement* root = readRoot(random.text);
    for (auto* group = root->getFirstElementChild(); group != nullptr; group = group->getNextElementSibling()) {
        for (auto* apex = group->getFirstElementChild(); apex != nullptr; apex = apex->getNextElementSibling()) {
            standalone += canonicalize(*apex, CanonicalComments::Keep);
        }
    }
    expectSame(standalone + "</all>", xmllint(random.standalone));
}

struct Apex {
    std::string text;
    std::string expected;
    const char* why;
};

TEST_F(CanonicalXmlTest, of_an_element_holds_what_its_ancestors_give_it) {
    const std::vector<Apex> cases = {
        {"<doc xmlns=\"http://www.ietf.org\" xmlns:w3c=\"http://www.w3.org\"><e1><e2 xmlns=\"\" "
         "xml:space=\"preserve\"><apex id=\"E3\"/></e2></e1></doc>",
         "<apex xmlns:w3c=\"http://www.w3.org\" id=\"E3\" xml:space=\"preserve\"></apex>",
         "the element of §3.7 by itself: without a parent there, it needs no xmlns=\"\""},
        {"<a xmlns='urn:1' xmlns:p='urn:2'><b/><apex><c xmlns='urn:1'/><p:d/></apex><!-- --><?p?></a>",
         "<apex xmlns=\"urn:1\" xmlns:p=\"urn:2\"><c></c><p:d></p:d></apex>", "declared once, used or not"},
        {"<a xmlns='urn:1' xmlns:p='urn:2'><b xmlns='urn:3' xmlns:p='urn:4'><apex xmlns='urn:5'/></b></a>",
         "<apex xmlns=\"urn:5\" xmlns:p=\"urn:4\"></apex>", "the nearest declaration counts"},
        {"<a xmlns='urn:1'><apex xmlns=''><b xmlns='urn:1'><c xmlns=''/></b><d xmlns=''/></apex></a>",
         "<apex><b xmlns=\"urn:1\"><c xmlns=\"\"></c></b><d></d></apex>", "xmlns=\"\" only against another"},
        {"<a xml:lang='en' xml:id='i' id='j'><b xml:lang='de' xml:base='u:'><apex xml:space='default'/></b></a>",
         "<apex xml:base=\"u:\" xml:id=\"i\" xml:lang=\"de\" xml:space=\"default\"></apex>", "the nearest of each"},
        {"<a xml:lang='en'><apex xml:lang=''><b/></apex></a>", "<apex xml:lang=\"\"><b></b></apex>", "its own wins"},
        {"<a xmlns:u='urn:z' xmlns:h='g:' xml:lang='en'><apex u:a='' h:a='' z=''/></a>",
         "<apex xmlns:h=\"g:\" xmlns:u=\"urn:z\" z=\"\" h:a=\"\" xml:lang=\"en\" u:a=\"\"></apex>",
         "what is inherited comes in its place"},
        {"<a xmlns:xml='http://www.w3.org/XML/1998/namespace'><apex/></a>", "<apex></apex>",
         "xml needs no declaration"},
        {"<a xmlns='urn:?a&amp;b&quot;&lt;>'><apex/></a>", "<apex xmlns=\"urn:?a&amp;b&quot;&lt;>\"></apex>",
         "a namespace is escaped as an attribute"},
        {"<a xmlns:p='urn:\xF0\x9F\x98\x80' xmlns:q='urn:\xEF\xBD\x9E'><apex p:a='' q:a=''/></a>",
         "<apex xmlns:p=\"urn:\xF0\x9F\x98\x80\" xmlns:q=\"urn:\xEF\xBD\x9E\" q:a=\"\" p:a=\"\"></apex>",
         "U+1F600 comes after U+FF5E, though its first unit does not"},
        {"<a xmlns='relative'><apex xmlns='urn:1'/></a>", "<apex xmlns=\"urn:1\"></apex>",
         "what does not reach it is not looked at"},
    };
    for (const auto& [text, expected, why] : cases) {
        EXPECT_EQ(canonicalApex(text), expected) << why;
    }
}

TEST_F(CanonicalXmlTest, is_made_of_a_document_in_UTF_16_as_well) {
    const DOMElement* root = readBytes(toBytes(u"\uFEFF<a>\U0001F600\u00E9</a>"))->getDocumentElement();
    EXPECT_EQ(canonicalize(*root, CanonicalComments::Omit), "<a>\xF0\x9F\x98\x80\xC3\xA9</a>");
}

TEST_F(CanonicalXmlTest, is_made_of_nodes_that_were_created_one_by_one) {
    DOMElement* root = XercesHelper::appendElement(document_.get(), XercesString(u"root"));
    root->setAttribute(u"xmlns", u"urn:1");
    root->setAttribute(u"xmlns:p", u"urn:2");
    root->setAttribute(u"xml:lang", u"en");
    DOMElement* apex = XercesHelper::appendElement(root, XercesString(u"apex"));
    apex->setAttribute(u"p:b", u"\r");
    apex->setAttribute(u"c", u"");
    apex->setAttributeNS(u"urn:2", u"p:a", u"\"");
    XercesHelper::setElementText(XercesHelper::appendElement(apex, XercesString(u"p:d")), u"\r<");
    XercesHelper::appendElementNS(apex, XercesString(u"urn:1"), XercesString(u"e"))->setAttribute(u"xmlns", u"urn:1");
    DOMElement* empty = XercesHelper::appendElement(apex, XercesString(u"f"));
    empty->setAttribute(u"xmlns", u"");
    empty->appendChild(document_->createTextNode(u""));
    EXPECT_EQ(canonicalize(*apex, CanonicalComments::Omit),
              "<apex xmlns=\"urn:1\" xmlns:p=\"urn:2\" c=\"\" xml:lang=\"en\" p:a=\"&quot;\" p:b=\"&#xD;\">"
              "<p:d>&#xD;&lt;</p:d><e></e><f xmlns=\"\"></f></apex>");
}

TEST_F(CanonicalXmlTest, is_refused_where_there_is_none) {
    const std::vector<std::pair<std::string, std::string>> read = {
        {"<a xmlns='x'/>", "XML content with the relative namespace \"x\" has no canonical form"},
        {"<a><b xmlns:p='../x:y'/></a>", "XML content with the relative namespace \"../x:y\" has no canonical form"},
        {"<a xmlns:p='#x'/>", "XML content with the relative namespace \"#x\" has no canonical form"},
        {"<?xml version='1.1'?><a><b xmlns:p=''/></a>",
         "XML content with the prefix \"p\" declared to be none has no canonical form"},
        {"<?xml version='1.1'?><a>&#1;</a>", "XML content can not contain the character U+0001"},
        {"<?xml version='1.1'?><a b='&#1;'/>", "XML content can not contain the character U+0001"},
        {"<a xmlns='x:'/>", "accepted"},
        {"<?xml version='1.1'?><a/>", "accepted"},
    };
    for (const auto& [text, expected] : read) {
        EXPECT_EQ(verdictOf([&] { canonical(text); }), expected) << text;
    }
}

TEST_F(CanonicalXmlTest, is_refused_where_nodes_do_not_agree_with_what_is_declared_or_cannot_stand) {
    const auto withAttributes = [&](std::vector<const char16_t*> names) {
        DOMElement* element = document_->createElement(u"e");
        for (const char16_t* name : names) {
            element->setAttribute(name, u"urn:1");
        }
        return element;
    };
    const auto withNamespace = [&](const char16_t* name, const char16_t* declaration) {
        DOMElement* element = document_->createElementNS(u"urn:2", name);
        element->setAttribute(declaration, u"urn:1");
        return element;
    };
    const auto withAttributeOfNamespace = [&](const char16_t* name) {
        DOMElement* element = withAttributes({u"xmlns:p"});
        element->setAttributeNS(u"urn:2", name, u"");
        return element;
    };
    const auto holding = [&](xercesc::DOMNode* node) {
        DOMElement* element = document_->createElement(u"e");
        element->appendChild(node);
        return element;
    };
    const std::string undeclared = "XML content with the prefix \"p\" that is not declared has no canonical form";
    const std::vector<std::pair<DOMElement*, std::string>> built = {
        {document_->createElement(u"p:a"), undeclared},
        {withAttributes({u"p:a"}), undeclared},
        {withAttributes({u"p:a", u"q:a", u"xmlns:p", u"xmlns:q"}),
         "XML content with the attribute \"q:a\" twice in an element has no canonical form"},
        {document_->createElementNS(u"urn:2", u"p:a"), undeclared},
        {withNamespace(u"p:a", u"xmlns:p"),
         "XML content with a namespace of \"p:a\" that is not the declared one has no canonical form"},
        {withNamespace(u"a", u"xmlns:p"),
         "XML content with a namespace of \"a\" that is not the declared one has no canonical form"},
        {withAttributeOfNamespace(u"p:a"),
         "XML content with a namespace of \"p:a\" that is not the declared one has no canonical form"},
        {withAttributeOfNamespace(u"a"),
         "XML content with a namespace of \"a\" that is not the declared one has no canonical form"},
        {holding(document_->createEntityReference(u"e")),
         "XML content with a reference to the entity \"e\" has no canonical form"},
        {holding(document_->createComment(u"\uFFFE")), "XML content can not contain the character U+FFFE"},
        {holding(document_->createTextNode(u"\xD83D")), "XML content can not contain the character U+D83D"},
    };
    for (const auto& [element, expected] : built) {
        EXPECT_EQ(verdictOf([&] { canonicalize(*element, CanonicalComments::Keep); }), expected);
    }
}

TEST_F(CanonicalXmlTest, goes_as_deep_as_a_parser_may_be_told_to_read) {
    Limits limits;
    limits.xmlDepth = 10'000;
    parser_ = XercesHelper::createParser(limits);
    std::string text;
    for (std::uint64_t depth = 0; depth < limits.xmlDepth; ++depth) {
        text += depth % 2 == 0 ? "<a xmlns=\"urn:1\">" : "<a xmlns=\"\">";
    }
    for (std::uint64_t depth = 0; depth < limits.xmlDepth; ++depth) {
        text += "</a>";
    }
    EXPECT_TRUE(canonical(text) == text);
}

TEST_F(CanonicalXmlTest, takes_no_longer_for_a_node_where_there_are_many) {
    DOMElement* root = XercesHelper::appendElement(document_.get(), XercesString(u"root"));
    for (std::size_t i = 0; i < 30'000; ++i) {
        root->setAttribute(opc::toString("xmlns:p" + std::to_string(10'000 + i)).c_str(), u"urn:1");
    }
    for (std::size_t i = 0; i < 400'000; ++i) {
        root->appendChild(document_->createElement(u"p39999:a"))->appendChild(document_->createTextNode(u"&"));
    }
    const std::string result = canonicalize(*root, CanonicalComments::Omit); // quadratic, it takes many minutes
    EXPECT_EQ(result.size(), std::string("<root></root>").size() +
                                 30'000 * std::string(" xmlns:p10000=\"urn:1\"").size() +
                                 400'000 * std::string("<p39999:a>&amp;</p39999:a>").size());
}

TEST(CanonicalEscaping, is_that_of_the_standard_and_appends_all_or_nothing) {
    std::string out = "[";
    appendCanonicalText(out, u"&<>\"'\t\n\r\u00E9\U0001F600");
    out += "][";
    appendCanonicalAttributeValue(out, u"&<>\"'\t\n\r\u00E9\U0001F600");
    const std::string before = "[&amp;&lt;&gt;\"'\t\n&#xD;\xC3\xA9\xF0\x9F\x98\x80]"
                               "[&amp;&lt;>&quot;'&#x9;&#xA;&#xD;\xC3\xA9\xF0\x9F\x98\x80";
    EXPECT_EQ(out, before);
    const std::u16string cut(u"a\0", 2);
    const std::string refusal = "XML content can not contain the character U+0000";
    EXPECT_EQ(verdictOf([&] { appendCanonicalText(out, cut); }), refusal);
    EXPECT_EQ(verdictOf([&] { appendCanonicalAttributeValue(out, cut); }), refusal);
    EXPECT_EQ(out, before);
}

} // namespace
} // namespace opc::model::test
