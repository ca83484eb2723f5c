// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Process.hpp"

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace opc::test {

/// The lines of a text without their ends.
std::vector<std::string> linesOf(const std::string& text);

/// A file beside the tests, with the short names of long ones ("{office}") replaced.
std::string readData(const std::filesystem::path& name);

/// What is printed is what was expected, where "…" stands for any text of a line, and alone on a line for any lines.
bool matches(const std::string& expected, const std::string& printed);

/// A folder's files, as files.txt describes them, and commands of a shell there that know the tool and `edit`.
class Files {
public:
    explicit Files(std::filesystem::path folder) : folder_(std::move(folder)) {}

    /// Makes the files that a text names, and what they are made of.
    void make(const std::string& text);

    ProcessResult shell(const std::string& command, ProcessOptions options = {}) const;

private:
    void makeFile(const std::string& name);

    std::filesystem::path folder_;
    std::set<std::string> made_;
};

} // namespace opc::test
