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

using test::Verdict;
using testing::HasSubstr;
using testing::StartsWith;

CoreProperties::Text text(const char* utf8) {
    return utf8 == nullptr ? CoreProperties::Text() : toString(utf8);
}

class SampleProperties : public test::SampleTest {
protected:
    const test::ExpectedProperties& expected() const { return GetParam().properties; }
    bool isClosed() const { return GetParam().fails != nullptr; }
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
        EXPECT_NE(expected().verdict, Verdict::Refused);
        EXPECT_EQ(properties.isEmpty(), expected().verdict == Verdict::None);
        EXPECT_EQ(properties.getTitle(), text(expected().title));
        EXPECT_EQ(properties.getCreator(), text(expected().creator));
    } catch (const InvalidPartContent& e) {
        ASSERT_EQ(expected().verdict, Verdict::Refused) << e.what();
        EXPECT_STREQ(e.what(), expected().message);
    }
}

#ifdef OPCRAFT_TOOL

using nlohmann::json;

TEST_P(SampleProperties, AreShownByTheToolAndElseTheRuleAndTheElement) {
    const test::ProcessResult result = test::runProcess(OPCRAFT_TOOL, {"props", file().string(), "--json"});
    if (expected().verdict == Verdict::Refused || isClosed()) {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("opcraft: " + file().string() + ": " + expected().part + ", line "));
        if (expected().verdict == Verdict::Refused) {
            EXPECT_THAT(result.err,
                        HasSubstr(": " + std::string(expected().message) + ", <" + expected().element + '>'));
        }
        return;
    }
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto orNull = [](const char* utf8) { return utf8 == nullptr ? json() : json(utf8); };
    const json report = json::parse(result.out);
    EXPECT_EQ(report["part"], orNull(expected().part));
    EXPECT_EQ(report["properties"]["title"], orNull(expected().title));
    EXPECT_EQ(report["properties"]["creator"], orNull(expected().creator));
    EXPECT_EQ(report["unread"], json::array());
}

TEST_P(SampleProperties, KeepTheirValuesWhenTheToolSetsOne) {
    if (expected().verdict == Verdict::Refused || isClosed())
        GTEST_SKIP() << "cannot be read";
    const test::TemporaryFolder temporary;
    const std::string changed = temporary / "changed";
    const auto properties = [](const std::string& name) {
        return json::parse(test::runProcess(OPCRAFT_TOOL, {"props", name, "--json"}).out)["properties"];
    };
    json kept = properties(file().string());
    const test::ProcessResult result =
        test::runProcess(OPCRAFT_TOOL, {"props", file().string(), "--set", "identifier=a new one", "-o", changed});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    kept["identifier"] = "a new one";
    EXPECT_EQ(properties(changed), kept);
}

#endif

INSTANTIATE_TEST_SUITE_P(OtherProducers, SampleProperties, testing::ValuesIn(test::getSamples()), test::nameOf);

} // namespace
} // namespace opc::model
