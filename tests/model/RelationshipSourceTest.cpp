// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>

#include "model/ModelFixture.hpp"
#include "support/ScriptedPackage.hpp"
#include "support/Throws.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace opc::model {
namespace {

using namespace test;
using opc::test::ScriptedPackage;
using opc::test::throws;
using opc::test::throwsSaying;
using testing::ElementsAre;

const std::u16string type = u"http://type";

class RelationshipSourceTest : public testing::Test {
protected:
    RelationshipSourceTest() {
        store_.add(u"/a/b.xml");
        package_.open(OpenMode::ReadWrite);
    }

    Part part() { return package_.getPart(u"/a/b.xml"); }
    std::u16string internal(const char16_t* target) {
        return part().createInternalRelationship(type, URI(target)).getTarget();
    }

    ScriptedPackage store_;
    Package package_{store_};
};

TEST_F(RelationshipSourceTest, StoresInternalTargetsRelativeToTheSource) {
    const struct {
        const char16_t* target;
        const char16_t* stored;
        const char16_t* resolved;
    } table[] = {
        {u"../x.xml", u"../x.xml", u"/x.xml"},           {u"/x.xml", u"../x.xml", u"/x.xml"},
        {u"/a/c/d.xml", u"c/d.xml", u"/a/c/d.xml"},      {u"/a/c:d.xml", u"./c:d.xml", u"/a/c:d.xml"},
        {u"c.xml?q#f", u"c.xml?q#f", u"/a/c.xml?q#f"},   {u"/x#f", u"../x#f", u"/x#f"},
        {u"/A/B.XML/c", u"../A/B.XML/c", u"/A/B.XML/c"}, {u"/", u"../", u"/"}, // the package itself
    };
    for (const auto& row : table) {
        const Relationship relationship = part().createInternalRelationship(type, URI(row.target));
        EXPECT_EQ(relationship.getTarget(), row.stored);
        EXPECT_EQ(relationship.getTargetURI().toString(), row.resolved);
        EXPECT_EQ(relationship.getSourceURI().toString(), u"/a/b.xml");
    }
    EXPECT_EQ(package_.createInternalRelationship(type, URI(u"/a/b.xml")).getTarget(), u"a/b.xml");
}

TEST_F(RelationshipSourceTest, RefusesInternalTargetsByTheFirstRuleThatIsBroken) {
    const char* const absolute = "Relationship target cannot be an absolute URI for an internal relationship";
    const char* const same = "Relationship target cannot be the same as the source.";
    const struct {
        const char16_t* target;
        const char* message;
    } table[] = {
        {u"http://host/a", absolute},
        {u"mailto:a", absolute},
        {u"x/", "A part name shall not have a forward slash as the last character [M1.5]"},
        {u"x.", "A segment shall not end with a dot ('.') character [M1.9]"},
        {u"/x/%41", "A segment shall not contain percent-encoded unreserved characters. [M1.8]"},
        {u"_rels/x.rels", "Relationship target cannot be a relationship part name."},
        {u"/_rels/.rels", "Relationship target cannot be a relationship part name."},
        {u"b.xml", same},
        {u"../a/B.xml", same},
        {u"", same}, // resolves to the source
    };
    for (const auto& row : table)
        EXPECT_TRUE(throws<InvalidRelationshipTarget>(row.message, [&] { internal(row.target); }));
    // As an absolute path the source fails earlier.
    EXPECT_TRUE(throws<UnsupportedRelativize>("URI's paths must be different.", [&] { internal(u"/a/b.xml"); }));
    EXPECT_TRUE(throws<InvalidRelationshipTarget>(same, [&] { internal(u"/A/b.xml"); }));
    EXPECT_TRUE(part().getRelationships().empty());
    EXPECT_FALSE(store_.has(u"/a/_rels/b.xml.rels"));
}

TEST_F(RelationshipSourceTest, ChecksTypeAndIDAndExternalTarget) {
    const auto creating = [&](const char16_t* relationshipType, const char16_t* id, const char16_t* target = u"x") {
        return [=, this] { package_.createExternalRelationship(relationshipType, target, id); };
    };
    creating(u"http://type", u"taken")();
    EXPECT_TRUE(throws<InvalidRelationshipType>("Relationship type must not be empty.", creating(u"", u"1")));
    EXPECT_TRUE(
        throws<InvalidRelationshipType>("Relationship type is not a valid xsd::anyURI", creating(u"a b", u"1")));
    EXPECT_TRUE(throws<InvalidRelationshipID>("Relationship ID is not a valid xsd::ID", creating(u"t", u"1")));
    EXPECT_TRUE(throws<RelationshipAlreadyExists>("Relationship ID already exists", creating(u"t", u"taken")));
    creating(u"t", u"Taken")(); // the case counts
    for (const char16_t* target : {u"a#b#c", u"%zz", u"http://[", u"\x0001", u"\xDC00", u"\xFFFF"})
        EXPECT_TRUE(throws<InvalidRelationshipTarget>("External relationship target is not a valid xsd::anyURI. See "
                                                      "http://www.w3.org/TR/leiri/.",
                                                      creating(u"", u"", target)));
    for (const char16_t* target : {u"", u"docs\\a:b", u" http://h"}) // no reader would take them, or their slashes
        EXPECT_TRUE(throws<InvalidRelationshipTarget>("External relationship target is not a valid xsd::anyURI. See "
                                                      "http://www.w3.org/TR/leiri/.",
                                                      creating(u"t", u"", target)));
    EXPECT_THAT(idsOf(package_.getRelationships()), ElementsAre(u"Taken", u"taken"));
}

TEST_F(RelationshipSourceTest, WhatIsAcceptedIsReadBack) {
    // Out of pieces that mean something in a URI, two thousand targets and types.
    const std::u16string pieces[] = {u"a",   u":", u"/", u"\\",     u" ", u"#", u"?",
                                     u"%20", u"[", u"@", u"\u00FC", u"{", u"\n"};
    std::vector<std::u16string> texts{u""};
    for (std::size_t i = 0; texts.size() < 2000; ++i)
        for (const auto& piece : pieces)
            texts.push_back(texts[i] + piece);
    std::map<std::u16string, std::pair<std::u16string, std::u16string>> accepted;
    for (const auto& text : texts) {
        for (const bool asType : {false, true}) {
            try {
                const auto added = package_.createExternalRelationship(asType ? text : u"t", asType ? u"x" : text);
                accepted[added.getID()] = {added.getType(), added.getTarget()};
            } catch (const InvalidRelationshipTarget&) {
            } catch (const InvalidRelationshipType&) {
            }
        }
    }
    EXPECT_GT(accepted.size(), 500U);
    package_.close();
    package_.open(OpenMode::ReadOnly);
    EXPECT_EQ(package_.getRelationships().size(), accepted.size());
    for (const auto& relationship : package_.getRelationships())
        EXPECT_EQ(accepted[relationship.getID()], std::pair(relationship.getType(), relationship.getTarget()));
}

TEST_F(RelationshipSourceTest, IDsAreNarrowerThanXMLNames) {
    for (const char16_t* id : {u"_a-1.b", u"A", u"\u00C0", u"a\u00B7\u0300\u203F", u"\u0370", u"\u037D", u"\u2070",
                               u"\u3001", u"\uFFFD", u"\u02FF"})
        EXPECT_TRUE(RelationshipSource::isValidID(id));
    for (const std::u16string& id :
         {std::u16string(), std::u16string(u"1a"), std::u16string(u"-a"), std::u16string(u".a"), std::u16string(u"a:b"),
          std::u16string(u"\u03B1"), std::u16string(u"a\u03B1"), std::u16string(u"\u0430"), std::u16string(u"a b"),
          std::u16string(u"\u00D7"), std::u16string(u"\u00B7"), std::u16string(u"\U00010000"),
          std::u16string(u"\uFDD0"), std::u16string(u"\uFFFE"), std::u16string(u"a\0", 2)})
        EXPECT_FALSE(RelationshipSource::isValidID(id));
}

TEST_F(RelationshipSourceTest, NumbersGoUpAndAreNeverUsedAgain) {
    ScriptedPackage store;
    store.add(u"/_rels/.rels", relationshipsXml("<Relationship Id='rId1' Type='t' Target='x'/>"));
    Package package(store);
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(package.createExternalRelationship(u"t", u"x").getID(), u"rId2"); // one that is taken is skipped
    package.createExternalRelationship(u"t", u"x", u"rId3");
    EXPECT_EQ(package.createExternalRelationship(u"t", u"x").getID(), u"rId4");
    package.deleteRelationship(u"rId4");
    EXPECT_EQ(package.createExternalRelationship(u"t", u"x").getID(), u"rId5");
    EXPECT_EQ(part().createExternalRelationship(u"t", u"x").getID(), u"rId1"); // every source counts for itself
    package.close();
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(package.createExternalRelationship(u"t", u"x").getID(), u"rId4");
}

TEST_F(RelationshipSourceTest, TheRelationshipsPartComesWithTheFirstAndGoesWithTheLast) {
    Part source = part();
    const Part other = source; // copies share the relationships
    source.createExternalRelationship(u"t", u"x");
    source.createExternalRelationship(u"t", u"y");
    EXPECT_TRUE(store_.has(u"/a/_rels/b.xml.rels") && other.hasRelationship(u"rId2"));
    package_.flush();
    source.deleteRelationship(u"rId1");
    EXPECT_TRUE(store_.has(u"/a/_rels/b.xml.rels"));
    EXPECT_TRUE(
        throws<RelationshipNotFound>("Relationship ID does not exist", [&] { source.deleteRelationship(u"rId1"); }));
    EXPECT_TRUE(
        throws<RelationshipNotFound>("Relationship ID does not exist", [&] { other.getRelationshipByID(u"r"); }));
    source.deleteRelationship(u"rId2");
    EXPECT_FALSE(store_.has(u"/a/_rels/b.xml.rels"));
    store_.calls.clear();
    package_.flush();
    EXPECT_THAT(store_.calls, ElementsAre());
    source.createExternalRelationship(u"t", u"z");
    EXPECT_TRUE(store_.has(u"/a/_rels/b.xml.rels"));
}

TEST_F(RelationshipSourceTest, AnEmptyRelationshipsPartThatWasReadIsUsedAndLeftAlone) {
    ScriptedPackage store;
    store.add(u"/_rels/.rels", relationshipsXml(""));
    Package package(store);
    package.open(OpenMode::ReadWrite);
    package.flush();
    EXPECT_EQ(store.bytes(u"/_rels/.rels"), relationshipsXml(""));
    store.calls.clear();
    package.createExternalRelationship(u"t", u"x");
    EXPECT_THAT(store.calls, ElementsAre()); // no second part of that name
    package.deleteRelationship(u"rId1");
    EXPECT_FALSE(store.has(u"/_rels/.rels"));
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
    EXPECT_THAT(idsOf(package.getRelationships()), ElementsAre(u"m", u"n", u"x", u"y", u"z"));
    EXPECT_THAT(idsOf(package.getRelationshipsByType(u"t")), ElementsAre(u"y", u"z")); // the case counts
    EXPECT_EQ(package.getRelationshipByID(u"m").getTarget(), u"mailto:");
    EXPECT_EQ(package.getRelationshipByID(u"z").getTarget(), u"file:///C:\\dir\\x");
    EXPECT_EQ(package.getRelationshipByID(u"x").getTargetURI().toString(), u"/a.xml");
    package.createExternalRelationship(u"t", u"x", u"w");
    package.close();
    package.open(OpenMode::ReadOnly); // nothing got lost for the prefix
    EXPECT_THAT(idsOf(package.getRelationships()), ElementsAre(u"m", u"n", u"w", u"x", u"y", u"z"));
    EXPECT_EQ(package.getRelationshipByID(u"n").getTarget(), u" http://h/a  b\t"); // white space is kept
}

TEST(RelationshipsPart, RefusesWhatBreaksItsRules) {
    const auto opening = [](const std::string& xml) {
        return [xml] {
            ScriptedPackage store;
            store.add(u"/_rels/.rels", xml);
            Package package(store);
            package.open(OpenMode::ReadOnly);
        };
    };
    const auto entry = [](const std::string& attributes) {
        return relationshipsXml("<Relationship Id='a' " + attributes + "/>");
    };
    const std::pair<std::string, const char*> table[] = {
        {entry("Type='' Target='x'"), "In /_rels/.rels: Type is empty"},
        {entry("Type='a b' Target=''"), "In /_rels/.rels: Type is not a valid URI"},
        {entry("Type='t' Target='' TargetMode='External'"), "In /_rels/.rels: Target is empty"},
        {entry("Type='t' Target='http://h:x/' TargetMode='External'"),
         "In /_rels/.rels: Target is not a valid IRI for an external relationship"},
        {entry("Type='t' Target='a b'"), "In /_rels/.rels: Target is not a valid URI for an internal relationship"},
        {entry("Type='t' Target='\xC3\xBC'"),
         "In /_rels/.rels: Target is not a valid URI for an internal relationship"},
        {entry("Type='t' Target='mailto:a'"),
         "In /_rels/.rels: Target of an internal relationship cannot be an opaque URI"},
    };
    for (const auto& [xml, message] : table)
        EXPECT_TRUE(throws<InvalidRelationshipContent>(message, opening(xml))) << xml;
    // Values are taken as they are written: what other programs do not cut off is not cut off here.
    for (const std::string space : {" ", "&#x20;", "&#9;", "&#10;", "\n", "\xC2\xA0"})
        for (const bool isBefore : {false, true}) {
            const auto with = [&](const std::string& value) {
                return "='" + (isBefore ? space + value : value + space) + "' ";
            };
            const std::string id = "Id='i' ", ofType = "Type='t' ", target = "Target='x' ",
                              mode = "TargetMode='External'";
            const std::pair<std::string, const char*> rows[] = {
                {id + ofType + "Target" + with("x"), "Target is not a valid URI for an internal relationship"},
                {id + "Type" + with("t") + target, "Type is not a valid URI"},
                {id + "Type" + with("t") + target + mode, "Type is not a valid URI"},
                {"Id" + with("i") + ofType + target,
                 space == "\xC2\xA0" ? "value '" : "Relationship ID is not a valid xsd::ID"},
                {id + ofType + target + "TargetMode" + with("External"), "value '"},
            };
            for (const auto& [attributes, message] : rows)
                EXPECT_TRUE(throwsSaying<InvalidRelationshipContent>(
                    std::string("In /_rels/.rels: ") + message,
                    opening(relationshipsXml("<Relationship " + attributes + "/>"))))
                    << attributes;
        }
    for (const std::string& xml :
         {entry("Type='t'"), entry("Target='t'"), entry("Type='t' Target='x' TargetMode='external'"),
          entry("Type='t' Target='x' Other='y'"), relationshipsXml("<Relationship Type='t' Target='x' Id='1'/>"),
          relationshipsXml("<Relationship Type='t' Target='x' Id='a'/><Relationship Type='t' Target='y' Id='a'/>"),
          std::string("<Relationships/>"),
          std::string("<Relationship xmlns='http://schemas.openxmlformats.org/package/2006/relationships' Id='a' "
                      "Type='t' Target='x'/>"),
          std::string("<!DOCTYPE x>") + relationshipsXml(""), std::string()})
        EXPECT_TRUE(throwsSaying<InvalidRelationshipContent>("In /_rels/.rels: ", opening(xml))) << xml;
}

} // namespace
} // namespace opc::model
