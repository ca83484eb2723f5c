// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>

namespace opc::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

class Changing : public CommandLine {
protected:
    Changing() { writeZip("letter.docx", letter()); }

    std::vector<std::string> partsOf(const std::string& file) const {
        std::vector<std::string> names;
        const json parts = report({"list", file})["parts"];
        for (const json& part : parts)
            names.push_back(part["name"]);
        return names;
    }

    std::vector<std::string> idsOf(const std::string& file, const std::string& source) const {
        std::vector<std::string> ids;
        const json relationships = report({"rels", file, source})["relationships"];
        for (const json& each : relationships)
            ids.push_back(each["id"]);
        return ids;
    }
};

TEST_F(Changing, NewMakesAnEmptyPackageAndReplacesAFileOnlyByForce) {
    EXPECT_EQ(good({"new", "new.docx"}), "");
    const std::string empty = read("new.docx");
    EXPECT_EQ(good({"new", "-"}), empty);
    EXPECT_THAT(RawZipReader(readFile(folder_ / "new.docx")).names(), ElementsAre("[Content_Types].xml"));

    const std::string before = read("letter.docx");
    const ProcessResult refused = opcraft({"new", "letter.docx"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_EQ(refused.err, "opcraft: letter.docx: the file exists; --force replaces it\n");
    EXPECT_EQ(read("letter.docx"), before);
    good({"new", "letter.docx", "--force"});
    EXPECT_EQ(read("letter.docx"), empty);
}

TEST_F(Changing, AddTakesTheContentFromAFileFromTheStandardInputOrNone) {
    std::string content(300000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * i >> 3);
    write("content.bin", content);
    good({"new", "p.zip"});
    EXPECT_EQ(good({"add", "p.zip", "/file.bin", "--type", "a/b", "--from", "content.bin"}), "");
    EXPECT_EQ(good({"add", "p.zip", "/stdin.bin", "--type", "a/b", "--from", "-"}, content), "");
    EXPECT_EQ(good({"add", "p.zip", "/none.bin", "--type", "a/b"}, "not read"), "");
    EXPECT_EQ(good({"cat", "p.zip", "/file.bin"}), content);
    EXPECT_EQ(good({"cat", "p.zip", "/stdin.bin"}), content);
    EXPECT_EQ(good({"cat", "p.zip", "/none.bin"}), "");
}

TEST_F(Changing, AddEncodesWhatAPartNameCannotHold) {
    const std::pair<std::string, std::string> cases[] = {
        {"/a b.xml", "/a%20b.xml"},
        {"no/slash.xml", "/no/slash.xml"},
        {"/é#?.xml", "/%C3%A9%23%3F.xml"},
        {"/c%20d.xml", "/c%20d.xml"},
        {"/100%.xml", "/100%25.xml"},
        {"/e[1]{2}.xml", "/e%5B1%5D%7B2%7D.xml"},
        {"/f;=@:!$&'()*+,.xml", "/f;=@:!$&'()*+,.xml"},
    };
    for (const auto& [argument, name] : cases) {
        good({"new", "p.zip", "--force"});
        good({"add", "p.zip", argument, "--type", "application/xml"});
        EXPECT_THAT(partsOf("p.zip"), ElementsAre(name));
        good({"rm", "p.zip", argument});
        EXPECT_THAT(partsOf("p.zip"), ElementsAre());
    }
}

TEST_F(Changing, AddRelatesThePackageOnRequestAndPrintsTheID) {
    EXPECT_EQ(good({"add", "letter.docx", "/note.xml", "--type", "application/xml", "--rel-type", "http://note"}),
              "rId2\n");
    const json added = report({"rels", "letter.docx"})["relationships"][1];
    EXPECT_EQ(added["type"], "http://note");
    EXPECT_EQ(added["resolved"], "/note.xml");
    EXPECT_EQ(added["exists"], true);
}

TEST_F(Changing, AddCompressesAsHardAsItIsTold) {
    const std::string text(100000, 'a');
    std::vector<unsigned> methods;
    good({"new", "p.zip"});
    for (const char* level : {"none", "normal", "maximum", "fast", "Super-Fast"}) {
        const std::string name = std::string(level) + ".txt";
        good({"add", "p.zip", name, "--type", "text/plain", "--from", "-", "--compression", level}, text);
        EXPECT_EQ(good({"cat", "p.zip", name}), text);
        methods.push_back(RawZipReader(readFile(folder_ / "p.zip")).at(name).method);
    }
    EXPECT_THAT(methods, ElementsAre(0, 8, 8, 8, 8)) << "0 is stored, 8 is deflated (APPNOTE §4.4.5)";
}

TEST_F(Changing, RmRefusesAPartThatRelationshipsLeadToAndListsThem) {
    good({"relate", "letter.docx", "/", "--type", "http://t", "--target", "/WORD/styles.xml#x"});
    const std::string before = read("letter.docx");
    const ProcessResult refused = opcraft({"rm", "letter.docx", "/word/styles.xml"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.out, "SOURCE              ID     MODE      TARGET             RESOLVED            TYPE\n"
                           "/                   rId2   internal  WORD/styles.xml#x  /WORD/styles.xml#x  http://t\n"
                           "/word/document.xml  rId10  internal  styles.xml         /word/styles.xml    " +
                               officeTypes + "/styles\n");
    EXPECT_EQ(refused.err, "opcraft: letter.docx: /word/styles.xml: 2 relationships point at this part; --force "
                           "removes them too\n");
    EXPECT_EQ(read("letter.docx"), before);
    EXPECT_THAT(folder_.names(), ElementsAre("letter.docx"));

    EXPECT_EQ(good({"rm", "letter.docx", "/word/styles.xml", "--force"}), "Removed with the part:\n" + refused.out);
    EXPECT_THAT(partsOf("letter.docx"), ElementsAre("/word/document.xml"));
    EXPECT_THAT(idsOf("letter.docx", "/"), ElementsAre("rId1"));
    EXPECT_THAT(idsOf("letter.docx", "/word/document.xml"), ElementsAre("rId2", "rId3"));
}

TEST_F(Changing, RmTakesThePartItsTypeAndItsOwnRelationships) {
    good({"new", "p.zip"});
    good({"add", "p.zip", "/a.xml", "--type", "application/xml"});
    good({"add", "p.zip", "/b.xml", "--type", "text/b"});
    good({"relate", "p.zip", "/b.xml", "--type", "http://t", "--target", "#self"});
    EXPECT_EQ(good({"rm", "p.zip", "/b.xml", "--force", "-o", "q.zip"}),
              "Removed with the part:\nSOURCE  ID    MODE      TARGET  RESOLVED     TYPE\n"
              "/b.xml  rId1  internal  #self   /b.xml#self  http://t\n");
    EXPECT_EQ(good({"rm", "p.zip", "/b.xml"}), "");
    EXPECT_THAT(RawZipReader(readFile(folder_ / "p.zip")).names(), ElementsAre("[Content_Types].xml", "a.xml"));
    EXPECT_THAT(good({"cat", "p.zip", "[Content_Types].xml"}), testing::Not(HasSubstr("text/b")));
}

TEST_F(Changing, RelateAddsInternalAndExternalRelationships) {
    good({"new", "p.zip"});
    good({"add", "p.zip", "/a/b.xml", "--type", "application/xml"});
    good({"add", "p.zip", "/a/c d.xml", "--type", "application/xml"});
    const auto relate = [&](Arguments arguments) {
        arguments.insert(arguments.begin(), {"relate", "p.zip", "/a/b.xml", "--type", "http://t"});
        return good(arguments);
    };
    EXPECT_EQ(relate({"--target", "/a/c d.xml"}), "rId1\n");
    EXPECT_EQ(relate({"--target", "c d.xml#f"}), "rId2\n");
    EXPECT_EQ(relate({"--target", "c%20d.xml", "--id", "own.id"}), "own.id\n");
    EXPECT_EQ(relate({"--target", "C:\\a b\\é", "--external"}), "rId3\n");
    EXPECT_EQ(relate({"--target=-x", "--external"}), "rId4\n");
    std::string found;
    const json relationships = report({"rels", "p.zip", "/a/b.xml"})["relationships"];
    for (const json& each : relationships)
        found += each["id"].get<std::string>() + ' ' + each["mode"].get<std::string>() + ' ' +
                 each["target"].get<std::string>() + ' ' + each["exists"].dump() + '\n';
    EXPECT_EQ(found, "own.id internal c%20d.xml true\n"
                     "rId1 internal c%20d.xml true\n"
                     "rId2 internal c%20d.xml#f true\n"
                     "rId3 external C:\\a b\\é null\n"
                     "rId4 external -x null\n");
}

TEST_F(Changing, RelateWarnsOfATargetThatIsNotThere) {
    good({"new", "p.zip"});
    const ProcessResult result = opcraft({"relate", "p.zip", "/", "--type", "http://t", "--target", "/later.xml"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "rId1\n");
    EXPECT_EQ(result.err,
              "opcraft: p.zip: /later.xml: warning: the relationship leads to a part that is not in the package\n");
}

TEST_F(Changing, UnrelateTakesARelationshipAndLeavesItsTarget) {
    good({"new", "p.zip"});
    good({"add", "p.zip", "/a.xml", "--type", "application/xml", "--rel-type", "http://t"});
    EXPECT_EQ(good({"unrelate", "p.zip", "/", "rId1"}), "");
    EXPECT_EQ(good({"rels", "p.zip"}), "No relationships.\n");
    EXPECT_THAT(partsOf("p.zip"), ElementsAre("/a.xml"));
}

/// Every changing command, on the letter.
const std::vector<Arguments> changes = {
    {"add", "letter.docx", "/new.xml", "--type", "application/xml"},
    {"rm", "letter.docx", "/word/styles.xml", "--force"},
    {"relate", "letter.docx", "/", "--type", "http://t", "--target", "/word/styles.xml"},
    {"unrelate", "letter.docx", "/word/document.xml", "rId10"},
    {"props", "letter.docx", "--set", "title=A letter"},
};

const std::string signedWarning =
    "opcraft: letter.docx: warning: the package was signed, and its signatures may not hold any longer\n";

TEST_F(Changing, SavesElsewhereOrInPlaceWithTheSameResult) {
    writeZip("letter.docx", signedLetter());
    const std::string before = read("letter.docx");
    for (Arguments change : changes) {
        change.insert(change.end(), {"-o", "out.docx"});
        const ProcessResult result = opcraft(change);
        EXPECT_EQ(result.exitCode, 0) << change[0];
        EXPECT_EQ(result.err, signedWarning) << change[0];
        EXPECT_EQ(read("letter.docx"), before) << change[0] << " touched the file";
        EXPECT_NE(read("out.docx"), before) << change[0];

        change.resize(change.size() - 2);
        EXPECT_EQ(opcraft(change).exitCode, 0) << change[0];
        EXPECT_EQ(read("letter.docx"), read("out.docx")) << change[0];
        EXPECT_EQ(good({"cat", "letter.docx", ".signature.p7s"}), "signed") << change[0] << " lost an item";
        EXPECT_THAT(folder_.names(), ElementsAre("letter.docx", "out.docx")) << change[0];
        write("letter.docx", before);
    }
}

TEST_F(Changing, APackageGoesThroughStreamsUnmixedWithMessages) {
    writeZip("letter.docx", signedLetter());
    const std::string before = read("letter.docx");
    for (Arguments change : changes) {
        change.insert(change.end(), {"-o", "out.docx"});
        opcraft(change);
        change.back() = "-";
        const ProcessResult fromFile = opcraft(change);
        EXPECT_EQ(fromFile.exitCode, 0) << fromFile.err;
        EXPECT_EQ(fromFile.out, read("out.docx")) << change[0];
        EXPECT_EQ(read("letter.docx"), before);
        change[1] = "-";
        const ProcessResult fromStream = opcraft(change, {before});
        EXPECT_EQ(fromStream.out, read("out.docx")) << change[0];
        EXPECT_THAT(fromStream.err, HasSubstr("opcraft: -: warning: the package was signed"));
    }
    EXPECT_THAT(opcraft({"relate", "letter.docx", "/", "--type", "t", "--target", "/word/styles.xml", "-o", "-"}).err,
                HasSubstr("opcraft: rId2\n"));
    const ProcessResult refused = opcraft({"rm", "letter.docx", "/word/styles.xml", "-o", "-"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_THAT(refused.err, HasSubstr("rId10"));
}

TEST_F(Changing, WarnsOfXmlSignaturesButNotOfAnEmptyOrigin) {
    const std::string type = "application/vnd.openxmlformats-package.digital-signature-";
    for (const bool isSigned : {true, false}) {
        std::vector<RawItem> items{contentTypes({"sigs=" + type + "origin", "xml=" + type + "xmlsignature+xml"}),
                                   {"o.sigs", ""}};
        if (isSigned)
            items.push_back({"sig.xml", ""});
        writeZip("letter.docx", items);
        EXPECT_EQ(opcraft({"add", "letter.docx", "/n.txt", "--type", "text/plain"}).err, isSigned ? signedWarning : "");
    }
}

TEST_F(Changing, KeepsModeAndLinkOfTheFile) {
    namespace fs = std::filesystem;
    good({"new", "p.zip"});
    fs::permissions(folder_ / "p.zip", fs::perms(0640));
    fs::create_symlink("p.zip", folder_ / "link.zip");
    good({"add", "link.zip", "/a.xml", "--type", "a/b"});
    EXPECT_TRUE(fs::is_symlink(folder_ / "link.zip"));
    EXPECT_EQ(fs::status(folder_ / "p.zip").permissions(), fs::perms(0640));
    EXPECT_THAT(partsOf("p.zip"), ElementsAre("/a.xml"));
}

struct Refusal {
    Arguments arguments;
    int exitCode;
    std::string error; // without "opcraft: letter.docx: " in front and the end of the line
};

TEST_F(Changing, ARefusedChangeSaysWhyAndLeavesTheFileAsItIs) {
    const Arguments add{"add", "letter.docx"};
    const auto relate = [](const std::string& source, Arguments rest) {
        Arguments arguments{"relate", "letter.docx", source};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return arguments;
    };
    const Refusal refusals[] = {
        {{"add", "letter.docx", "/Word/STYLES.xml", "--type", "a/b"},
         2,
         "/Word/STYLES.xml: the package has a part of this name"},
        {{"add", "letter.docx", "/word", "--type", "a/b"},
         2,
         "/word: Cannot use a part name that is a subset of an existing name"},
        {{"add", "letter.docx", "/word/styles.xml/a", "--type", "a/b"},
         2,
         "/word/styles.xml/a: Cannot use a part name that is a superset of an existing name"},
        {{"add", "letter.docx", "/_rels/a.rels", "--type", "a/b"},
         2,
         "/_rels/a.rels: Cannot use a part name that is a relationship name"},
        {{"add", "letter.docx", "/", "--type", "a/b"}, 64, "/: \"/\": this names the package, not a part"},
        {{"add", "letter.docx", "/a//b", "--type", "a/b"},
         64,
         "/a//b: A part name shall not have empty segments [M1.3]"},
        {{"add", "letter.docx", "/a", "--type", "ab"},
         64,
         "/a: \"ab\": this is no content type; one looks like application/xml"},
        {{"add", "letter.docx", "/\xFF", "--type", "a/b"}, 64, "/\\xFF: \"/\\xFF\": this is not UTF-8"},
        {{"add", "letter.docx", "/a", "--type", "a/b", "--rel-type", "a b"},
         64,
         "/a: \"a b\": Relationship type is not a valid xsd::anyURI"},
        {{"rm", "letter.docx", "/no.xml"}, 2, "/no.xml: no such part; 'opcraft list' shows the parts of a package"},
        {{"rm", "letter.docx", "/_rels/.rels"},
         2,
         "/_rels/.rels: a relationships part; 'opcraft rels', 'relate' and 'unrelate' take the name of its source: /"},
        {{"rm", "letter.docx", "[trash]/0000.dat"}, 2, "/%5Btrash%5D/0000.dat: this item of the ZIP file is no part"},
        {relate("/no.xml", {"--type", "t", "--target", "/a"}), 2,
         "/no.xml: no such part; 'opcraft list' shows the parts of a package"},
        {relate("/", {"--type", "t", "--target", "/a", "--id", "rId1"}), 2, "\"rId1\": Relationship ID already exists"},
        {relate("/", {"--type", "t", "--target", "/a", "--id", "1"}), 64,
         "\"1\": Relationship ID is not a valid xsd::ID"},
        {relate("/", {"--type", "", "--target", "/a"}), 64, "\"\": Relationship type must not be empty."},
        {relate("/", {"--type", "t", "--target", "http://x/"}), 64,
         "\"http://x/\": Relationship target cannot be an absolute URI for an internal relationship; --external makes "
         "an external one"},
        {relate("/", {"--type", "t", "--target", "/_rels/.rels"}), 64,
         "\"/_rels/.rels\": Relationship target cannot be a relationship part name."},
        {relate("/word/document.xml", {"--type", "t", "--target", "/word/document.xml"}), 64,
         "/word/document.xml: \"/word/document.xml\": the target must be a part other than the source"},
        {relate("/", {"--type", "t", "--target", "//"}), 64,
         "\"//\": A part name shall start with a forward slash ('/') character [M1.4]"},
        {{"unrelate", "letter.docx", "/", "rId9"},
         2,
         "/: no relationship \"rId9\"; 'opcraft rels' shows the relationships of a source"},
        {{"unrelate", "letter.docx", "/no", "rId9"},
         2,
         "/no: no such part; 'opcraft list' shows the parts of a package"},
    };
    const std::string before = read("letter.docx");
    for (const Refusal& each : refusals)
        for (const bool isElsewhere : {false, true}) {
            Arguments arguments = each.arguments;
            if (isElsewhere)
                arguments.insert(arguments.end(), {"-o", "out.docx"});
            const ProcessResult result = opcraft(arguments);
            EXPECT_EQ(result.exitCode, each.exitCode) << testing::PrintToString(arguments);
            EXPECT_EQ(result.err, "opcraft: letter.docx: " + each.error + '\n');
            EXPECT_EQ(result.out, "");
            EXPECT_EQ(read("letter.docx"), before);
            EXPECT_THAT(folder_.names(), ElementsAre("letter.docx"));
        }
}

TEST_F(Changing, ContentThatCannotBeReadIsNamed) {
    const std::string before = read("letter.docx");
    const std::pair<std::string, std::string> cases[] = {
        {"no.xml", "opcraft: no.xml: cannot be opened: No such file or directory\n"},
        {".", "opcraft: .: cannot be read: Is a directory\n"},
    };
    for (const auto& [from, error] : cases) {
        const ProcessResult result = opcraft({"add", "letter.docx", "/a.xml", "--type", "a/b", "--from", from});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.err, error);
        EXPECT_EQ(read("letter.docx"), before);
    }
}

class Queue : public Changing {
protected:
    static Arguments add(int n, Arguments more = {}) {
        Arguments arguments{"add", "letter.docx", "/p" + std::to_string(n) + ".xml", "--type", "application/xml"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    /// Runs a command while another process changes the letter for so many milliseconds.
    ProcessResult opcraftDuring(int milliseconds, const Arguments& arguments) const {
        const int file = ::open((folder_ / "letter.docx").c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(::flock(file, LOCK_EX), 0);
        auto result = std::async(std::launch::async, [&] { return opcraft(arguments); });
        result.wait_for(std::chrono::milliseconds(milliseconds));
        ::close(file);
        return result.get();
    }
};

TEST_F(Queue, OfChangesLosesNothing) {
    std::vector<std::future<ProcessResult>> running;
    for (int n = 0; n < 12; ++n)
        running.push_back(std::async(std::launch::async, [&, n] {
            return opcraft(add(n, n % 3 == 0 ? Arguments{"-o", "./letter.docx"} : Arguments{}));
        }));
    for (auto& each : running) {
        const ProcessResult result = each.get();
        EXPECT_EQ(result.exitCode, 0) << result.err;
    }
    EXPECT_EQ(partsOf("letter.docx").size(), 2U + running.size());
    EXPECT_THAT(folder_.names(), ElementsAre("letter.docx"));
}

TEST_F(Queue, IsWaitedInForAsLongAsTheUserWants) {
    const std::string waiting = "opcraft: letter.docx: waiting for another process that is changing the file\n";
    const std::string inUse =
        "opcraft: letter.docx: another process is changing the file; --wait SECONDS waits longer for it\n";
    const struct {
        Arguments arguments;
        int milliseconds; ///< that another process takes
        int exitCode;
        std::string error;
    } cases[] = {
        {add(1, {"--wait", "0"}), 60000, 2, inUse},
        {add(1, {"--wait", "2"}), 60000, 2, waiting + inUse},
        {add(1, {"-o", "letter.docx", "--wait", "0"}), 60000, 2, inUse},
        {{"new", "letter.docx", "--force", "--wait", "0"}, 60000, 2, inUse},
        {add(1), 1500, 0, waiting},
        {add(2), 200, 0, ""},
        {add(3, {"-o", "out.docx", "--wait", "0"}), 60000, 0, ""},
        {add(3, {"-o", "-", "--wait", "0"}), 60000, 0, ""},
        {{"props", "letter.docx", "--wait", "0"}, 60000, 0, ""},
        {{"info", "letter.docx"}, 60000, 0, ""},
    };
    for (const auto& each : cases) {
        const ProcessResult result = opcraftDuring(each.milliseconds, each.arguments);
        EXPECT_EQ(result.exitCode, each.exitCode) << testing::PrintToString(each.arguments);
        EXPECT_EQ(result.err, each.error) << testing::PrintToString(each.arguments);
    }
    EXPECT_THAT(partsOf("letter.docx"), ElementsAre("/p1.xml", "/p2.xml", "/word/document.xml", "/word/styles.xml"));
    for (const std::string wrong : {"-1", "1.5", "x", ""})
        EXPECT_EQ(opcraft(add(4, {"--wait", wrong})).exitCode, 64) << wrong;
}

} // namespace
} // namespace opc::test
