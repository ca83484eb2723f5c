// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>

#include "model/ContentTypeSource.hpp"
#include "model/ModelFixture.hpp"
#include "support/ScriptedPackage.hpp"
#include "support/Throws.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace opc::model {
namespace {

using namespace test;
using opc::test::ScriptedPackage;
using opc::test::throws;
using opc::test::throwsSaying;
using testing::HasSubstr;
using testing::Not;

/// The content types of a package that was created, saved and read again.
class ContentTypes {
public:
    explicit ContentTypes(const std::string& stored) : store_(stored.c_str()), source_(store_, stored.empty()) {}

    ContentTypeSource* operator->() { return &source_; }

    std::string saved() {
        source_.save();
        return store_.contentTypes();
    }
    bool saves() {
        const auto before = store_.calls.size();
        source_.save();
        return store_.calls.size() != before;
    }

private:
    ScriptedPackage store_;
    ContentTypeSource source_;
};

TEST(ContentTypeSource, LooksUpOverridesBeforeDefaultsWithoutRegardToCase) {
    ContentTypes types(contentTypesXml("<Override PartName='/A/b.xml' ContentType='o/o'/>"
                                       "<Default Extension='XML' ContentType='D/d'/>"
                                       "<Default Extension='xml' ContentType='second/one'/>"
                                       "<Override PartName='/a/B.xml' ContentType='second/two'/>"));
    EXPECT_EQ(types->getContentType(u"/a/B.XML", true).toString(), u"o/o"); // the first of two equal ones
    EXPECT_EQ(types->getContentType(u"/c.Xml", true).toString(), u"D/d");
    EXPECT_TRUE(throws<ContentTypeNotFound>("No content type was found for part:/x.bin",
                                            [&] { types->getContentType(u"/x.bin", true); }));
    EXPECT_TRUE(throws<ContentTypeNotFound>("No content type was found for part:/xml",
                                            [&] { types->getContentType(u"/xml", true); }));
    ScriptedPackage without;
    ContentTypeSource none(without, false);
    EXPECT_TRUE(throws<ContentTypeNotFound>("No content type stream.", [&] { none.getContentType(u"/x", false); }));
}

TEST(ContentTypeSource, FindsOverridesInWhateverOrderTheyAreAskedForWhileTheyComeAndGo) {
    ContentTypes types(contentTypesXml("<Default Extension='xml' ContentType='d/d'/>"));
    const std::u16string names = u"bdfhj"; // the letters between them stay with the Default
    const auto nameOf = [](char16_t letter) { return PartName(std::u16string(u"/") + letter + u".xml"); };
    for (const char16_t letter : names)
        types->addContentType(nameOf(letter), u"o/o");

    const auto areFound = [&](std::u16string_view present) {
        for (const std::u16string_view order : {u"abcdefghijk", u"kjihgfedcba", u"bbjjaakkffdh", u"cedhbkaj"})
            for (const char16_t letter : order) {
                const bool isOverride = present.find(letter) != std::u16string_view::npos;
                if (types->getContentType(nameOf(letter), false).toString() != (isOverride ? u"o/o" : u"d/d"))
                    return false;
            }
        return true;
    };
    EXPECT_TRUE(areFound(u"bdfhj"));
    types->removeContentType(nameOf(u'f'));
    types->removeContentType(nameOf(u'j'));
    EXPECT_TRUE(areFound(u"bdh"));
    types->addContentType(nameOf(u'a'), u"o/o");
    EXPECT_TRUE(areFound(u"abdh"));
    for (const char16_t letter : {u'a', u'b', u'd', u'h'})
        types->removeContentType(nameOf(letter));
    EXPECT_TRUE(areFound(u""));
}

TEST(ContentTypeSource, RecordsADefaultForANewExtensionAndAnOverrideForAnotherType) {
    ContentTypes types("");
    types->addContentType(u"/a.XML", u"text/xml");
    types->addContentType(u"/b.xml", u"text/xml");
    types->addContentType(u"/c.xml", u"text/XML"); // equal as a media type, written differently
    types->addContentType(u"/noextension", u"a/b");
    types->addContentType(u"/d.a;b", u"a/b"); // an extension that the published schema does not take
    types->addContentType(u"/e.%20x", u"a/b");
    EXPECT_EQ(types.saved(), "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
                             "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">\n"
                             "  <Default ContentType=\"a/b\" Extension=\"%20x\"/>\n"
                             "  <Default ContentType=\"text/xml\" Extension=\"xml\"/>\n"
                             "  <Override ContentType=\"text/XML\" PartName=\"/c.xml\"/>\n"
                             "  <Override ContentType=\"a/b\" PartName=\"/d.a;b\"/>\n"
                             "  <Override ContentType=\"a/b\" PartName=\"/noextension\"/>\n"
                             "</Types>\n");
    ContentTypes again(types.saved());
    EXPECT_EQ(again->getContentType(u"/d.a;b", false).toString(), u"a/b");
    EXPECT_EQ(again->getContentType(u"/B.XML", false).toString(), u"text/xml");
}

TEST(ContentTypeSource, ADefaultGoesWithItsLastUser) {
    ContentTypes types(contentTypesXml("<Default Extension='xml' ContentType='a/b'/>"
                                       "<Default Extension='unused' ContentType='a/b'/>"));
    types->getContentType(u"/a.xml", true);
    types->getContentType(u"/a.xml", false); // no user
    EXPECT_FALSE(types.saves());             // nothing changed
    types->addContentType(u"/b.xml", u"a/b");
    EXPECT_THAT(types.saved(), testing::AllOf(HasSubstr("\"xml\""), Not(HasSubstr("unused"))));
    types->removeContentType(u"/a.xml");
    EXPECT_THAT(types.saved(), HasSubstr("\"xml\""));
    types->removeContentType(u"/b.xml");
    EXPECT_THAT(types.saved(), Not(HasSubstr("\"xml\"")));
    types->removeContentType(u"/b.xml"); // nothing to release
    EXPECT_FALSE(types.saves());
    types->removeContentType(u"/x.unused"); // an entry without users goes too
    EXPECT_TRUE(types.saves());
    EXPECT_THROW(types->getContentType(u"/x.unused", false), ContentTypeNotFound);
}

TEST(ContentTypeSource, AddingAPartErasesAStaleOverride) {
    ContentTypes types(contentTypesXml("<Default Extension='xml' ContentType='a/b'/>"
                                       "<Override PartName='/gone.xml' ContentType='o/o'/>"));
    types->getContentType(u"/a.xml", true);
    types->addContentType(u"/Gone.xml", u"a/b");
    EXPECT_EQ(types->getContentType(u"/gone.xml", false).toString(), u"a/b");
    types->addContentType(u"/gone.xml", u"c/d");
    EXPECT_EQ(types->getContentType(u"/gone.xml", false).toString(), u"c/d");
}

TEST(ContentTypeSource, SaysWhatIsWrongWithAStream) {
    const char* const doesNotParse = "Could not successfully parse content type string";
    const auto reading = [](const std::string& xml) { return [xml] { ContentTypes types(xml); }; };
    const auto entry = [](const std::string& attributes) { return contentTypesXml("<Override " + attributes + "/>"); };

    EXPECT_TRUE(throws<InvalidContentTypeStream>("PartName is not a valid part name",
                                                 reading(entry("PartName='/a/' ContentType='a/b'"))));
    EXPECT_TRUE(throws<InvalidContentTypeStream>("PartName is not a valid part name",
                                                 reading(entry("PartName='/a b' ContentType='a/b'"))));
    for (const char* name : {" /a", "/a ", "/a&#9;", "&#10;/a", "/a\xC2\xA0"}) {
        EXPECT_TRUE(
            throws<InvalidContentTypeStream>("PartName is not a valid part name",
                                             reading(entry(std::string("PartName='") + name + "' ContentType='a/b'"))))
            << name;
        EXPECT_THROW(
            reading(contentTypesXml(std::string("<Default Extension='") + (name + 1) + "' ContentType='a/b'/>"))(),
            InvalidXMLDocument);
    }
    // What the schema takes and a media type does not.
    EXPECT_TRUE(throws<InvalidContentType>(doesNotParse, reading(entry("PartName='/a' ContentType='a/b;c=\"\"'"))));
    EXPECT_TRUE(
        throws<InvalidContentType>(doesNotParse, reading(entry("PartName='/a' ContentType='a/b;c=\"\xC3\xA9\"'"))));

    EXPECT_TRUE(throws<InvalidContentTypeStream>(
        "The root element is not Types",
        reading("<Default xmlns='http://schemas.openxmlformats.org/package/2006/content-types' Extension='a' "
                "ContentType='a/b'/>")));

    const std::pair<std::string, const char*> invalid[] = {
        // The verdict of the schema comes before anything else.
        {contentTypesXml("<Override PartName='bad' ContentType='a/b'/><Override PartName='/x' ContentType='x'/>"),
         "ST_ContentType"},
        {contentTypesXml("<Default ContentType='a/b'/>"), "Extension"},
        {contentTypesXml("<Default Extension='' ContentType='a/b'/>"), "regular expression facet"},
        {contentTypesXml("<Default Extension='.js' ContentType='a/b'/>"), "regular expression facet"},
        {contentTypesXml("<Default Extension='a' ContentType=''/>"), "pattern of ST_ContentType"},
        {contentTypesXml("<Default Extension='a' ContentType='a'/>"), "value 'a'"},
        {contentTypesXml("<Default Extension='a' ContentType='a/b;c=\"" + std::string(20, ' ') + "'/>"),
         "ST_ContentType"},
        {contentTypesXml("<Default Extension='a' ContentType='a/b" + std::string(100'000, ' ') + "'/>"),
         "ST_ContentType"},
        {contentTypesXml("<Other/>"), "Other"},
        {contentTypesXml("text"), ""},
        {"<Types/>", ""},
        {"<Types xmlns='http://example.org/'/>", ""},
        {"<!DOCTYPE Types>" + contentTypesXml(""), ""},
        {"<?xml version='1.0' encoding='ISO-8859-1'?>" + contentTypesXml(""),
         "XML content must be UTF-8 or UTF-16 or empty (i.e., absent XML declaration)"},
        {" ", ""},
        {"no XML", ""},
    };
    for (const auto& [xml, text] : invalid)
        EXPECT_TRUE(throwsSaying<InvalidXMLDocument>(text, reading(xml))) << xml.substr(0, 200);
}

TEST(ContentTypeSource, TakesLongContentTypesAndPrefixedNames) {
    const std::string value(10'000, ' ');
    ContentTypes types("<p:Types xmlns:p='http://schemas.openxmlformats.org/package/2006/content-types'>"
                       "<p:Default Extension='xml' ContentType='a/b;c=\"" +
                       value + "\"'/></p:Types>");
    EXPECT_EQ(types->getContentType(u"/a.xml", false).toString().size(), value.size() + 8);
}

TEST(ContentTypeSource, AnEmptyCreatedPackageIsValid) {
    ContentTypes types("");
    EXPECT_TRUE(types.saves());
    EXPECT_FALSE(types.saves());
    ContentTypes again(types.saved());
    EXPECT_THROW(again->getContentType(u"/a.xml", false), ContentTypeNotFound);
}

TEST(ContentTypeSource, UseCountsIncludeRelationshipsParts) {
    ScriptedPackage store(contentTypesXml("<Default Extension='rels' "
                                          "ContentType='application/vnd.openxmlformats-package.relationships+xml'/>"
                                          "<Default Extension='xml' ContentType='a/b'/>")
                              .c_str());
    store.add(u"/a.xml").add(u"/_rels/.rels", relationshipsXml("<Relationship Id='a' Type='t' Target='x'/>"));
    Package package(store);
    package.open(OpenMode::ReadWrite);
    Part part = package.getPart(u"/a.xml");
    part.createExternalRelationship(u"t", u"x");
    package.deleteRelationship(u"a");
    package.flush();
    EXPECT_THAT(store.contentTypes(), HasSubstr("\"rels\"")); // one user left
    part.deleteRelationship(u"rId1");
    package.flush();
    EXPECT_THAT(store.contentTypes(), Not(HasSubstr("\"rels\"")));
    package.createExternalRelationship(u"t", u"x");
    package.close();
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(package.getRelationships().size(), 1U);
}

} // namespace
} // namespace opc::model
