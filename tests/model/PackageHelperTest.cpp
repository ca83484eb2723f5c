// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>

#include "model/ModelFixture.hpp"
#include "support/ScriptedPackage.hpp"
#include "support/Throws.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace opc::model {
namespace {

using namespace test;
using opc::test::throws;
using testing::ElementsAre;
using testing::IsEmpty;

class PackageHelperTest : public testing::Test {
protected:
    PackageHelperTest() {
        package_.open(OpenMode::CreateOnly);
        package_.close();
        package_.open(OpenMode::ReadWrite);
    }

    static CoreProperties titled(const char16_t* title) {
        CoreProperties properties;
        properties.setTitle(title);
        return properties;
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
    EXPECT_TRUE(PackageHelper::getCoreProperties(package_).isEmpty());
    EXPECT_THAT(package_.getParts(), IsEmpty());
    PackageHelper::createOrUpdateCoreProperties(package_, titled(u"a"));
    EXPECT_EQ(PackageHelper::getCoreProperties(package_).getTitle(), u"a");
    PackageHelper::createOrUpdateCoreProperties(package_, titled(u"b"));
    package_.close();
    package_.open(OpenMode::ReadWrite);
    EXPECT_EQ(PackageHelper::getCoreProperties(package_).getTitle(), u"b");
    EXPECT_THAT(namesOf(package_.getParts()), ElementsAre(u"/metadata/coreProperties.xml"));
    EXPECT_EQ(package_.getParts().front().getContentType(), PackageHelper::getCorePropertiesContentType());
    EXPECT_THAT(idsOf(package_.getRelationships()), ElementsAre(u"rId1"));
    EXPECT_EQ(package_.getRelationshipByID(u"rId1").getType(), PackageHelper::getCorePropertiesRelationshipType());
    PackageHelper::deleteCoreProperties(package_);
    PackageHelper::deleteCoreProperties(package_);
    EXPECT_THAT(package_.getParts(), IsEmpty());
    EXPECT_THAT(package_.getRelationships(), IsEmpty());
}

TEST_F(PackageHelperTest, WritesTheCorePropertiesWhereThePackageHasThem) {
    create(package_, u"/docProps/core.xml", u"application/vnd.openxmlformats-package.core-properties+xml");
    package_.createInternalRelationship(PackageHelper::getCorePropertiesRelationshipType(), URI(u"docProps/core.xml"));
    PackageHelper::createOrUpdateCoreProperties(package_, titled(u"a"));
    EXPECT_THAT(namesOf(package_.getParts()), ElementsAre(u"/docProps/core.xml"));
    EXPECT_EQ(PackageHelper::getCoreProperties(package_).getTitle(), u"a");
}

TEST_F(PackageHelperTest, RefusedCorePropertiesLeaveThePackageAsItWas) {
    EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(package_, titled(u"\u0001")), InvalidPartContent);
    EXPECT_THAT(package_.getParts(), IsEmpty());
    EXPECT_THAT(package_.getRelationships(), IsEmpty());
    package_.createExternalRelationship(PackageHelper::getCorePropertiesRelationshipType(), u"x", u"taken");
    EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(package_, titled(u"a")), opc::Exception);
    package_.deleteRelationship(u"taken");
    PackageHelper::createOrUpdateCoreProperties(package_, titled(u"a"));
    EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(package_, titled(u"\uFFFF")), InvalidPartContent);
    EXPECT_EQ(PackageHelper::getCoreProperties(package_).getTitle(), u"a");

    opc::test::ScriptedPackage store;
    Package package(store);
    package.open(OpenMode::ReadWrite);
    store.failures["write"] = boost::system::errc::no_space_on_device;
    EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(package, titled(u"a")), opc::Exception);
    EXPECT_THAT(package.getParts(), IsEmpty());
    EXPECT_THAT(package.getRelationships(), IsEmpty());
}

TEST_F(PackageHelperTest, TheStateOfThePackageIsJudgedBeforeTheProperties) {
    package_.close();
    EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(package_, titled(u"\u0001")), PackageNotOpen);
    package_.open(OpenMode::ReadOnly);
    EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(package_, titled(u"\u0001")), PackageReadOnly);
}

TEST_F(PackageHelperTest, SaysWhenCorePropertiesAreMissingOrMalformed) {
    package_.createInternalRelationship(PackageHelper::getCorePropertiesRelationshipType(), URI(u"/core.xml"));
    EXPECT_TRUE(throws<PartNotFound>("No part found with the name:/core.xml",
                                     [&] { PackageHelper::getCoreProperties(package_); }));
    write(create(package_, u"/core.xml"), "<core/>");
    EXPECT_THROW(PackageHelper::getCoreProperties(package_), InvalidPartContent);
}

TEST_F(PackageHelperTest, DeletesRelationshipsWithTheirTargetsUntilOneFails) {
    Part part = create(package_, u"/a.xml");
    for (const char16_t* name : {u"/b.xml", u"/d.xml", u"/e.xml"})
        create(package_, name);
    part.createInternalRelationship(u"t", URI(u"b.xml"), u"i1");
    part.createInternalRelationship(u"t", URI(u"c.xml"), u"i2"); // leads nowhere
    part.createInternalRelationship(u"t", URI(u"d.xml"), u"i3");
    part.createInternalRelationship(u"other", URI(u"e.xml"), u"i0");
    EXPECT_TRUE(throws<PartNotFound>("No part found with the name:/c.xml",
                                     [&] { PackageHelper::deleteRelationshipsAndTargets(package_, part, u"t"); }));
    EXPECT_THAT(idsOf(part.getRelationships()), ElementsAre(u"i0", u"i3"));
    PackageHelper::deleteRelationshipsAndTargets(package_, part, u"t");
    EXPECT_THAT(namesOf(package_.getParts()), ElementsAre(u"/a.xml", u"/e.xml"));
    package_.createInternalRelationship(u"t", URI(u"/e.xml"));
    PackageHelper::deleteRelationshipsAndTargets(package_, u"t");
    EXPECT_THAT(namesOf(package_.getParts()), ElementsAre(u"/a.xml"));
}

} // namespace
} // namespace opc::model
