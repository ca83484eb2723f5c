// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

namespace opc::model::test {
namespace {

using xercesc::DOMElement;

class ElementTest : public XmlTest {
protected:
    /// The "n" attributes of elements, which number them in document order.
    static std::u16string numbersOf(const std::vector<DOMElement*>& elements) {
        std::u16string numbers;
        for (const DOMElement* element : elements) {
            numbers += element->getAttribute(u"n");
        }
        return numbers;
    }

    static std::u16string textOf(const DOMElement* element) {
        std::u16string text = u"what was there before";
        EXPECT_TRUE(XercesHelper::getElementText(element, text));
        return text;
    }

    static std::u16string trimmedTextOf(const DOMElement* element) {
        std::u16string text = u"what was there before";
        EXPECT_TRUE(XercesHelper::getTrimmedElementText(element, text));
        return text;
    }
};

TEST_F(ElementTest, finds_descendants_by_name_in_document_order) {
    DOMElement* root = readRoot("<r xmlns='urn:a' xmlns:p='urn:a' xmlns:q='urn:b'>text<a n='1'><b n='2'/><a n='3'/></a>"
                                "<!-- c --><p:a n='4'/><q:a n='5'><p:b n='6'/></q:a><r n='7'/><a xmlns='' n='8'/></r>");
    const XercesString any(u"*");
    struct Case {
        const char16_t* name;
        const char16_t* numbers;
    };
    for (const auto& [name, numbers] : std::vector<Case>{
             {u"a", u"138"}, {u"p:a", u"4"}, {u"b", u"2"}, {u"*", u"12345678"}, {u"r", u"7"}, {u"A", u""}}) {
        EXPECT_EQ(numbersOf(XercesHelper::getElements(root, XercesString(name))), numbers);
        const DOMElement* first = XercesHelper::getElement(root, XercesString(name));
        EXPECT_EQ(first == nullptr ? u"" : first->getAttribute(u"n"), std::u16string(numbers).substr(0, 1));
    }
    struct NamespaceCase {
        const char16_t* space;
        const char16_t* name;
        const char16_t* numbers;
    };
    for (const auto& [space, name, numbers] : std::vector<NamespaceCase>{{u"urn:a", u"a", u"134"},
                                                                         {u"urn:b", u"a", u"5"},
                                                                         {u"urn:a", u"b", u"26"},
                                                                         {u"urn:a", u"*", u"123467"},
                                                                         {u"*", u"a", u"13458"},
                                                                         {u"", u"a", u"8"},
                                                                         {u"urn:c", u"*", u""}}) {
        const XercesString spaceName(space);
        const XercesString localName(name);
        EXPECT_EQ(numbersOf(XercesHelper::getElementsNS(root, spaceName, localName)), numbers);
        const DOMElement* first = XercesHelper::getElementNS(root, spaceName, localName);
        EXPECT_EQ(first == nullptr ? u"" : first->getAttribute(u"n"), std::u16string(numbers).substr(0, 1));
    }
    const DOMElement* inner = XercesHelper::getElement(root, XercesString(u"a"));
    EXPECT_EQ(numbersOf(XercesHelper::getElements(inner, any)), u"23") << "the search stays below its element";
}

TEST_F(ElementTest, finds_nothing_below_a_null_element) {
    const XercesString name(u"a");
    EXPECT_EQ(XercesHelper::getElement(nullptr, name), nullptr);
    EXPECT_EQ(XercesHelper::getElementNS(nullptr, name, name), nullptr);
    EXPECT_TRUE(XercesHelper::getElements(nullptr, name).empty());
    EXPECT_TRUE(XercesHelper::getElementsNS(nullptr, name, name).empty());
}

TEST_F(ElementTest, reads_the_value_of_the_first_child_alone) {
    struct Case {
        const char* content;
        const char16_t* text;
        const char16_t* trimmed;
    };
    const std::vector<Case> cases = {
        {"<e/>", u"", u""},
        {"<e></e>", u"", u""},
        {"<e>  x \n</e>", u"  x \n", u"  x"},
        {"<e> \t\n&#13;</e>", u" \t\n\r", u""},
        {"<e>x&#xA0;</e>", u"x\u00A0", u"x\u00A0"},
        {"<e>one<i/>two</e>", u"one", u"one"},
        {"<e><i>in</i>two</e>", u"", u""},
        {"<e><!-- c -->text</e>", u" c ", u" c"},
        {"<e><![CDATA[<c> ]]>text</e>", u"<c> ", u"<c>"},
        {"<e>a&amp;b&#x1F600;</e>", u"a&b\U0001F600", u"a&b\U0001F600"},
    };
    for (const auto& [content, text, trimmed] : cases) {
        const DOMElement* element = readRoot(content);
        EXPECT_EQ(textOf(element), text) << content;
        EXPECT_EQ(trimmedTextOf(element), trimmed) << content;
    }
    std::u16string text = u"what was there before";
    EXPECT_FALSE(XercesHelper::getElementText(nullptr, text));
    EXPECT_EQ(text, u"");
    EXPECT_FALSE(XercesHelper::getTrimmedElementText(nullptr, text));
}

TEST_F(ElementTest, tells_an_absent_attribute_from_an_empty_one_only_without_namespaces) {
    const DOMElement* root = readRoot("<e a='1' b='' xmlns:p='urn:p' p:c='3'/>");
    const XercesString space(u"urn:p");
    const XercesString none(u"");
    std::u16string value;
    EXPECT_TRUE(XercesHelper::getElementAttribute(root, XercesString(u"a"), value));
    EXPECT_EQ(value, u"1");
    EXPECT_TRUE(XercesHelper::getElementAttribute(root, XercesString(u"b"), value));
    EXPECT_EQ(value, u"");
    EXPECT_TRUE(XercesHelper::getElementAttribute(root, XercesString(u"p:c"), value));
    EXPECT_EQ(value, u"3");
    EXPECT_FALSE(XercesHelper::getElementAttribute(root, XercesString(u"c"), value));
    EXPECT_EQ(value, u"");

    EXPECT_TRUE(XercesHelper::getElementAttributeNS(root, space, XercesString(u"c"), value));
    EXPECT_EQ(value, u"3");
    EXPECT_TRUE(XercesHelper::getElementAttributeNS(root, none, XercesString(u"a"), value));
    EXPECT_EQ(value, u"1");
    EXPECT_TRUE(XercesHelper::getElementAttributeNS(root, space, XercesString(u"a"), value));
    EXPECT_EQ(value, u"") << "absent, and yet true";
}

TEST_F(ElementTest, builds_what_it_reads) {
    const auto document = XercesHelper::createDocument();
    const XercesString space(u"urn:t");
    DOMElement* root = XercesHelper::appendElementNS(document.get(), space, XercesString(u"p:root"));
    EXPECT_EQ(document->getDocumentElement(), root);
    XercesHelper::appendElementNS(root, space, XercesString(u"p:first"));
    DOMElement* last = XercesHelper::appendElementNS(root, space, XercesString(u"p:last"));
    EXPECT_EQ(root->getLastChild(), last);
    XercesHelper::setElementText(last, u"old");
    XercesHelper::appendElement(last, XercesString(u"child"));
    XercesHelper::setElementText(last, u"new");
    EXPECT_EQ(textOf(last), u"new");
    EXPECT_EQ(last->getFirstChild(), last->getLastChild()) << "the text replaces all children";
    XercesHelper::setElementAttribute(last, XercesString(u"a"), u"1");
    XercesHelper::setElementAttribute(last, XercesString(u"a"), u"2");
    XercesHelper::setElementAttributeNS(last, space, XercesString(u"p:b"), u"3");
    EXPECT_EQ(std::u16string(last->getAttribute(u"a")), u"2");
    EXPECT_EQ(std::u16string(last->getAttributeNS(u"urn:t", u"b")), u"3");

    const auto other = XercesHelper::createDocument();
    DOMElement* plain = XercesHelper::appendElement(other.get(), XercesString(u"root"));
    EXPECT_EQ(other->getDocumentElement(), plain);
    EXPECT_EQ(plain->getNamespaceURI(), nullptr);
}

TEST_F(ElementTest, refuses_with_our_exception_what_the_DOM_refuses) {
    const auto document = XercesHelper::createDocument();
    DOMElement* root = XercesHelper::appendElement(document.get(), XercesString(u"root"));
    const XercesString bad(u"a b");
    const XercesString empty(u"");
    const XercesString prefixed(u"p:a");
    const std::string badName = "invalid or illegal XML character";
    const std::string second = "attempt is made to insert a node where it is not permitted";
    const std::string namespaces =
        "attempt is made to create or change an object in a way which is incorrect with respect to namespaces";
    EXPECT_EQ(verdictOf([&] { XercesHelper::appendElement(root, bad); }), badName);
    EXPECT_EQ(verdictOf([&] { XercesHelper::appendElement(root, empty); }), badName);
    EXPECT_EQ(verdictOf([&] { XercesHelper::appendElement(document.get(), bad); }), badName);
    EXPECT_EQ(verdictOf([&] { XercesHelper::setElementAttribute(root, bad, u""); }), badName);
    EXPECT_EQ(verdictOf([&] { XercesHelper::appendElement(document.get(), XercesString(u"b")); }), second);
    EXPECT_EQ(verdictOf([&] { XercesHelper::appendElementNS(document.get(), bad, XercesString(u"b")); }), second);
    EXPECT_EQ(verdictOf([&] { XercesHelper::appendElementNS(root, empty, prefixed); }), namespaces);
    EXPECT_EQ(verdictOf([&] { XercesHelper::setElementAttributeNS(root, empty, prefixed, u""); }), namespaces);
    EXPECT_EQ(root->getFirstChild(), nullptr);
    EXPECT_FALSE(root->hasAttributes());
}

} // namespace
} // namespace opc::model::test
