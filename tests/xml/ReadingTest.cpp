// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include <opc/xml/XercesErrorHandler.hpp>

#include "xml/EmbeddedSchemas.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/XercesErrors.hpp"

#include <gmock/gmock.h>
#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMLocator.hpp>

#include <filesystem>
#include <fstream>
#include <thread>

namespace opc::model::test {
namespace {

using Encoding = XercesHelper::XercesEncoding;

constexpr const char* ENCODING_REFUSED = "XML content must be UTF-8 or UTF-16 or empty (i.e., absent XML declaration)";

class ReadingTest : public XmlTest {
protected:
    std::string verdictOfText(const std::u16string& text) {
        return verdictOf([&] { XercesHelper::readDocumentFromString(*parser_, text, false, u"", u""); });
    }
};

TEST_F(ReadingTest, accepts_only_the_five_declared_encodings) {
    struct Case {
        const char* declaration;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"", "accepted"},
        {"<?xml version='1.0'?>", "accepted"},
        {"<?xml version='1.0' encoding='UTF-8'?>", "accepted"},
        {"<?xml version='1.0' encoding='utf-8'?>", "accepted"},
        {"<?xml version='1.0' encoding='Utf-8'?>", ENCODING_REFUSED},
        {"<?xml version='1.0' encoding='UTF8'?>", ENCODING_REFUSED},
        {"<?xml version='1.0' encoding='ISO-8859-1'?>", ENCODING_REFUSED},
        {"<?xml version='1.0' encoding='US-ASCII'?>", ENCODING_REFUSED},
    };
    for (const auto& [declaration, expected] : cases) {
        EXPECT_EQ(verdict(std::string(declaration) + "<a/>"), expected) << declaration;
        EXPECT_EQ(verdictOfText(opc::toString(std::string(declaration) + "<a/>")), expected) << declaration;
    }
    for (const char16_t* name : {u"utf-16", u"UTF-16"}) {
        const std::u16string text = std::u16string(u"<?xml version='1.0' encoding='") + name + u"'?><a/>";
        EXPECT_EQ(verdictOfText(text), "accepted");
        EXPECT_EQ(verdictOf([&] { readBytes(toBytes(u"\uFEFF" + text)); }), "accepted") << "detected by its mark";
    }
}

TEST_F(ReadingTest, decodes_the_same_text_from_every_form_and_every_size_of_read) {
    const std::u16string text = u"<a b='\u00E9'>\u4E2D\U0001F600</a>";
    std::u16string swapped = u"\uFEFF" + text;
    for (char16_t& unit : swapped) {
        unit = static_cast<char16_t>((unit << 8) | (unit >> 8));
    }
    const std::string utf8 = opc::detail::toUTF8String(text);
    const std::vector<std::vector<unsigned char>> forms = {toBytes(utf8), toBytes("\xEF\xBB\xBF" + utf8),
                                                           toBytes(u"\uFEFF" + text), toBytes(swapped)};
    for (const auto& form : forms) {
        for (const unsigned long largestRead : {1UL, 3UL, 65536UL}) {
            RepeatingStream stream(std::string(form.begin(), form.end()), "", 0, "");
            stream.largestRead = largestRead;
            auto* root = XercesHelper::readDocumentFromStream(*parser_, stream, false, u"", u"")->getDocumentElement();
            std::u16string content;
            XercesHelper::getElementText(root, content);
            EXPECT_EQ(content, u"\u4E2D\U0001F600") << "form " << (&form - forms.data()) << " by " << largestRead;
        }
    }
    auto* root = XercesHelper::readDocumentFromString(*parser_, text, false, u"", u"")->getDocumentElement();
    std::u16string value;
    XercesHelper::getElementAttribute(root, XercesString(u"b"), value);
    EXPECT_EQ(value, u"\u00E9");
}

TEST_F(ReadingTest, refuses_what_is_not_well_formed_with_the_message_of_the_parser) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const std::vector<Case> cases = {
        {"", "invalid document structure"},
        {"<a>", "input ended before all started tags were ended; last tag started is 'a'"},
        {"<a/>x", "comment or processing instruction expected"},
        {"<a b='1' b='2'/>", "attribute 'b' is already specified for element 'a'"},
        {"<q:a/>", "prefix 'q' can not be resolved to namespace URI"},
        {"<!DOCTYPE a><a/>", "invalid document structure"},
        {"<!DOCTYPE a [<!ELEMENT a ANY>]><a/>", "invalid document structure"},
        {"<a>\xC3</a>", "invalid byte '<' at position 2 of a 2-byte sequence"},
        {"<a>\xC0\x80</a>", "invalid byte"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_THAT(verdict(text), ::testing::HasSubstr(expected)) << text;
        EXPECT_EQ(verdict("<a/>"), "accepted") << "the parser can be used again after " << text;
    }
}

TEST_F(ReadingTest, keeps_names_in_messages_whatever_the_locale) {
    EXPECT_EQ(verdict("<\xC3\xA9\xE4\xB8\xAD>"),
              "input ended before all started tags were ended; last tag started is '\xC3\xA9\xE4\xB8\xAD'");
}

TEST_F(ReadingTest, reports_a_failing_stream_by_its_own_exception_and_before_any_other_error) {
    const boost::system::error_code ioError(5, boost::system::system_category());
    for (const std::string text : {"", "<", "<a>", "<a></b>", "<a/>", "<?xml version='1.0' encoding='UTF8'?><a/>"}) {
        FailingStream failing(text, [&] { throw opc::Exception("disk gone", ioError); });
        try {
            XercesHelper::readDocumentFromStream(*parser_, failing, false, u"", u"");
            ADD_FAILURE() << text;
        } catch (const opc::Exception& e) {
            EXPECT_STREQ(e.what(), "disk gone") << text;
            EXPECT_EQ(e.code(), ioError) << text;
        }
        FailingStream odd(text, [] { throw 42; });
        EXPECT_THROW(XercesHelper::readDocumentFromStream(*parser_, odd, false, u"", u""), int) << text;
        EXPECT_EQ(verdict("<a/>"), "accepted") << text;
    }
}

TEST_F(ReadingTest, leaves_nothing_of_one_read_behind_in_the_parser) {
    const auto& configuration = *parser_->getDomConfig();
    EXPECT_NE(verdict("<a>"), "accepted");
    EXPECT_EQ(configuration.getParameter(xercesc::XMLUni::fgDOMErrorHandler), nullptr);
    EXPECT_EQ(configuration.getParameter(xercesc::XMLUni::fgDOMResourceResolver), nullptr);
}

TEST_F(ReadingTest, judges_a_document_whatever_version_of_XML_was_read_before_it) {
    const std::vector<std::string> ofVersion11 = {"<?xml version='1.1'?><a>&#1;</a>", "<?xml version='1.1'?><a",
                                                  "<?xml version='1.1' encoding='UTF8'?><a/>"};
    const std::vector<std::string> documents = {"<a>&#1;</a>", "<a xmlns:p=''/>",  "<a\xC2\x85/>", "<!DOCTYPE a><a/>",
                                                "<a/>",        ofVersion11.front()};
    for (const bool validated : {false, true}) {
        parser_ = XercesHelper::createParser();
        loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
        verdict("<a/>", validated);
        for (const std::string& document : documents) {
            const std::string expected = verdict(document);
            const bool accepted = !validated && (document == "<a/>" || document == ofVersion11.front());
            EXPECT_EQ(expected == "accepted", accepted) << document;
            for (const std::string& before : ofVersion11) {
                verdict(before);
                EXPECT_EQ(verdict(document), expected) << document << " after " << before;
            }
        }
    }
}

TEST_F(ReadingTest, goes_on_validating_once_it_has_validated) {
    EXPECT_EQ(verdict("<a/>"), "accepted");
    EXPECT_EQ(verdict("<a/>", true), "grammar not found for namespace ''");
    EXPECT_EQ(verdict("<a/>"), "grammar not found for namespace ''");
}

TEST_F(ReadingTest, loads_the_schema_that_the_caller_itself_locates_but_nothing_that_this_one_names) {
    const auto folder = std::filesystem::path(::testing::TempDir());
    const auto schema = (folder / "opcraft-located.xsd").string();
    const std::string head = "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' targetNamespace='urn:t'>";
    std::ofstream(schema) << head << "<xs:element name='a'/></xs:schema>";
    const auto verdictAt = [&](const std::string& text, const std::string& location, const std::u16string& space) {
        const ParserHandle fresh = XercesHelper::createParser();
        std::string result = verdictOf([&] {
            const auto bytes = toBytes(text);
            ByteArrayInAdaptor stream(bytes);
            XercesHelper::readDocumentFromStream(*fresh, stream, true, opc::toString(location), space);
        });
        for (const XMLCh* parameter : {xercesc::XMLUni::fgXercesSchemaExternalSchemaLocation,
                                       xercesc::XMLUni::fgXercesSchemaExternalNoNameSpaceSchemaLocation}) {
            EXPECT_EQ(fresh->getDomConfig()->getParameter(parameter), nullptr) << "it counts for one read";
        }
        return result;
    };
    EXPECT_EQ(verdictAt("<a xmlns='urn:t'/>", schema, u"urn:t"), "accepted");
    EXPECT_EQ(verdictAt("<b xmlns='urn:t'/>", schema, u"urn:t"), "no declaration found for element 'b'");

    std::ofstream(schema) << head << "<xs:include schemaLocation='other.xsd'/><xs:element name='a'/></xs:schema>";
    EXPECT_EQ(verdictAt("<a xmlns='urn:t'/>", schema, u"urn:t"),
              "XML content can not refer to another resource: other.xsd");

    std::ofstream(schema)
        << "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:element name='a'/></xs:schema>";
    EXPECT_EQ(verdictAt("<a/>", schema, u""), "accepted");
    EXPECT_EQ(verdictAt("<b/>", schema, u""), "no declaration found for element 'b'");
    std::filesystem::remove(schema);
}

TEST(XercesGuardTest, lets_threads_come_and_go_while_others_read) {
    const auto work = [] {
        for (int i = 0; i < 20; ++i) {
            const XercesGuard guard;
            const auto parser = XercesHelper::createParser();
            auto* document = XercesHelper::readDocumentFromString(*parser, u"<a>text</a>", false, u"", u"");
            std::u16string text;
            XercesHelper::getElementText(document->getDocumentElement(), text);
            EXPECT_EQ(text, u"text");
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(work);
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

/// An error as the parser would report it.
class ReportedError final : public xercesc::DOMError {
public:
    ReportedError(ErrorSeverity severity, const XMLCh* message) : severity_(severity), message_(message) {}
    ErrorSeverity getSeverity() const override { return severity_; }
    const XMLCh* getMessage() const override { return message_; }
    xercesc::DOMLocator* getLocation() const override { return nullptr; }
    void* getRelatedException() const override { return nullptr; }
    const XMLCh* getType() const override { return nullptr; }
    void* getRelatedData() const override { return nullptr; }

private:
    ErrorSeverity severity_;
    const XMLCh* message_;
};

TEST(XercesErrorHandlerTest, ignores_warnings_and_keeps_the_message_of_the_last_error) {
    const XercesGuard guard;
    XercesErrorHandler handler;
    EXPECT_TRUE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_WARNING, u"odd")));
    EXPECT_NO_THROW(handler.throwIfError());
    EXPECT_FALSE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_ERROR, u"bad")));
    EXPECT_FALSE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_FATAL_ERROR, u"worse \u00E9")));
    EXPECT_TRUE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_WARNING, u"odd")));
    EXPECT_EQ(verdictOf([&] { handler.throwIfError(); }), "worse \xC3\xA9");
}

TEST(XercesErrorTranslationTest, turns_every_foreign_exception_into_one_of_ours) {
    const XercesGuard guard;
    const auto verdictOfThrow = [](auto exception) {
        return verdictOf([&] { translatingXercesErrors([&]() -> int { throw exception; }); });
    };
    EXPECT_EQ(verdictOfThrow(xercesc::SAXException(u"from a \u00E9")), "from a \xC3\xA9");
    EXPECT_EQ(verdictOfThrow(xercesc::DOMException(xercesc::DOMException::NOT_FOUND_ERR)).empty(), false);
    EXPECT_THROW(translatingXercesErrors([]() -> int { throw xercesc::OutOfMemoryException(); }), std::bad_alloc);
    EXPECT_THROW(translatingXercesErrors([]() -> int { throw InvalidPartName("x"); }), InvalidPartName);
    EXPECT_EQ(translatingXercesErrors([] { return 7; }), 7);
}

} // namespace
} // namespace opc::model::test
