// SPDX-License-Identifier: Apache-2.0
// The rows and the transcripts beside this file. Files that they name are made as files.txt describes them.
#include "cli/Files.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <map>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::Not;

using Contents = std::map<std::string, std::vector<unsigned char>>;

Contents contentsOf(const TemporaryFolder& folder) {
    Contents contents;
    for (const std::string& name : folder.names())
        contents[name] = fs::is_regular_file(folder / name) ? readFile(folder / name) : std::vector<unsigned char>();
    return contents;
}

/// refusals.txt: exit code | arguments | message.
TEST(Refusals, SayWhyInOneLineAndChangeNothing) {
    const TemporaryFolder folder;
    Files files(folder.path());
    for (const std::string& row : linesOf(readData("refusals.txt"))) {
        if (row.empty() || row.front() == '#')
            continue;
        SCOPED_TRACE(row);
        const std::size_t first = row.find(" | ");
        const std::size_t last = row.rfind(" | ");
        files.make(row);
        const Contents before = contentsOf(folder);
        const ProcessResult result = files.shell("opcraft " + row.substr(first + 3, last - first - 3));
        EXPECT_EQ(std::to_string(result.exitCode), row.substr(0, first));
        EXPECT_TRUE(matches("opcraft: " + row.substr(last + 3) + '\n', result.err)) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_THAT(result.err, Not(testing::AnyOf(HasSubstr("Exception"), HasSubstr("opc::"))));
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(contentsOf(folder) == before) << "a file was changed";
    }
}

/// A command and what it prints, as a transcript has it: results, then messages behind "! ", then an exit code but 0.
std::string transcribed(const std::string& command, const ProcessResult& result) {
    std::string text = command + '\n' + result.out;
    if (text.back() != '\n')
        text += '\n';
    for (const std::string& line : linesOf(result.err))
        text += "! " + line + '\n';
    return result.exitCode == 0 ? text : text + "[exit code " + std::to_string(result.exitCode) + "]\n";
}

/// Runs the commands of a transcript, each behind "$ " at the start of a line.
void checkTranscript(const std::string& name, const std::string& text) {
    const TemporaryFolder folder;
    Files files(folder.path());
    files.make(text);
    for (std::size_t at = text.find("\n$ "); at != std::string::npos;) {
        const std::size_t next = text.find("\n$ ", at + 1);
        std::string expected = text.substr(at + 1, next - at);
        expected.erase(std::min(expected.find("\n#"), expected.size()));
        expected.erase(expected.find_last_not_of('\n') + 1);
        at = next;
        const std::string command = expected.substr(0, expected.find('\n'));
        std::string printed = transcribed(command, files.shell(command.substr(2)));
        printed.erase(printed.find_last_not_of('\n') + 1);
        EXPECT_TRUE(matches(expected, printed)) << name << ":\n" << expected << "\n-- printed is:\n" << printed;
    }
}

class Transcript : public testing::TestWithParam<std::string> {};

TEST_P(Transcript, ShowsWhatTheToolPrints) {
    const std::string name = "transcripts/" + GetParam() + ".txt";
    const std::string text = '\n' + readData(name);
    const char* samples = std::getenv("OPCRAFT_SAMPLES");
    if (text.find("$OPCRAFT_SAMPLES") != std::string::npos && (samples == nullptr || *samples == '\0'))
        GTEST_SKIP() << "OPCRAFT_SAMPLES names no folder";
    checkTranscript(name, text);
}

/// docs/cookbook.md: the commands in its blocks, one after another.
TEST(Cookbook, ShowsWhatTheToolPrints) {
    std::string text;
    bool isCommand = false;
    for (const std::string& line : linesOf(readData("../../docs/cookbook.md")))
        if (line.starts_with("```"))
            isCommand = line == "```console";
        else if (isCommand)
            text += '\n' + line;
    checkTranscript("cookbook.md", text + '\n');
}

std::vector<std::string> transcripts() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(OPCRAFT_TESTS "/cli/transcripts"))
        names.push_back(entry.path().stem());
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Cli, Transcript, testing::ValuesIn(transcripts()),
                         [](const auto& file) { return file.param; });

} // namespace
} // namespace opc::test
