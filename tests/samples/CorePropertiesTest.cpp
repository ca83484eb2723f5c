// SPDX-License-Identifier: Apache-2.0
// The core properties of the samples: read by the library, and shown and changed by the tool.
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "samples/Samples.hpp"
#include "support/TemporaryFolder.hpp"

#ifdef OPCRAFT_TOOL
#include "support/Process.hpp"

#include <nlohmann/json.hpp>
#endif

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace opc::model {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

CoreProperties::Text text(const test::Sample::Text& utf8) {
    return utf8 ? CoreProperties::Text(toString(*utf8)) : CoreProperties::Text();
}

class SampleProperties : public test::SampleTest {
protected:
    const test::Sample& expected() const { return GetParam(); }
    bool isRefused() const { return expected().verdict == "refused"; }
    bool isClosed() const { return !expected().error.empty(); }
};

TEST_P(SampleProperties, AreReadByTheLibrary) {
    if (isClosed())
        GTEST_SKIP() << "does not open";
    storage::ZipPackage store(file().string());
    Package package(store);
    package.open(interfaces::OpenMode::ReadOnly);
    try {
        const CoreProperties properties =
            PackageHelper::getCoreProperties(package, PackageHelper::findCorePropertiesRelationshipType(package));
        EXPECT_FALSE(isRefused());
        EXPECT_EQ(properties.isEmpty(), expected().verdict == "none");
        EXPECT_EQ(properties.getTitle(), text(expected().title));
        EXPECT_EQ(properties.getCreator(), text(expected().creator));
    } catch (const InvalidPartContent& e) {
        ASSERT_TRUE(isRefused()) << e.what();
        EXPECT_EQ(e.what(), expected().refusal);
    }
}

#ifdef OPCRAFT_TOOL

using nlohmann::json;

TEST_P(SampleProperties, AreShownByTheToolAndElseTheRuleAndTheElement) {
    const test::ProcessResult result = test::runProcess(OPCRAFT_TOOL, {"props", file().string(), "--json", "--strict"});
    if (isRefused() || isClosed()) {
        EXPECT_EQ(test::runProcess(OPCRAFT_TOOL, {"props", file().string()}).exitCode, 0) << "read in spite of it";
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("opcraft: " + file().string() + ": " + expected().part.value() + ", line "));
        const std::string why = isRefused() ? ": " + expected().refusal + ", <" + expected().element + '>' : "";
        EXPECT_THAT(result.err, HasSubstr(why));
        return;
    }
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto orNull = [](const test::Sample::Text& text) { return text ? json(*text) : json(); };
    const json report = json::parse(result.out);
    EXPECT_EQ(report["part"], orNull(expected().part));
    EXPECT_EQ(report["properties"]["title"], orNull(expected().title));
    EXPECT_EQ(report["properties"]["creator"], orNull(expected().creator));
    EXPECT_EQ(report["unread"], json::array());
}

TEST_P(SampleProperties, KeepTheirValuesWhenTheToolSetsOne) {
    if (isRefused() || isClosed())
        GTEST_SKIP() << "cannot be read";
    const test::TemporaryFolder temporary;
    const std::string changed = temporary / "changed";
    const auto properties = [](const std::string& name) {
        return json::parse(test::runProcess(OPCRAFT_TOOL, {"props", name, "--json"}).out)["properties"];
    };
    json kept = properties(file().string());
    const test::ProcessResult result =
        test::runProcess(OPCRAFT_TOOL, {"props", file().string(), "--set", "identifier=a new one", "-o", changed});
    if (expected().parts == 0 && expected().others > 0) { // backslashes: their place is taken
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.err, HasSubstr("\"_rels\\.rels\" exists already, with a backslash in its name"));
        return;
    }
    EXPECT_EQ(result.exitCode, 0) << result.err;
    kept["identifier"] = "a new one";
    EXPECT_EQ(properties(changed), kept);
}

#endif

INSTANTIATE_TEST_SUITE_P(OtherProducers, SampleProperties, testing::ValuesIn(test::getSamples()), test::nameOf);

} // namespace
} // namespace opc::model
