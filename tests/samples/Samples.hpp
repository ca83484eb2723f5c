// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

/// Packages by other producers, in the folder that OPCRAFT_SAMPLES names, and what is right for each.
namespace opc::test {

enum class Verdict {
    None,    ///< no package relationship of the right type leads to core properties
    Present, ///< there is a core properties part, and it can be read
    Refused, ///< the part is not valid
};

struct ExpectedProperties {
    Verdict verdict = Verdict::None;
    const char* title = nullptr;   ///< null: absent
    const char* creator = nullptr; ///< null: absent
    const char* part = nullptr;    ///< that has them; when the package or the part is refused, that the tool blames
    const char* element = nullptr; ///< for a refused part, with what follows
    const char* message = nullptr;
};

/// What becomes of a sample. Those that open have no error.
struct Sample {
    const char* file;
    std::size_t parts;
    std::size_t others;
    bool (*fails)(const std::exception&);
    const char* message;
    const char* why;
    ExpectedProperties properties{};
};

inline void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.file;
}

const std::vector<Sample>& getSamples();

/// Empty when there are none.
std::filesystem::path getSampleFolder();

/// The name of the test of a sample.
std::string nameOf(const testing::TestParamInfo<Sample>& sample);

class SampleTest : public testing::TestWithParam<Sample> {
protected:
    void SetUp() override {
        if (getSampleFolder().empty())
            GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    }
    std::filesystem::path file() const { return getSampleFolder() / GetParam().file; }
};

} // namespace opc::test
