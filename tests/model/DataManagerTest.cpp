// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>
#include <opc/model/DataManager.hpp>
#include <opc/model/Package.hpp>

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
using testing::ElementsAre;

class NotingManager final : public DataManager {
public:
    NotingManager(Package& package, bool loadOnOpen, std::vector<std::string>& notes, std::string name)
        : DataManager(package, loadOnOpen), notes_(notes), name_(std::move(name)) {}

    bool fails = false;

private:
    void note(const char* what) {
        notes_.push_back(name_ + ' ' + what);
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

    std::vector<std::string>& notes_;
    std::string name_;
};

class DataManagerTest : public testing::Test {
protected:
    ScriptedPackage store_{usualContentTypes()};
    Package package_{store_};
    std::vector<std::string> notes_;
    NotingManager eager_{package_, true, notes_, "eager"};
    NotingManager lazy_{package_, false, notes_, "lazy"};
};

TEST_F(DataManagerTest, LoadsOnOpenOrOnDemandAndOnce) {
    package_.open(OpenMode::ReadWrite);
    EXPECT_THAT(notes_, ElementsAre("eager loads"));
    package_.flush(); // nothing is dirty
    lazy_.load();
    lazy_.load();
    EXPECT_THAT(notes_, ElementsAre("eager loads", "lazy loads"));
    lazy_.markAsDirty();
    lazy_.load(); // what is in memory is the truth
    package_.flush();
    package_.flush();
    EXPECT_THAT(notes_, ElementsAre("eager loads", "lazy loads", "lazy saves"));
}

TEST_F(DataManagerTest, SavesIntoACreatedPackageInTheSameFlush) {
    package_.open(OpenMode::CreateOnly);
    package_.close();
    EXPECT_THAT(notes_, ElementsAre("eager saves", "lazy saves"));
    package_.open(OpenMode::ReadOnly);
    EXPECT_TRUE(package_.hasPart(u"/managed.xml"));
    EXPECT_EQ(package_.getRelationshipsByType(u"http://managed").size(), 1U);
    EXPECT_THAT(namesOf(package_.getParts(ExcludeMode::ExcludeManaged)), ElementsAre());
    EXPECT_TRUE(package_.getRelationships(ExcludeMode::ExcludeManaged).empty());
    EXPECT_EQ(package_.getParts().size(), 1U);
    EXPECT_EQ(package_.getManagedPartNames().size(), 2U);
}

TEST_F(DataManagerTest, DiscardSavesNothing) {
    package_.open(OpenMode::ReadWrite);
    eager_.markAsDirty();
    package_.close(true);
    EXPECT_THAT(notes_, ElementsAre("eager loads"));
}

TEST_F(DataManagerTest, IsAttachedToAClosedPackageOnly) {
    package_.open(OpenMode::ReadOnly);
    EXPECT_TRUE(throws<PackageAlreadyOpen>("Can't add a data manager when package is already open",
                                           [&] { NotingManager late(package_, true, notes_, "late"); }));
    package_.close();
    notes_.clear();
    { NotingManager gone(package_, true, notes_, "gone"); }
    package_.open(OpenMode::ReadOnly);
    EXPECT_THAT(notes_, ElementsAre("eager loads"));
}

TEST_F(DataManagerTest, FailuresPassAndAreTriedAgain) {
    eager_.fails = true;
    EXPECT_TRUE(throws<std::runtime_error>("manager", [&] { package_.open(OpenMode::ReadWrite); }));
    EXPECT_FALSE(package_.isOpen());
    EXPECT_EQ(store_.calls.back(), "close discard");
    eager_.fails = false;
    package_.open(OpenMode::ReadWrite);
    eager_.markAsDirty();
    eager_.fails = true;
    EXPECT_TRUE(throws<std::runtime_error>("manager", [&] { package_.close(); }));
    EXPECT_TRUE(package_.isOpen());
    eager_.fails = false;
    package_.close();
    EXPECT_THAT(notes_, ElementsAre("eager loads", "eager loads", "eager saves", "eager saves"));
}

} // namespace
} // namespace opc::model
