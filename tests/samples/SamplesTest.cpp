// SPDX-License-Identifier: Apache-2.0
// Packages by other producers, when OPCRAFT_SAMPLES names their folder: each opens, or fails as the rules demand, and
// what opens survives a change.
#include <opc/core/Exception.hpp>
#include <opc/core/InputStream.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>

namespace opc::model {
namespace {

using interfaces::OpenMode;
using storage::ZipPackage;
using test::RawZipReader;

/// What becomes of a sample. Those that open have no error.
struct Sample {
    const char* file;
    std::size_t parts;
    std::size_t others;
    bool (*fails)(const std::exception&);
    const char* message;
    const char* why;
};

void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.file;
}

template <class Error>
bool is(const std::exception& e) {
    return typeid(e) == typeid(Error);
}

const Sample samples[] = {
    // clang-format off
    {"3mf-core-properties-elsewhere.3mf", 10, 6, nullptr, "", "its folder entries are no parts"},
    {"3mf-drive-letter-target.3mf", 10, 6, nullptr, "", "\"C:/Metadata/thumbnail.png\" has a scheme but is not opaque"},
    {"3mf-duplicate-relationship-id.3mf", 0, 0, is<InvalidRelationshipContent>, "In /3D/_rels/3dmodel.model.rels: ", "IDs are unique by xsd:ID"},
    {"3mf-missing-thumbnail-target.3mf", 10, 6, nullptr, "", "a target need not exist"},
    {"3mf-slicer-parts-without-content-type.3mf", 5, 6, nullptr, "", "items without a content type are no parts, nor are the relationships of one"},
    {"aasx-supplementary-files.aasx", 3, 0, nullptr, "", "absolute targets and a byte order mark are fine"},
    {"docx-image-without-content-type.docx", 9, 1, nullptr, "", "the image is no part"},
    {"docx-lowercase-core-properties-relationship.docx", 9, 5, nullptr, "", "a relationship type in another case is another type"},
    {"docx-made-with-links-and-picture.docx", 9, 0, nullptr, "", ""},
    {"docx-many-external-links.docx", 25, 0, nullptr, "", ""},
    {"docx-trash-items.docx", 20, 4, nullptr, "", "\"[trash]\" items are no parts"},
    {"docx-two-core-properties.docx", 9, 0, nullptr, "", "only one of the two relationships has the core properties type"},
    {"dotx-external-template.dotx", 9, 0, nullptr, "", ""},
    {"msix-pkcs7-signed.msix", 3, 0, nullptr, "", "ZIP64 records, no relationships at all"},
    {"nupkg-core-properties-psmdcp.nupkg", 2, 0, nullptr, "", ""},
    {"nupkg-pkcs7-signed.nupkg", 3, 1, nullptr, "", "\".signature.p7s\" is no part"},
    {"pbix-empty-content-types.pbix", 0, 0, is<InvalidXMLDocument>, "value '", "an empty content type is none"},
    {"potx-thumbnail.potx", 24, 0, nullptr, "", ""},
    {"pptx-made-four-slides.pptx", 24, 0, nullptr, "", ""},
    {"pptx-missing-diagram-targets.pptx", 35, 0, nullptr, "", "Overrides and relationships may name parts that are not there"},
    {"signed-docx-content-changed-afterwards.docx", 10, 0, nullptr, "", ""},
    {"signed-docx-rsa-sha1-no-xades.docx", 13, 0, nullptr, "", ""},
    {"signed-docx-rsa-sha1-xades.docx", 17, 0, nullptr, "", ""},
    {"signed-docx-rsa-sha256-xades.docx", 10, 0, nullptr, "", ""},
    {"signed-docx-rsa-whitespace-rels.docx", 11, 0, nullptr, "", ""},
    {"signed-docx-two-signatures.docx", 11, 0, nullptr, "", ""},
    {"signed-xlsx-ecdsa-p256-whitespace-rels.xlsx", 11, 0, nullptr, "", ""},
    {"signed-xlsx-rsa-sha256-xades.xlsx", 9, 0, nullptr, "", ""},
    {"vsdx-emf-thumbnail.vsdx", 12, 0, nullptr, "", ""},
    {"vsix-non-ascii-and-odd-names.vsix", 0, 0, is<InvalidXMLDocument>, "value '", "an extension has no leading dot"},
    {"vsix-space-and-percent-names.vsix", 5, 1, nullptr, "", "spaces are percent-encoded in part names"},
    {"xlsb-external-links.xlsb", 17, 0, nullptr, "", ""},
    {"xlsm-macros-external-links.xlsm", 12, 0, nullptr, "", ""},
    {"xlsx-backslash-names.xlsx", 0, 5, nullptr, "", "a name with a backslash is no part name, so nothing is a part"},
    {"xlsx-bom-absolute-targets.xlsx", 4, 0, nullptr, "", "absolute targets and a byte order mark are fine"},
    {"xlsx-made-three-sheets.xlsx", 9, 0, nullptr, "", ""},
    {"xlsx-online-spreadsheet-export.xlsx", 5, 0, nullptr, "", ""},
    {"xlsx-prefixed-namespaces.xlsx", 6, 0, nullptr, "", "prefixes are a matter of taste"},
    {"xps-utf16-markup.xps", 12, 0, nullptr, "", "the markup of parts is not looked at"},
    // clang-format on
};

std::filesystem::path folder() {
    const char* name = std::getenv("OPCRAFT_SAMPLES");
    return name == nullptr ? "" : name;
}

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

std::string nameOf(const testing::TestParamInfo<Sample>& sample) {
    std::string name(sample.param.file);
    for (char& character : name)
        if (!std::isalnum(static_cast<unsigned char>(character)))
            character = '_';
    return name;
}

class Samples : public testing::TestWithParam<Sample> {
protected:
    void SetUp() override {
        if (folder().empty())
            GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    }
    std::filesystem::path file() const { return folder() / GetParam().file; }
};

TEST_P(Samples, OpensOrFailsAsTheRulesDemand) {
    ZipPackage store(file());
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

INSTANTIATE_TEST_SUITE_P(OtherProducers, Samples, testing::ValuesIn(samples), nameOf);

TEST(SampleFolder, HoldsNoPackageWithoutAVerdict) {
    if (folder().empty())
        GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    std::set<std::string> judged;
    for (const Sample& sample : samples)
        judged.insert(sample.file);
    std::set<std::string> present;
    for (const auto& entry : std::filesystem::directory_iterator(folder()))
        if (entry.path().extension() != ".tsv")
            present.insert(entry.path().filename().string());
    EXPECT_EQ(present, judged);
}

} // namespace
} // namespace opc::model
