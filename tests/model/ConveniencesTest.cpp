// SPDX-License-Identifier: Apache-2.0
#include <opc/opcraft.hpp>

#include "model/ModelFixture.hpp"
#include "support/Bytes.hpp"
#include "support/FoundFindings.hpp"
#include "support/TemporaryFolder.hpp"

#include <sstream>
#include <unordered_set>

namespace opc::model::test {
namespace {

using opc::test::FoundFindings;
using opc::test::readFile;
using opc::test::TemporaryFolder;
using opc::test::toBytes;
using testing::ElementsAre;

constexpr const char* TYPE = "http://example.org/t";
const std::string PETS = "T\xC3\xA4te \xF0\x9F\x90\x95";
const std::u16string PETS16 = u"T\u00E4te \U0001F415";

template <class Value>
std::string printed(const Value& value) {
    return (std::ostringstream() << value).str();
}

/// A package in memory with one part.
struct Conveniences : testing::Test {
    Part create() {
        package.open(OpenMode::CreateOnly);
        return package.createPart("/a.xml", "application/xml;charset=utf-8");
    }

    storage::MemoryPackage store;
    Package package{store};
    Part part = create();
};

TEST_F(Conveniences, TakeAndGiveUtf8) {
    package.createInternalRelationship(TYPE, part, "i");
    package.createInternalRelationship(TYPE, "/gone.xml");
    package.createExternalRelationship(TYPE, PETS, "e");
    EXPECT_EQ(package.getRelationshipByID("e").getTarget(), PETS16);
    EXPECT_EQ(package.getRelationshipsByType(TYPE).size(), 3U);
    EXPECT_FALSE(package.findTarget(package.getRelationshipByID("e")));
    EXPECT_FALSE(package.findTarget(package.getRelationshipByID("rId1")));
    EXPECT_TRUE(package.findTarget(package.changeTarget("i", "A.xml?q")));
    EXPECT_EQ(RelationshipSelector("/", RelationshipSelectorType::ById, "e").getSelectionCriteria(), u"e");
    const ContentType type = part.getContentType();
    EXPECT_TRUE(type.hasParameter("Charset"));
    EXPECT_EQ(type, "application/xml;charset=UTF-8");
    EXPECT_EQ(printed(type), "application/xml;charset=utf-8");
    EXPECT_EQ(printed(part.getName()) + printed(URI("x:y?z")), "/a.xmlx:y?z");

    CoreProperties properties;
    properties.setTitle(PETS);
    properties.addKeyword("one");
    properties.addKeyword(PETS, "de");
    EXPECT_EQ(toUTF8(properties.getTitle()), PETS);
    EXPECT_EQ(toUTF8(properties.getSubject()), std::nullopt);
    EXPECT_THAT(properties.getKeywords().value(),
                ElementsAre(CoreProperties::Keyword(u"one", u""), CoreProperties::Keyword(PETS16, u"de")));
    EXPECT_EQ(convertStringToTime("2026-01-31T10:00Z"), convertStringToTime(u"2026-01-31T10:00Z"));
    EXPECT_TRUE(convertStringToTime("2026\xFF").is_not_a_date_time());
}

TEST_F(Conveniences, RefuseWhatIsNotUtf8AlwaysInTheSameWay) {
    const std::string bad = "a\xED\xA0\x80";
    CoreProperties properties;
    ContentType type = "a/b";
    expectAllThrow("Exception: The text is not valid UTF-8: a malformed sequence at position 1. [Invalid argument]",
                   {[&] { URI{bad}; }, [&] { PartName{bad.c_str()}; }, [&] { ContentType{bad}; },
                    [&] { properties.setTitle(bad); }, [&] { properties.addKeyword("a", bad); },
                    [&] { type.addParameter(bad, "x"); }, [&] { writeText(part, bad); },
                    [&] { package.createExternalRelationship(TYPE, bad); }, [&] { package.deleteRelationship(bad); }});
    EXPECT_FALSE(properties.getKeywords());
    expectAllThrow("Exception: The text is not valid UTF-16: an unpaired surrogate at position 0. [Invalid argument]",
                   {[] { toUTF8(u"\xD800"); }});
    EXPECT_EQ(URI(static_cast<const char*>(nullptr)), URI(""));
}

TEST_F(Conveniences, HaveHashesThatFollowEquality) {
    EXPECT_EQ((std::unordered_set<PartName>{"/A.xml", "/a.XML", "/b"}.size()), 2U);
    EXPECT_EQ((std::unordered_set<URI>{"/A", "/a", "/b"}.size()), 2U);
    EXPECT_EQ((std::unordered_set<ContentType>{"a/b; C=d", "A/B;c=D", "a/b"}.size()), 2U);
}

/// The content of a part after it was stored.
std::string readBack(const std::string& content, std::uint64_t maximum = MAXIMUM_IN_MEMORY) {
    storage::MemoryPackage store;
    createPackage(
        store, [&](Package& package) { writeBytes(package.createPart("/a", "a/b"), toBytes(content)); });
    return readPackage(store, [&](const Package& package) { return readText(package.getPart("/A"), maximum); });
}

TEST(PartContents, AreReadAsUtf8) {
    const struct {
        std::string stored;
        std::string read;
    } rows[] = {
        {"", ""},
        {PETS, PETS},
        {"\xEF\xBB\xBFx", "x"},
        {std::string("\xFF\xFE\xE4\0\x3D\xD8\x15\xDC", 8), PETS.substr(1, 2) + PETS.substr(6)},
        {std::string("\xFE\xFF\0\xE4", 4), PETS.substr(1, 2)},
        {std::string("\xFE\xFF\0", 3), "InvalidPartContent: /a: The text is not valid UTF-16: half a unit at the end."},
        {"\xFE\xFF\xD8", "InvalidPartContent: /a: The text is not valid UTF-16: half a unit at the end."},
        {"\xFF\xFE\x3D\xD8",
         "InvalidPartContent: /a: The text is not valid UTF-16: an unpaired surrogate at position 0."},
        {"ab\xC3(", "InvalidPartContent: /a: The text is not valid UTF-8: a malformed sequence at position 2."},
    };
    for (const auto& row : rows) {
        std::string read;
        const std::string error = thrownBy([&] { read = readBack(row.stored); });
        EXPECT_EQ(error == "nothing" ? read : error, row.read);
    }
    EXPECT_EQ(readBack("four", 4), "four");
    EXPECT_EQ(thrownBy([] { readBack("four", 3); }),
              "Exception: /a: more than 3 bytes, the most that are read into memory [File too large]");
}

TEST(PackageFiles, AreAsTheyWereOrSaved) {
    const TemporaryFolder folder;
    const auto file = folder / "a.zip";
    const auto add = [](const char* name) {
        return [name](Package& package) { return writeText(package.createPart(name, "text/plain"), name); };
    };
    const auto count = [](const Package& package) { return package.parts().size(); };
    EXPECT_THROW(createPackage(file, [](Package&) { throw 1; }), int);
    EXPECT_TRUE(folder.names().empty());
    createPackage(file, add("/a"));
    const auto before = readFile(file);

    Part escaped = readPackage(file, [](const Package& package) { return package.getPart("/a"); });
    EXPECT_FALSE(escaped.isValid());
    EXPECT_THROW(editPackage(file, [&](Package& package) { add("/b")(package), throw 1; }), int);
    EXPECT_THROW(editPackage(file, add("/a/b")), PartIsDerivedFromExistingPartName);
    EXPECT_THROW(editPackage(file, std::filesystem::path(), add("/b")), PackageOpenFailed);
    editPackage(file, folder / "b.zip", add("/b"));
    EXPECT_EQ(readFile(file), before);
    EXPECT_EQ(readPackage(folder / "b.zip", count), 2U);

    editPackage(file, add("/c"));
    EXPECT_EQ(readPackage(file, [](const Package& package) { return readText(package.getPart("/C")); }), "/c");
    EXPECT_EQ(folder.names(), (std::set<std::string>{"a.zip", "b.zip"}));
}

TEST(PackageFiles, AreOpenedTolerantlyWithASinkAndStrictlyForSignatures) {
    const TemporaryFolder folder;
    const auto file = folder / "a.zip";
    createPackage(file, [](Package& package) { package.createPart("/a", "a/b"); });
    auto bytes = readFile(file);
    bytes.insert(bytes.end() - 22, 1, 0); // between the directory and the end record
    opc::test::writeFile(file, bytes);
    const auto count = [](const Package& package) { return package.parts().size(); };
    EXPECT_EQ(readPackage(file, count), 1U);
    EXPECT_THROW(readPackage(file, [](const Package&, DigitalSignatureManager&) {}), PackageOpenFailed);

    storage::MemoryPackage store(false);
    store.open(OpenMode::CreateOnly);
    store.createPart(u"/a", u"no type", StandardPartInfo());
    store.close(false);
    FoundFindings found;
    FileOptions tolerant;
    tolerant.findings = &found;
    EXPECT_THROW(readPackage(store, count), InvalidContentType);
    EXPECT_EQ(readPackage(store, count, tolerant), 0U);
    EXPECT_EQ(found.all.size(), 1U);
}

} // namespace
} // namespace opc::model::test
