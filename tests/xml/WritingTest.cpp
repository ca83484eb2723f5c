// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include <opc/core/ByteArrayOutAdaptor.hpp>

#include "support/Bytes.hpp"
#include "support/Throws.hpp"
#include "xml/XmlWriting.hpp"

#include <xercesc/dom/DOMCDATASection.hpp>
#include <xercesc/dom/DOMComment.hpp>
#include <xercesc/dom/DOMDocumentType.hpp>
#include <xercesc/dom/DOMEntityReference.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMProcessingInstruction.hpp>
#include <xercesc/dom/DOMText.hpp>

namespace opc::model::test {
namespace {

using xercesc::DOMNode;

class WritingTest : public XmlTest {
protected:
    WritingTest() { startAgain(); }

    void startAgain() {
        document_ = XercesHelper::createDocument();
        root_ = XercesHelper::appendElementNS(document_.get(), namespace_, XercesString(u"root"));
    }
    std::string written(xercesc::DOMLSSerializer& writer) {
        EXPECT_EQ(writeVerdict(writer), "accepted");
        return opc::test::toText(bytes_);
    }
    std::u16string writtenText(xercesc::DOMLSSerializer& writer, XmlDeclaration declaration) {
        std::u16string text = u"what was there before";
        XercesHelper::writeDocumentToString(writer, document_.get(), text, declaration);
        return text;
    }
    DOMElement* append(DOMElement* parent, const char16_t* name, const std::u16string& text = u"") {
        DOMElement* element = XercesHelper::appendElementNS(parent, namespace_, XercesString(name));
        if (!text.empty())
            XercesHelper::setElementText(element, text);
        return element;
    }

    /// The verdict on writing the document, which must leave the stream untouched when it is a refusal.
    std::string writeVerdict(xercesc::DOMLSSerializer& writer) {
        bytes_.clear();
        ByteArrayOutAdaptor stream(bytes_);
        const std::string result =
            verdictOf([&] { XercesHelper::writeDocumentToStream(writer, document_.get(), stream); });
        EXPECT_EQ(bytes_.empty(), result != "accepted") << result;
        return result;
    }

    /// What `change` makes of a document can be written and read again; what `more` makes of that is refused.
    void expectBound(const std::string& message, const std::function<void()>& change,
                     const std::function<void()>& more) {
        change();
        EXPECT_EQ(verdict(written(*pretty_)), "accepted") << message;
        more();
        EXPECT_EQ(writeVerdict(*plain_), message);
        startAgain();
    }

    const XercesString namespace_{u"urn:t"};
    opc::test::Bytes bytes_;
    DocumentHandle document_;
    WriterHandle plain_ = XercesHelper::createWriter();
    WriterHandle pretty_ = XercesHelper::createPrettyPrintingWriter();
    DOMElement* root_ = nullptr;
    const std::string declaration_ = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>";
};

TEST_F(WritingTest, WritesADeclarationAndOnRequestLinesAndIndents) {
    const std::u16string declaration = u"<?xml version=\"1.0\" encoding=\"UTF-16\" standalone=\"no\" ?>";
    for (int round = 0; round < 2; ++round) { // in any order with one writer
        EXPECT_EQ(writtenText(*plain_, XmlDeclaration::Omit), u"<root xmlns=\"urn:t\"/>");
        EXPECT_EQ(writtenText(*plain_, XmlDeclaration::Include), declaration + u"<root xmlns=\"urn:t\"/>");
        EXPECT_EQ(writtenText(*pretty_, XmlDeclaration::Omit), u"<root xmlns=\"urn:t\"/>\n") << "no line break first";
        EXPECT_EQ(writtenText(*pretty_, static_cast<XmlDeclaration>(7)), declaration + u"\n<root xmlns=\"urn:t\"/>\n");
    }
    XercesHelper::setElementAttribute(append(root_, u"child", u"text"), XercesString(u"b"), u"1");
    XercesHelper::setElementText(append(root_, u"empty"), u"");
    EXPECT_EQ(written(*plain_),
              declaration_ + "<root xmlns=\"urn:t\"><child b=\"1\">text</child><empty></empty></root>");
    EXPECT_EQ(written(*pretty_), declaration_ + "\n<root xmlns=\"urn:t\">\n  <child b=\"1\">text</child>\n"
                                                "  <empty></empty>\n</root>\n");
    document_->setXmlStandalone(true);
    EXPECT_EQ(written(*plain_).substr(0, 56), "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>");
}

TEST_F(WritingTest, KeepsEveryCharacterOverWritingAndReading) {
    const std::u16string text = u" <&>\"'\t]]>\r\n\r x\u0085\u2028\u00E9\u4E2D\U0001F600\uFFFD ";
    append(root_, u"text", text);
    XercesHelper::setElementAttribute(root_, XercesString(u"b"), text);
    const auto expectSame = [&](DOMDocument* document, const std::string& why) {
        std::u16string found;
        DOMElement* root = document->getDocumentElement();
        EXPECT_TRUE(XercesHelper::getElementAttribute(root, XercesString(u"b"), found) && found == text) << why;
        const DOMElement* child = XercesHelper::getElement(root, XercesString(u"text"));
        EXPECT_TRUE(XercesHelper::getElementText(child, found) && found == text) << why;
    };
    for (auto* writer : {plain_.get(), pretty_.get()}) {
        expectSame(read(written(*writer)), "as UTF-8");
        for (const auto declaration : {XmlDeclaration::Omit, XmlDeclaration::Include})
            expectSame(read(writtenText(*writer, declaration)), "as UTF-16");
    }
    std::vector<unsigned char> bytes; // UTF-8 whatever was read
    ByteArrayOutAdaptor stream(bytes);
    XercesHelper::writeDocumentToStream(
        *plain_, read(std::u16string(u"<?xml version='1.0' encoding='UTF-16'?><a>\u00E9</a>")), stream);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), declaration_ + "<a>\xC3\xA9</a>");
}

/// What each vocabulary has: attributes, texts alone and before elements, and elements that are empty.
void writeAll(detail::XmlWriter& xml, std::u16string_view value) {
    const auto startWith = [&](const char* name, std::u16string_view text) {
        xml.start(name);
        xml.text(text);
    };
    xml.start("cp:root");
    xml.attribute("xmlns:cp", u"urn:t");
    xml.start("Relationship");
    xml.attribute("Id", value);
    xml.attribute("xml:lang", u"en");
    xml.end();
    startWith("cp:keywords", value);
    for (const std::u16string_view text : {value, std::u16string_view(u"a")}) {
        startWith("cp:value", text);
        xml.end();
    }
    xml.end();
    xml.start("cp:empty");
    xml.start("cp:inner");
    xml.end();
    xml.end();
    xml.end();
}

TEST_F(WritingTest, GivesTheSameBytesWithATreeAndWithout) {
    using detail::XmlLayout;
    opc::test::Bytes expected;
    const auto waysFor = [&](std::u16string_view value, XmlLayout layout, const Limits& limits = {}) -> std::string {
        const bool isStandalone = value.empty();
        const std::string verdict = verdictOf([&] {
            TreeXmlWriter tree(isStandalone);
            writeAll(tree, value);
            expected = tree.write(layout, limits);
        });
        detail::PlainXmlWriter plain(layout, isStandalone, limits);
        writeAll(plain, value);
        const auto bytes = plain.take();
        EXPECT_EQ(opc::test::toText(bytes.value_or(expected)), opc::test::toText(expected));
        return verdict == "accepted" ? bytes ? "both" : "with a tree" : bytes ? "without" : "none";
    };
    const std::pair<std::u16string_view, std::string> cases[] = {
        {u"", "both"},
        {u" <&>\"'\t]]>\r\n\r x\n", "both"},
        {u"\u007F\u0085\u00A0\u2028\u00E9\u4E2D\U0001F600\uFFFD", "both"},
        {u" \n ", "with a tree"}, // its line break counts as one of the layout
        {u"\u00A0", "both"},
        {u"a\u0001", "none"},
        {u"\uFFFE", "none"},
        {std::u16string_view(u"\0", 1), "none"},
        {std::u16string_view(u"\U0001F600", 1), "none"}};
    for (const auto& [value, ways] : cases) {
        EXPECT_EQ(waysFor(value, XmlLayout::Compact), ways == "with a tree" ? "both" : ways);
        EXPECT_EQ(waysFor(value, XmlLayout::Indented), ways);
    }
    EXPECT_EQ(waysFor(u"a", XmlLayout::Indented), "both");
    const std::uint64_t size = expected.size();
    EXPECT_EQ(waysFor(u"a", XmlLayout::Indented, {.xmlSize = size, .xmlDepth = 3, .xmlNodes = 10}), "both");
    for (const Limits& limits : {Limits{.xmlSize = size - 1}, Limits{.xmlDepth = 2}, Limits{.xmlNodes = 9}})
        EXPECT_EQ(waysFor(u"a", XmlLayout::Indented, limits), "none");
}

TEST_F(WritingTest, RefusesAForbiddenCharacterAnywhereBeforeAByteIsWritten) {
    const auto unit = [](int value) { return std::u16string(1, static_cast<char16_t>(value)); };
    const std::pair<std::u16string, std::string> forbidden[] = {{u"a\u0001b", "U+0001"},
                                                                {u"\u000B", "U+000B"},
                                                                {u"ok\u001F", "U+001F"},
                                                                {u"\uFFFE", "U+FFFE"},
                                                                {u"\uFFFF", "U+FFFF"},
                                                                {u"a" + unit(0xD800), "U+D800"},
                                                                {unit(0xD83D) + u"x", "U+D83D"},
                                                                {unit(0xDE00) + unit(0xD83D), "U+DE00"},
                                                                {u"\U0001F600" + unit(0xDE00), "U+DE00"},
                                                                {std::u16string(u"cut\0short", 9), "U+0000"}};
    const auto withAttribute = [&](const std::u16string& text) {
        DOMElement* element = document_->createElement(u"e");
        element->setAttribute(u"b", text.c_str());
        return element;
    };
    const std::function<DOMNode*(const std::u16string&)> places[] = {
        [&](auto& text) { return document_->createTextNode(text.c_str()); },
        [&](auto& text) { return document_->createCDATASection(text.c_str()); },
        [&](auto& text) { return document_->createComment(text.c_str()); },
        [&](auto& text) { return document_->createProcessingInstruction(u"p", text.c_str()); },
        withAttribute,
    };
    const XercesString name(u"b");
    append(root_, u"before", u"enough to be written first");
    XercesHelper::setElementAttribute(root_, name, u"before");
    const std::string unchanged = written(*plain_);
    for (const auto& [text, character] : forbidden) {
        const std::string expected = "XML content can not contain the character " + character;
        const std::function<void()> setters[] = {
            [&, &t = text] { XercesHelper::setElementText(root_, t); },
            [&, &t = text] { XercesHelper::setElementAttribute(root_, name, t); },
            [&, &t = text] { XercesHelper::setElementAttributeNS(root_, namespace_, name, t); },
        };
        for (const auto& set : setters)
            EXPECT_EQ(verdictOf(set), expected);
        for (const auto& make : places) {
            if (character == "U+0000")
                continue; // which no node can be made to hold
            DOMNode* node = root_->appendChild(make(text));
            EXPECT_EQ(writeVerdict(*pretty_), expected) << "place " << &make - places;
            root_->removeChild(node)->release();
        }
        EXPECT_EQ(written(*plain_), unchanged) << character;
    }
}

TEST_F(WritingTest, RefusesNodesThatWouldEndEarlyOrMeanSomethingElse) {
    const std::string start = "XML content can not contain a ";
    const std::pair<DOMNode*, std::string> cases[] = {
        {document_->createComment(u"a--b"), start + "comment with \"--\" in it"},
        {document_->createComment(u"a-"), start + "comment with \"-\" at its end"},
        {document_->createProcessingInstruction(u"p", u"a?>b"), start + "processing instruction with \"?>\" in it"},
        {document_->createCDATASection(u"a]]>b"), start + "CDATA section with \"]]>\" in it"},
        {document_->createEntityReference(u"e"), start + "reference to an entity"},
        {document_->createComment(u"-a-b"), "accepted"},
        {document_->createComment(u""), "accepted"},
        {document_->createProcessingInstruction(u"p", u"a?b>"), "accepted"},
        {document_->createCDATASection(u"<a>]]</a>"), "accepted"}};
    for (const auto& [node, expected] : cases) {
        root_->appendChild(node);
        EXPECT_EQ(writeVerdict(*plain_), expected);
        EXPECT_TRUE(expected != "accepted" || verdict(opc::test::toText(bytes_)) == expected);
        root_->removeChild(node);
    }
    auto* implementation = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    auto* type = implementation->createDocumentType(u"root", nullptr, u"file:///dtd");
    document_.reset(implementation->createDocument(nullptr, u"root", type));
    EXPECT_EQ(writeVerdict(*plain_), start + "DTD");
    EXPECT_EQ(verdictOf([&] { XercesHelper::throwIfDTDIsPresent(document_.get()); }), start + "DTD");
}

TEST_F(WritingTest, RefusesWhatIsTooMuchToBeReadAgain) {
    const auto appendMany = [&](std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i)
            append(root_, u"a");
    };
    const auto setAttributes = [&](std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i)
            root_->setAttribute(opc::toString("b" + std::to_string(i)).c_str(), u"");
    };
    DOMElement* deepest = nullptr;
    const auto nest = [&](std::uint32_t depth) {
        for (deepest = root_; depth > 1; --depth)
            deepest = append(deepest, u"a");
        XercesHelper::setElementText(deepest, u"text");
    };
    expectBound(
        "XML content is nested deeper than 128 elements", [&] { nest(128); }, [&] { append(deepest, u"a"); });
    // The declaration of the namespace of the root is one of them, which the writer adds.
    expectBound(
        "XML content has an element with more than 128 attributes", [&] { setAttributes(127); },
        [&] { setAttributes(129); });
    expectBound(
        "XML content has more than 1000000 nodes", [&] { appendMany(999998); }, [&] { appendMany(2); });
    const std::u16string longest(XercesHelper::MAX_XML_NAMESPACE_LENGTH, u'n');
    const std::function<void(const std::u16string&)> uses[] = {
        [&](const std::u16string& uri) { root_->setAttributeNS(uri.c_str(), u"p:b", u""); },
        [&](const std::u16string& uri) { root_->setAttributeNS(XMLUni::fgXMLNSURIName, u"xmlns:p", uri.c_str()); },
        [&](const std::u16string& uri) { root_->appendChild(document_->createElementNS(uri.c_str(), u"a")); }};
    for (const auto& use : uses)
        expectBound(
            "XML content has a namespace longer than 1024 characters", [&] { use(longest); },
            [&] { use(longest + u"n"); });
    const std::u16string half(XercesHelper::MAX_XML_SIZE / 2, u'x');
    expectBound(
        "XML content is larger than 64 MiB", [&] { append(root_, u"a", half); }, [&] { append(root_, u"a", half); });
}

/// A stream that takes nothing.
class FullStream final : public OutputStream {
public:
    void write(const unsigned char*, unsigned long) override { throw opc::Exception("disk full"); }
    bool isDone() const override { return false; }
    void flush() override { ADD_FAILURE() << "flushed"; }
    void close() override { ADD_FAILURE() << "closed"; }
};

TEST_F(WritingTest, LetsTheExceptionOfAStreamThroughAndCanWriteAgain) {
    FullStream full;
    EXPECT_TRUE(opc::test::throws<opc::Exception>(
        "disk full", [&] { XercesHelper::writeDocumentToStream(*plain_, document_.get(), full); }));
    EXPECT_EQ(written(*plain_), declaration_ + "<root xmlns=\"urn:t\"/>");
    EXPECT_EQ(plain_->getDomConfig()->getParameter(XMLUni::fgDOMErrorHandler), nullptr);
}

} // namespace
} // namespace opc::model::test
