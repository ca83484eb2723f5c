// SPDX-License-Identifier: Apache-2.0
#include "model/ContentTypeSource.hpp"
#include "model/ContentTypeReading.hpp"
#include "model/ModelFixture.hpp"

#include <random>

namespace opc::model {
namespace {

using namespace test;
using opc::test::unescaped;
using testing::HasSubstr;
using testing::Not;

auto readPlain(const std::string& xml) {
    return detail::readPlainContentTypes({xml.begin(), xml.end()}, {});
}

/// The content types of a package that was created, saved and read again.
class ContentTypes {
public:
    explicit ContentTypes(const std::string& stored) : store_(stored.c_str()), source_(store_, stored.empty()) {}

    ContentTypeSource* operator->() { return &source_; }
    std::string typeOf(const PartName& name, bool takeReference = false) {
        return toASCIIString(source_.getContentType(name, takeReference).toString());
    }
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
    ContentTypes types(contentTypes("<Override PartName='/A/b.xml' ContentType='o/o'/>"
                                    "<Default Extension='XML' ContentType='D/d'/>"
                                    "<Default Extension='xml' ContentType='second/one'/>"
                                    "<Override PartName='/a/B.xml' ContentType='second/two'/>"));
    EXPECT_EQ(types.typeOf(u"/a/B.XML"), "o/o"); // the first of two equal ones
    EXPECT_EQ(types.typeOf(u"/c.Xml"), "D/d");
    for (const char* name : {"/x.bin", "/xml"})
        expectAllThrow("ContentTypeNotFound: No content type was found for part:" + std::string(name),
                       {[&] { types.typeOf(toString(std::string(name))); }});
    ScriptedPackage without;
    ContentTypeSource none(without, false);
    expectAllThrow("ContentTypeNotFound: No content type stream.", {[&] { none.getContentType(u"/x", false); }});
}

TEST(ContentTypeSource, FindsOverridesInWhateverOrderTheyAreAskedForWhileTheyComeAndGo) {
    ContentTypes types(contentTypes("<Default Extension='xml' ContentType='d/d'/>"));
    std::mt19937 random(1);
    std::set<char16_t> overrides;
    for (int i = 0; i < 3000; ++i) {
        const auto letter = static_cast<char16_t>(u'a' + random() % 9);
        const PartName name(std::u16string(u"/") + letter + u".xml");
        const auto step = random() % 10;
        if (step == 0 && overrides.insert(letter).second)
            types->addContentType(name, u"o/o");
        else if (step == 1 && overrides.erase(letter) != 0)
            types->removeContentType(name);
        ASSERT_EQ(types.typeOf(name), overrides.count(letter) != 0 ? "o/o" : "d/d");
    }
}

TEST(ContentTypeSource, RecordsADefaultForANewExtensionAndAnOverrideForAnotherType) {
    ContentTypes types("");
    EXPECT_TRUE(types.saves()) << "an empty created package is valid";
    EXPECT_FALSE(types.saves());
    EXPECT_THROW(ContentTypes(types.saved()).typeOf(u"/a.xml"), ContentTypeNotFound);
    types->addContentType(u"/a.XML", u"text/xml");
    types->addContentType(u"/b.xml", u"text/xml");
    types->addContentType(u"/c.xml", u"text/XML"); // equal as a media type, written differently
    types->addContentType(u"/noextension", u"a/b");
    types->addContentType(u"/d.a;b", u"a/b"); // an extension that the published schema does not take
    types->addContentType(u"/e.%20x", u"a/b");
    types->addContentType(u"/f.azAZ09!$&'()*+,:=@-_~", u"a/b");
    EXPECT_EQ(types.saved(), "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
                             "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">\n"
                             "  <Default ContentType=\"a/b\" Extension=\"%20x\"/>\n"
                             "  <Default ContentType=\"a/b\" Extension=\"azaz09!$&amp;'()*+,:=@-_~\"/>\n"
                             "  <Default ContentType=\"text/xml\" Extension=\"xml\"/>\n"
                             "  <Override ContentType=\"text/XML\" PartName=\"/c.xml\"/>\n"
                             "  <Override ContentType=\"a/b\" PartName=\"/d.a;b\"/>\n"
                             "  <Override ContentType=\"a/b\" PartName=\"/noextension\"/>\n"
                             "</Types>\n");
    ContentTypes again(types.saved());
    EXPECT_EQ(again.typeOf(u"/d.a;b"), "a/b");
    EXPECT_EQ(again.typeOf(u"/B.XML"), "text/xml");
}

TEST(ContentTypeSource, ADefaultGoesWithItsLastUser) {
    ContentTypes types(contentTypes("<Default Extension='Xml' ContentType='a/b'/>"
                                    "<Default Extension='unused' ContentType='a/b'/>"));
    types.typeOf(u"/a.xml", true);
    types.typeOf(u"/a.xml");     // no user
    EXPECT_FALSE(types.saves()); // nothing changed
    types->addContentType(u"/b.xml", u"a/b");
    EXPECT_THAT(types.saved(), testing::AllOf(HasSubstr("\"Xml\""), Not(HasSubstr("unused"))));
    types->removeContentType(u"/a.xml");
    EXPECT_THAT(types.saved(), HasSubstr("\"Xml\""));
    types->removeContentType(u"/b.xml");
    EXPECT_THAT(types.saved(), Not(HasSubstr("\"Xml\"")));
    types->removeContentType(u"/b.xml"); // nothing to release
    EXPECT_FALSE(types.saves());
    types->removeContentType(u"/x.unused"); // an entry without users goes too
    EXPECT_TRUE(types.saves());
    EXPECT_THROW(types.typeOf(u"/x.unused"), ContentTypeNotFound);
}

TEST(ContentTypeSource, AddingAPartErasesAStaleOverride) {
    ContentTypes types(contentTypes("<Default Extension='xml' ContentType='a/b'/>"
                                    "<Override PartName='/gone.xml' ContentType='o/o'/>"));
    for (const char16_t* type : {u"a/b", u"c/d"}) {
        types->addContentType(u"/Gone.xml", type);
        EXPECT_EQ(types.typeOf(u"/gone.xml"), toASCIIString(type));
    }
}

TEST(ContentTypeSource, SaysWhatIsWrongWithAStream) {
    for (const auto& row : readTable("model/content-type-streams.tsv")) {
        const bool isDocument = row[0].starts_with("<?") || row[0].starts_with("<!") || row[0].starts_with("<Types") ||
                                row[0].find("xmlns") != std::string::npos;
        const std::string xml = isDocument ? unescaped(row[0]) : contentTypes(row[0]);
        const std::string thrown = thrownBy([&] { ContentTypes types(xml); });
        EXPECT_TRUE(opc::test::areContentTypesAlike({xml.begin(), xml.end()}).value_or(true)) << xml;
        if (row[1] == "nothing")
            EXPECT_EQ(thrown + (readPlain(xml) ? " plain" : " other"), "nothing " + row[2]) << xml;
        else if (row[1] == "InvalidXMLDocument")
            EXPECT_THAT(thrown, testing::AllOf(testing::StartsWith(row[1] + ": "), HasSubstr(row[2]))) << xml;
        else
            EXPECT_EQ(thrown, row[1] + ": " + row[2]) << xml;
    }
    for (const char* xml : {" ", "no XML"})
        EXPECT_THROW(ContentTypes types(xml), InvalidXMLDocument) << xml;
    const std::string many(100'000, ' ');
    EXPECT_THROW(ContentTypes types(contentTypes("<Default Extension='a' ContentType='a/b" + many + "'/>")),
                 InvalidXMLDocument);
    ContentTypes types("<p:Types xmlns:p='http://schemas.openxmlformats.org/package/2006/content-types'>"
                       "<p:Default Extension='xml' ContentType='a/b;c=\"" +
                       many + "\"'/></p:Types>");
    EXPECT_EQ(types.typeOf(u"/a.xml").size(), many.size() + 8);
}

TEST(ContentTypeSource, APlainStreamTellsWhereItsEntriesStand) {
    const std::string first = "<c:Override PartName='/\xC3\xA9' ContentType='a/b' ></c:Override\n>";
    const std::string second = "<Default ContentType='c/d' Extension='x'/>";
    const std::string xml =
        "\xEF\xBB\xBF<c:Types xmlns:c='http://schemas.openxmlformats.org/package/2006/content-types' "
        "xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>" +
        first + "\r\n" + second + "</c:Types>";
    const auto table = readPlain(xml);
    ASSERT_TRUE(table);
    std::vector<std::string> entries;
    for (const auto& [isDefault, hasPrefix, name, type, begin, end] : table->entries)
        entries.push_back(xml.substr(begin, end - begin) + (isDefault ? " D " : " O ") + (hasPrefix ? "c: " : "") +
                          detail::toUTF8String(name) + " " + toASCIIString(table->types[type]));
    EXPECT_THAT(entries, testing::ElementsAre(first + " O c: /\xC3\xA9 a/b", second + " D x c/d"));
    EXPECT_FALSE(table->isWithin({.xmlNodes = 8}));
    EXPECT_TRUE(table->isWithin({.xmlSize = xml.size(), .xmlDepth = 2, .xmlNodes = 9}));
}

TEST(ContentTypeSource, UseCountsIncludeRelationshipsParts) {
    ScriptedPackage store(usualContentTypes());
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
