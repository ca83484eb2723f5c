// SPDX-License-Identifier: Apache-2.0
#include "contract/ContractTest.hpp"

#include <algorithm>
#include <numeric>
#include <random>

namespace opc::test {

class PhysicalPartsContract : public PhysicalPackageContract {};
INSTANTIATE_TEST_SUITE_P(Parts, PhysicalPartsContract, testing::ValuesIn(allStores()),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(PhysicalPartsContract, EveryContentComesBackWhateverTheCompression) {
    std::string all(256, '\0');
    std::iota(all.begin(), all.end(), '\0');
    std::string noise(300000, '\0');
    std::generate(noise.begin(), noise.end(), [random = std::mt19937(1)]() mutable { return random(); });
    const std::vector<std::string> contents = {"", "x", all, std::string(1000000, 'a'), noise};
    using interfaces::CompressionType;

    package.open(OpenMode::CreateOnly);
    for (int type = 0; type <= 4; ++type)
        for (std::size_t i = 0; i < contents.size(); ++i)
            createPart(package, u"/" + toString(std::to_string(type) + "-" + std::to_string(i)), contents[i],
                       PartInfo(static_cast<CompressionType>(type), i % 2 == 0 ? 0 : 1ULL << 62));
    save();
    package.open(OpenMode::ReadOnly);
    ASSERT_EQ(package.getParts().size(), 25U);
    for (interfaces::IPhysicalPart* part : package.getParts()) {
        const auto name = part->getName();
        EXPECT_EQ(readAll(*part->getInputStream()), contents.at(name[3] - u'0')) << detail::toUTF8String(name);
    }
}

TEST_P(PhysicalPartsContract, ChangesAreKeptBySavingAndForgottenByDiscarding) {
    for (const bool discard : {true, false}) {
        SCOPED_TRACE(discard ? "discarded" : "saved");
        storePackage({{u"/keep.bin", "keep"}, {u"/change.bin", "old"}, {u"/drop.bin", "drop"}});
        package.open(OpenMode::ReadWrite);
        writeAll(*findPart(package, u"/change.bin")->getOutputStream(), "new");
        package.deletePart(u"/drop.bin");
        createPart(package, u"/add.bin", "add");
        writeContentTypes(package);
        package.close(discard);

        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(readPart(package, u"/keep.bin"), "keep");
        EXPECT_EQ(readPart(package, u"/change.bin"), discard ? "old" : "new");
        EXPECT_EQ(findPart(package, u"/drop.bin") != nullptr, discard);
        EXPECT_EQ(findPart(package, u"/add.bin") != nullptr, !discard);
        package.close(true);
    }
}

TEST_P(PhysicalPartsContract, NewPartsComeBehindTheOthersAndTheOrderIsKept) {
    package.open(OpenMode::CreateOnly);
    for (const char16_t* name : {u"/m.bin", u"/z.bin", u"/a.bin"})
        createPart(package, name, "1");
    EXPECT_EQ(partNames(package), (std::vector<std::string>{"/m.bin", "/z.bin", "/a.bin"}));
    save();

    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(partNames(package), (std::vector<std::string>{"/m.bin", "/z.bin", "/a.bin"}));
    createPart(package, u"/b.bin", "2");
    package.deletePart(u"/z.bin");
    writeAll(*findPart(package, u"/m.bin")->getOutputStream(), "2");
    const std::vector<std::string> expected = {"/m.bin", "/a.bin", "/b.bin"};
    EXPECT_EQ(partNames(package), expected);
    save();
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(partNames(package), asRead(expected));
}

TEST_P(PhysicalPartsContract, APartCanBeDeletedAndCreatedInAnyTurn) {
    storePackage({{u"/a.bin", "old"}, {u"/b.bin", "b"}});
    package.open(OpenMode::ReadWrite);
    package.deletePart(u"/A.bin"); // names compare without regard to case
    EXPECT_EQ(findPart(package, u"/a.bin"), nullptr);
    createPart(package, u"/A.BIN", "new");
    createPart(package, u"/c.bin", "c");
    package.deletePart(u"/c.bin");
    createPart(package, u"/d.bin", "1");
    package.deletePart(u"/d.bin");
    createPart(package, u"/d.bin", "2");
    save();

    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(partNames(package), asRead({"/b.bin", "/A.BIN", "/d.bin"}));
    EXPECT_EQ(readPart(package, u"/A.BIN"), "new") << "the new spelling, the new content";
    EXPECT_EQ(readPart(package, u"/d.bin"), "2");
}

TEST_P(PhysicalPartsContract, EveryPartCanBeDeleted) {
    storePackage({{u"/a.bin", "a"}, {u"/b.bin", "b"}});
    package.open(OpenMode::ReadWrite);
    package.deletePart(u"/a.bin");
    package.deletePart(u"/b.bin");
    save();
    package.open(OpenMode::ReadWrite);
    EXPECT_TRUE(package.getParts().empty());
}

TEST_P(PhysicalPartsContract, ARefusedCallNamesItsReasonAndChangesNothing) {
    storePackage({{u"/a.bin", "a"}});
    const struct {
        std::u16string name;
        Errc code;
        const char* why;
    } refused[] = {
        {u"", Errc::invalid_argument, "empty"},
        {u"/b%2Fc", Errc::invalid_argument, "escaped slash"},
        {u"/[Content_Types].xml", Errc::invalid_argument, "square brackets"},
        {u"/b\xD800", Errc::invalid_argument, "unpaired surrogate"},
        {u"/a.bin", Errc::file_exists, "taken"},
        {u"/A.BIN", Errc::file_exists, "taken, in another case"},
    };
    package.open(OpenMode::ReadWrite);
    for (const auto& [name, code, why] : refused)
        EXPECT_TRUE(failsWith(code, [&, &n = name] { package.createPart(n, u"a/b", PartInfo()); })) << why;
    for (const char16_t* absent : {u"/b", u"/a", u"a.bin", u"", u"/[Content_Types].xml", u"/\xD800"})
        EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { package.deletePart(absent); }));
    EXPECT_EQ(partNames(package), std::vector<std::string>{"/a.bin"});
    EXPECT_EQ(readPart(package, u"/a.bin"), "a");
}

TEST_P(PhysicalPartsContract, EscapesAndEveryCharacterOfAPathMakeNames) {
    const std::vector<std::u16string> names = {u"/a%20b.bin", u"/a%C3%A9.bin", u"/-._~!$&'()*+,;=:@", u"/a/b/c.bin",
                                               u"/.hidden",   u"/_rels/.rels", u"/a/_rels/x",         u"/%e2%82%ac"};
    package.open(OpenMode::CreateOnly);
    for (const auto& name : names)
        createPart(package, name, detail::toUTF8String(name));
    save();
    package.open(OpenMode::ReadOnly);
    for (const auto& name : names)
        EXPECT_EQ(readPart(package, name), detail::toUTF8String(name));
}

TEST_P(PhysicalPartsContract, ContentTypesAreKeptInTheStreamOrWithThePart) {
    const bool stream = package.hasContentTypeStream();
    const std::string types = contentTypes("<Default Extension=\"bin\" ContentType=\"a/b\"/>");
    package.open(OpenMode::CreateOnly);
    EXPECT_EQ(package.createPart(u"/a.bin", u"a/b", PartInfo())->getContentType(), u"a/b");
    if (stream)
        writeAll(*package.getContentTypeOutputStream(), types);
    package.close(false);

    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(partNames(package), std::vector<std::string>{"/a.bin"}) << "the stream itself is not a part";
    if (!stream) {
        EXPECT_EQ(package.getParts().at(0)->getContentType(), u"a/b");
        return expectAllFail(Errc::operation_not_supported, {[&] { package.getContentTypeInputStream(); },
                                                             [&] { package.getContentTypeOutputStream(); }});
    }
    EXPECT_EQ(readAll(*package.getContentTypeInputStream()), types);
    writeAll(*package.getContentTypeOutputStream(), types + "<!-- -->");
    EXPECT_EQ(readAll(*package.getContentTypeInputStream()), types + "<!-- -->");
    package.close(false);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readAll(*package.getContentTypeInputStream()), types + "<!-- -->");
}

} // namespace opc::test
