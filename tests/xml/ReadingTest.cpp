// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include <opc/xml/XercesErrorHandler.hpp>

#include "support/Throws.hpp"
#include "xml/EmbeddedSchemas.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/XercesErrors.hpp"

#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMLocator.hpp>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

namespace opc::model::test {
namespace {

class ReadingTest : public XmlTest {};

TEST_F(ReadingTest, AcceptsFiveEncodingsAndWellFormedDocumentsAlone) {
    for (const auto& row : readTable("xml/reading.tsv")) {
        EXPECT_THAT(verdict(row[1]), ::testing::HasSubstr(row[0])) << row[1];
        EXPECT_THAT(verdict(opc::toString(row[1], true)), ::testing::HasSubstr(row[0])) << row[1] << " as a string";
    }
    for (const char16_t* name : {u"utf-16", u"UTF-16"}) {
        const std::u16string text = std::u16string(u"<?xml version='1.0' encoding='") + name + u"'?><a/>";
        EXPECT_EQ(verdict(text), "accepted");
        EXPECT_EQ(verdict(toUTF16Bytes(u"\uFEFF" + text)), "accepted") << "detected by its mark";
    }
    EXPECT_THAT(verdict("<a>\xC3</a>"), ::testing::HasSubstr("invalid byte '<' at position 2 of a 2-byte sequence"));
    EXPECT_THAT(verdict("<a>\xC0\x80</a>"), ::testing::HasSubstr("invalid byte"));
}

TEST_F(ReadingTest, DecodesTheSameTextFromEveryFormAndEverySizeOfRead) {
    const std::u16string text = u"<a b='\u00E9'>\u4E2D\U0001F600</a>";
    std::string swapped = toUTF16Bytes(u"\uFEFF" + text);
    for (std::size_t i = 0; i < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    const std::string utf8 = opc::detail::toUTF8String(text);
    const auto expectText = [](const DOMDocument* document) {
        std::u16string content, value;
        XercesHelper::getElementText(document->getDocumentElement(), content);
        XercesHelper::getElementAttribute(document->getDocumentElement(), XercesString(u"b"), value);
        EXPECT_EQ(content + value, u"\u4E2D\U0001F600\u00E9");
    };
    for (const auto& form : {utf8, "\xEF\xBB\xBF" + utf8, toUTF16Bytes(u"\uFEFF" + text), swapped})
        for (const unsigned long largestRead : {1UL, 3UL, 65536UL}) {
            RepeatingStream stream(form, "", 0, "");
            stream.largestRead = largestRead;
            expectText(read(stream));
        }
    expectText(read(text));
}

TEST_F(ReadingTest, ReportsAFailingStreamByItsOwnExceptionAndBeforeAnyOtherError) {
    const boost::system::error_code ioError(5, boost::system::system_category());
    for (const std::string text : {"", "<", "<a>", "<a></b>", "<a/>", "<?xml version='1.0' encoding='UTF8'?><a/>"}) {
        RepeatingStream failing(text, "", 0, "");
        failing.atEnd = [&] { throw opc::Exception("disk gone", ioError); };
        EXPECT_TRUE(opc::test::throwsWhat([&] { read(failing); },
                                          [&](const std::exception& e) {
                                              return e.what() == std::string("disk gone") &&
                                                     dynamic_cast<const opc::Exception&>(e).code() == ioError;
                                          }))
            << text;
        RepeatingStream odd(text, "", 0, "");
        odd.atEnd = [] { throw 42; };
        EXPECT_THROW(read(odd), int) << text;
        EXPECT_EQ(verdict("<a/>"), "accepted") << "the parser can be used again after " << text;
    }
    for (const XMLCh* parameter : {XMLUni::fgDOMErrorHandler, XMLUni::fgDOMResourceResolver})
        EXPECT_EQ(parser_->getDomConfig()->getParameter(parameter), nullptr) << "nothing is left behind";
}

TEST_F(ReadingTest, JudgesADocumentWhateverVersionOfXMLWasReadBeforeIt) {
    const std::string ofVersion11[] = {"<?xml version='1.1'?><a>&#1;</a>", "<?xml version='1.1'?><a",
                                       "<?xml version='1.1' encoding='UTF8'?><a/>"};
    for (const bool validated : {false, true}) {
        parser_ = XercesHelper::createParser();
        loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
        verdict("<a/>", validated);
        for (const std::string& document :
             {std::string("<a>&#1;</a>"), std::string("<a xmlns:p=''/>"), std::string("<a\xC2\x85/>"),
              std::string("<!DOCTYPE a><a/>"), std::string("<a/>"), ofVersion11[0]}) {
            const std::string expected = verdict(document);
            const bool isAccepted = !validated && (document == "<a/>" || document == ofVersion11[0]);
            EXPECT_EQ(expected == "accepted", isAccepted) << document;
            for (const std::string& before : ofVersion11) {
                verdict(before);
                EXPECT_EQ(verdict(document), expected) << document << " after " << before;
            }
        }
    }
}

TEST_F(ReadingTest, LoadsTheSchemaThatTheCallerItselfLocatesButNothingThatThisOneNames) {
    const std::string path = ::testing::TempDir() + "opcraft-located.xsd";
    const auto expectVerdict = [&](const std::string& schema, const std::string& text, const std::u16string& space,
                                   const std::string& expected) {
        std::ofstream(path) << "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' " << schema
                            << "<xs:element name='a'/></xs:schema>";
        const ParserHandle fresh = XercesHelper::createParser();
        RepeatingStream stream(text, "", 0, "");
        EXPECT_EQ(
            verdictOf([&] { XercesHelper::readDocumentFromStream(*fresh, stream, true, opc::toString(path), space); }),
            expected);
        for (const XMLCh* parameter :
             {XMLUni::fgXercesSchemaExternalSchemaLocation, XMLUni::fgXercesSchemaExternalNoNameSpaceSchemaLocation})
            EXPECT_EQ(fresh->getDomConfig()->getParameter(parameter), nullptr) << "it counts for one read";
    };
    const std::string target = "targetNamespace='urn:t'>";
    expectVerdict(target, "<a xmlns='urn:t'/>", u"urn:t", "accepted");
    expectVerdict(target, "<b xmlns='urn:t'/>", u"urn:t", "no declaration found for element 'b'");
    expectVerdict(target + "<xs:include schemaLocation='other.xsd'/>", "<a xmlns='urn:t'/>", u"urn:t",
                  "XML content can not refer to another resource: other.xsd");
    expectVerdict(">", "<a/>", u"", "accepted");
    expectVerdict(">", "<b/>", u"", "no declaration found for element 'b'");
    std::filesystem::remove(path);
}

TEST_F(ReadingTest, LoadingASchemaSaysWhyItCouldNot) {
    const auto loadVerdict = [](const std::string& text) {
        try {
            loadEmbeddedSchema(*XercesHelper::createParser(), {"test.xsd", text.c_str(), text.size()});
        } catch (const InvalidXMLSchema& e) {
            return std::string(e.what());
        }
        return std::string("loaded");
    };
    const std::string start = "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>";
    const std::string failed = "Schema could not be loaded: ";
    EXPECT_EQ(loadVerdict(start + "</xs:schema>"), "loaded");
    EXPECT_EQ(loadVerdict("<a"), failed + "unexpected end of input");
    EXPECT_EQ(loadVerdict("<a/>"), failed + "root element name of XML Schema document must be 'schema'");
    EXPECT_EQ(loadVerdict(start + "<xs:include schemaLocation='/etc/hostname'/></xs:schema>"),
              failed + "XML content can not refer to another resource: /etc/hostname");
    EXPECT_THROW(loadEmbeddedSchema(*parser_, embedded::opc_coreProperties), InvalidXMLSchema)
        << "what it imports is not in the cache";
    for (const auto* schema :
         {&embedded::xml, &embedded::dc, &embedded::dcmitype, &embedded::dcterms, &embedded::opc_coreProperties,
          &embedded::opc_contentTypes, &embedded::opc_relationships, &embedded::opc_dsig, &embedded::xmldsig}) {
        EXPECT_EQ(std::strlen(schema->text), schema->length) << schema->systemId;
        EXPECT_EQ(verdict(schema->text), "accepted") << schema->systemId << " holds no document type";
        EXPECT_EQ(std::string(schema->text).find("schemaLocation"), std::string::npos) << schema->systemId;
    }
}

TEST_F(ReadingTest, GoesOnValidatingOnceItHasValidatedWithTheSchemasItHasAndGets) {
    const std::string ns = "xmlns='http://schemas.openxmlformats.org/package/2006/";
    const std::string types = "<Types " + ns + "content-types'/>";
    const std::string relationships = "<Relationships " + ns + "relationships'/>";
    EXPECT_EQ(verdict("<a/>"), "accepted");
    loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
    EXPECT_EQ(verdict(types, true), "accepted");
    EXPECT_THAT(verdict(relationships, true), ::testing::StartsWith("grammar not found for namespace"));
    loadEmbeddedSchema(*parser_, embedded::opc_relationships);
    for (const bool validate : {true, false, true}) {
        EXPECT_EQ(verdict(types, validate), "accepted");
        EXPECT_EQ(verdict(relationships, validate), "accepted");
        EXPECT_EQ(verdict("<Types/>", validate), "grammar not found for namespace ''");
    }
}

TEST_F(ReadingTest, LetsThreadsComeAndGoWhileOthersRead) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int round = 0; round < 20; ++round) {
                const XercesGuard guard;
                const auto parser = XercesHelper::createParser();
                auto* document = XercesHelper::readDocumentFromString(*parser, u"<a>text</a>", false, u"", u"");
                EXPECT_STREQ(toASCIIString(document->getDocumentElement()->getTextContent()).c_str(), "text");
            }
        });
    for (auto& thread : threads)
        thread.join();
}

/// An error as the parser would report it.
struct ReportedError final : xercesc::DOMError {
    ReportedError(ErrorSeverity severity, const XMLCh* message) : severity_(severity), message_(message) {}
    ErrorSeverity getSeverity() const override { return severity_; }
    const XMLCh* getMessage() const override { return message_; }
    xercesc::DOMLocator* getLocation() const override { return nullptr; }
    void* getRelatedException() const override { return nullptr; }
    const XMLCh* getType() const override { return nullptr; }
    void* getRelatedData() const override { return nullptr; }

    ErrorSeverity severity_;
    const XMLCh* message_;
};

TEST(XercesErrorsTest, IgnoreWarningsKeepTheLastMessageAndBecomeOurs) {
    const XercesGuard guard;
    XercesErrorHandler handler;
    EXPECT_TRUE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_WARNING, u"odd")));
    EXPECT_NO_THROW(handler.throwIfError());
    EXPECT_FALSE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_ERROR, u"bad")));
    EXPECT_FALSE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_FATAL_ERROR, u"worse \u00E9")));
    EXPECT_TRUE(handler.handleError(ReportedError(xercesc::DOMError::DOM_SEVERITY_WARNING, u"odd")));
    EXPECT_EQ(verdictOf([&] { handler.throwIfError(); }), "worse \xC3\xA9");

    const auto translating = [](auto exception) {
        return [=] { translatingXercesErrors([=]() -> int { throw exception; }); };
    };
    EXPECT_EQ(verdictOf(translating(xercesc::SAXException(u"from a \u00E9"))), "from a \xC3\xA9");
    EXPECT_NE(verdictOf(translating(xercesc::DOMException(xercesc::DOMException::NOT_FOUND_ERR))), "");
    EXPECT_THROW(translating(xercesc::OutOfMemoryException())(), std::bad_alloc);
    EXPECT_THROW(translating(InvalidPartName("x"))(), InvalidPartName);
    EXPECT_EQ(translatingXercesErrors([] { return 7; }), 7);
}

TEST(XercesStringTest, OwnsACopyAndComparesNullAsEmptyWhateverTheFormOfTheOtherSide) {
    const XercesGuard guard;
    const char16_t* const null = nullptr;
    std::u16string source = u"Relationship\U0001F600";
    XercesString string(source);
    source.assign(source.size(), u'x');
    EXPECT_EQ(string.toString(), u"Relationship\U0001F600");
    EXPECT_EQ(string.toXMLCh()[14], u'\0');
    EXPECT_EQ(static_cast<char16_t*>(string), string.toXMLCh());
    const XercesString cut(std::u16string(u"a\0b", 3));
    EXPECT_EQ(cut.toXMLCh()[2], u'b') << "all units are copied";
    EXPECT_EQ(std::u16string(cut), u"a") << "but a NUL ends the text";
    XercesString copy(string);
    EXPECT_TRUE(copy.toXMLCh() != string.toXMLCh() && copy == string);
    const char16_t* buffer = string.toXMLCh();
    EXPECT_EQ(XercesString(std::move(string)).toXMLCh(), buffer) << "a move takes the buffer";
    XercesString& alias = copy;
    copy = alias;
    EXPECT_EQ(copy.toString(), u"Relationship\U0001F600");

    const auto expectOrder = [](const XercesString& one, auto&& other, bool isEqual) {
        EXPECT_TRUE((one == other) == isEqual && (one != other) != isEqual);
        EXPECT_TRUE((other == one) == isEqual && (other != one) != isEqual);
    };
    const XercesString name(u"Id"), empty(u""), nothing(null);
    char16_t text[] = u"Id";
    char16_t* const pointer = text;
    expectOrder(name, XercesString(u"Id"), true);
    expectOrder(name, u"Id", true);
    expectOrder(name, pointer, true); // texts, not addresses
    expectOrder(name, XercesString(u"Ids"), false);
    expectOrder(name, u"id", false);
    expectOrder(name, null, false);
    expectOrder(nothing, empty, true);
    expectOrder(nothing, XercesString(null), true);
    expectOrder(nothing, null, true);
    expectOrder(empty, null, true);
    EXPECT_EQ(nothing.toXMLCh(), null);
    EXPECT_THROW(nothing.toString(), std::logic_error);
}

} // namespace
} // namespace opc::model::test
