// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>

#include "model/coreproperties/CorePropertiesSerializer.hpp"
#include "support/CorePropertiesXml.hpp"
#include "support/Throws.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace opc::model {
namespace {

using test::coreProperties;
using test::throws;
using testing::ElementsAre;
using testing::Optional;
using testing::Pair;

using Keywords = std::vector<CoreProperties::Keyword>;

const std::string m42 = "Core properties shall not use the Markup Compatibility namespace. [M4.2]";
const std::string m43 = "Core properties shall not use refinements to the Dublin Core except for the \"created\" and "
                        "\"modified\" elements. [M4.3]";
const std::string m44 = "Core properties shall not use the xml:lang attribute except on the \"keywords\" and \"value\" "
                        "elements. [M4.4]";
const std::string m45Must = "Core properties must use the xsi:type attribute on the \"created\" and \"modified\" "
                            "elements. [M4.5]";
const std::string m45Not = "Core properties shall not use the xsi:type attribute except on the \"created\" and "
                           "\"modified\" elements. [M4.5]";

void loadInto(CoreProperties& properties, const std::string& xml) {
    const std::vector<unsigned char> bytes(xml.begin(), xml.end());
    ByteArrayInAdaptor stream(bytes);
    CorePropertiesSerializer().load(stream, properties);
}

CoreProperties load(const std::string& xml) {
    CoreProperties properties;
    loadInto(properties, xml);
    return properties;
}

std::string save(const CoreProperties& properties) {
    std::vector<unsigned char> bytes;
    ByteArrayOutAdaptor stream(bytes);
    CorePropertiesSerializer().save(properties, stream);
    return std::string(bytes.begin(), bytes.end());
}

boost::posix_time::ptime time(const char* iso) {
    return boost::posix_time::from_iso_extended_string(iso);
}

CoreProperties allProperties() {
    CoreProperties properties;
    properties.setCategory(u"category");
    properties.setContentStatus(u"");
    properties.setCreated(time("2026-01-31T10:00:00.25"));
    properties.setCreator(u" untrimmed ");
    properties.setDescription(u"two\nlines & <more>");
    properties.setIdentifier(u"identifier");
    properties.setKeywords({{u"a", u"en"}, {u"b", u""}, {u"c", u"de"}});
    properties.setLanguage(u"en");
    properties.setLastModifiedBy(u"\u00DC\U0001F600");
    properties.setLastPrinted(time("1999-12-31T23:59:59"));
    properties.setModified(time("2026-02-01T00:00:00.000001"));
    properties.setRevision(u"1");
    properties.setSubject(u"subject");
    properties.setTitle(u"title");
    properties.setVersion(u"2.0");
    return properties;
}

TEST(CoreProperties, AreEmptyUntilOneIsPresent) {
    CoreProperties properties;
    EXPECT_TRUE(properties.isEmpty());
    properties.setTitle(u"");
    EXPECT_FALSE(properties.isEmpty());
    EXPECT_EQ(properties.getTitle(), u"");
    properties.clear();
    properties.setKeywords({});
    EXPECT_FALSE(properties.isEmpty());
    properties.clear();
    EXPECT_TRUE(properties.isEmpty() && !properties.getKeywords());
}

TEST(CoreProperties, AreWrittenInTheirOrder) {
    EXPECT_EQ(save(allProperties()),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
              "<cp:coreProperties xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\" "
              "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:dcmitype=\"http://purl.org/dc/dcmitype/\" "
              "xmlns:dcterms=\"http://purl.org/dc/terms/\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
              "  <cp:category>category</cp:category>\n"
              "  <cp:contentStatus></cp:contentStatus>\n"
              "  <dcterms:created xsi:type=\"dcterms:W3CDTF\">2026-01-31T10:00:00.25Z</dcterms:created>\n"
              "  <dc:creator> untrimmed </dc:creator>\n"
              "  <dc:description>two\nlines &amp; &lt;more&gt;</dc:description>\n"
              "  <dc:identifier>identifier</dc:identifier>\n"
              "  <cp:keywords xml:lang=\"en\">a\n    <cp:value>b</cp:value>\n"
              "    <cp:value xml:lang=\"de\">c</cp:value>\n  </cp:keywords>\n"
              "  <dc:language>en</dc:language>\n"
              "  <cp:lastModifiedBy>\xC3\x9C\xF0\x9F\x98\x80</cp:lastModifiedBy>\n"
              "  <cp:lastPrinted>1999-12-31T23:59:59Z</cp:lastPrinted>\n"
              "  <dcterms:modified xsi:type=\"dcterms:W3CDTF\">2026-02-01T00:00:00.000001Z</dcterms:modified>\n"
              "  <cp:revision>1</cp:revision>\n"
              "  <dc:subject>subject</dc:subject>\n"
              "  <dc:title>title</dc:title>\n"
              "  <cp:version>2.0</cp:version>\n"
              "</cp:coreProperties>\n");
}

TEST(CoreProperties, ReadBackAsTheyWereWritten) {
    const CoreProperties properties = load(save(allProperties()));
    const CoreProperties expected = allProperties();
    EXPECT_EQ(properties.getCategory(), expected.getCategory());
    EXPECT_EQ(properties.getContentStatus(), expected.getContentStatus());
    EXPECT_EQ(properties.getCreated(), expected.getCreated());
    EXPECT_EQ(properties.getCreator(), expected.getCreator());
    EXPECT_EQ(properties.getDescription(), expected.getDescription());
    EXPECT_EQ(properties.getIdentifier(), expected.getIdentifier());
    EXPECT_EQ(properties.getKeywords(), expected.getKeywords());
    EXPECT_EQ(properties.getLanguage(), expected.getLanguage());
    EXPECT_EQ(properties.getLastModifiedBy(), expected.getLastModifiedBy());
    EXPECT_EQ(properties.getLastPrinted(), expected.getLastPrinted());
    EXPECT_EQ(properties.getModified(), expected.getModified());
    EXPECT_EQ(properties.getRevision(), expected.getRevision());
    EXPECT_EQ(properties.getSubject(), expected.getSubject());
    EXPECT_EQ(properties.getTitle(), expected.getTitle());
    EXPECT_EQ(properties.getVersion(), expected.getVersion());
    EXPECT_TRUE(load(save(CoreProperties())).isEmpty());
}

TEST(CoreProperties, KeywordsAreTrimmedAtTheirEndsAndOtherTextsNowhere) {
    const CoreProperties properties = load(
        coreProperties("<dc:title> title \n</dc:title>"
                       "<cp:keywords xml:lang='en'> one \n<cp:value>\ttwo\t</cp:value>between<cp:value xml:lang='de'/>"
                       "</cp:keywords>"));
    EXPECT_EQ(properties.getTitle(), u" title \n");
    EXPECT_THAT(properties.getKeywords(),
                Optional(ElementsAre(Pair(u" one", u"en"), Pair(u"\ttwo", u""), Pair(u"", u"de"))));
    EXPECT_THAT(load(coreProperties("<cp:keywords/>")).getKeywords(), Optional(ElementsAre(Pair(u"", u""))));
    CoreProperties empty;
    empty.setKeywords({});
    EXPECT_FALSE(load(save(empty)).getKeywords());
}

TEST(CoreProperties, TakeTheFirstChildOfATextAlone) {
    EXPECT_EQ(load(coreProperties("<dc:title><![CDATA[a]]>b</dc:title>")).getTitle(), u"a");
    EXPECT_EQ(load(coreProperties("<dc:title><!--a-->b</dc:title>")).getTitle(), u"a");
    EXPECT_EQ(load(coreProperties("<dc:title/>")).getTitle(), u"");
    EXPECT_FALSE(load(coreProperties("")).getTitle());
}

TEST(CoreProperties, ReadEveryFormOfADate) {
    const auto created = [](const std::string& text) {
        return load(coreProperties("<dcterms:created xsi:type='dcterms:W3CDTF'>" + text + "</dcterms:created>"))
            .getCreated();
    };
    EXPECT_EQ(created("2026"), time("2026-01-01T00:00:00"));
    EXPECT_EQ(created("2026-03"), time("2026-03-01T00:00:00"));
    EXPECT_EQ(created("2026-03-04"), time("2026-03-04T00:00:00"));
    EXPECT_EQ(created("2026-03-04T05:06:07"), time("2026-03-04T05:06:07"));
    EXPECT_EQ(created("2026-03-04T05:06:07.5+02:30"), time("2026-03-04T02:36:07.5"));
    // Valid by the schema, and nothing that the time type holds: the property stays absent.
    EXPECT_FALSE(created("0001-01-01T00:00:00Z"));
    EXPECT_FALSE(created("12026-01-01T00:00:00Z"));
    // What the schema refuses is refused before anybody asks for a date.
    EXPECT_THROW(created("2026-13"), InvalidPartContent);
    EXPECT_THROW(created("2026-03-04T05:06Z"), InvalidPartContent);
    EXPECT_THROW(created("yesterday"), InvalidPartContent);
}

TEST(CoreProperties, BreakNoRule) {
    const std::string created = "<dcterms:created xsi:type='dcterms:W3CDTF'>2026-01-31T10:00:00Z</dcterms:created>";
    const struct {
        std::string xml;
        std::string message;
    } refused[] = {
        {coreProperties("", "xmlns='http://schemas.openxmlformats.org/markup-compatibility/2006'"), m42},
        {coreProperties("<dcterms:abstract>a</dcterms:abstract>", "xmlns='http://schemas.openxmlformats.org/"
                                                                  "markup-compatibility/2006'"),
         m42}, // the first rule is judged first
        {coreProperties("<dcterms:abstract>a</dcterms:abstract>"), m43},
        {coreProperties("<dcterms:abstract xml:lang='en'>a</dcterms:abstract>"), m43},
        {coreProperties("<dc:title xml:lang='en'>a</dc:title>"), m44},
        {coreProperties("<dc:title xml:lang='en'>a</dc:title><dcterms:created>2026</dcterms:created>"), m44},
        {coreProperties("<dcterms:created>2026</dcterms:created><dc:title xml:lang='en'>a</dc:title>"), m45Must},
        {coreProperties("<dcterms:modified>2026</dcterms:modified>"), m45Must},
        {coreProperties("<dc:title xsi:type='dc:SimpleLiteral'>a</dc:title>"), m45Not},
        {coreProperties("<cp:lastPrinted xsi:type='xs:dateTime'>2026-01-31T10:00:00Z</cp:lastPrinted>",
                        "xmlns:xs='http://www.w3.org/2001/XMLSchema'"),
         m45Not},
        {coreProperties("<dcterms:created xsi:type='t:W3CDTF'>2026</dcterms:created>",
                        "xmlns:t='http://purl.org/dc/terms/'"),
         m45Not}, // by its text, not by its name
        {"<dcterms:abstract xmlns:dcterms='http://purl.org/dc/terms/'>a</dcterms:abstract>", m43},
        {"<dc:title xmlns:dc='http://purl.org/dc/elements/1.1/'>a</dc:title>",
         "The root element is not coreProperties"},
    };
    for (const auto& row : refused) {
        CoreProperties properties = allProperties();
        EXPECT_TRUE(throws<InvalidPartContent>(row.message, [&] { loadInto(properties, row.xml); })) << row.xml;
        EXPECT_TRUE(properties.isEmpty()) << row.xml;
    }
    for (const auto& accepted :
         {coreProperties(created, "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006'"),
          coreProperties("<cp:keywords xml:lang='en'>a<cp:value xml:lang='de'>b</cp:value></cp:keywords>")})
        EXPECT_FALSE(load(accepted).isEmpty()) << accepted;
}

TEST(CoreProperties, AreInvalidByTheirSchemaBeforeAnyRuleAndLeaveTheOldOnes) {
    for (const auto& xml :
         {coreProperties("<dc:title/><dc:title/>"), coreProperties("<cp:other/>"),
          coreProperties("<dc:title><b/></dc:title>"), coreProperties("<cp:lastPrinted>2026</cp:lastPrinted>"),
          coreProperties("text"), std::string("<coreProperties/>"), "<!DOCTYPE a>" + coreProperties(""),
          coreProperties("", "other=''"), std::string()}) {
        CoreProperties properties = allProperties();
        EXPECT_THROW(loadInto(properties, xml), InvalidPartContent) << xml;
        EXPECT_FALSE(properties.isEmpty()) << xml;
    }
}

TEST(CoreProperties, RefuseToWriteWhatCannotBeReadAndWriteNothingThen) {
    CoreProperties control;
    control.setTitle(u"a\u0001");
    CoreProperties nul;
    nul.setTitle(std::u16string(u"a\0b", 3));
    CoreProperties surrogate;
    surrogate.setKeywords({{u"a", u""}, {std::u16string(1, u'\xD800'), u""}});
    CoreProperties noTime;
    noTime.setCreated(boost::posix_time::not_a_date_time);
    CoreProperties noLanguage;
    noLanguage.setKeywords({{u"a", u"en"}, {u"b", u"en_US"}});
    CoreProperties longLanguage;
    longLanguage.setKeywords({{u"a", u"en-123456789"}});
    for (const auto& properties : {control, nul, surrogate, noTime, noLanguage, longLanguage}) {
        std::vector<unsigned char> bytes;
        ByteArrayOutAdaptor stream(bytes);
        EXPECT_THROW(CorePropertiesSerializer().save(properties, stream), InvalidPartContent);
        EXPECT_TRUE(bytes.empty());
    }
}

} // namespace
} // namespace opc::model
