// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include <opc/core/ByteArrayOutAdaptor.hpp>

#include <xercesc/dom/DOMCDATASection.hpp>
#include <xercesc/dom/DOMComment.hpp>
#include <xercesc/dom/DOMDocumentType.hpp>
#include <xercesc/dom/DOMEntityReference.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMProcessingInstruction.hpp>
#include <xercesc/dom/DOMText.hpp>

#include <functional>

namespace opc::model::test {
namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;

class WritingTest : public XmlTest {
protected:
    WritingTest() { root_ = XercesHelper::appendElementNS(document_.get(), namespace_, XercesString(u"root")); }

    std::string written(xercesc::DOMLSSerializer& writer) {
        std::vector<unsigned char> bytes;
        ByteArrayOutAdaptor stream(bytes);
        XercesHelper::writeDocumentToStream(writer, document_.get(), stream);
        return {bytes.begin(), bytes.end()};
    }

    std::u16string writtenText(xercesc::DOMLSSerializer& writer, XmlDeclaration declaration) {
        std::u16string text = u"what was there before";
        XercesHelper::writeDocumentToString(writer, document_.get(), text, declaration);
        return text;
    }

    DOMElement* append(const char16_t* name, const std::u16string& text) {
        DOMElement* element = XercesHelper::appendElementNS(root_, namespace_, XercesString(name));
        XercesHelper::setElementText(element, text);
        return element;
    }

    /// The verdict on writing the document, which must leave the stream untouched when it is a refusal.
    std::string writeVerdict(xercesc::DOMLSSerializer& writer) {
        std::vector<unsigned char> bytes;
        ByteArrayOutAdaptor stream(bytes);
        const std::string result =
            verdictOf([&] { XercesHelper::writeDocumentToStream(writer, document_.get(), stream); });
        EXPECT_EQ(bytes.empty(), result != "accepted") << result;
        return result;
    }

    const XercesString namespace_{u"urn:t"};
    DocumentHandle document_ = XercesHelper::createDocument();
    WriterHandle plain_ = XercesHelper::createWriter();
    WriterHandle pretty_ = XercesHelper::createPrettyPrintingWriter();
    DOMElement* root_ = nullptr;
};

const std::string DECLARATION = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>";

TEST_F(WritingTest, writes_a_declaration_and_on_request_lines_and_indents) {
    DOMElement* child = append(u"child", u"text");
    XercesHelper::setElementAttribute(child, XercesString(u"b"), u"1");
    append(u"empty", u"");
    EXPECT_EQ(written(*plain_),
              DECLARATION + "<root xmlns=\"urn:t\"><child b=\"1\">text</child><empty></empty></root>");
    EXPECT_EQ(written(*pretty_), DECLARATION + "\n<root xmlns=\"urn:t\">\n  <child b=\"1\">text</child>\n"
                                               "  <empty></empty>\n</root>\n");
    document_->setXmlStandalone(true);
    EXPECT_EQ(written(*plain_).substr(0, 56), "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>");
}

TEST_F(WritingTest, writes_text_with_and_without_a_declaration_in_any_order_with_one_writer) {
    const std::u16string declaration = u"<?xml version=\"1.0\" encoding=\"UTF-16\" standalone=\"no\" ?>";
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(writtenText(*plain_, XmlDeclaration::Omit), u"<root xmlns=\"urn:t\"/>");
        EXPECT_EQ(writtenText(*plain_, XmlDeclaration::Include), declaration + u"<root xmlns=\"urn:t\"/>");
        EXPECT_EQ(writtenText(*pretty_, XmlDeclaration::Omit), u"<root xmlns=\"urn:t\"/>\n")
            << "no line break comes first";
        EXPECT_EQ(writtenText(*pretty_, static_cast<XmlDeclaration>(7)), declaration + u"\n<root xmlns=\"urn:t\"/>\n");
    }
}

TEST_F(WritingTest, keeps_every_character_over_writing_and_reading) {
    const std::u16string text = u" <&>\"'\t]]>\r\n\r x\u0085\u2028\u00E9\u4E2D\U0001F600\uFFFD ";
    append(u"text", text);
    XercesHelper::setElementAttribute(root_, XercesString(u"b"), text);
    const auto expectSame = [&](DOMDocument* document, const std::string& why) {
        std::u16string found;
        DOMElement* root = document->getDocumentElement();
        EXPECT_TRUE(XercesHelper::getElementAttribute(root, XercesString(u"b"), found));
        EXPECT_EQ(found, text) << why;
        EXPECT_TRUE(XercesHelper::getElementText(XercesHelper::getElement(root, XercesString(u"text")), found));
        EXPECT_EQ(found, text) << why;
    };
    for (auto* writer : {plain_.get(), pretty_.get()}) {
        expectSame(read(written(*writer)), "as UTF-8");
        for (const auto declaration : {XmlDeclaration::Omit, XmlDeclaration::Include}) {
            const std::u16string document = writtenText(*writer, declaration);
            expectSame(XercesHelper::readDocumentFromString(*parser_, document, false, u"", u""), "as UTF-16");
        }
    }
}

TEST_F(WritingTest, writes_UTF_8_whatever_was_read) {
    const std::u16string text = u"<?xml version='1.0' encoding='UTF-16'?><a>\u00E9</a>";
    const auto* document = XercesHelper::readDocumentFromString(*parser_, text, false, u"", u"");
    std::vector<unsigned char> bytes;
    ByteArrayOutAdaptor stream(bytes);
    XercesHelper::writeDocumentToStream(*plain_, document, stream);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), DECLARATION + "<a>\xC3\xA9</a>");
}

struct Forbidden {
    std::u16string text;
    const char* name;
};

const std::vector<Forbidden> FORBIDDEN = {
    {u"a\u0001b", "U+0001"},
    {u"\u000B", "U+000B"},
    {u"ok\u001F", "U+001F"},
    {u"\uFFFE", "U+FFFE"},
    {u"\uFFFF", "U+FFFF"},
    {std::u16string(u"a") + char16_t(0xD800), "U+D800"},
    {std::u16string(1, char16_t(0xD83D)) + u"x", "U+D83D"},
    {std::u16string(1, char16_t(0xDE00)) + char16_t(0xD83D), "U+DE00"},
    {std::u16string(u"\U0001F600") + char16_t(0xDE00), "U+DE00"},
};

TEST_F(WritingTest, setters_refuse_what_XML_cannot_carry_and_change_nothing) {
    std::vector<Forbidden> cases = FORBIDDEN;
    cases.push_back({std::u16string(u"cut\0short", 9), "U+0000"});
    const XercesString name(u"b");
    XercesHelper::setElementText(root_, u"before");
    XercesHelper::setElementAttribute(root_, name, u"before");
    const std::string unchanged = written(*plain_);
    for (const auto& [text, character] : cases) {
        const std::string expected = std::string("XML content can not contain the character ") + character;
        EXPECT_EQ(verdictOf([&] { XercesHelper::setElementText(root_, text); }), expected);
        EXPECT_EQ(verdictOf([&] { XercesHelper::setElementAttribute(root_, name, text); }), expected);
        EXPECT_EQ(verdictOf([&] { XercesHelper::setElementAttributeNS(root_, namespace_, name, text); }), expected);
        EXPECT_EQ(written(*plain_), unchanged) << character;
    }
}

TEST_F(WritingTest, refuses_a_document_that_holds_such_a_character_anywhere_before_a_byte_is_written) {
    const std::vector<std::pair<const char*, std::function<xercesc::DOMNode*(const std::u16string&)>>> places = {
        {"text", [&](const auto& text) { return document_->createTextNode(text.c_str()); }},
        {"CDATA section", [&](const auto& text) { return document_->createCDATASection(text.c_str()); }},
        {"comment", [&](const auto& text) { return document_->createComment(text.c_str()); }},
        {"instruction", [&](const auto& text) { return document_->createProcessingInstruction(u"p", text.c_str()); }},
        {"attribute",
         [&](const auto& text) {
             DOMElement* element = document_->createElement(u"e");
             element->setAttribute(u"b", text.c_str());
             return element;
         }},
    };
    append(u"before", u"enough to be written first");
    for (const auto& [place, make] : places) {
        for (const auto& [text, character] : FORBIDDEN) {
            xercesc::DOMNode* node = root_->appendChild(make(text));
            EXPECT_EQ(writeVerdict(*pretty_), std::string("XML content can not contain the character ") + character)
                << place;
            root_->removeChild(node)->release();
            EXPECT_EQ(writeVerdict(*pretty_), "accepted") << place;
        }
    }
}

TEST_F(WritingTest, refuses_nodes_that_would_end_early_or_mean_something_else) {
    const std::vector<std::pair<xercesc::DOMNode*, std::string>> cases = {
        {document_->createComment(u"a--b"), "XML content can not contain a comment with \"--\" in it"},
        {document_->createComment(u"a-"), "XML content can not contain a comment with \"-\" at its end"},
        {document_->createProcessingInstruction(u"p", u"a?>b"),
         "XML content can not contain a processing instruction with \"?>\" in it"},
        {document_->createCDATASection(u"a]]>b"), "XML content can not contain a CDATA section with \"]]>\" in it"},
        {document_->createEntityReference(u"e"), "XML content can not contain a reference to an entity"},
        {document_->createComment(u"-a-b"), "accepted"},
        {document_->createComment(u""), "accepted"},
        {document_->createProcessingInstruction(u"p", u"a?b>"), "accepted"},
        {document_->createCDATASection(u"<a>]]</a>"), "accepted"},
    };
    for (const auto& [node, expected] : cases) {
        root_->appendChild(node);
        EXPECT_EQ(writeVerdict(*plain_), expected);
        if (expected == "accepted") {
            EXPECT_EQ(verdict(written(*plain_)), "accepted");
        }
        root_->removeChild(node);
    }
}

TEST_F(WritingTest, refuses_a_document_type) {
    auto* implementation = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    auto* type = implementation->createDocumentType(u"root", nullptr, u"file:///dtd");
    document_.reset(implementation->createDocument(nullptr, u"root", type));
    EXPECT_EQ(writeVerdict(*plain_), "XML content can not contain a DTD");
    EXPECT_EQ(verdictOf([&] { XercesHelper::throwIfDTDIsPresent(document_.get()); }),
              "XML content can not contain a DTD");
}

class WritingBoundsTest : public WritingTest {
protected:
    DOMElement* appendTo(DOMElement* parent) {
        return XercesHelper::appendElementNS(parent, namespace_, XercesString(u"a"));
    }
};

TEST_F(WritingBoundsTest, refuses_what_is_too_deep_to_be_read_again) {
    DOMElement* deepest = root_;
    for (std::uint32_t depth = 1; depth < XercesHelper::MAX_XML_DEPTH; ++depth) {
        deepest = appendTo(deepest);
    }
    XercesHelper::setElementText(deepest, u"text");
    EXPECT_EQ(verdict(written(*pretty_)), "accepted");
    appendTo(deepest);
    EXPECT_EQ(writeVerdict(*pretty_), "XML content is nested deeper than 128 elements");
}

TEST_F(WritingBoundsTest, refuses_what_has_too_many_attributes_or_nodes_to_be_read_again) {
    document_ = XercesHelper::createDocument();
    root_ = XercesHelper::appendElement(document_.get(), XercesString(u"root"));
    for (std::uint32_t i = 0; i < XercesHelper::MAX_XML_ATTRIBUTES; ++i) {
        root_->setAttribute(opc::toString("b" + std::to_string(i)).c_str(), u"");
    }
    EXPECT_EQ(verdict(written(*plain_)), "accepted");
    root_->setAttribute(u"c", u"");
    EXPECT_EQ(writeVerdict(*plain_), "XML content has an element with more than 128 attributes");
    root_->removeAttribute(u"c");

    for (std::uint32_t i = 1 + XercesHelper::MAX_XML_ATTRIBUTES; i < XercesHelper::MAX_XML_NODES; ++i) {
        XercesHelper::appendElement(root_, XercesString(u"a"));
    }
    EXPECT_EQ(verdict(written(*plain_)), "accepted");
    XercesHelper::appendElement(root_, XercesString(u"a"));
    EXPECT_EQ(writeVerdict(*plain_), "XML content has more than 1000000 nodes");
}

TEST_F(WritingBoundsTest, refuses_a_namespace_that_is_too_long_to_be_read_again) {
    const std::string tooLong = "XML content has a namespace longer than 1024 characters";
    const std::u16string longest(XercesHelper::MAX_XML_NAMESPACE_LENGTH, u'n');
    const std::vector<std::function<void(const std::u16string&)>> uses = {
        [&](const std::u16string& uri) { root_->setAttributeNS(uri.c_str(), u"p:b", u""); },
        [&](const std::u16string& uri) {
            root_->setAttributeNS(xercesc::XMLUni::fgXMLNSURIName, u"xmlns:p", uri.c_str());
        },
        [&](const std::u16string& uri) { root_->appendChild(document_->createElementNS(uri.c_str(), u"a")); },
    };
    for (const auto& use : uses) {
        document_ = XercesHelper::createDocument();
        root_ = XercesHelper::appendElementNS(document_.get(), namespace_, XercesString(u"root"));
        use(longest);
        EXPECT_EQ(verdict(written(*plain_)), "accepted") << "use " << (&use - uses.data());
        use(longest + u"n");
        EXPECT_EQ(writeVerdict(*plain_), tooLong) << "use " << (&use - uses.data());
    }
}

TEST_F(WritingBoundsTest, refuses_what_is_too_large_to_be_read_again) {
    const std::u16string half(XercesHelper::MAX_XML_SIZE / 2, u'x');
    append(u"a", half);
    EXPECT_EQ(writeVerdict(*plain_), "accepted");
    append(u"a", half);
    EXPECT_EQ(writeVerdict(*plain_), "XML content is larger than 64 MiB");
}

/// A stream that takes nothing.
class FullStream final : public OutputStream {
public:
    void write(const unsigned char*, unsigned long) override { throw opc::Exception("disk full"); }
    bool isDone() const override { return false; }
    void flush() override { ADD_FAILURE() << "flushed"; }
    void close() override { ADD_FAILURE() << "closed"; }
};

TEST_F(WritingTest, lets_the_exception_of_a_stream_through_and_can_write_again) {
    FullStream full;
    try {
        XercesHelper::writeDocumentToStream(*plain_, document_.get(), full);
        ADD_FAILURE();
    } catch (const opc::Exception& e) {
        EXPECT_STREQ(e.what(), "disk full");
    }
    EXPECT_EQ(written(*plain_), DECLARATION + "<root xmlns=\"urn:t\"/>");
    EXPECT_EQ(plain_->getDomConfig()->getParameter(xercesc::XMLUni::fgDOMErrorHandler), nullptr);
}

} // namespace
} // namespace opc::model::test
