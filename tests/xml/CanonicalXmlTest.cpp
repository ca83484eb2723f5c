// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include "support/Process.hpp"
#include "xml/CanonicalXml.hpp"
#include "xml/PlainXml.hpp"

#include <xercesc/dom/DOMComment.hpp>
#include <xercesc/dom/DOMEntityReference.hpp>
#include <xercesc/dom/DOMText.hpp>

#include <map>
#include <random>

namespace opc::model::test {
namespace {

constexpr auto Keep = CanonicalComments::Keep;
constexpr auto Omit = CanonicalComments::Omit;

/// What xmllint, which keeps comments, makes of a document.
std::string xmllint(const std::string& document) {
    const auto result = opc::test::runProcess(OPCRAFT_XMLLINT, {"--nonet", "--nocatalogs", "--c14n", "-"}, {document});
    EXPECT_EQ(result.exitCode, 0) << result.err << "\n" << document.substr(0, 2000);
    return result.out;
}

/// As EXPECT_EQ, for texts too long to be shown.
void expectSame(const std::string& ours, const std::string& theirs) {
    const auto [our, their] = std::mismatch(ours.begin(), ours.end(), theirs.begin(), theirs.end());
    const auto start = std::max<std::ptrdiff_t>(our - ours.begin(), 60) - 60;
    EXPECT_TRUE(ours == theirs) << ours.substr(start, 120) << "\ninstead of\n" << theirs.substr(start, 120);
}

class CanonicalXmlTest : public XmlTest {
protected:
    std::string canonical(const std::string& text, CanonicalComments comments = Keep) {
        return canonicalize(*readRoot(text), comments);
    }

    DocumentHandle document_ = XercesHelper::createDocument();
};

TEST_F(CanonicalXmlTest, IsThatOfTheTableAndOfAnotherImplementation) {
    for (auto row : readTable("xml/canonical.tsv")) {
        for (std::string& field : row)
            field = opc::test::unescaped(field);
        const std::string &kind = row[0], &why = row[1], &text = row[2];
        if (kind == "whole") {
            const std::string theirs = xmllint(text);
            EXPECT_EQ(row[3] + canonical(text) + row[4], theirs) << why;
            EXPECT_EQ(canonicalizeDocument(*readRoot(text)->getOwnerDocument(), Keep), theirs) << why;
        } else if (kind == "apex" || kind == "leaf")
            EXPECT_EQ((kind == "apex" ? canonicalize : canonicalizeExclusively)(
                          *XercesHelper::getElementNS(readRoot(text), XercesString(u"*"), XercesString(u"apex")), Omit),
                      row[3])
                << why;
        else
            EXPECT_EQ(verdictOf([&] { canonical(text); }), row[3]) << text;
    }
    EXPECT_EQ(canonical("<a>1<!-- -->2<?p?><!----><b><!-- --></b></a>", Omit), "<a>12<?p?><b></b></a>");
    EXPECT_EQ(verdictOf([&] { canonicalizeExclusively(*readRoot("<a><b/></a>"), Omit); }),
              "XML content with child elements in \"a\" has no canonical form");
    EXPECT_EQ(canonical(toUTF16Bytes(u"\uFEFF<a>\U0001F600\u00E9</a>")), "<a>\xF0\x9F\x98\x80\xC3\xA9</a>");
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
        for (const char* name : {"xmlns", "xmlns:p", "xmlns:q", "xmlns:r"})
            if (random_() % oneIn == 0)
                result[name] = name == std::string("xmlns") && random_() % 3 == 0
                                   ? ""
                                   : pick({"urn:1", "urn:10", "urn:2", "URN:1"});
        for (const char* name : {"xml:lang", "xml:space", "xml:base"})
            if (random_() % (2 * oneIn) == 0)
                result[name] = value();
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
        for (const auto& [name, value] : inherited)
            attributes.push_back(" " + name + "=\"" + value + "\"");
        std::shuffle(attributes.begin(), attributes.end(), random_);
        return std::accumulate(attributes.begin(), attributes.end(), std::string());
    }

private:
    std::string pick(const std::vector<std::string>& choices) { return choices[random_() % choices.size()]; }

    std::string value() {
        return pick({"", "x", "&lt;"}) + pick({"&#9;", "&#10;", "&#13;", "\n", "&amp;"}) + pick({"'", "&quot;", ">"});
    }

    std::vector<std::string> otherAttributes(const Inherited& all) {
        std::vector<std::string> result;
        Inherited prefixes = {{"", ""}}; // by namespace, so that none has an attribute twice
        for (const std::string prefix : {"p", "q", "r"})
            prefixes[all.at("xmlns:" + prefix)] = prefix + ":";
        for (const char* local : {"a", "b", "\xC3\xA9"})
            for (const auto& [uri, prefix] : prefixes)
                if (random_() % 4 == 0)
                    result.push_back(" " + prefix + local + "=\"" + value() + "\"");
        return result;
    }

    std::string content(const Inherited& all, unsigned depth) {
        std::string result;
        for (auto count = random_() % 5; count > 0; --count)
            result += depth > 0 && random_() % 2 == 0
                          ? element(all, depth - 1).text
                          : pick({"&lt;&gt;&amp;\"'\t\r\n&#13;", "<![CDATA[<&>\"]]>", "<!-- <&> -->", "<?p?>",
                                  "<?p <&> ?>", "\xF0\x9F\x98\x80 \xC3\xA9", "<!---->"});
        return result;
    }

    std::mt19937 random_{20010315};
};

TEST_F(CanonicalXmlTest, OfRandomElementsIsThatOfAnotherImplementation) {
    Generator generator;
    const Inherited outer = generator.declarations(1);
    std::string text = "<root" + generator.written(outer) + ">";
    std::string expected = "<all>"; // the elements two levels below the root, in an element without namespaces
    for (int group = 0; group < 20; ++group) {
        Inherited inner = generator.declarations(3);
        text += "<group" + generator.written(inner) + ">";
        inner.insert(outer.begin(), outer.end());
        for (int i = 0; i < 20; ++i) {
            const auto [element, standalone] = generator.element(inner, 4);
            text += element;
            expected += standalone;
        }
        text += "</group>";
    }
    text += "</root>";
    expectSame(canonical(text), xmllint(text));
    const DOMElement* root = readRoot(text);
    std::string apexes = "<all>";
    for (auto* group = root->getFirstElementChild(); group != nullptr; group = group->getNextElementSibling())
        for (auto* apex = group->getFirstElementChild(); apex != nullptr; apex = apex->getNextElementSibling())
            apexes += canonicalize(*apex, Keep);
    expectSame(apexes + "</all>", xmllint(expected + "</all>"));
    const std::string omitted = canonical(text, Omit);
    for (auto start = text.find("<!--"); start != std::string::npos; start = text.find("<!--", start))
        text.erase(start, text.find("-->", start) + 3 - start);
    expectSame(omitted, xmllint(text));
}

TEST_F(CanonicalXmlTest, IsMadeOfNodesThatWereCreatedOneByOne) {
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

TEST_F(CanonicalXmlTest, IsRefusedWhereNodesDoNotAgreeWithWhatIsDeclaredOrCannotStand) {
    // An element of a name, in a namespace or without regard to any, with attributes of value "urn:1".
    const auto element = [&](const char16_t* name, const char16_t* uri, std::vector<const char16_t*> attributes) {
        DOMElement* made = uri == nullptr ? document_->createElement(name) : document_->createElementNS(uri, name);
        for (const char16_t* attribute : attributes)
            made->setAttribute(attribute, u"urn:1");
        return made;
    };
    const auto withAttribute = [&](const char16_t* name) {
        DOMElement* made = element(u"e", nullptr, {u"xmlns:p"});
        made->setAttributeNS(u"urn:2", name, u"");
        return made;
    };
    const auto holding = [&](xercesc::DOMNode* node) {
        DOMElement* made = element(u"e", nullptr, {});
        made->appendChild(node);
        return made;
    };
    const std::string undeclared = "XML content with the prefix \"p\" that is not declared has no canonical form";
    const auto other = [](const std::string& name) {
        return "XML content with a namespace of \"" + name + "\" that is not the declared one has no canonical form";
    };
    const std::pair<DOMElement*, std::string> built[] = {
        {element(u"p:a", nullptr, {}), undeclared},
        {element(u"e", nullptr, {u"p:a"}), undeclared},
        {element(u"p:a", u"urn:2", {}), undeclared},
        {element(u"e", nullptr, {u"p:a", u"q:a", u"xmlns:p", u"xmlns:q"}),
         "XML content with the attribute \"q:a\" twice in an element has no canonical form"},
        {element(u"p:a", u"urn:2", {u"xmlns:p"}), other("p:a")},
        {element(u"a", u"urn:2", {u"xmlns:p"}), other("a")},
        {withAttribute(u"p:a"), other("p:a")},
        {withAttribute(u"a"), other("a")},
        {holding(document_->createEntityReference(u"e")),
         "XML content with a reference to the entity \"e\" has no canonical form"},
        {holding(document_->createComment(u"\uFFFE")), "XML content can not contain the character U+FFFE"},
        {holding(document_->createTextNode(u"\xD83D")), "XML content can not contain the character U+D83D"},
    };
    for (const auto& [made, expected] : built)
        EXPECT_EQ(verdictOf([&, &apex = *made] { canonicalize(apex, Keep); }), expected);
}

TEST_F(CanonicalXmlTest, GoesAsDeepAsAParserMayBeToldToRead) {
    parser_ = XercesHelper::createParser({.xmlDepth = 10'000});
    std::string text;
    for (int i = 0; i < 5'000; ++i)
        text = "<a xmlns=\"urn:1\"><a xmlns=\"\">" + text + "</a></a>";
    EXPECT_TRUE(canonical(text) == text);
}

TEST_F(CanonicalXmlTest, TakesNoLongerForANodeWhereThereAreMany) {
    DOMElement* root = XercesHelper::appendElement(document_.get(), XercesString(u"root"));
    for (std::size_t i = 0; i < 30'000; ++i)
        root->setAttribute(opc::toString("xmlns:p" + std::to_string(10'000 + i)).c_str(), u"urn:1");
    for (std::size_t i = 0; i < 400'000; ++i)
        root->appendChild(document_->createElement(u"p39999:a"))->appendChild(document_->createTextNode(u"&"));
    const std::string result = canonicalize(*root, Omit); // quadratic, it takes many minutes
    EXPECT_EQ(result.size(), std::string("<root></root>").size() +
                                 30'000 * std::string(" xmlns:p10000=\"urn:1\"").size() +
                                 400'000 * std::string("<p39999:a>&amp;</p39999:a>").size());
}

TEST(CanonicalEscaping, IsThatOfTheStandardAndAppendsAllOrNothing) {
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

TEST_F(CanonicalXmlTest, IsReadOutOfPlainTextAlone) {
    const std::pair<std::string, bool> rows[] = {
        {"<a>\xC3\xA9</a>\n", true},           {"<?xml version='1.0' encoding='utf-8'?><a/>", true},
        {std::string("<a/>\0<b/>", 9), false}, {"<a/>\xE2\x82", false},
        {"<?xml version='1.1'?><a/>", false},  {"<?xml version='1.0' encoding='UTF-16'?><a/>", false},
    };
    for (const auto& [text, isPlain] : rows)
        EXPECT_EQ(isPlainXml({text.begin(), text.end()}, *readRoot(text)->getOwnerDocument()), isPlain) << text;
}

} // namespace
} // namespace opc::model::test
