// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>

#include "model/ModelFixture.hpp"
#include "support/ScriptedPackage.hpp"
#include "support/Throws.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace opc::model {
namespace {

using namespace test;
using opc::test::ScriptedPackage;
using opc::test::throws;
using opc::test::throwsSaying;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace errc = boost::system::errc;

const std::u16string coreType =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
const std::string coreTypeXml = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";

TEST(Package, KeepsPartsTypesAndRelationshipsOverCloseAndOpen) {
    for (const bool contentTypeStream : {true, false}) {
        storage::MemoryPackage store(contentTypeStream);
        {
            Package package(store);
            package.open(OpenMode::CreateOnly);
            Part part = create(package, u"/a/b.xml", u"text/XML; a=b");
            write(part, "content");
            package.createInternalRelationship(u"http://type", URI(u"/a/b.xml"));
            part.createExternalRelationship(u"http://type", u"http://host/x");
            package.close();
        }
        Package package(store);
        package.open(OpenMode::ReadOnly);
        EXPECT_THAT(namesOf(package.getParts()), ElementsAre(u"/a/b.xml"));
        Part part = package.getPart(u"/A/B.XML");
        EXPECT_EQ(part.getContentType().toString(), u"text/XML;a=b");
        EXPECT_EQ(read(part), "content");
        EXPECT_EQ(package.getRelationshipByID(u"rId1").getTarget(), u"a/b.xml");
        EXPECT_EQ(part.getRelationshipByID(u"rId1").getTarget(), u"http://host/x");
    }
}

TEST(Package, TranslatesPhysicalFailuresAtOpen) {
    const struct {
        const char* operation;
        errc::errc_t code;
        bool notFound;
    } table[] = {
        {"open 2", errc::no_such_file_or_directory, true},
        {"open 2", errc::permission_denied, false}, // only a close tells a refused permission apart
        {"open 2", errc::io_error, false},
        {"getContentTypeInputStream", errc::no_such_file_or_directory, false},
        {"getParts", errc::no_such_file_or_directory, false},
        {"read", errc::bad_message, false},
    };
    for (const auto& row : table) {
        ScriptedPackage store(usualContentTypes());
        store.add(u"/_rels/.rels", relationshipsXml(""));
        store.failures[row.operation] = row.code;
        Package package(store);
        const std::string message = std::string("refused ") + row.operation;
        if (row.notFound) {
            EXPECT_TRUE(throws<PackageNotFound>(message, [&] { package.open(OpenMode::ReadWrite); }));
        } else {
            EXPECT_TRUE(throws<PackageOpenFailed>(message, [&] { package.open(OpenMode::ReadWrite); }));
            try {
                package.open(OpenMode::ReadWrite);
            } catch (const PackageOpenFailed& e) {
                EXPECT_TRUE(e.code() == row.code);
            }
        }
        EXPECT_FALSE(package.isOpen());
        // What was opened is closed with discard; what did not open is not.
        EXPECT_EQ(store.calls.back() == "close discard", std::string(row.operation) != "open 2");
        store.failures.clear();
        package.open(OpenMode::ReadWrite);
        EXPECT_TRUE(package.isOpen());
    }
}

TEST(Package, AFailureOfARelationshipsPartIsThePackagesFailure) {
    ScriptedPackage store; // without a content types stream, so the first read is that of the relationships part
    store.add(u"/_rels/.rels", relationshipsXml(""));
    store.failures["read"] = errc::io_error;
    Package package(store);
    EXPECT_TRUE(throws<PackageOpenFailed>("refused read", [&] { package.open(OpenMode::ReadOnly); }));
    EXPECT_EQ(store.calls.back(), "close discard");
}

TEST(Package, TranslatesPhysicalFailuresAtCloseAndStaysOpen) {
    ScriptedPackage store;
    Package package(store);
    package.open(OpenMode::ReadWrite);
    const Part part = create(package, u"/a.xml");
    store.failures["close"] = errc::permission_denied;
    EXPECT_TRUE(throws<PackagePermissionDenied>("refused close", [&] { package.close(); }));
    store.failures["close"] = errc::no_space_on_device;
    EXPECT_TRUE(throws<PackageCloseFailed>("refused close", [&] { package.close(); }));
    EXPECT_TRUE(package.isOpen() && part.isValid());
    store.failures.clear();
    package.close();
    EXPECT_FALSE(package.isOpen() || part.isValid());
}

TEST(Package, TranslatesFailuresOfPartsAndChangesNothing) {
    ScriptedPackage store;
    Package package(store);
    package.open(OpenMode::ReadWrite);
    Part kept = create(package, u"/kept.xml");
    kept.createExternalRelationship(u"http://type", u"x");
    package.flush();
    store.failures = {{"createPart", errc::io_error},
                      {"deletePart", errc::io_error},
                      {"getInputStream", errc::io_error},
                      {"getOutputStream", errc::io_error}};
    EXPECT_TRUE(throws<PartCreateFailed>("refused createPart", [&] { create(package, u"/a.xml"); }));
    EXPECT_TRUE(throws<PartCreateFailed>("refused createPart",
                                         [&] { package.createExternalRelationship(u"http://type", u"x"); }));
    EXPECT_TRUE(throws<PartDeleteFailed>("refused deletePart", [&] { package.deletePart(u"/kept.xml"); }));
    EXPECT_TRUE(throws<PartDeleteFailed>("refused deletePart", [&] { kept.deleteRelationship(u"rId1"); }));
    EXPECT_TRUE(throws<InvalidPartStream>("refused getInputStream", [&] { kept.getInputStream(); }));
    EXPECT_TRUE(throws<InvalidPartStream>("refused getOutputStream", [&] { kept.getOutputStream(); }));
    EXPECT_THAT(namesOf(package.getParts()), ElementsAre(u"/kept.xml"));
    EXPECT_TRUE(kept.isValid() && kept.hasRelationship(u"rId1"));
    EXPECT_TRUE(package.getRelationships().empty());

    store.failures.clear();
    package.deletePart(u"/kept.xml");
    create(package, u"/kept.xml/below.xml"); // the names in the way are gone too
    EXPECT_FALSE(kept.isValid());
}

TEST(Package, WhatIsLeftOfADeletedPartGoesBeforeAnythingElseAndStopsNothingElse) {
    const auto relate = [](Package& package, const char16_t* part) {
        package.getPart(part).createExternalRelationship(u"http://type", u"new");
    };
    const auto relateAgain = [&](Package& package) {
        if (!package.hasPart(u"/A.xml"))
            create(package, u"/A.xml");
        relate(package, u"/A.xml");
    };
    const std::pair<bool, std::function<void(Package&)>> calls[] = {
        // true: it needs the name of what is left
        {false, [](Package& p) { create(p, u"/a.xml"); }},
        {false, [](Package& p) { p.deletePart(u"/b.xml"); }},
        {false, [](Package& p) { p.getPart(u"/b.xml").deleteRelationship(u"rId1"); }},
        {false, [&](Package& p) { relate(p, u"/c.xml"); }},
        {true, relateAgain},
    };
    const std::u16string left = u"/_rels/a.xml.rels";
    const std::string deletion = "deletePart /_rels/a.xml.rels";
    const std::string message =
        "The relationships part of a deleted part was not deleted: /_rels/a.xml.rels: refused " + deletion;
    enum class Next { FailsAgain, Succeeds, IsNotThere };
    for (const auto& [needsName, call] : calls)
        for (const Next next : {Next::FailsAgain, Next::Succeeds, Next::IsNotThere}) {
            ScriptedPackage store;
            Package package(store);
            package.open(OpenMode::ReadWrite);
            for (const char16_t* name : {u"/a.xml", u"/b.xml", u"/c.xml"})
                create(package, name);
            relate(package, u"/a.xml");
            relate(package, u"/b.xml");
            store.failures[deletion] = errc::io_error;
            EXPECT_TRUE(throws<PartDeleteFailed>(message, [&] { package.deletePart(u"/a.xml"); }));
            EXPECT_FALSE(package.hasPart(u"/a.xml"));
            if (next != Next::FailsAgain)
                store.failures.clear();
            if (next == Next::IsNotThere) { // it was deleted all the same
                store.deletePart(left);
                store.failures[deletion] = errc::no_such_file_or_directory;
            }
            if (needsName && next == Next::FailsAgain)
                EXPECT_TRUE(throws<PartCreateFailed>(message, [&] { call(package); }));
            else
                EXPECT_NO_THROW(call(package));
            if (next == Next::FailsAgain) {
                EXPECT_TRUE(throws<PartDeleteFailed>(message, [&] { package.close(); }));
                store.failures.clear();
                if (needsName)
                    call(package);
            }
            package.close();
            EXPECT_EQ(store.has(u"/_rels/a.xml.rels") || store.has(u"/_rels/A.xml.rels"), needsName);
            EXPECT_NO_THROW(package.open(OpenMode::ReadOnly));
        }
}

TEST(Package, TheLaterOfTwoEquivalentRelationshipsPartsCountsAndTakesTheOtherWithIt) {
    for (const bool withPart : {true, false}) {
        ScriptedPackage store;
        store.add(u"/a.xml").add(u"/_rels/a.xml.rels", relationshipsXml("<Relationship Id='x' Type='t' Target='b'/>"));
        store.add(u"/_rels/A.xml.rels", relationshipsXml("<Relationship Id='y' Type='t' Target='b'/>"));
        Package package(store);
        package.open(OpenMode::ReadWrite);
        Part part = package.getPart(u"/a.xml");
        EXPECT_THAT(idsOf(part.getRelationships()), ElementsAre(u"y"));
        package.createExternalRelationship(u"http://type", u"x");
        package.close();
        EXPECT_TRUE(store.has(u"/_rels/a.xml.rels")) << "what does not count is kept";
        package.open(OpenMode::ReadWrite);
        withPart ? package.deletePart(u"/a.xml") : package.getPart(u"/a.xml").deleteRelationship(u"y");
        package.close();
        package.open(OpenMode::ReadOnly);
        EXPECT_FALSE(store.has(u"/_rels/a.xml.rels") || store.has(u"/_rels/A.xml.rels"));
    }
}

TEST(Package, GuardsComeInTheirOrder) {
    storage::MemoryPackage store;
    Package package(store);
    EXPECT_FALSE(package.isOpen() || package.isReadOnly());
    EXPECT_TRUE(package.isCreateOnly());
    const char* const notOpen = "Package is not open";
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { create(package, u"/_rels/.rels"); }));
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { package.deletePart(u"/a"); }));
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { package.getPart(u"/a"); }));
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { package.hasPart(u"/a"); }));
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { package.getParts(); }));
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { package.flush(); }));
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { package.getRelationships(); }));
    EXPECT_TRUE(throws<PackageNotOpen>(notOpen, [&] { package.createExternalRelationship(u"", u""); }));
    package.close();
    package.close(true);

    package.open(OpenMode::CreateOnly);
    EXPECT_TRUE(throws<PackageAlreadyOpen>("Package is already open", [&] { package.open(OpenMode::CreateOnly); }));
    create(package, u"/a.xml");
    const char* const createOnly = "Package is open only for create";
    EXPECT_TRUE(throws<PackageCreateOnly>(createOnly, [&] { package.deletePart(u"/b.xml"); }));
    package.createExternalRelationship(u"http://type", u"x");
    EXPECT_TRUE(throws<PackageCreateOnly>(createOnly, [&] { package.deleteRelationship(u"no such"); }));
    package.close();

    package.open(OpenMode::ReadOnly);
    const char* const readOnly = "Package is read-only";
    EXPECT_TRUE(throws<PackageReadOnly>(readOnly, [&] { create(package, u"/_rels/.rels"); }));
    EXPECT_TRUE(throws<PackageReadOnly>(
        readOnly, [&] { package.createPart(PartName(u"a", true), ContentType(u"a/b"), StandardPartInfo()); }));
    EXPECT_TRUE(throws<PackageReadOnly>(readOnly, [&] { package.deletePart(u"/b.xml"); }));
    EXPECT_TRUE(throws<PackageReadOnly>(readOnly, [&] { package.flush(); }));
    EXPECT_TRUE(throws<PackageReadOnly>(readOnly, [&] { package.createInternalRelationship(u"", URI(u"x:y")); }));
    EXPECT_TRUE(throws<PackageReadOnly>(readOnly, [&] { package.deleteRelationship(u"no such"); }));
    EXPECT_TRUE(throws<PackageReadOnly>(readOnly, [&] { package.getPart(u"/a.xml").getOutputStream(); }));
    EXPECT_TRUE(throws<PartNotFound>("No part found with the name:/B.xml", [&] { package.getPart(u"/B.xml"); }));
    package.close();
}

TEST(Package, RefusesNamesThatContainOneAnother) {
    storage::MemoryPackage store;
    Package package(store);
    package.open(OpenMode::CreateOnly);
    create(package, u"/a/b.xml");
    EXPECT_TRUE(throws<PartHasRelationshipName>("Cannot use a part name that is a relationship name: /A/_rels/b.rels",
                                                [&] { create(package, u"/A/_rels/b.rels"); }));
    EXPECT_TRUE(throws<PartAlreadyExists>("Cannot use a part name that already exists: /A/B.XML",
                                          [&] { create(package, u"/A/B.XML"); }));
    EXPECT_TRUE(throws<PartIsDerivedFromExistingPartName>(
        "Cannot use a part name that is a subset of an existing name: /A", [&] { create(package, u"/A"); }));
    EXPECT_TRUE(throws<PartIsDerivedFromExistingPartName>(
        "Cannot use a part name that is a superset of an existing name: /A/B.XML/c/D",
        [&] { create(package, u"/A/B.XML/c/D"); }));
    EXPECT_THROW(create(package, u"/"), InvalidPartName);
    for (const auto& [name, message] : {std::pair(u"/x//y", "A part name shall not have empty segments [M1.3]"),
                                        std::pair(u"/_rels/", "A part name shall not have a forward slash as the last "
                                                              "character [M1.5]")})
        EXPECT_TRUE(throws<InvalidPartName>(message, [&, &n = name] {
            package.createPart(PartName(n, true), ContentType(u"a/b"), StandardPartInfo());
        }));
    create(package, u"/a/c.xml");
    create(package, u"/a/b.xmlx");
    EXPECT_THAT(namesOf(package.getParts()), ElementsAre(u"/a/b.xml", u"/a/b.xmlx", u"/a/c.xml"));
}

TEST(Package, ADeletedPartFreesItsName) {
    storage::MemoryPackage store;
    Package package(store);
    package.open(OpenMode::CreateOnly);
    create(package, u"/a/b.xml");
    create(package, u"/a/C.xml");
    package.close();
    package.open(OpenMode::ReadWrite);
    package.deletePart(u"/A/b.XML");
    EXPECT_TRUE(throws<PartNotFound>("No part found with the name:/a/b.xml", [&] { package.deletePart(u"/a/b.xml"); }));
    EXPECT_THROW(create(package, u"/a"), PartIsDerivedFromExistingPartName); // /a/C.xml is there still
    package.deletePart(u"/a/c.xml");
    create(package, u"/a", u"a/b");
    EXPECT_THAT(namesOf(package.getParts()), ElementsAre(u"/a"));
    package.close();
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(package.getPart(u"/A").getContentType().toString(), u"a/b");
}

TEST(Package, TakesRoomLinearInTheDepthOfNames) {
    ScriptedPackage store;
    std::u16string name;
    for (int i = 0; i < 30'000; ++i)
        name += u"/a";
    store.add(name + u"/b").add(name + u"/c");
    Package package(store);
    package.open(OpenMode::ReadWrite);
    EXPECT_THROW(create(package, name), PartIsDerivedFromExistingPartName);
    EXPECT_THROW(create(package, name + u"/b/d"), PartIsDerivedFromExistingPartName);
    package.deletePart(name + u"/b");
    EXPECT_THROW(create(package, name), PartIsDerivedFromExistingPartName);
    package.deletePart(name + u"/c");
    create(package, name);
}

TEST(Package, DeletesAPartWithItsRelationshipsAndNotThoseThatPointAtIt) {
    ScriptedPackage store;
    store.add(u"/a.xml").add(u"/_rels/a.xml.rels", relationshipsXml("<Relationship Id='x' Type='t' Target='b'/>"));
    store.add(u"/_rels/.rels", relationshipsXml("<Relationship Id='x' Type='t' Target='a.xml'/>"));
    Package package(store);
    package.open(OpenMode::ReadWrite);
    const Part part = package.getPart(u"/a.xml");
    package.deletePart(u"/A.XML");
    EXPECT_FALSE(store.has(u"/a.xml") || store.has(u"/_rels/a.xml.rels"));
    EXPECT_TRUE(package.hasRelationship(u"x"));
    EXPECT_TRUE(throws<InvalidObject>("Object is no longer valid", [&] { part.getRelationships(); }));
}

TEST(Package, OpensDerivedNamesThatItWouldNotCreate) {
    ScriptedPackage store;
    store.add(u"/a").add(u"/a/b").add(u"/A/b/c");
    Package package(store);
    package.open(OpenMode::ReadWrite);
    EXPECT_THAT(namesOf(package.getParts()), ElementsAre(u"/a", u"/a/b", u"/A/b/c"));
    for (const char16_t* name : {u"/a", u"/a/b", u"/a/b/c"})
        package.deletePart(name);
    EXPECT_THAT(package.getParts(), IsEmpty());
}

TEST(Package, RefusesStoresThatMakeNoPackage) {
    const std::string relationships = relationshipsXml("");
    const std::string twoCore = relationshipsXml("<Relationship Id='a' Type='" + coreTypeXml + "' Target='a'/>" +
                                                 "<Relationship Id='b' Type='" + coreTypeXml + "' Target='b'/>");
    const auto opening = [](ScriptedPackage& store, Package& package) {
        return [&] {
            (void)store;
            package.open(OpenMode::ReadWrite);
        };
    };
    {
        ScriptedPackage store;
        store.add(u"/x/_rels/y.xml.rels", relationships).add(u"/y.xml");
        Package package(store);
        EXPECT_TRUE(throws<InconsistentPackage>("Not all relationship parts were matched with regular parts",
                                                opening(store, package)));
        EXPECT_FALSE(package.isOpen());
        EXPECT_EQ(store.calls.back(), "close discard");
    }
    {
        ScriptedPackage store;
        store.add(u"/_rels/.rels", twoCore);
        Package package(store);
        EXPECT_TRUE(throws<InvalidCorePropertiesRelationships>(
            "No more than one core properties relationship can exist in a package", opening(store, package)));
        EXPECT_FALSE(package.isOpen());
        EXPECT_EQ(store.calls.back(), "close discard");
    }
    for (const char16_t* other : {u"/A.xml", u"/a.xml"}) {
        ScriptedPackage store;
        store.add(u"/a.xml").add(u"/b.xml").add(other);
        Package package(store);
        EXPECT_TRUE(throws<InconsistentPackage>("Two parts have equivalent names: /a.xml and " + toASCIIString(other),
                                                opening(store, package)));
        EXPECT_FALSE(package.isOpen());
    }
    const struct {
        const char16_t* name;
        const char* message;
    } names[] = {{u"/a/", "A part name shall not have a forward slash as the last character [M1.5]"},
                 {u"/a//b", "A part name shall not have empty segments [M1.3]"},
                 {u"/", "The package root is not the name of a part"}};
    for (const auto& row : names) {
        ScriptedPackage store;
        store.add(row.name);
        Package package(store);
        EXPECT_TRUE(throws<InvalidPartName>(row.message, opening(store, package)));
    }
    ScriptedPackage store;
    store.add(u"/a b");
    Package package(store);
    EXPECT_TRUE(throws<InvalidURI>("Could not successfully parse URI string.", opening(store, package)));
}

TEST(Package, RelationshipsPartsNeedAContentTypeToo) {
    ScriptedPackage store(contentTypesXml("<Default Extension='xml' ContentType='a/b'/>"));
    store.add(u"/a.xml").add(u"/_rels/.rels", relationshipsXml(""));
    Package package(store);
    EXPECT_TRUE(throws<ContentTypeNotFound>("No content type was found for part:/_rels/.rels",
                                            [&] { package.open(OpenMode::ReadOnly); }));
}

TEST(Package, HoldsOneCorePropertiesRelationshipAtMost) {
    storage::MemoryPackage store;
    Package package(store);
    package.open(OpenMode::CreateOnly);
    Part part = create(package, u"/a.xml");
    package.createInternalRelationship(coreType, URI(u"/core.xml"));
    const char* const message = "No more than one core properties relationship can exist in a package";
    EXPECT_TRUE(throws<InvalidCorePropertiesRelationships>(
        message, [&] { package.createInternalRelationship(coreType, URI(u"/core.xml")); }));
    EXPECT_TRUE(throws<InvalidCorePropertiesRelationships>(
        message, [&] { package.createExternalRelationship(coreType, u"http://host/core"); }));
    part.createInternalRelationship(coreType, URI(u"/core.xml")); // a matter of packages alone
    // The refused ones used up their IDs.
    EXPECT_EQ(package.createExternalRelationship(u"http://type", u"x").getID(), u"rId4");
}

TEST(Package, RefusesAContentTypeThatCouldNotBeReadBack) {
    ScriptedPackage store;
    Package package(store);
    package.open(OpenMode::ReadWrite);
    ContentType contentType(u"a/b");
    contentType.addParameter(u"q", u"a\"b");
    EXPECT_TRUE(throws<InvalidContentType>("Could not successfully parse content type string",
                                           [&] { package.createPart(u"/a", contentType, StandardPartInfo()); }));
    ContentType injected(u"x/y"); // parses, but to two parameters
    injected.addParameter(u"q", u"a\";b=\"c");
    EXPECT_TRUE(throws<InvalidContentType>("Could not successfully parse content type string",
                                           [&] { package.createPart(u"/a", injected, StandardPartInfo()); }));
    EXPECT_THAT(store.calls, Not(Contains("createPart")));
}

TEST(Package, DiscardSkipsTheFlushAndSoDoesDestruction) {
    for (const bool destroy : {false, true}) {
        ScriptedPackage store;
        std::optional<Package> package(std::in_place, store);
        package->open(OpenMode::ReadWrite);
        package->createExternalRelationship(u"http://type", u"x");
        store.calls.clear();
        if (destroy)
            package.reset();
        else
            package->close(true);
        EXPECT_THAT(store.calls, ElementsAre("close discard"));
    }
}

TEST(Package, FlushesInItsOrderAndOnlyWhatChanged) {
    ScriptedPackage store(usualContentTypes());
    Package package(store);
    package.open(OpenMode::ReadWrite);
    Part part = create(package, u"/a.xml");
    part.createExternalRelationship(u"http://type", u"x");
    package.createExternalRelationship(u"http://type", u"x");
    store.calls.clear();
    package.flush();
    EXPECT_THAT(store.calls, ElementsAre("getContentTypeOutputStream", "write", "getOutputStream", "write",
                                         "getOutputStream", "write"));
    store.calls.clear();
    package.close();
    EXPECT_THAT(store.calls, ElementsAre("close"));
}

TEST(Package, AFlushThatFailedCanBeTriedAgain) {
    ScriptedPackage store(usualContentTypes());
    Package package(store);
    package.open(OpenMode::ReadWrite);
    package.createExternalRelationship(u"http://type", u"x");
    store.failures["write"] = errc::no_space_on_device;
    EXPECT_TRUE(throws<InvalidContentTypeStream>("In content type stream: refused write", [&] { package.close(); }));
    store.failures.clear();
    store.failures["getOutputStream"] = errc::no_space_on_device;
    EXPECT_TRUE(throws<InvalidPartStream>("refused getOutputStream", [&] { package.close(); }));
    store.failures.clear();
    package.close();
    package.open(OpenMode::ReadOnly); // whole content, not the half of an earlier try and then all of it
    EXPECT_EQ(package.getRelationships().size(), 1U);
}

TEST(Part, HandsOutTheSameStreamsAndEndsWithItsPackage) {
    storage::MemoryPackage store;
    Part part = [&] {
        Package package(store);
        package.open(OpenMode::CreateOnly);
        Part created = create(package, u"/a.xml");
        EXPECT_EQ(created.getInputStream(), created.getInputStream()); // no complaint of its own while creating
        EXPECT_EQ(created.getOutputStream(), package.getPart(u"/a.xml").getOutputStream());
        EXPECT_TRUE(created.isCreateOnly() && created.isOpen() && created.isValid() && !created.isReadOnly());
        package.close();
        return created;
    }();
    EXPECT_FALSE(part.isValid());
    EXPECT_EQ(part.getName().toString(), u"/a.xml");
    EXPECT_EQ(part.getContentType().toString(), u"application/xml");
    const char* const invalid = "Object is no longer valid";
    EXPECT_TRUE(throws<InvalidObject>(invalid, [&] { part.getInputStream(); }));
    EXPECT_TRUE(throws<InvalidObject>(invalid, [&] { part.getOutputStream(); }));
    EXPECT_TRUE(throws<InvalidObject>(invalid, [&] { part.flush(); }));
    EXPECT_TRUE(throws<InvalidObject>(invalid, [&] { part.hasRelationship(u"a"); }));
    EXPECT_TRUE(throws<InvalidObject>(invalid, [&] { part.createExternalRelationship(u"", u""); }));
}

} // namespace
} // namespace opc::model
