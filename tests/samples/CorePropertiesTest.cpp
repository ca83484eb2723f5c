// SPDX-License-Identifier: Apache-2.0
// The core properties of packages by other producers, when OPCRAFT_SAMPLES names their folder: read by the library, and
// shown and changed by the tool.
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "support/TemporaryFolder.hpp"

#ifdef OPCRAFT_TOOL
#include "support/Process.hpp"

#include <nlohmann/json.hpp>
#endif

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <set>

namespace opc::model {
namespace {

enum class Verdict {
    Present, ///< there is a core properties part, and it can be read
    None,    ///< no package relationship of the right type leads to one
    Refused, ///< the part is not valid
    Closed,  ///< the package does not open
};

struct Sample {
    const char* file;
    Verdict verdict;
    const char* title;   // null: absent
    const char* creator; // null: absent
    const char* part;    // for a refusal, with what follows
    const char* element;
    const char* message;
};

void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.file;
}

constexpr const char* coreXml = "/docProps/core.xml";
constexpr const char* prop = "/Metadata/CoreProperties.prop";
constexpr const char* noTime = "missing 'T' separator in dateTime value '2015-10-28'";

const Sample samples[] = {
    // clang-format off
    {"3mf-core-properties-elsewhere.3mf", Verdict::Refused, nullptr, nullptr, prop, "lastPrinted", noTime},
    {"3mf-drive-letter-target.3mf", Verdict::Refused, nullptr, nullptr, prop, "lastPrinted", noTime},
    {"3mf-duplicate-relationship-id.3mf", Verdict::Closed, nullptr, nullptr, "/3D/_rels/3dmodel.model.rels", nullptr, nullptr},
    {"3mf-missing-thumbnail-target.3mf", Verdict::Refused, nullptr, nullptr, prop, "lastPrinted", noTime},
    {"3mf-slicer-parts-without-content-type.3mf", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"aasx-supplementary-files.aasx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"docx-image-without-content-type.docx", Verdict::Present, nullptr, "ms", coreXml, nullptr, nullptr},
    {"docx-lowercase-core-properties-relationship.docx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"docx-made-with-links-and-picture.docx", Verdict::Present, "Garden report – spring <draft>", "Ida Gärtner", coreXml, nullptr, nullptr},
    {"docx-many-external-links.docx", Verdict::Present, " ", "", coreXml, nullptr, nullptr},
    {"docx-trash-items.docx", Verdict::Present, "Test", "sample", coreXml, nullptr, nullptr},
    {"docx-two-core-properties.docx", Verdict::Present, nullptr, nullptr, coreXml, nullptr, nullptr},
    {"dotx-external-template.dotx", Verdict::Present, nullptr, "Samir Aguiar", coreXml, nullptr, nullptr},
    {"msix-pkcs7-signed.msix", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"nupkg-core-properties-psmdcp.nupkg", Verdict::Present, nullptr, "Microsoft", "/package/services/metadata/core-properties/155646b7ac6f4fb3a150b449d5ad3bd3.psmdcp", nullptr, nullptr},
    {"nupkg-pkcs7-signed.nupkg", Verdict::Present, nullptr, "author", "/package/services/metadata/core-properties/f5f2cdd11edd456fa1d2364363ad953a.psmdcp", nullptr, nullptr},
    {"pbix-empty-content-types.pbix", Verdict::Closed, nullptr, nullptr, "[Content_Types].xml", nullptr, nullptr},
    {"potx-thumbnail.potx", Verdict::Present, "Embedded Objects", "user", coreXml, nullptr, nullptr},
    {"pptx-made-four-slides.pptx", Verdict::Present, "", "", coreXml, nullptr, nullptr},
    {"pptx-missing-diagram-targets.pptx", Verdict::Present, "Slide 1", "Mike Kaganski", coreXml, nullptr, nullptr},
    {"signed-docx-content-changed-afterwards.docx", Verdict::Present, "", "Miklos", coreXml, nullptr, nullptr},
    {"signed-docx-rsa-sha1-no-xades.docx", Verdict::Present, nullptr, "Frank", coreXml, nullptr, nullptr},
    {"signed-docx-rsa-sha1-xades.docx", Verdict::Present, "", "Carlos Gamuci", coreXml, nullptr, nullptr},
    {"signed-docx-rsa-sha256-xades.docx", Verdict::Present, "", "Allison, Timothy B.", coreXml, nullptr, nullptr},
    {"signed-docx-rsa-whitespace-rels.docx", Verdict::Present, "Garden report – spring <draft>", "Ida Gärtner", coreXml, nullptr, nullptr},
    {"signed-docx-two-signatures.docx", Verdict::Present, "", "Miklos", coreXml, nullptr, nullptr},
    {"signed-xlsx-ecdsa-p256-whitespace-rels.xlsx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"signed-xlsx-rsa-sha256-xades.xlsx", Verdict::Present, nullptr, "Allison, Timothy B.", coreXml, nullptr, nullptr},
    {"vsdx-emf-thumbnail.vsdx", Verdict::Present, "", "Pascal Essiembre", coreXml, nullptr, nullptr},
    {"vsix-non-ascii-and-odd-names.vsix", Verdict::Closed, nullptr, nullptr, "[Content_Types].xml", nullptr, nullptr},
    {"vsix-space-and-percent-names.vsix", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"xlsb-external-links.xlsb", Verdict::Present, nullptr, "Allison, Timothy B.", coreXml, nullptr, nullptr},
    {"xlsm-macros-external-links.xlsm", Verdict::Present, nullptr, "Samir Aguiar", coreXml, nullptr, nullptr},
    {"xlsx-backslash-names.xlsx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"xlsx-bom-absolute-targets.xlsx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"xlsx-made-three-sheets.xlsx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"xlsx-online-spreadsheet-export.xlsx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"xlsx-prefixed-namespaces.xlsx", Verdict::None, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"xps-utf16-markup.xps", Verdict::Present, "Attachment Test", "Rajiv", coreXml, nullptr, nullptr},
    // clang-format on
};

std::filesystem::path folder() {
    const char* name = std::getenv("OPCRAFT_SAMPLES");
    return name == nullptr ? "" : name;
}

std::string nameOf(const testing::TestParamInfo<Sample>& sample) {
    std::string name(sample.param.file);
    for (char& character : name)
        if (!std::isalnum(static_cast<unsigned char>(character)))
            character = '_';
    return name;
}

CoreProperties::Text text(const char* utf8) {
    return utf8 == nullptr ? CoreProperties::Text() : toString(utf8);
}

class SampleProperties : public testing::TestWithParam<Sample> {
protected:
    void SetUp() override {
        if (folder().empty())
            GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    }
    std::string file() const { return folder() / GetParam().file; }
};

TEST_P(SampleProperties, AreReadByTheLibrary) {
    if (GetParam().verdict == Verdict::Closed)
        GTEST_SKIP() << "does not open";
    storage::ZipPackage store(file());
    Package package(store);
    package.open(interfaces::OpenMode::ReadOnly);
    try {
        const CoreProperties properties = PackageHelper::getCoreProperties(package);
        EXPECT_NE(GetParam().verdict, Verdict::Refused);
        EXPECT_EQ(properties.isEmpty(), GetParam().verdict == Verdict::None);
        EXPECT_EQ(properties.getTitle(), text(GetParam().title));
        EXPECT_EQ(properties.getCreator(), text(GetParam().creator));
    } catch (const InvalidPartContent& e) {
        ASSERT_EQ(GetParam().verdict, Verdict::Refused) << e.what();
        EXPECT_STREQ(e.what(), GetParam().message);
    }
}

#ifdef OPCRAFT_TOOL

using nlohmann::json;

TEST_P(SampleProperties, AreShownByTheToolAndElseTheRuleAndTheElement) {
    const Sample& sample = GetParam();
    const test::ProcessResult result = test::runProcess(OPCRAFT_TOOL, {"props", file(), "--json"});
    if (sample.verdict == Verdict::Refused || sample.verdict == Verdict::Closed) {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        const std::string start = "opcraft: " + file() + ": " + sample.part + ": ";
        if (sample.verdict == Verdict::Refused)
            EXPECT_EQ(result.err, start + '<' + sample.element + ">: " + sample.message + '\n');
        else
            EXPECT_EQ(result.err.substr(0, start.size()), start);
        return;
    }
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto orNull = [](const char* utf8) { return utf8 == nullptr ? json() : json(utf8); };
    const json report = json::parse(result.out);
    EXPECT_EQ(report["part"], orNull(sample.part));
    EXPECT_EQ(report["properties"]["title"], orNull(sample.title));
    EXPECT_EQ(report["properties"]["creator"], orNull(sample.creator));
    EXPECT_EQ(report["unread"], json::array());
}

TEST_P(SampleProperties, KeepTheirValuesWhenTheToolSetsOne) {
    if (GetParam().verdict == Verdict::Refused || GetParam().verdict == Verdict::Closed)
        GTEST_SKIP() << "cannot be read";
    const test::TemporaryFolder temporary;
    const std::string changed = temporary / "changed";
    const auto properties = [](const std::string& name) {
        return json::parse(test::runProcess(OPCRAFT_TOOL, {"props", name, "--json"}).out)["properties"];
    };
    json expected = properties(file());
    const test::ProcessResult result =
        test::runProcess(OPCRAFT_TOOL, {"props", file(), "--set", "identifier=a new one", "-o", changed});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    expected["identifier"] = "a new one";
    EXPECT_EQ(properties(changed), expected);
}

#endif

INSTANTIATE_TEST_SUITE_P(OtherProducers, SampleProperties, testing::ValuesIn(samples), nameOf);

TEST(SampleFolder, HoldsNoPackageWithoutAVerdictOnItsProperties) {
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
