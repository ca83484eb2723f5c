// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Table.hpp"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <ostream>

/// Packages by other producers, in the folder that OPCRAFT_SAMPLES names, and what is right for each.
namespace opc::test {

/// A row of samples.tsv.
struct Sample {
    using Text = std::optional<std::string>; ///< nothing: absent

    explicit Sample(const std::vector<std::string>& row)
        : file(row.at(0)), parts(std::stoul(row.at(1))), others(std::stoul(row.at(2))), error(row.at(3)),
          message(row.at(4)), why(row.at(5)), verdict(row.at(6)), title(textOf(row.at(7))), creator(textOf(row.at(8))),
          part(textOf(row.at(9))), element(row.at(10)), refusal(row.at(11)) {}

    std::string file;
    std::size_t parts;
    std::size_t others;
    std::string error; ///< empty for one that opens
    std::string message, why;
    std::string verdict; ///< on its core properties, with what follows
    Text title, creator, part;
    std::string element, refusal;

private:
    static Text textOf(const std::string& field) { return field == "-" ? Text() : field; }
};

inline void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.file;
}

inline std::vector<Sample> getSamples() {
    const auto rows = readTable("samples/samples.tsv");
    return {rows.begin(), rows.end()};
}

/// Empty when there are none.
inline std::filesystem::path getSampleFolder() {
    const char* name = std::getenv("OPCRAFT_SAMPLES");
    return name == nullptr ? "" : name;
}

/// The name of the test of a sample.
inline std::string nameOf(const testing::TestParamInfo<Sample>& sample) {
    std::string name(sample.param.file);
    for (char& character : name)
        if (!std::isalnum(static_cast<unsigned char>(character)))
            character = '_';
    return name;
}

class SampleTest : public testing::TestWithParam<Sample> {
protected:
    void SetUp() override {
        if (getSampleFolder().empty())
            GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    }
    std::filesystem::path file() const { return getSampleFolder() / GetParam().file; }
};

} // namespace opc::test
