// SPDX-License-Identifier: Apache-2.0
#include <opc/model/DataManager.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>

#include "model/ModelFixture.hpp"

#include <boost/algorithm/string/join.hpp>

#include <optional>

namespace opc::model {
namespace {

using namespace test;
using testing::ElementsAre;

namespace errc = boost::system::errc;

const std::string coreType = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
const std::string subset = "PartIsDerivedFromExistingPartName: Cannot use a part name that is a subset of an existing "
                           "name: ";

std::string describe(const Relationship& relationship) {
    return toASCIIString(relationship.getID() + u' ' + relationship.getTarget() + u' ' +
                         relationship.getTargetURI().toString());
}

/// A package with parts, relationships and something to flush, in one of its states, and its parts.
class Scene {
public:
    explicit Scene(const std::string& state) : state_(state) {
        package_.open(OpenMode::CreateOnly);
        create(package_, u"/a/b.xml").createExternalRelationship(u"http://type", u"x", u"a");
        create(package_, u"/c.xml");
        package_.createExternalRelationship(toString(coreType), u"x", u"core");
        if (state != "creating") {
            package_.close();
            package_.open(state == "reading" ? OpenMode::ReadOnly : OpenMode::ReadWrite);
        }
        parts_ = package_.getParts();
        if (state == "changing")
            create(package_, u"/new.xml").createExternalRelationship(u"http://type", u"x");
        else if (state == "closed")
            package_.close();
        else if (state.starts_with("left"))
            leaveRelationships();
        store_.calls.clear();
    }

    std::string content() const {
        if (!package_.isOpen())
            return "closed";
        std::string content = idsOf(package_.getRelationships());
        for (const Part& part : package_.getParts())
            content += ' ' + toASCIIString(part.getName().toString()) + ' ' + idsOf(part.getRelationships());
        return content;
    }

    std::string answerTo(const std::string& call, std::vector<std::u16string> words) {
        words.resize(4);
        std::string answer;
        const std::string thrown = thrownBy([&] { answer = calls_.at(call)(words); });
        return thrown == "nothing" && !answer.empty() ? answer : thrown;
    }

    /// What was opened is closed with discard; what did not open is not.
    bool isAbandoned() const { return !store_.calls.empty() && store_.calls.back() == "close discard"; }

    void fail(const std::string& operation, const std::string& code) {
        if (code == "2" && operation.starts_with("deletePart "))
            store_.deletePart(toString(operation.substr(operation.find('/')))); // it is gone
        store_.failures[operation] = static_cast<errc::errc_t>(std::stoi(code));
    }

    /// Nothing that failed stays: a refused call succeeds now, and what is saved can be opened.
    void expectRecovery(const std::string& refused, const std::vector<std::u16string>& words) {
        store_.failures.clear();
        EXPECT_TRUE(refused.empty() || answerTo(refused, words).find(": ") == std::string::npos);
        package_.close();
        package_.open(OpenMode::ReadOnly);
        EXPECT_EQ(package_.hasPart(u"/new.xml") && package_.getPart(u"/new.xml").hasRelationship(u"rId1"),
                  state_ == "changing");
    }

private:
    using Words = std::vector<std::u16string>;

    /// Deletes a part, but not its relationships part; in "left again", there is a new one of that name.
    void leaveRelationships() {
        fail("deletePart /a/_rels/b.xml.rels", "5");
        EXPECT_EQ(thrownBy([&] { package_.deletePart(u"/a/b.xml"); }),
                  "PartDeleteFailed: The relationships part of a deleted part was not deleted: /a/_rels/b.xml.rels: "
                  "refused deletePart /a/_rels/b.xml.rels");
        if (state_ == "left again")
            parts_.front() = create(package_, u"/A/b.xml");
        store_.failures.clear();
    }

    Part& part(const Words& w) {
        return *std::find_if(
            parts_.begin(), parts_.end(), [&](const Part& part) { return part.getName() == w[0]; });
    }
    RelationshipSource& source(const Words& w) {
        return w[0] == u"/" ? static_cast<RelationshipSource&>(package_) : part(w);
    }

    const std::map<std::string, std::function<std::string(const Words&)>> calls_ = {
        {"open", [&](auto&) { return package_.open(OpenMode::ReadWrite), ""; }},
        {"close", [&](auto&) { return package_.close(), ""; }},
        {"flush", [&](auto&) { return package_.flush(), ""; }},
        {"createPart",
         [&](auto& w) {
             return package_.createPart(PartName(w[0], true), ContentType(u"a/b"), StandardPartInfo()), "";
         }},
        {"createPartOfType",
         [&](auto& w) {
             ContentType type(u"a/b");
             type.addParameter(u"q", w[1]);
             return package_.createPart(w[0], type, StandardPartInfo()), "";
         }},
        {"deletePart", [&](auto& w) { return package_.deletePart(w[0]), ""; }},
        {"getPart", [&](auto& w) { return package_.getPart(w[0]), ""; }},
        {"hasPart", [&](auto& w) { return package_.hasPart(w[0]), ""; }},
        {"getParts", [&](auto&) { return namesOf(package_.getParts()); }},
        {"getInputStream", [&](auto& w) { return part(w).getInputStream(), ""; }},
        {"getOutputStream", [&](auto& w) { return part(w).getOutputStream(), ""; }},
        {"flushPart", [&](auto& w) { return part(w).flush(), ""; }},
        {"getRelationships", [&](auto& w) { return idsOf(source(w).getRelationships()); }},
        {"getRelationshipsPartName", [&](auto& w) { return source(w).getRelationshipsPartName(), ""; }},
        {"getRelationshipsContentType", [&](auto& w) { return source(w).getRelationshipsContentType(), ""; }},
        {"getRelationshipsByType", [&](auto& w) { return idsOf(source(w).getRelationshipsByType(w[1])); }},
        {"getRelationshipByID", [&](auto& w) { return describe(source(w).getRelationshipByID(w[1])); }},
        {"hasRelationship", [&](auto& w) { return source(w).hasRelationship(w[1]), ""; }},
        {"deleteRelationship", [&](auto& w) { return source(w).deleteRelationship(w[1]), ""; }},
        {"createInternalRelationship",
         [&](auto& w) { return describe(source(w).createInternalRelationship(w[1], URI(w[2]), w[3])); }},
        {"createExternalRelationship",
         [&](auto& w) { return describe(source(w).createExternalRelationship(w[1], w[2], w[3])); }},
    };

    std::string state_;
    ScriptedPackage store_{usualContentTypes()};
    Package package_{store_};
    std::vector<Part> parts_;
};

TEST(Package, AnswersByItsGuardsInTheirOrderAndTranslatesFailuresThatChangeNothing) {
    for (const auto& row : readTable("model/calls.tsv")) {
        SCOPED_TRACE(boost::join(row, " | "));
        std::vector<std::u16string> words;
        for (std::size_t i = 5; i < row.size(); ++i)
            words.push_back(toString(row[i]));
        Scene scene(row[1]);
        const std::string before = scene.content();
        if (!row[2].empty())
            scene.fail(row[2], row[3]);
        EXPECT_EQ(scene.answerTo(row[4], words), row[0]);
        const bool isRefused = row[0].find(": ") != std::string::npos;
        EXPECT_TRUE(scene.content() == before || !isRefused);
        EXPECT_EQ(scene.isAbandoned(), row[4] == "open" && row[1] == "closed" && row[2] != "open 2");
        if (!row[2].empty() || row[1].starts_with("left"))
            scene.expectRecovery(isRefused ? row[4] : "", words);
    }
}

TEST(Package, KeepsPartsTypesAndRelationshipsOverCloseAndOpen) {
    for (const bool contentTypeStream : {true, false}) {
        storage::MemoryPackage store(contentTypeStream);
        Package package(store);
        EXPECT_TRUE(!package.isOpen() && !package.isReadOnly() && package.isCreateOnly());
        package.open(OpenMode::CreateOnly);
        Part created = create(package, u"/a/b.xml", u"text/XML; a=b");
        write(created, "content");
        EXPECT_EQ(created.getInputStream(), created.getInputStream());
        EXPECT_EQ(created.getOutputStream(), package.getPart(u"/a/b.xml").getOutputStream());
        EXPECT_TRUE(created.isCreateOnly() && created.isOpen() && created.isValid() && !created.isReadOnly());
        package.createInternalRelationship(u"http://type", URI(u"/a/b.xml"));
        package.close();
        EXPECT_FALSE(created.isValid());
        EXPECT_EQ(created.getName().toString(), u"/a/b.xml");
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(namesOf(package.getParts()), "/a/b.xml");
        const Part part = package.getPart(u"/A/B.XML");
        EXPECT_EQ(part.getContentType().toString(), u"text/XML;a=b");
        EXPECT_EQ(read(part), "content");
        EXPECT_EQ(describe(package.getRelationshipByID(u"rId1")), "rId1 a/b.xml /a/b.xml");
    }
}

TEST(Package, RenamesAndRetypesPartsInStoresThatCopyThem) {
    for (const bool contentTypeStream : {true, false}) {
        storage::MemoryPackage store(contentTypeStream);
        Package package(store);
        package.open(OpenMode::CreateOnly);
        Part created = create(package, u"/a/b.xml", u"text/xml");
        write(created, "content");
        created.createInternalRelationship(u"http://type", URI(u"c.xml#f"));
        package.close();
        package.open(OpenMode::ReadWrite);
        const Part part = package.getPart(u"/a/b.xml");
        EXPECT_EQ(thrownBy([&] { package.renamePart(u"/a/b.xml", u"/a/b.xml"); }).substr(0, 17), "PartAlreadyExists");
        package.renamePart(u"/a/b.xml", u"/a/b.xml/d.xml");
        EXPECT_FALSE(part.isValid());
        package.renamePart(u"/a/b.xml/d.xml", u"/A/b.XML/d.xml"); // a change of case alone
        package.changeContentType(u"/a/b.xml/d.xml", u"text/plain");
        package.close();
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(namesOf(package.getParts()), "/A/b.XML/d.xml");
        const Part moved = package.getPart(u"/a/b.xml/d.xml");
        EXPECT_EQ(read(moved) + ' ' + describe(moved.getRelationshipByID(u"rId1")),
                  "content rId1 ../../a/c.xml#f /a/c.xml#f");
        EXPECT_EQ(moved.getContentType().toString(), u"text/plain");
    }
}

TEST(Package, TheLaterOfTwoEquivalentRelationshipsPartsCountsAndTakesTheOtherWithIt) {
    for (const bool withPart : {true, false}) {
        ScriptedPackage store;
        store.add(u"/a.xml").add(u"/_rels/a.xml.rels", relationshipsXml("<Relationship Id='x' Type='t' Target='b'/>"));
        store.add(u"/_rels/A.xml.rels", relationshipsXml("<Relationship Id='y' Type='t' Target='b'/>"));
        Package package(store);
        package.open(OpenMode::ReadWrite);
        EXPECT_EQ(idsOf(package.getPart(u"/a.xml").getRelationships()), "y");
        package.createExternalRelationship(u"http://type", u"x");
        package.close();
        EXPECT_TRUE(store.has(u"/_rels/a.xml.rels")) << "what does not count is kept";
        package.open(OpenMode::ReadWrite);
        withPart ? package.deletePart(u"/a.xml") : package.getPart(u"/a.xml").deleteRelationship(u"y");
        package.close();
        EXPECT_FALSE(store.has(u"/_rels/a.xml.rels") || store.has(u"/_rels/A.xml.rels"));
        EXPECT_NO_THROW(package.open(OpenMode::ReadOnly));
    }
}

TEST(Package, DeletesAPartWithItsRelationshipsAndNotThoseThatPointAtIt) {
    ScriptedPackage store;
    const std::string relationships = relationshipsXml("<Relationship Id='x' Type='t' Target='a.xml'/>");
    store.add(u"/a.xml").add(u"/a.xml/b").add(u"/A.xml/b/c").add(u"/_rels/.rels", relationships);
    store.add(u"/_rels/a.xml.rels", relationshipsXml("<Relationship Id='x' Type='t' Target='b'/>"));
    Package package(store);
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(namesOf(package.getParts()), "/a.xml /a.xml/b /A.xml/b/c") << "it would not create them";
    const Part part = package.getPart(u"/a.xml");
    package.deletePart(u"/A.XML");
    EXPECT_FALSE(store.has(u"/a.xml") || store.has(u"/_rels/a.xml.rels") || part.isValid());
    EXPECT_TRUE(package.hasRelationship(u"x"));
    expectAllThrow(subset + "/A.xml", {[&] { create(package, u"/A.xml"); }}); // of the others
    package.deletePart(u"/a.xml/b");
    package.deletePart(u"/a.xml/b/c");
    create(package, u"/a.xml", u"c/d");
    EXPECT_EQ(namesOf(package.getParts()), "/a.xml");
    package.close();
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(package.getPart(u"/A.xml").getContentType().toString(), u"c/d");
}

TEST(Package, TakesRoomLinearInTheDepthOfNames) {
    ScriptedPackage store;
    std::u16string name;
    for (int i = 0; i < 30'000; ++i)
        name += u"/a";
    store.add(name + u"/b");
    Package package(store);
    package.open(OpenMode::ReadWrite);
    EXPECT_THROW(create(package, name), PartIsDerivedFromExistingPartName);
    EXPECT_THROW(create(package, name + u"/b/d"), PartIsDerivedFromExistingPartName);
    package.deletePart(name + u"/b");
    create(package, name);
}

TEST(Package, RefusesStoresThatMakeNoPackage) {
    const auto expectRefused = [](ScriptedPackage& store, const std::string& thrown) {
        Package package(store);
        EXPECT_EQ(thrownBy([&] { package.open(OpenMode::ReadWrite); }), thrown);
        EXPECT_FALSE(package.isOpen());
        EXPECT_EQ(store.calls.back(), "close discard");
    };
    for (const auto& row : readTable("model/stores.tsv")) {
        ScriptedPackage store(usualContentTypes());
        for (std::size_t i = 3; i < row.size(); ++i)
            store.add(toString(row[i]), relationshipsXml(row[1]));
        expectRefused(store, row[0]);
    }
    ScriptedPackage store(contentTypes("<Default Extension='xml' ContentType='a/b'/>"));
    expectRefused(store.add(u"/_rels/.rels"), "ContentTypeNotFound: No content type was found for part:/_rels/.rels");
}

TEST(Package, FlushesInItsOrderAndOnlyWhatChangedAndNothingToDiscard) {
    for (const bool destroy : {false, true}) {
        ScriptedPackage store(usualContentTypes());
        std::optional<Package> package(std::in_place, store);
        package->open(OpenMode::ReadWrite);
        create(*package, u"/a.xml").createExternalRelationship(u"http://type", u"x");
        package->createExternalRelationship(u"http://type", u"x");
        store.calls.clear();
        package->flush();
        EXPECT_THAT(store.calls, ElementsAre("getContentTypeOutputStream", "write", "getOutputStream", "write",
                                             "getOutputStream", "write"));
        store.calls.clear();
        package->close();
        EXPECT_THAT(store.calls, ElementsAre("close"));
        package->open(OpenMode::ReadWrite);
        package->createExternalRelationship(u"http://type", u"y");
        store.calls.clear();
        destroy ? package.reset() : package->close(true);
        EXPECT_THAT(store.calls, ElementsAre("close discard"));
    }
}

class NotingManager final : public DataManager {
public:
    NotingManager(Package& package, bool loadOnOpen, std::string& notes, std::string name)
        : DataManager(package, loadOnOpen), notes_(notes), name_(std::move(name)) {}

    bool fails = false;

private:
    void note(const char* what) {
        notes_ += name_ + ' ' + what + "; ";
        if (fails)
            throw std::runtime_error("manager");
    }
    void doLoad() override { note("loads"); }
    void doSave() override {
        note("saves");
        if (!getPackage().hasPart(u"/managed.xml")) {
            create(getPackage(), u"/managed.xml");
            getPackage().createInternalRelationship(u"http://managed", URI(u"/managed.xml"));
        }
    }
    std::vector<std::u16string> doGetManagedPartNames() const override { return {u"/MANAGED.xml", u"/other"}; }
    std::vector<std::u16string> doGetManagedRelationshipTypes() const override { return {u"http://managed"}; }

    std::string& notes_;
    std::string name_;
};

class DataManagerTest : public testing::Test {
protected:
    ScriptedPackage store_{usualContentTypes()};
    Package package_{store_};
    std::string notes_;
    NotingManager eager_{package_, true, notes_, "eager"};
    NotingManager lazy_{package_, false, notes_, "lazy"};
};

TEST_F(DataManagerTest, LoadsOnOpenOrOnDemandAndOnceAndSavesWhatIsDirty) {
    package_.open(OpenMode::ReadWrite);
    expectAllThrow("PackageAlreadyOpen: Can't add a data manager when package is already open",
                   {[&] { NotingManager late(package_, true, notes_, "late"); }});
    EXPECT_EQ(notes_, "eager loads; ");
    package_.flush();
    lazy_.load();
    lazy_.load();
    EXPECT_EQ(notes_, "eager loads; lazy loads; ");
    lazy_.markAsDirty();
    lazy_.load(); // what is in memory is the truth
    package_.flush();
    package_.flush();
    eager_.markAsDirty();
    package_.close(true);
    EXPECT_EQ(notes_, "eager loads; lazy loads; lazy saves; ");
}

TEST_F(DataManagerTest, SavesIntoACreatedPackageInTheSameFlush) {
    { NotingManager gone(package_, true, notes_, "gone"); }
    package_.open(OpenMode::CreateOnly);
    package_.close();
    EXPECT_EQ(notes_, "eager saves; lazy saves; ");
    package_.open(OpenMode::ReadOnly);
    EXPECT_EQ(namesOf(package_.getParts()), "/managed.xml");
    EXPECT_EQ(idsOf(package_.getRelationshipsByType(u"http://managed")), "rId1");
    EXPECT_EQ(namesOf(package_.getParts(ExcludeMode::ExcludeManaged)), "");
    EXPECT_TRUE(package_.getRelationships(ExcludeMode::ExcludeManaged).empty());
    EXPECT_EQ(package_.getManagedPartNames().size(), 2U);
}

TEST_F(DataManagerTest, FailuresPassAndAreTriedAgain) {
    eager_.fails = true;
    expectAllThrow("runtime_error: manager", {[&] { package_.open(OpenMode::ReadWrite); }});
    EXPECT_FALSE(package_.isOpen());
    EXPECT_EQ(store_.calls.back(), "close discard");
    eager_.fails = false;
    package_.open(OpenMode::ReadWrite);
    eager_.markAsDirty();
    eager_.fails = true;
    expectAllThrow("runtime_error: manager", {[&] { package_.close(); }});
    EXPECT_TRUE(package_.isOpen());
    eager_.fails = false;
    package_.close();
    EXPECT_EQ(notes_, "eager loads; eager loads; eager saves; eager saves; ");
}

} // namespace
} // namespace opc::model
