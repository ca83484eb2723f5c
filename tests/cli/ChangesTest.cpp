// SPDX-License-Identifier: Apache-2.0
// What no row and no transcript can show: bytes, other processes, signals, permissions and terminals.
#include "cli/Files.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>

#include <chrono>
#include <csignal>
#include <future>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class CommandLine : public testing::Test {
protected:
    ProcessResult opcraft(const std::string& arguments, const std::string& input = {}) const {
        return files_.shell("exec opcraft " + arguments, {input});
    }

    /// Runs a command that must go well. @return what it printed.
    std::string good(const std::string& arguments) const {
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, 0) << arguments << '\n' << result.err;
        return result.out;
    }

    std::string read(const std::string& name) const { return toText(readFile(folder_ / name)); }

    const TemporaryFolder folder_;
    Files files_{folder_.path()};
};

TEST_F(CommandLine, SavesInPlaceElsewhereAndThroughStreamsTheSameBytes) {
    files_.make("new.png pkcs7.docx theirs.docx");
    const std::string both = read("pkcs7.docx");
    const std::string theirs = read("theirs.docx");
    for (const std::string change :
         {"add FILE /new.xml --type application/xml --rel-type http://t", "rm FILE /word/styles.xml --force",
          "relate FILE / --type http://t --target /word/styles.xml", "unrelate FILE /word/document.xml rId10",
          "props FILE --set title=Letter", "thumbnail FILE --set new.png", "thumbnail FILE --remove",
          "unsign FILE --all"}) {
        SCOPED_TRACE(change);
        const std::string before = change[0] == 'u' && change[2] == 's' ? theirs : both;
        const bool isChanged = change != "thumbnail FILE --remove"; // there is none
        const bool warns = isChanged && before == both;
        const std::string warning = "warning: the package was signed, and its signatures may not hold any longer\n";
        writeFile(folder_ / "p.zip", toBytes(before));
        const auto run = [&](const std::string& file, const std::string& output) {
            return opcraft(boost::replace_all_copy(change, "FILE", file) + output, before);
        };
        const ProcessResult elsewhere = run("p.zip", " -o out.zip");
        EXPECT_EQ(elsewhere.exitCode, 0);
        EXPECT_EQ(elsewhere.err, warns ? "opcraft: p.zip: " + warning : "");
        EXPECT_TRUE(read("p.zip") == before) << "the file was changed";
        const std::string after = read("out.zip");
        EXPECT_EQ(after != before, isChanged);

        const ProcessResult streamed = run("-", " -o -");
        EXPECT_TRUE(streamed.out == after);
        EXPECT_TRUE(run("p.zip", " -o -").out == after);
        EXPECT_THAT(streamed.err, HasSubstr(warns ? "opcraft: -: " + warning : ""));
        for (const char* message : {"rId2\n", "Removed with the part:", "Removed /_xmlsignatures/sig1.xml"})
            EXPECT_EQ(elsewhere.out.find(message) != std::string::npos, streamed.err.find(message) != std::string::npos)
                << message;

        const ProcessResult inPlace = run("p.zip", "");
        EXPECT_EQ(inPlace.out, elsewhere.out);
        EXPECT_TRUE(read("p.zip") == after);
        EXPECT_EQ(folder_.names().size(), 5U) << "a file was left behind";
    }
}

TEST_F(CommandLine, EndsByTheSignalWhenNobodyReadsItsResult) {
    files_.make("letter.docx");
    const std::string before = read("letter.docx");
    const auto unread = [&](const std::string& arguments) { // its standard output is a pipe whose reader is gone
        return files_.shell("rm -f pipe; mkfifo pipe; exec 3<>pipe 4>pipe 3<&-; exec opcraft " + arguments +
                            " >&4 4>&-");
    };
    for (const char* arguments : {"--help", "--version", "info letter.docx", "cat letter.docx /word/document.xml",
                                  "new -", "rm letter.docx /word/styles.xml", "unrelate letter.docx / rId1 -o -"}) {
        const ProcessResult result = unread(arguments);
        EXPECT_EQ(result.exitCode, 128 + SIGPIPE) << arguments;
        EXPECT_EQ(result.err, "");
    }
    EXPECT_TRUE(read("letter.docx") == before);
    unread("relate letter.docx / --type http://t --target /word/styles.xml");
    EXPECT_THAT(good("rels letter.docx"), HasSubstr("rId2")) << "saved before its ID was not read";
}

TEST_F(CommandLine, TellsARefusedPermissionAndChangesAReadOnlyFileIntoAnother) {
    files_.make("letter.docx");
    const bool isRoot = ::geteuid() == 0; // who may do everything, so another user tries
    const auto nobodys = [&](const std::string& arguments) {
        return files_.shell((isRoot ? "setpriv --reuid 65534 --regid 65534 --clear-groups opcraft " : "opcraft ") +
                            arguments);
    };
    fs::permissions(folder_.path(), fs::perms(0755));
    if (nobodys("--version").exitCode != 0)
        GTEST_SKIP() << "the built program cannot be run by another user";
    const std::string before = read("letter.docx");
    fs::permissions(folder_ / "letter.docx", fs::perms::none);
    const ProcessResult reading = nobodys("info letter.docx");
    EXPECT_EQ(reading.exitCode, 2);
    EXPECT_EQ(reading.err, "opcraft: letter.docx: cannot be opened: Permission denied\n");

    fs::permissions(folder_ / "letter.docx", fs::perms(0444));
    const ProcessResult changing = nobodys("unrelate letter.docx / rId1");
    EXPECT_EQ(changing.exitCode, 2);
    EXPECT_TRUE(matches("opcraft: letter.docx: …Permission denied\n", changing.err)) << changing.err;
    EXPECT_TRUE(read("letter.docx") == before);
    EXPECT_THAT(folder_.names(), ElementsAre("letter.docx"));

    fs::permissions(folder_.path(), fs::perms(0777));
    EXPECT_EQ(nobodys("unrelate letter.docx / rId1 -o out.docx").err, "");
    EXPECT_EQ(good("rels out.docx"), "No relationships.\n");
    EXPECT_TRUE(read("letter.docx") == before);
}

TEST_F(CommandLine, ShowsProgressOnATerminalAfterASecondAndTakesItAway) {
    const auto onTerminal = [&](const std::string& command) {
        return files_.shell("script -qec '" + command + " >/dev/null' /dev/null");
    };
    good("new p.zip");
    const ProcessResult slow = onTerminal("(sleep 2.5; echo content) | opcraft add p.zip /a.xml --type a/b --from -");
    EXPECT_EQ(slow.exitCode, 0);
    EXPECT_THAT(slow.out, StartsWith("\r\033[Kopcraft: p.zip: working, 1 s\r\033[K"));
    EXPECT_THAT(slow.out, EndsWith(" s\r\033[K"));
    const std::string xml = "<a>" + std::string(300'000, 'x') + "</a>";
    for (const std::string name : {"c.xml", "d.xml"}) {
        writeFile(folder_ / name, toBytes(xml));
        good("add p.zip /" + name + " --type application/xml --from " + name);
    }
    EXPECT_THAT(onTerminal("opcraft text p.zip | (sleep 2.5; cat)").out, HasSubstr(": working, 1 s, 50 %\r"))
        << "one of two large parts is written to a pipe";
    EXPECT_EQ(onTerminal("opcraft --version").out, "") << "quick work needs no progress";
}

TEST_F(CommandLine, QueuesChangesOfOneFileAndLosesNone) {
    files_.make("letter.docx");
    std::vector<std::future<ProcessResult>> running;
    for (int n = 0; n < 12; ++n)
        running.push_back(std::async(std::launch::async, [&, n] {
            return opcraft("add letter.docx /p" + std::to_string(n) + ".xml --type application/xml" +
                           (n % 3 == 0 ? " -o ./letter.docx" : ""));
        }));
    for (auto& each : running) {
        const ProcessResult result = each.get();
        EXPECT_EQ(result.exitCode, 0) << result.err;
    }
    EXPECT_THAT(good("info letter.docx"), HasSubstr("Parts          14\n"));
    EXPECT_THAT(folder_.names(), ElementsAre("letter.docx"));
}

TEST_F(CommandLine, WaitsInTheQueueForAsLongAsTheUserWants) {
    files_.make("letter.docx");
    const std::string waiting = "opcraft: letter.docx: waiting for another process that is changing the file\n";
    const std::string inUse =
        "opcraft: letter.docx: another process is changing the file; --wait SECONDS waits longer for it\n";
    const struct {
        std::string arguments;
        int milliseconds; ///< that another process takes
        int exitCode;
        std::string error;
    } cases[] = {
        {"add letter.docx /p1.xml --type a/b --wait 0", 60000, 2, inUse},
        {"add letter.docx /p1.xml --type a/b --wait 2", 60000, 2, waiting + inUse},
        {"add letter.docx /p1.xml --type a/b -o letter.docx --wait 0", 60000, 2, inUse},
        {"new letter.docx --force --wait 0", 60000, 2, inUse},
        {"add letter.docx /p1.xml --type a/b", 5000, 0, waiting},
        {"add letter.docx /p2.xml --type a/b", 200, 0, ""},
        {"add letter.docx /p3.xml --type a/b -o out.docx --wait 0", 60000, 0, ""},
        {"add letter.docx /p3.xml --type a/b -o - --wait 0", 60000, 0, ""},
        {"props letter.docx --wait 0", 60000, 0, ""},
        {"info letter.docx", 60000, 0, ""},
    };
    for (const auto& each : cases) {
        const int file = ::open((folder_ / "letter.docx").c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(::flock(file, LOCK_EX), 0);
        auto running = std::async(std::launch::async, [&] { return opcraft(each.arguments); });
        running.wait_for(std::chrono::milliseconds(each.milliseconds));
        ::close(file);
        const ProcessResult result = running.get();
        EXPECT_EQ(result.exitCode, each.exitCode) << each.arguments;
        EXPECT_EQ(result.err, each.error) << each.arguments;
    }
    EXPECT_THAT(good("info letter.docx"), HasSubstr("Parts          4\n"));
}

} // namespace
} // namespace opc::test
