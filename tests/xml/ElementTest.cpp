// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

namespace opc::model::test {
namespace {

class ElementTest : public XmlTest {
protected:
    /// The "n" attributes of elements, which number them in document order.
    static std::string numbersOf(const std::vector<DOMElement*>& elements) {
        std::string numbers;
        for (const DOMElement* element : elements)
            numbers += element == nullptr ? "" : toASCIIString(element->getAttribute(u"n"));
        return numbers;
    }

    /// The outcome of a function that fills a string, and what it has filled in.
    template <class Function, class... Arguments>
    static std::u16string filledBy(Function function, const Arguments&... arguments) {
        std::u16string text = u"what was there before";
        return function(arguments..., text) ? text : u"false, " + text;
    }
};

TEST_F(ElementTest, FindsDescendantsByNameInDocumentOrder) {
    DOMElement* root = readRoot("<r xmlns='urn:a' xmlns:p='urn:a' xmlns:q='urn:b'>text<a n='1'><b n='2'/><a n='3'/></a>"
                                "<!-- c --><p:a n='4'/><q:a n='5'><p:b n='6'/></q:a><r n='7'/><a xmlns='' n='8'/></r>");
    for (const auto& row : readTable("xml/elements.tsv")) {
        const XercesString space(toString(row[0]));
        const XercesString name(toString(row[1]));
        const bool byName = row[0] == "-";
        EXPECT_EQ(
            numbersOf(byName ? XercesHelper::getElements(root, name) : XercesHelper::getElementsNS(root, space, name)),
            row[2]);
        EXPECT_EQ(
            numbersOf({byName ? XercesHelper::getElement(root, name) : XercesHelper::getElementNS(root, space, name)}),
            row[2].substr(0, 1));
        EXPECT_EQ(XercesHelper::getElement(nullptr, name), nullptr);
        EXPECT_EQ(XercesHelper::getElementNS(nullptr, space, name), nullptr);
        EXPECT_TRUE(XercesHelper::getElements(nullptr, name).empty());
        EXPECT_TRUE(XercesHelper::getElementsNS(nullptr, space, name).empty());
    }
    const DOMElement* inner = XercesHelper::getElement(root, XercesString(u"a"));
    EXPECT_EQ(numbersOf(XercesHelper::getElements(inner, XercesString(u"*"))), "23") << "it stays below its element";
}

TEST_F(ElementTest, ReadsTheValueOfTheFirstChildAlone) {
    const std::tuple<const char*, const char16_t*, const char16_t*> cases[] = {
        {"<e/>", u"", u""},
        {"<e>  x \n</e>", u"  x \n", u"  x"},
        {"<e> \t\n&#13;</e>", u" \t\n\r", u""},
        {"<e>x&#xA0;</e>", u"x\u00A0", u"x\u00A0"},
        {"<e>one<i/>two</e>", u"one", u"one"},
        {"<e><i>in</i>two</e>", u"", u""},
        {"<e><!-- c -->text</e>", u" c ", u" c"},
        {"<e><![CDATA[<c> ]]>text</e>", u"<c> ", u"<c>"},
        {"<e>a&amp;b&#x1F600;</e>", u"a&b\U0001F600", u"a&b\U0001F600"}};
    const DOMElement* none = nullptr;
    for (const auto& [content, text, trimmed] : cases) {
        const DOMElement* element = readRoot(content);
        EXPECT_EQ(filledBy(XercesHelper::getElementText, element), text) << content;
        EXPECT_EQ(filledBy(XercesHelper::getTrimmedElementText, element), trimmed) << content;
    }
    EXPECT_EQ(filledBy(XercesHelper::getElementText, none), u"false, ");
    EXPECT_EQ(filledBy(XercesHelper::getTrimmedElementText, none), u"false, ");
}

TEST_F(ElementTest, TellsAnAbsentAttributeFromAnEmptyOneOnlyWithoutNamespaces) {
    const DOMElement* element = readRoot("<e a='1' b='' xmlns:p='urn:p' p:c='3'/>");
    const auto get = [&](const char16_t* name) {
        return filledBy(XercesHelper::getElementAttribute, element, XercesString(name));
    };
    const auto getNS = [&](const char16_t* space, const char16_t* name) {
        return filledBy(XercesHelper::getElementAttributeNS, element, XercesString(space), XercesString(name));
    };
    EXPECT_EQ(get(u"a") + get(u"b") + get(u"p:c"), u"13");
    EXPECT_EQ(get(u"c"), u"false, ");
    EXPECT_EQ(getNS(u"urn:p", u"c") + getNS(u"", u"a"), u"31");
    EXPECT_EQ(getNS(u"urn:p", u"a"), u"") << "absent, and yet true";
}

TEST_F(ElementTest, BuildsWhatItReadsAndRefusesWhatTheDOMRefuses) {
    const auto document = XercesHelper::createDocument();
    const XercesString space(u"urn:t"), name(u"a"), prefixed(u"p:b"), bad(u"a b"), empty(u"");
    DOMElement* root = XercesHelper::appendElementNS(document.get(), space, XercesString(u"p:root"));
    EXPECT_EQ(document->getDocumentElement(), root);
    XercesHelper::appendElementNS(root, space, XercesString(u"p:first"));
    DOMElement* last = XercesHelper::appendElementNS(root, space, XercesString(u"p:last"));
    EXPECT_EQ(root->getLastChild(), last);
    XercesHelper::setElementText(last, u"old");
    XercesHelper::appendElement(last, name);
    XercesHelper::setElementText(last, u"new");
    EXPECT_EQ(filledBy(XercesHelper::getElementText, last), u"new");
    EXPECT_EQ(last->getFirstChild(), last->getLastChild()) << "the text replaces all children";
    XercesHelper::setElementAttribute(last, name, u"1");
    XercesHelper::setElementAttribute(last, name, u"2");
    XercesHelper::setElementAttributeNS(last, space, prefixed, u"3");
    EXPECT_EQ(last->getAttribute(u"a") + std::u16string(last->getAttributeNS(u"urn:t", u"b")), u"23");

    const auto other = XercesHelper::createDocument();
    DOMElement* plain = XercesHelper::appendElement(other.get(), name);
    EXPECT_EQ(other->getDocumentElement(), plain);
    EXPECT_EQ(plain->getNamespaceURI(), nullptr);
    const std::string badName = "invalid or illegal XML character";
    const std::string second = "attempt is made to insert a node where it is not permitted";
    const std::string namespaces =
        "attempt is made to create or change an object in a way which is incorrect with respect to namespaces";
    const std::pair<std::string, std::function<void()>> refused[] = {
        {badName, [&] { XercesHelper::appendElement(plain, bad); }},
        {badName, [&] { XercesHelper::appendElement(plain, empty); }},
        {badName, [&] { XercesHelper::appendElement(other.get(), bad); }},
        {badName, [&] { XercesHelper::setElementAttribute(plain, bad, u""); }},
        {second, [&] { XercesHelper::appendElement(other.get(), name); }},
        {second, [&] { XercesHelper::appendElementNS(other.get(), bad, name); }},
        {namespaces, [&] { XercesHelper::appendElementNS(plain, empty, prefixed); }},
        {namespaces, [&] { XercesHelper::setElementAttributeNS(plain, empty, prefixed, u""); }}};
    for (const auto& [expected, action] : refused)
        EXPECT_EQ(verdictOf(action), expected);
    EXPECT_FALSE(plain->hasChildNodes() || plain->hasAttributes());
}

} // namespace
} // namespace opc::model::test
