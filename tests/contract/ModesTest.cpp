// SPDX-License-Identifier: Apache-2.0
#include "contract/ContractTest.hpp"

namespace opc::test {

INSTANTIATE_TEST_SUITE_P(Modes, PhysicalPackageContract, testing::ValuesIn(allStores()),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(PhysicalPackageContract, WhatWasNeverStoredCanBeCreatedButNotRead) {
    for (const OpenMode mode : {OpenMode::ReadOnly, OpenMode::ReadWrite})
        EXPECT_TRUE(failsWith(
            GetParam().openingNothing, [&] { package.open(mode); }));
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, [&] { package.close(true); })) << "a failed open leaves it closed";
    storePackage({{u"/a.bin", "a"}});
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/a.bin"), "a");
}

TEST_P(PhysicalPackageContract, NothingCanBeUsedWhileClosed) {
    const bool contentTypes = package.hasContentTypeStream();
    for (const bool stored : {false, true}) {
        if (stored)
            storePackage({{u"/a.bin", "a"}});
        expectAllFail(Errc::bad_file_descriptor,
                      {[&] { package.getParts(); }, [&] { package.getContentTypeInputStream(); },
                       [&] { package.getContentTypeOutputStream(); },
                       [&] { package.createPart(u"/b", u"a/b", PartInfo()); }, [&] { package.deletePart(u"/a.bin"); },
                       [&] { package.close(false); }, [&] { package.close(true); }});
    }
    EXPECT_EQ(package.hasContentTypeStream(), contentTypes) << "a capability, open or not";
}

TEST_P(PhysicalPackageContract, AnOpenPackageIsNotOpenedAgain) {
    package.open(OpenMode::CreateOnly);
    createPart(package, u"/a.bin", "a");
    for (const OpenMode mode : {OpenMode::ReadOnly, OpenMode::CreateOnly, OpenMode::ReadWrite})
        EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, [&] { package.open(mode); }));
    save();
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/a.bin"), "a") << "the refused calls changed nothing";
}

TEST_P(PhysicalPackageContract, AReadOnlyPackageRefusesEveryChange) {
    storePackage({{u"/a.bin", "a"}});
    package.open(OpenMode::ReadOnly);
    interfaces::IPhysicalPart* part = findPart(package, u"/a.bin");
    expectAllFail(Errc::operation_not_permitted,
                  {[&] { package.createPart(u"/b", u"a/b", PartInfo()); },
                   [&] { package.createPart(u"/a.bin", u"a/b", PartInfo()); }, // the mode counts before the name
                   [&] { package.deletePart(u"/a.bin"); }, [&] { package.deletePart(u"/absent"); },
                   [&] { writeAll(*part->getOutputStream(), "b"); },
                   [&] { write(*package.getContentTypeOutputStream(), "b"); }});
    EXPECT_EQ(readPart(package, u"/a.bin"), "a");
    package.close(false);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/a.bin"), "a");
}

TEST_P(PhysicalPackageContract, ACreatedPackageGivesNothingBackAndDeletesNothing) {
    package.open(OpenMode::CreateOnly);
    interfaces::IPhysicalPart* part = createPart(package, u"/a.bin", "a");
    interfaces::IPhysicalInputStream* stream = nullptr;
    EXPECT_NO_THROW(stream = part->getInputStream()) << "the stream itself may be had";
    expectAllFail(Errc::operation_not_permitted, {[&] { readAll(*stream); }, [&] { package.deletePart(u"/a.bin"); }});
    if (package.hasContentTypeStream()) {
        writeContentTypes(package);
        EXPECT_TRUE(failsWith(Errc::operation_not_permitted, [&] { readAll(*package.getContentTypeInputStream()); }));
    }
    EXPECT_EQ(partNames(package), std::vector<std::string>{"/a.bin"});
}

TEST_P(PhysicalPackageContract, CreatingReplacesWhatWasStoredOnlyWhenItIsSaved) {
    storePackage({{u"/old.bin", "old"}, {u"/both.bin", "old"}});
    package.open(OpenMode::CreateOnly);
    EXPECT_TRUE(package.getParts().empty());
    createPart(package, u"/both.bin", "new");
    package.close(true);

    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/old.bin"), "old");
    EXPECT_EQ(readPart(package, u"/both.bin"), "old");
    package.close(false);

    storePackage({{u"/both.bin", "new"}});
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(partNames(package), std::vector<std::string>{"/both.bin"});
    EXPECT_EQ(readPart(package, u"/both.bin"), "new");
}

TEST_P(PhysicalPackageContract, AnEmptyPackageWithContentTypesCanBeStored) {
    storePackage({});
    package.open(OpenMode::ReadWrite);
    EXPECT_TRUE(package.getParts().empty());
    createPart(package, u"/a.bin", "a");
    save();
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/a.bin"), "a");
}

} // namespace opc::test
