// SPDX-License-Identifier: Apache-2.0
// Each sample opens, or fails as the rules demand, and what opens survives a change.
#include <opc/core/Exception.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/storage/Extraction.hpp>
#include <opc/storage/Packing.hpp>
#include <opc/storage/directory/DirectoryPackage.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "model/ContentTypeReading.hpp"
#include "samples/Samples.hpp"
#include "support/FoundFindings.hpp"
#include "support/PackageContent.hpp"
#include "support/PhysicalAccess.hpp"
#include "support/PlainReaders.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>

namespace opc::model {
namespace {

using interfaces::OpenMode;
using storage::ZipPackage;

test::PackageContent contentOf(const std::filesystem::path& file) {
    ZipPackage store(file);
    Package package(store);
    package.open(OpenMode::ReadOnly);
    return test::contentOf(package);
}

/// Name, checksum and compressed bytes of the items in their order, but for those that a change writes anew: the
/// content types and the relationships of the package.
std::vector<std::tuple<std::string, unsigned, std::string>> keptItems(const std::filesystem::path& file) {
    std::vector<std::tuple<std::string, unsigned, std::string>> items;
    for (const test::RawEntry& entry : test::RawZipReader(test::readFile(file)).entries)
        if (entry.name != "[Content_Types].xml" && entry.name != "_rels/.rels")
            items.emplace_back(entry.name, entry.crc, entry.payload);
    return items;
}

class Samples : public test::SampleTest {};

TEST_P(Samples, OpensOrFailsAsTheRulesDemand) {
    storage::ZipOptions options;
    options.consistent = true; // all of them are, whatever else is odd about them
    ZipPackage store(file(), options);
    Package package(store);
    try {
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(GetParam().error, "") << "opens, though " << GetParam().why;
        EXPECT_EQ(package.getParts().size(), GetParam().parts);
        EXPECT_EQ(store.getOtherItems().size(), GetParam().others);
    } catch (const std::exception& e) {
        EXPECT_EQ(boost::core::demangle(typeid(e).name()), "opc::model::" + GetParam().error) << e.what();
        EXPECT_NE(std::string(e.what()).find(GetParam().message), std::string::npos) << e.what();
        EXPECT_FALSE(package.isOpen());
    }
}

TEST_P(Samples, SurviveAChangeWithTheirContentAndCompressedBytes) {
    if (!GetParam().error.empty())
        GTEST_SKIP() << "does not open: " << GetParam().why;
    const test::TemporaryFolder temporary;
    const auto copy = temporary / "sample";
    std::filesystem::copy_file(file(), copy);
    const PartName added(u"/opcraft-test/added.xml");
    std::u16string id;
    {
        ZipPackage store(copy);
        Package package(store);
        package.open(OpenMode::ReadWrite);
        package.createPart(added, u"application/vnd.opcraft.test+xml", StandardPartInfo());
        if (GetParam().parts == 0 && GetParam().others > 0) { // backslashes: their place is taken
            EXPECT_THROW(package.createInternalRelationship(u"urn:opcraft:test", added.getURI()), PartCreateFailed);
            return package.close(true);
        }
        id = package.createInternalRelationship(u"urn:opcraft:test", added.getURI()).getID();
        package.close();
    }
    {
        ZipPackage store(copy);
        Package package(store);
        package.open(OpenMode::ReadWrite);
        EXPECT_TRUE(package.hasPart(added));
        package.deleteRelationship(id);
        package.deletePart(added);
        package.close();
    }
    EXPECT_EQ(contentOf(copy), contentOf(file()));
    EXPECT_TRUE(keptItems(copy) == keptItems(file()));
}

/// Every item but those of folders with what it is and holds, whatever is wrong with the package.
std::map<std::string, std::string> itemsOf(storage::ItemPackage& package) {
    test::FoundFindings findings;
    package.openTolerantly(OpenMode::ReadOnly, findings);
    std::map<std::string, std::string> items;
    for (const storage::ZipItem& item : package.getItems())
        if (!item.name.ends_with('/'))
            items[item.name] = item.reason + test::readAll(*package.getItemInputStream(item.name));
    for (interfaces::IPhysicalPart* part : package.getParts())
        items['/' + detail::toUTF8String(part->getName())] = detail::toUTF8String(part->getContentType());
    return items;
}

struct NothingLeftOut final : storage::ExtractionSink {
    void extracted(const storage::ZipItem& /*item*/) override {}
    void leftOut(const storage::ZipItem& /*item*/, const Exception& error) override { ADD_FAILURE() << error.what(); }
};

TEST_P(Samples, AreTheSameTakenApartAndPutTogether) {
    const test::TemporaryFolder temporary;
    ZipPackage original(file());
    const auto items = itemsOf(original);
    NothingLeftOut sink;
    extract(original, temporary / "apart", {true}, sink);
    storage::PackingOptions options;
    options.otherItems = true;
    storage::pack(temporary / "apart", temporary / "together", options);
    ZipPackage together(temporary / "together");
    EXPECT_TRUE(itemsOf(together) == items);
    storage::DirectoryPackage apart(temporary / "apart");
    EXPECT_TRUE(itemsOf(apart) == items);
    const bool opens = GetParam().error.empty();
    EXPECT_TRUE(!opens || contentOf(temporary / "together") == contentOf(file()));
}

INSTANTIATE_TEST_SUITE_P(OtherProducers, Samples, testing::ValuesIn(test::getSamples()), test::nameOf);

TEST(SampleFolder, IsReadAlikeMostlyWithoutAValidatingParser) {
    if (test::getSampleFolder().empty())
        GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    int count = 0;
    int plain = 0;
    const auto judge = [&](const std::string& what, const std::optional<bool>& alike) {
        EXPECT_TRUE(alike.value_or(true)) << what;
        ++count;
        plain += alike ? 1 : 0;
    };
    for (const test::Sample& sample : test::getSamples()) {
        if (!sample.error.empty())
            continue;
        ZipPackage store(test::getSampleFolder() / sample.file);
        Package package(store);
        package.open(OpenMode::ReadOnly);
        const std::string types = test::readAll(*store.getContentTypeInputStream());
        judge(sample.file, test::areContentTypesAlike({types.begin(), types.end()}));
        std::vector<const RelationshipSource*> sources{&package};
        const std::vector<Part> parts = package.getParts();
        for (const Part& part : parts)
            sources.push_back(&part);
        for (const RelationshipSource* source : sources)
            if (const auto bytes = source->readRelationshipsPart(); !bytes.empty())
                judge(sample.file, test::areRelationshipsAlike(bytes));
        if (sample.verdict != "none" && sample.verdict != "refused" && sample.part) {
            const std::string bytes = test::bytesOf(package.getPart(toString(*sample.part)));
            judge(sample.file, test::areCorePropertiesAlike({bytes.begin(), bytes.end()}));
        }
    }
    EXPECT_GE(100 * plain, 95 * count) << plain << " of " << count;
    RecordProperty("plain", plain);
    RecordProperty("all", count);
}

TEST(SampleFolder, HoldsNoPackageWithoutAVerdict) {
    if (test::getSampleFolder().empty())
        GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    std::set<std::string> judged;
    for (const test::Sample& sample : test::getSamples())
        judged.insert(sample.file);
    std::set<std::string> present;
    for (const auto& entry : std::filesystem::directory_iterator(test::getSampleFolder()))
        if (entry.path().extension() != ".tsv")
            present.insert(entry.path().filename().string());
    EXPECT_EQ(present, judged);
}

} // namespace
} // namespace opc::model
