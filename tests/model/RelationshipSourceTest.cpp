// SPDX-License-Identifier: Apache-2.0
#include "model/ModelFixture.hpp"
#include "support/PlainReaders.hpp"
#include "support/Throws.hpp"

namespace opc::model {
namespace {

using namespace test;
using opc::test::throwsSaying;

class RelationshipSourceTest : public testing::Test {
protected:
    RelationshipSourceTest() {
        store_.add(u"/a/b.xml");
        package_.open(OpenMode::ReadWrite);
    }

    Part part() { return package_.getPart(u"/a/b.xml"); }

    ScriptedPackage store_;
    Package package_{store_};
};

TEST_F(RelationshipSourceTest, WhatIsAcceptedIsReadBack) {
    // Out of pieces that mean something in a URI, two thousand targets and types.
    const char16_t* const pieces[] = {u"a", u":", u"/", u"\\", u" ", u"#", u"?", u"%20", u"[", u"@", u"\u00FC", u"\n"};
    std::vector<std::u16string> texts{u""};
    for (std::size_t i = 0; texts.size() < 2000; ++i)
        for (const auto& piece : pieces)
            texts.push_back(texts[i] + piece);
    const auto content = [&] {
        std::vector<std::u16string> all;
        for (const auto& one : package_.getRelationships())
            all.push_back(one.getID() + u'|' + one.getType() + u'|' + one.getTarget());
        return all;
    };
    for (const auto& text : texts) {
        thrownBy([&] { package_.createExternalRelationship(u"t", text); });
        thrownBy([&] { package_.createExternalRelationship(text, u"x"); });
    }
    const auto accepted = content();
    EXPECT_GT(accepted.size(), 500U);
    package_.close();
    package_.open(OpenMode::ReadOnly);
    EXPECT_EQ(content(), accepted);
}

TEST_F(RelationshipSourceTest, IDsAreNarrowerThanXMLNames) {
    // Both ends of every range, and what is next to them, as the first character and behind one.
    const std::u16string first = u"AZaz_\u00C0\u00D6\u00D8\u00F6\u00F8\u02FF\u0370\u037D\u200C\u200D\u2070\u218F\u2C00"
                                 u"\u2FEF\u3001\uD7FF\uF900\uFDCF\uFDF0\uFFFD";
    const std::u16string later = u"-.09\u00B7\u0300\u036F\u203F\u2040";
    const std::u16string never = u"@[`{/:,; \u00BF\u00D7\u00F7\u037E\u03B1\u0430\u200B\u200E\u206F\u2190\u2BFF\u2FF0"
                                 u"\u3000\uF8FF\uFDD0\uFDEF\uFFFE\u00B6\u00B8\u203E\u2041";
    const auto isValid = [](const std::u16string& id) { return RelationshipSource::isValidID(id); };
    for (const char16_t unit : first)
        EXPECT_TRUE(isValid(std::u16string(1, unit)) && isValid(u"a" + std::u16string(1, unit)))
            << std::hex << int(unit);
    for (const char16_t unit : later)
        EXPECT_TRUE(!isValid(std::u16string(1, unit)) && isValid(u"a" + std::u16string(1, unit)))
            << std::hex << int(unit);
    for (const char16_t unit : never)
        EXPECT_FALSE(isValid(std::u16string(1, unit)) || isValid(u"a" + std::u16string(1, unit)))
            << std::hex << int(unit);
    EXPECT_FALSE(isValid(u"") || isValid(u"\U00010000") || isValid(std::u16string(u"a\0", 2)));
}

TEST_F(RelationshipSourceTest, NumbersGoUpAndAreNeverUsedAgain) {
    const auto create = [&](const std::u16string& id = u"", const char16_t* type = u"t") {
        return toASCIIString(package_.createExternalRelationship(type, u"x", id).getID());
    };
    create(u"rId1");
    EXPECT_EQ(create(), "rId2") << "one that is taken is skipped";
    create(u"rId3");
    EXPECT_EQ(create(), "rId4");
    package_.deleteRelationship(u"rId4");
    EXPECT_EQ(create(), "rId5");
    const char16_t* core = u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
    create(u"core", core);
    EXPECT_THROW(create(u"", core), InvalidCorePropertiesRelationships);
    EXPECT_EQ(create(), "rId7") << "the refused one used up its ID";
    package_.close();
    package_.open(OpenMode::ReadWrite);
    EXPECT_EQ(create(), "rId4");
}

TEST_F(RelationshipSourceTest, TheRelationshipsPartComesWithTheFirstAndGoesWithTheLast) {
    const std::u16string name = u"/a/_rels/b.xml.rels";
    Part source = part();
    const Part other = source; // copies share the relationships
    for (int i = 0; i < 2; ++i) {
        source.createExternalRelationship(u"t", u"x", u"first");
        EXPECT_TRUE(store_.has(name) && other.hasRelationship(u"first"));
        source.createExternalRelationship(u"t", u"y", u"second");
        package_.flush();
        source.deleteRelationship(u"first");
        EXPECT_TRUE(store_.has(name));
        source.deleteRelationship(u"second");
        EXPECT_FALSE(store_.has(name));
        store_.calls.clear();
        package_.flush();
        EXPECT_TRUE(store_.calls.empty());
    }
    store_.add(name, relationshipsXml("")); // one that is read empty is used, and left alone
    package_.close();
    package_.open(OpenMode::ReadWrite);
    package_.flush();
    EXPECT_EQ(store_.bytes(name), relationshipsXml(""));
    store_.calls.clear();
    part().createExternalRelationship(u"t", u"x");
    EXPECT_TRUE(store_.calls.empty()) << "no second part of that name";
    part().deleteRelationship(u"rId1");
    EXPECT_FALSE(store_.has(name));
}

TEST_F(RelationshipSourceTest, WritesRelationshipsInTheOrderOfTheirIDs) {
    package_.createExternalRelationship(u"http://t", u"a b\\\u00FC<&\"'", u"b");
    package_.createInternalRelationship(u"http://t?a&b", URI(u"/a/b.xml"), u"a");
    package_.flush();
    EXPECT_EQ(store_.bytes(u"/_rels/.rels"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
              "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">\n"
              "  <Relationship Id=\"a\" Target=\"a/b.xml\" Type=\"http://t?a&amp;b\"/>\n"
              "  <Relationship Id=\"b\" Target=\"a b\\\xC3\xBC&lt;&amp;&quot;'\" TargetMode=\"External\" "
              "Type=\"http://t\"/>\n"
              "</Relationships>\n");
}

TEST(RelationshipsPart, ReadsWhatOtherProducersWrite) {
    ScriptedPackage store;
    store.add(u"/_rels/.rels",
              "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><!-- made by hand -->"
              "<r:Relationships xmlns:r='http://schemas.openxmlformats.org/package/2006/relationships'>"
              "<r:Relationship Id='z' Type='t' Target='file:///C:\\dir\\x' TargetMode='External'/>"
              "<r:Relationship Id='y' Type='t' Target='C:/a/b.png'/>"
              "<r:Relationship Id='m' Type='tel:' Target='mailto:' TargetMode='External'/>"
              "<r:Relationship Id='n' Type='u' Target=' http://h/a  b&#9;' TargetMode='External'/>"
              "<r:Relationship Id='x' Type='T' Target='/a.xml' TargetMode='Internal'>text</r:Relationship>"
              "</r:Relationships>");
    Package package(store);
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(idsOf(package.getRelationships()), "m n x y z");
    EXPECT_EQ(idsOf(package.getRelationshipsByType(u"t")), "y z") << "the case counts";
    EXPECT_EQ(package.getRelationshipByID(u"m").getTarget(), u"mailto:");
    EXPECT_EQ(package.getRelationshipByID(u"z").getTarget(), u"file:///C:\\dir\\x");
    EXPECT_EQ(package.getRelationshipByID(u"x").getTargetURI().toString(), u"/a.xml");
    package.createExternalRelationship(u"t", u"x", u"w");
    package.close();
    package.open(OpenMode::ReadOnly); // nothing got lost for the prefix
    EXPECT_EQ(idsOf(package.getRelationships()), "m n w x y z");
    EXPECT_EQ(package.getRelationshipByID(u"n").getTarget(), u" http://h/a  b\t") << "white space is kept";
}

TEST(RelationshipsPart, AreReadAlikeWithoutAValidatingParserWhereTheyArePlain) {
    const std::string one = "<Relationship Id='a' Type='t' Target='x'/>";
    const std::pair<std::string, bool> cases[] = {
        {relationshipsXml(""), true},
        {relationshipsXml(one), true},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?>\n" + relationshipsXml("\r\n " + one + "\t") + "\n", true},
        {relationshipsXml("<Relationship xmlns:x='http://www.w3.org/2001/XMLSchema' Target='&#xE9; \\' "
                          "TargetMode='External' Type='mailto:' Id='_.-9z'></Relationship>" +
                          one),
         true},
        {"<r:Relationships xmlns:r='http://schemas.openxmlformats.org/package/2006/relationships'><r:Relationship "
         "Id='a' Type='t' Target='/x?q#f' TargetMode='Internal'/></r:Relationships>",
         true},
        {relationshipsXml("<!---->" + one), false},
        {relationshipsXml("<?a?>" + one), false},
        {relationshipsXml("<![CDATA[ ]]>" + one), false},
        {relationshipsXml("<Relationship Id='a' Type='t' Target='x'> </Relationship>"), false},
        {relationshipsXml("<Relationship Id='\xC3\xA9' Type='t' Target='x'/>"), false},
        {relationshipsXml("<Relationship xmlns:x='urn:x' Id='a' Type='t' Target='x'/>"), false},
        {"<?xml version='1.1'?>" + relationshipsXml(one), false}};
    for (const auto& [xml, isPlain] : cases)
        EXPECT_EQ(opc::test::areRelationshipsAlike({xml.begin(), xml.end()}),
                  isPlain ? std::optional(true) : std::nullopt)
            << xml;
}

testing::AssertionResult isRefused(const std::string& xml, const std::string& message) {
    return throwsSaying<InvalidRelationshipContent>(
        "In /_rels/.rels: " + message,
        [&] {
            ScriptedPackage store;
            store.add(u"/_rels/.rels", xml);
            Package package(store);
            package.open(OpenMode::ReadOnly);
        });
}

TEST(RelationshipsPart, RefusesWhatBreaksItsRules) {
    for (const auto& row : readTable("model/relationships.tsv")) {
        const bool isDocument = row[0].starts_with('<');
        EXPECT_TRUE(isRefused(isDocument ? row[0] : relationshipsXml("<Relationship " + row[0] + "/>"), row[1]))
            << row[0];
    }
}

} // namespace
} // namespace opc::model
