// SPDX-License-Identifier: Apache-2.0
#include <opc/edit/MovePart.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "model/ModelFixture.hpp"
#include "model/coreproperties/CorePropertiesSerializer.hpp"
#include "support/PlainReaders.hpp"

#include <boost/algorithm/string/join.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

namespace opc::model {
namespace {

using namespace test;
using opc::test::coreProperties;
using testing::ElementsAre;
using testing::Optional;
using testing::Pair;

void loadInto(CoreProperties& properties, const std::string& xml) {
    CorePropertiesSerializer().load({xml.begin(), xml.end()}, properties);
}

CoreProperties load(const std::string& xml) {
    CoreProperties properties;
    loadInto(properties, xml);
    return properties;
}

std::string save(const CoreProperties& properties) {
    const auto bytes = CorePropertiesSerializer().save(properties);
    return std::string(bytes.begin(), bytes.end());
}

TEST(CoreProperties, AreReadAndWrittenInTheirOrder) {
    std::string document;
    for (const auto& row : readTable("model/core-properties.txt")) {
        const std::string& line = row.front();
        document += line + '\n';
        if (!line.starts_with("  <") || line.find("</", 3) == std::string::npos)
            continue;
        const std::string one = coreProperties(line); // each by itself
        EXPECT_FALSE(load(one).isEmpty()) << line;
        EXPECT_EQ(opc::test::areCorePropertiesAlike({one.begin(), one.end()}), true) << line;
        EXPECT_NE(save(load(coreProperties(line))).find(line), std::string::npos) << line;
    }
    const CoreProperties p = load(document);
    std::u16string texts;
    for (const auto& text :
         {p.getCategory(), p.getContentStatus(), p.getCreator(), p.getDescription(), p.getIdentifier(), p.getLanguage(),
          p.getLastModifiedBy(), p.getRevision(), p.getSubject(), p.getTitle(), p.getVersion()})
        texts += text.value_or(u"none") + u"|";
    EXPECT_EQ(texts, u"category|| untrimmed |two lines & <more>|identifier|en|\u00DC\U0001F600|1|subject|title|2.0|");
    EXPECT_LT(p.getLastPrinted(), p.getCreated());
    EXPECT_LT(p.getCreated(), p.getModified());
    EXPECT_THAT(p.getKeywords(), Optional(ElementsAre(Pair(u"a", u"en"), Pair(u"b", u""), Pair(u"c", u"de"))));
    EXPECT_EQ(save(p), document);

    EXPECT_TRUE(load(save(CoreProperties())).isEmpty());
    CoreProperties some;
    some.setKeywords({});
    EXPECT_FALSE(some.isEmpty() || load(save(some)).getKeywords());
    some.clear();
    EXPECT_TRUE(some.isEmpty());
}

TEST(CoreProperties, TakeTheFirstChildOfATextAloneAndTrimKeywordsAtTheirEnds) {
    const CoreProperties properties = load(
        coreProperties("<dc:title> title \n</dc:title>"
                       "<cp:keywords xml:lang='en'> one \n<cp:value>\ttwo\t</cp:value>between<cp:value xml:lang='de'/>"
                       "</cp:keywords>"));
    EXPECT_EQ(properties.getTitle(), u" title \n");
    EXPECT_THAT(properties.getKeywords(),
                Optional(ElementsAre(Pair(u" one", u"en"), Pair(u"\ttwo", u""), Pair(u"", u"de"))));
    EXPECT_THAT(load(coreProperties("<cp:keywords/>")).getKeywords(), Optional(ElementsAre(Pair(u"", u""))));
    EXPECT_EQ(load(coreProperties("<dc:title><!--a-->b</dc:title>")).getTitle(), u"a");
    EXPECT_EQ(load(coreProperties("<dc:title/>")).getTitle(), u"");
    // Only a default namespace is refused.
    EXPECT_EQ(
        load(coreProperties("<dc:title/>", "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006'"))
            .getTitle(),
        u"");
}

TEST(CoreProperties, BreakNoRuleAndAreJudgedByTheirSchemaFirst) {
    for (const auto& row : readTable("model/core-properties.tsv")) {
        SCOPED_TRACE(row[0] + row[1]);
        CoreProperties properties;
        properties.setTitle(u"old");
        std::string thrown =
            thrownBy([&] { loadInto(properties, row[0] == "-" ? row[1] : coreProperties(row[1], row[0])); });
        if (row[2] == "schema") {
            EXPECT_THAT(thrown, testing::StartsWith("InvalidPartContent: "));
            EXPECT_EQ(properties.getTitle(), u"old");
            continue;
        }
        EXPECT_EQ(properties.isEmpty(), thrown != "nothing" || row[2] == "absent");
        const auto created = properties.getCreated();
        EXPECT_EQ(created ? to_iso_extended_string(*created) : thrown == "nothing" ? "absent" : thrown, row[2]);
    }
}

TEST(CoreProperties, RefuseToWriteWhatCannotBeRead) {
    const auto saving = [](const std::function<void(CoreProperties&)>& change) {
        CoreProperties properties;
        change(properties);
        return thrownBy([&] { CorePropertiesSerializer().save(properties); });
    };
    EXPECT_EQ(saving([](auto& p) { p.setTitle(std::u16string(u"a\0b", 3)); }),
              "InvalidPartContent: XML content can not contain the character U+0000");
    EXPECT_EQ(saving([](auto& p) {
                  p.setKeywords({{u"a", u""}, {std::u16string(1, u'\xD800'), u""}});
              }),
              "InvalidPartContent: XML content can not contain the character U+D800");
    EXPECT_EQ(saving([](auto& p) { p.setCreated(boost::posix_time::not_a_date_time); }),
              "InvalidPartContent: The time of dcterms:created is not a point in time");
    for (const char16_t* tag : {u"en_US", u"en-123456789", u"123", u"-en", u"en-", u"abcdefghi"})
        EXPECT_EQ(saving([&](auto& p) {
                      p.setKeywords({{u"a", u"en"}, {u"b", tag}});
                  }),
                  "InvalidPartContent: The language of a keyword is not a language tag: " + toASCIIString(tag));
    for (const char16_t* tag : {u"abcdefgh", u"en-1", u"de-CH-1996", u"zh-Hant"})
        EXPECT_EQ(saving([&](auto& p) { p.setKeywords({{u"b", tag}}); }), "nothing");
}

class PackageHelperTest : public testing::Test {
protected:
    PackageHelperTest() {
        package_.open(OpenMode::CreateOnly);
        package_.close();
        package_.open(OpenMode::ReadWrite);
    }

    static void save(Package& package, const char16_t* title) {
        CoreProperties properties;
        properties.setTitle(title);
        PackageHelper::createOrUpdateCoreProperties(package, properties);
    }
    std::u16string title() { return PackageHelper::getCoreProperties(package_).getTitle().value_or(u"none"); }
    static std::string contentOf(const Package& package) {
        return namesOf(package.getParts()) + "," + idsOf(package.getRelationships());
    }

    storage::MemoryPackage store_;
    Package package_{store_};
};

TEST_F(PackageHelperTest, NamesThumbnailsWithOrWithoutADot) {
    EXPECT_EQ(PackageHelper::getThumbnailURI(u"").toString(), u"/metadata/thumbnail");
    EXPECT_EQ(PackageHelper::getThumbnailURI(u"png").toString(), u"/metadata/thumbnail.png");
    EXPECT_EQ(PackageHelper::getThumbnailURI(u".jpeg").toString(), u"/metadata/thumbnail.jpeg");
    EXPECT_THROW(PackageHelper::getThumbnailURI(u"a b"), InvalidURI);
}

TEST_F(PackageHelperTest, CreatesOneCorePropertiesPartAndUpdatesIt) {
    EXPECT_EQ(title(), u"none");
    save(package_, u"a");
    EXPECT_EQ(title(), u"a");
    save(package_, u"b");
    package_.close();
    package_.open(OpenMode::ReadWrite);
    EXPECT_EQ(title(), u"b");
    EXPECT_EQ(contentOf(package_), "/metadata/coreProperties.xml,rId1");
    EXPECT_EQ(package_.getParts().front().getContentType(), PackageHelper::getCorePropertiesContentType());
    EXPECT_EQ(package_.getRelationshipByID(u"rId1").getType(), PackageHelper::getCorePropertiesRelationshipType());
    for (int i = 0; i < 2; ++i)
        PackageHelper::deleteCoreProperties(package_);
    EXPECT_EQ(contentOf(package_), ",");
    // Where a package has them, they stay.
    create(package_, u"/docProps/core.xml", u"application/vnd.openxmlformats-package.core-properties+xml");
    package_.createInternalRelationship(PackageHelper::getCorePropertiesRelationshipType(), URI(u"docProps/core.xml"));
    save(package_, u"c");
    EXPECT_EQ(contentOf(package_), "/docProps/core.xml,rId1");
    EXPECT_EQ(title(), u"c");
}

TEST_F(PackageHelperTest, RefusedCorePropertiesLeaveThePackageAsItWas) {
    EXPECT_THROW(save(package_, u"\u0001"), InvalidPartContent);
    EXPECT_EQ(contentOf(package_), ",");
    package_.createExternalRelationship(PackageHelper::getCorePropertiesRelationshipType(), u"x", u"taken");
    EXPECT_THROW(save(package_, u"a"), opc::Exception);
    package_.deleteRelationship(u"taken");
    save(package_, u"a");
    EXPECT_THROW(save(package_, u"\uFFFF"), InvalidPartContent);
    EXPECT_EQ(title(), u"a");

    ScriptedPackage store;
    Package package(store);
    package.open(OpenMode::ReadWrite);
    store.failures["write"] = boost::system::errc::no_space_on_device;
    EXPECT_THROW(save(package, u"a"), opc::Exception);
    EXPECT_EQ(contentOf(package), ",");
}

TEST_F(PackageHelperTest, JudgesTheStateOfThePackageFirstAndSaysWhenCorePropertiesAreMissingOrMalformed) {
    package_.createInternalRelationship(PackageHelper::getCorePropertiesRelationshipType(), URI(u"/core.xml"));
    expectAllThrow("PartNotFound: No part found with the name:/core.xml", {[&] { title(); }});
    write(create(package_, u"/core.xml"), "<core/>");
    EXPECT_THROW(title(), InvalidPartContent);
    package_.close();
    EXPECT_THROW(save(package_, u"\u0001"), PackageNotOpen);
    package_.open(OpenMode::ReadOnly);
    EXPECT_THROW(save(package_, u"\u0001"), PackageReadOnly);
}

TEST_F(PackageHelperTest, DeletesRelationshipsWithTheirTargetsUntilOneFails) {
    Part part = create(package_, u"/a.xml");
    for (const char16_t* name : {u"/b.xml", u"/d.xml", u"/e.xml"})
        create(package_, name);
    part.createInternalRelationship(u"t", URI(u"b.xml"), u"i1");
    part.createInternalRelationship(u"t", URI(u"c.xml"), u"i2"); // leads nowhere
    part.createInternalRelationship(u"t", URI(u"d.xml"), u"i3");
    part.createInternalRelationship(u"other", URI(u"e.xml"), u"i0");
    expectAllThrow("PartNotFound: No part found with the name:/c.xml",
                   {[&] { PackageHelper::deleteRelationshipsAndTargets(package_, part, u"t"); }});
    EXPECT_EQ(idsOf(part.getRelationships()), "i0 i3");
    PackageHelper::deleteRelationshipsAndTargets(package_, part, u"t");
    EXPECT_EQ(namesOf(package_.getParts()), "/a.xml /e.xml");
    package_.createInternalRelationship(u"t", URI(u"/e.xml"));
    PackageHelper::deleteRelationshipsAndTargets(package_, u"t");
    EXPECT_EQ(contentOf(package_), "/a.xml,");
}

void expectLimitsToHold(interfaces::IPhysicalPackage& store) {
    Package wide(store);
    wide.open(OpenMode::CreateOnly);
    wide.createExternalRelationship(u"urn:example:type", u"http://example.com/" + std::u16string(1000, u'a'));
    CoreProperties properties;
    properties.setTitle(std::u16string(2000, u't'));
    PackageHelper::createOrUpdateCoreProperties(wide, properties);
    wide.close();
    const std::pair<Limits, const char*> cases[] = {
        {{.xmlSize = 5000, .xmlDepth = 2}, "nothing"},
        {{.xmlDepth = 1}, "InvalidXMLDocument: XML content is nested deeper than 1 elements"},
        {{.xmlSize = 100}, "InvalidXMLDocument: XML content is larger than 100 bytes"},
        {{.xmlSize = 1000}, "InvalidRelationshipContent: In /_rels/.rels: XML content is larger than 1000 bytes"},
        {{.xmlSize = 2000}, "InvalidPartContent: XML content is larger than 2000 bytes"}};
    for (const auto& [limits, thrown] : cases) {
        Package package(store, limits);
        EXPECT_EQ(package.getLimits().xmlDepth, limits.xmlDepth);
        EXPECT_EQ(thrownBy([&] {
                      package.open(OpenMode::ReadOnly);
                      PackageHelper::getCoreProperties(package);
                  }),
                  thrown);
    }
}

TEST(PackageLimits, HoldForEveryXMLItem) {
    storage::MemoryPackage memory;
    expectLimitsToHold(memory);
    std::vector<unsigned char> bytes;
    storage::ZipPackage zip(bytes); // reads the content types under limits of its own
    expectLimitsToHold(zip);
}

TEST(PackageLimits, AreMetWhenARelationshipIsCreated) {
    const std::pair<Limits, std::string> cases[] = {{{.xmlNodes = 20}, "XML content has more than 20 nodes"},
                                                    {{.xmlSize = 1000}, "XML content is larger than 1000 bytes"}};
    for (const auto& [limits, reason] : cases) {
        storage::MemoryPackage store;
        Package package(store, limits);
        package.open(OpenMode::CreateOnly);
        package.createExternalRelationship(u"t", u"x");
        expectAllThrow("InvalidRelationshipContent: In /_rels/.rels: " + reason, {[&] {
                           while (package.getRelationships().size() < 5)
                               package.createExternalRelationship(u"t", std::u16string(150, u'"'));
                       }});
        const auto count = package.getRelationships().size();
        EXPECT_EQ(count, limits.xmlNodes == 20 ? 3U : 1U);
        EXPECT_NO_THROW(package.close()) << reason;
        package.open(OpenMode::ReadWrite);
        EXPECT_EQ(package.getRelationships().size(), count);
        package.deleteRelationship(u"rId1"); // makes room again
        EXPECT_EQ(package.createExternalRelationship(u"t", u"x").getID(), u"rId1");
        package.deleteRelationship(u"rId1");
        EXPECT_NO_THROW(package.createExternalRelationship(u"t", std::u16string(count == 1 ? 600 : 1, u'a')));
    }
}

TEST(PackageLimits, AreMetBeforeAPartMoves) {
    const std::string folders = "/" + std::string(200, 'x') + "/1/2/3/4/5/6/";
    const PartName name(fromUTF8(folders + "b.xml"));
    const std::pair<const char16_t*, std::string> cases[] = {
        {u"/", "/_rels/.rels"},
        {u"/a.xml", "/_rels/a.xml.rels"},
        {u"/b.xml", folders + "_rels/b.xml.rels"}, // of the part that is moved
    };
    for (const auto& [source, relationships] : cases) {
        storage::MemoryPackage store;
        Package package(store, Limits{.xmlSize = 1000});
        package.open(OpenMode::CreateOnly);
        package.close();
        package.open(OpenMode::ReadWrite);
        const Part a = create(package, u"/a.xml");
        const Part b = create(package, u"/b.xml");
        const Part& target = source == b.getName().toString() ? a : b;
        const auto relate = [&, from = std::u16string(source)](RelationshipSource& of) {
            for (int i = 0; i != 12 && of.getSourceURI().toString() == from; ++i)
                of.createInternalRelationship("t", target, "r" + std::to_string(i));
        };
        package.createInternalRelationship("first", b);
        relate(package);
        for (Part& part : package.getParts())
            relate(part);
        expectAllThrow("InvalidRelationshipContent: In " + relationships + ": XML content is larger than 1000 bytes",
                       {[&] { edit::movePart(package, b.getName(), name); }});
        EXPECT_TRUE(package.hasPart(b.getName()) && !package.hasPart(name));
        EXPECT_EQ(package.getRelationshipsByType("first").front().getTarget(), u"b.xml");
    }
}

} // namespace
} // namespace opc::model
