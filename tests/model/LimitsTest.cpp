// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>

#include <gtest/gtest.h>

namespace opc::model {

namespace {

using namespace opc::test;

/// A package with a relationship and a title.
void fill(storage::MemoryPackage& store) {
    Package package(store);
    package.open(OpenMode::CreateOnly);
    package.createExternalRelationship(u"urn:example:type", u"http://example.com/", u"rId1");
    CoreProperties properties;
    properties.setTitle(std::u16string(500, u't'));
    PackageHelper::createOrUpdateCoreProperties(package, properties);
    package.close();
}

} // namespace

TEST(PackageLimits, BoundTheDepthAndTheSizeOfXml) {
    storage::MemoryPackage store;
    fill(store);
    const struct {
        std::uint64_t depth;
        std::uint64_t size;
        const char* reason; ///< null: it opens, and the properties can be read
    } cases[] = {
        {2, 5000, nullptr},
        {1, 5000, "XML content is nested deeper than 1 elements"},
        {2, 100, "XML content is larger than 100 bytes"},
    };
    for (const auto& test : cases) {
        Package package(store, {.xmlSize = test.size, .xmlDepth = test.depth});
        EXPECT_EQ(package.getLimits().xmlDepth, test.depth);
        if (!test.reason) {
            package.open(OpenMode::ReadOnly);
            EXPECT_EQ(PackageHelper::getCoreProperties(package).getTitle()->size(), 500U);
            continue;
        }
        try {
            package.open(OpenMode::ReadOnly);
            ADD_FAILURE() << test.reason;
        } catch (const InvalidXMLDocument& e) {
            EXPECT_STREQ(e.what(), test.reason);
        }
    }
}

TEST(PackageLimits, HoldForRelationshipsAndCoreProperties) {
    storage::MemoryPackage store;
    fill(store);
    // The content types stream has less than 700 bytes, the relationships have less, the properties more.
    Package package(store, {.xmlSize = 700});
    package.open(OpenMode::ReadOnly);
    EXPECT_THROW(PackageHelper::getCoreProperties(package), InvalidPartContent);
    package.close();

    store.open(OpenMode::ReadWrite);
    const std::string padding(2000, ' ');
    const std::string rels = readPart(store, u"/_rels/.rels");
    writeAll(*findPart(store, u"/_rels/.rels")->getOutputStream(), rels + padding);
    store.close(false);
    EXPECT_THROW(package.open(OpenMode::ReadOnly), InvalidRelationshipContent);
    Package wide(store);
    EXPECT_NO_THROW(wide.open(OpenMode::ReadOnly));
}

TEST(PackageLimits, AreMetWhenARelationshipIsCreated) {
    const std::pair<Limits, const char*> cases[] = {
        {{.xmlNodes = 20}, "In /_rels/.rels: XML content has more than 20 nodes"},
        {{.xmlSize = 1000}, "In /_rels/.rels: XML content is larger than 1000 bytes"},
    };
    for (const auto& [limits, reason] : cases) {
        storage::MemoryPackage store;
        Package package(store, limits);
        package.open(OpenMode::CreateOnly);
        const std::u16string target(150, u'"');
        try {
            while (package.getRelationships().size() < 5)
                package.createExternalRelationship(u"t", package.getRelationships().empty() ? u"x" : target);
            ADD_FAILURE() << reason;
        } catch (const InvalidRelationshipContent& e) {
            EXPECT_STREQ(e.what(), reason);
        }
        const auto count = package.getRelationships().size();
        EXPECT_EQ(count, limits.xmlNodes == 20 ? 3U : 1U);
        EXPECT_NO_THROW(package.close()) << reason;
        package.open(OpenMode::ReadWrite);
        EXPECT_EQ(package.getRelationships().size(), count);
        package.deleteRelationship(u"rId1"); // makes room again
        EXPECT_EQ(package.createExternalRelationship(u"t", u"x").getID(), u"rId1");
    }
}

} // namespace opc::model
