// SPDX-License-Identifier: Apache-2.0
// Each sample opens, or fails as the rules demand, and what opens survives a change.
#include <opc/core/Exception.hpp>
#include <opc/core/InputStream.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "samples/Samples.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace opc::model {
namespace {

using interfaces::OpenMode;
using storage::ZipPackage;
using test::RawZipReader;

std::string read(const Part& part) {
    InputStream* stream = part.getInputStream();
    std::string text;
    std::vector<unsigned char> buffer(1 << 16);
    stream->open();
    while (const auto count = stream->read(buffer.data(), buffer.size()))
        text.append(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    stream->close();
    return text;
}

std::string describe(const RelationshipSource& source) {
    std::string text;
    for (const Relationship& relationship : source.getRelationships())
        text += detail::toUTF8String(relationship.getID() + u' ' + relationship.getType() + u' ' +
                                     relationship.getTarget()) +
                (relationship.getTargetMode() == TargetMode::External ? " external\n" : "\n");
    return text;
}

/// Everything that the model knows of a package: by part its type, relationships and bytes.
std::map<std::u16string, std::string> contentOf(const std::filesystem::path& file) {
    ZipPackage store(file);
    Package package(store);
    package.open(OpenMode::ReadOnly);
    std::map<std::u16string, std::string> content{{u"/", describe(package)}};
    for (const Part& part : package.getParts())
        content[part.getName().toString()] =
            detail::toUTF8String(part.getContentType().toString()) + '\n' + describe(part) + read(part);
    return content;
}

class Samples : public test::SampleTest {};

TEST_P(Samples, OpensOrFailsAsTheRulesDemand) {
    storage::ZipOptions options;
    options.consistent = true; // all of them are, whatever else is odd about them
    ZipPackage store(file(), options);
    Package package(store);
    try {
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(GetParam().fails, nullptr) << "opens, though " << GetParam().why;
        EXPECT_EQ(package.getParts().size(), GetParam().parts);
        EXPECT_EQ(store.getOtherItems().size(), GetParam().others);
    } catch (const std::exception& e) {
        ASSERT_NE(GetParam().fails, nullptr) << typeid(e).name() << ": " << e.what();
        EXPECT_TRUE(GetParam().fails(e)) << typeid(e).name() << ": " << e.what();
        EXPECT_NE(std::string(e.what()).find(GetParam().message), std::string::npos) << e.what();
        EXPECT_FALSE(package.isOpen());
    }
}

TEST_P(Samples, SurviveAChangeWithTheirContentAndCompressedBytes) {
    if (GetParam().fails != nullptr)
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

    const RawZipReader before(test::readFile(file()));
    const RawZipReader after(test::readFile(copy));
    // The content types and the package relationships were written anew; all else is as it was, in its order.
    const std::set<std::string> changed{"[Content_Types].xml", "_rels/.rels"};
    std::vector<std::string> namesBefore;
    std::vector<std::string> namesAfter;
    for (const auto& name : before.names())
        if (changed.count(name) == 0)
            namesBefore.push_back(name);
    for (const auto& entry : after.entries) {
        if (changed.count(entry.name) != 0)
            continue;
        namesAfter.push_back(entry.name);
        EXPECT_EQ(entry.payload, before.at(entry.name).payload) << entry.name;
        EXPECT_EQ(entry.crc, before.at(entry.name).crc) << entry.name;
    }
    EXPECT_EQ(namesAfter, namesBefore);
}

INSTANTIATE_TEST_SUITE_P(OtherProducers, Samples, testing::ValuesIn(test::getSamples()), test::nameOf);

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
