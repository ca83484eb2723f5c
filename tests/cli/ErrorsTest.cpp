// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"

#include <gmock/gmock.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const char* const commands[] = {"info",   "list",       "rels",        "cat",   "new",       "add",
                                "rm",     "relate",     "unrelate",    "props", "thumbnail", "sign",
                                "verify", "signatures", "countersign", "unsign"};

class Errors : public CommandLine {
protected:
    Errors() { writeZip("letter.docx", letter()); }

    /// One line on the standard error stream, which names the tool, and nothing of C++.
    static void expectOneLine(const ProcessResult& result) {
        EXPECT_THAT(result.err, StartsWith("opcraft: "));
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        EXPECT_THAT(result.err, Not(HasSubstr("Exception")));
        EXPECT_THAT(result.err, Not(HasSubstr("opc::")));
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.signal, 0);
    }
};

TEST_F(Errors, HelpShowsEveryCommandWithAnExample) {
    const std::string help = good({"--help"});
    for (const std::string command : commands) {
        EXPECT_THAT(help, HasSubstr("\n  " + command + " ")) << command;
        const std::string ofCommand = good({command, "--help"});
        EXPECT_THAT(ofCommand, HasSubstr("Example")) << command;
        EXPECT_THAT(ofCommand, HasSubstr("\n  opcraft " + command + " ")) << command;
        EXPECT_EQ(good({command, "-h", "letter.docx"}), ofCommand) << command;
    }
    EXPECT_THAT(good({"--version"}), testing::MatchesRegex("opcraft [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Errors, WrongUsageExitsWith64AndSaysWhereHelpIs) {
    const std::pair<Arguments, std::string> cases[] = {
        {{}, "a command is required; 'opcraft --help' explains"},
        {{"nothing", "letter.docx"}, "nothing: there is no such command or option; 'opcraft --help' explains"},
        {{"--nothing"}, "--nothing: there is no such command or option; 'opcraft --help' explains"},
        {{"info"}, "FILE is required; 'opcraft info --help' explains"},
        {{"info", "letter.docx", "more"},
         "The following argument was not expected: more; 'opcraft info --help' explains"},
        {{"list", "letter.docx", "--bare"},
         "The following argument was not expected: --bare; 'opcraft list --help' explains"},
        {{"info", "letter.docx", "--json=no"},
         "json was given a disallowed flag override; 'opcraft info --help' explains"},
        {{"rels", "letter.docx", "/", "--all"}, "PART excludes --all; 'opcraft rels --help' explains"},
        {{"cat", "letter.docx"}, "ITEM is required; 'opcraft cat --help' explains"},
        {{"add", "letter.docx", "/a.xml"}, "--type is required; 'opcraft add --help' explains"},
        {{"add", "letter.docx", "/a", "--type", "a/b", "--compression", "most"},
         "--compression: most not in {fast,maximum,none,normal,super-fast}; 'opcraft add --help' explains"},
        {{"relate", "letter.docx", "/", "--type", "t"}, "--target is required; 'opcraft relate --help' explains"},
        {{"unrelate", "letter.docx", "/"}, "ID is required; 'opcraft unrelate --help' explains"},
        {{"info", ""}, "\"\": this names no file"},
        {{"new", ""}, "FILE: must not be empty; 'opcraft new --help' explains"},
        {{"rm", "letter.docx", "/a", "-o", ""}, "--output: must not be empty; 'opcraft rm --help' explains"},
        {{"rels", "letter.docx", ""}, "PART: must not be empty; 'opcraft rels --help' explains"},
        {{"add", "letter.docx", "/a", "--type", "a/b", "--from", ""},
         "--from: must not be empty; 'opcraft add --help' explains"},
        {{"add", "letter.docx", "/a", "--type", "a/b", "--rel-type", ""},
         "--rel-type: must not be empty; 'opcraft add --help' explains"},
        {{"relate", "letter.docx", "/", "--type", "t", "--target", "a", "--id", ""},
         "--id: must not be empty; 'opcraft relate --help' explains"},
        {{"rm", "-", "/a"}, "-: this cannot be changed in place; name a file with -o"},
        {{"add", "-", "/a", "--type", "a/b", "--from", "-", "-o", "out"},
         "-: FILE and --from cannot both be the standard input"},
        {{"rels", "letter.docx", "/a/"},
         "letter.docx: /a/: A part name shall not have a forward slash as the last character [M1.5]"},
    };
    const std::string before = read("letter.docx");
    for (const auto& [arguments, error] : cases) {
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(result.err, "opcraft: " + error + '\n');
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(read("letter.docx"), before);
    EXPECT_THAT(folder_.names(), ElementsAre("letter.docx"));
}

/// An OLE2 compound file of a header, a table, and a directory of two sectors, the second of which names a stream.
std::string compoundFile(const std::string& stream) {
    std::string file(4 * 512, '\0');
    const auto put = [&](std::size_t place, std::initializer_list<int> bytes) {
        std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(place));
    };
    put(0, {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1});
    put(30, {9});                                       // sectors of 512 bytes
    put(48, {1});                                       // the directory begins in sector 1
    put(512 + 4, {2, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF}); // and goes on in sector 2
    const std::size_t root = 2 * 512;
    put(root + 68, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 3}); // no neighbours, and a first child
    const std::size_t child = root + 3 * 128;
    put(child + 68, {4, 0, 0, 0, 3, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}); // one neighbour is the stream, one a loop
    const std::size_t entry = root + 4 * 128;
    for (std::size_t i = 0; i < stream.size(); ++i)
        file[entry + 2 * i] = stream[i];
    put(entry + 64, {static_cast<int>(2 * stream.size() + 2)});
    return file;
}

std::string zipText(const std::vector<RawItem>& items) {
    const auto bytes = makeZip(items);
    return {bytes.begin(), bytes.end()};
}

TEST_F(Errors, InputThatIsNoPackageExitsWith2ForEveryCommand) {
    const std::string whole = read("letter.docx");
    write("half.docx", whole.substr(0, whole.size() / 2));
    fs::create_directory(folder_ / "folder.docx");
    struct NoPackage {
        std::string file;
        std::string error;
        std::string content{}; // that is written before
    };
    const std::string compound = "an OLE2 compound file (";
    const std::string noTypes = ", not a package: no item \"[Content_Types].xml\"";
    const NoPackage cases[] = {
        {"empty.docx", "an empty file, not a package"},
        {"missing.docx", "cannot be opened: No such file or directory"},
        {"folder.docx", "cannot be opened: Is a directory"},
        {"half.docx", "a ZIP file whose end is missing"},
        {"text.docx", "not a ZIP file", "This is a letter, not a package.\n"},
        {"letter.pdf", "a PDF document, not a package", "%PDF-1.7\n"},
        {"page.docx", "an HTML page, not a package", "<!DOCTYPE html><title>Log in</title>"},
        {"locked.docx", compound + "an encrypted Office document), not a package", compoundFile("EncryptedPackage")},
        {"old.doc", compound + "a Word document in the old binary format), not a package",
         compoundFile("WordDocument")},
        {"mail.msg", compound + "an encrypted or an old Office document), not a package", compoundFile("__nameid")},
        {"cut.doc", compound + "an encrypted or an old Office document), not a package",
         compoundFile("WordDocument").substr(0, 100)},
        {"letter.odt", "an OpenDocument file (\"application/vnd.oasis.opendocument.text\")" + noTypes,
         zipText({{"mimetype", "application/vnd.oasis.opendocument.text", 0}, {"META-INF/MANIFEST.MF", ""}})},
        {"book.epub", "a ZIP file of the type \"application/epub+zip\"" + noTypes,
         zipText({{"mimetype", "application/epub+zip\n", 0}})},
        {"program.jar", "a Java archive (JAR)" + noTypes, zipText({{"META-INF/MANIFEST.MF", ""}})},
        {"plain.zip", "a ZIP file" + noTypes, zipText({{"a.txt", "a"}})},
    };
    for (const NoPackage& each : cases)
        if (!each.content.empty())
            write(each.file, each.content);
    write("empty.docx", std::string());
    const auto names = folder_.names();
    for (const auto& [file, error, content] : cases)
        for (const Arguments& arguments :
             {Arguments{"info", file}, Arguments{"list", file, "--json"}, Arguments{"rels", file},
              Arguments{"cat", file, "/a"}, Arguments{"add", file, "/a", "--type", "a/b"}, Arguments{"rm", file, "/a"},
              Arguments{"relate", file, "/", "--type", "t", "--target", "/a"}, Arguments{"unrelate", file, "/", "a"},
              Arguments{"verify", file}, Arguments{"signatures", file, "--json"}, Arguments{"unsign", file, "--all"}}) {
            const ProcessResult result = opcraft(arguments);
            EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(arguments);
            EXPECT_EQ(result.err, "opcraft: " + file + ": " + error + '\n');
            expectOneLine(result);
        }
    EXPECT_EQ(folder_.names(), names);

    const ProcessResult result = opcraft({"info", "-"}, {"This is no package."});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "opcraft: -: not a ZIP file\n");
}

struct BrokenPackage {
    std::vector<RawItem> items;
    std::string place; // that the error names; empty for none
    std::string reason;
};

TEST_F(Errors, ABrokenPackageNamesThePartThatIsWrong) {
    const RawItem types = contentTypes({"xml=application/xml"});
    const RawItem part{"a.xml", ""};
    const std::string core = packageTypes + "/metadata/core-properties";
    const auto rels = [&](const std::string& last) { // 502 lines, of which the last one is wrong
        std::string xml = "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>\n";
        for (int i = 1; i <= 500; ++i)
            xml += "<Relationship Id='rId" + std::to_string(i) + "' Type='t' Target='a.xml'/>\n";
        return std::vector<RawItem>{types, part, {"_rels/.rels", xml + last + "</Relationships>"}};
    };
    const auto override = [&](const std::string& attributes) {
        return std::vector<RawItem>{
            {"[Content_Types].xml", "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>\n"
                                    "<Override " +
                                        attributes + "/>\n</Types>"}};
    };
    const BrokenPackage cases[] = {
        {{part}, "", "a ZIP file, not a package: no item \"[Content_Types].xml\""},
        {{{"[Content_Types].xml", "<no types"}, part}, "[Content_Types].xml", ""},
        {{{"[Content_Types].xml", "<Types/>"}, part}, "[Content_Types].xml", ""},
        {{contentTypes({"xml=none"}), part}, "[Content_Types].xml", ""},
        {{types, {"_rels/.rels", "<no rels"}}, "/_rels/.rels", ""},
        {{types, part, {"_rels/a.xml.rels", "<Relationships/>"}}, "/_rels/a.xml.rels", ""},
        {{types, part, relationships("_rels/a.xml.rels", {{"a", "", "b.xml"}})},
         "/_rels/a.xml.rels, line ",
         "Type is empty, <Relationship> Id \"a\", Type \"\""},
        {rels("<Relationship Id='x' Typ='t' Target='a.xml'/>"), "/_rels/.rels, line 502, column 46: ",
         "attribute 'Typ' is not declared for element 'Relationship', <Relationship> Id \"x\", Typ \"t\""},
        {rels("<Relationship Id='x' Type='t' Target='a.xml '/>"), "/_rels/.rels, line 502, column 48: ",
         "Target is not a valid URI for an internal relationship, <Relationship> Id \"x\", Target \"a.xml \""},
        {rels("<Relationship Id='rId7' Type='t' Target='x'/>"),
         "/_rels/.rels, line 502, column 46: ", "ID value 'rId7' is not unique, <Relationship> Id \"rId7\""},
        {rels("<Relationship Id='x' Type='t' Target='a&b'/>"),
         "/_rels/.rels, line 502, column 42: ", "unterminated entity reference 'b', <Relationships>"},
        {rels("<Relationship Id='x'"), "/_rels/.rels, line 502, column ", ", <Relationships>"},
        {override("PartName='/a b' ContentType='a/b'"),
         "[Content_Types].xml, line 2, column 46: ", "PartName is not a valid part name, <Override> PartName \"/a b\""},
        {override("PartName='/a' ContentType='ab'"),
         "[Content_Types].xml, line 2, column 43: ", "pattern of ST_ContentType, <Override> ContentType \"ab\""},
        {{types, part, relationships("x/_rels/B.xml.rels", {{"a", "t", "a.xml"}})},
         "/x/_rels/B.xml.rels",
         "holds the relationships of a part that is not in the package"},
        {{types, part, relationships("_rels/.rels", {{"a", core, "a.xml"}, {"b", core, "a.xml"}})},
         "/_rels/.rels",
         "No more than one core properties relationship can exist in a package"},
        {{types, {"A.xml", ""}, part}, "", "the items \"A.xml\" and \"a.xml\" are the same part"},
    };
    for (const BrokenPackage& each : cases) {
        writeZip("p.zip", each.items);
        const ProcessResult result = opcraft({"list", "p.zip"});
        EXPECT_EQ(result.exitCode, 2) << result.out;
        EXPECT_THAT(result.err, StartsWith("opcraft: p.zip: " + each.place));
        EXPECT_THAT(result.err, EndsWith(each.reason + '\n'));
        EXPECT_TRUE(each.place.empty() || result.err.find(each.place) == result.err.rfind(each.place))
            << "named twice: " << result.err;
        expectOneLine(result);
    }
}

TEST_F(Errors, ADamagedItemIsNamedAndTheOthersStayReadable) {
    writeZip("p.zip", {contentTypes({"xml=a/b"}),
                       {"a.xml", "checksum", 8, 0, 1},
                       {"b.xml", "locked with a password", 0, 1},
                       {"c.xml", "method", 97},
                       {"d.xml", "sound"}});
    EXPECT_EQ(good({"cat", "p.zip", "/d.xml"}), "sound");
    EXPECT_THAT(good({"list", "p.zip"}), HasSubstr("/c.xml"));
    const std::pair<std::string, std::string> damaged[] = {
        {"a.xml", "the content is damaged: its checksum is wrong"},
        {"b.xml", "the content is encrypted"},
        {"c.xml", "the compression method is not supported"},
    };
    for (const auto& [item, reason] : damaged) {
        const ProcessResult result = opcraft({"cat", "p.zip", item});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.err, "opcraft: p.zip: " + item + ": " + reason + '\n');
    }
}

TEST_F(Errors, AResultThatCannotBeWrittenExitsWith2AndOneThatNobodyReadsBySignal) {
    const std::string before = read("letter.docx");
    const std::string start = "opcraft: standard output: cannot be written: ";
    struct Case {
        Output output;
        int signal;
        std::string error;
    };
    for (const Case& each :
         {Case{Output::Full, 0, start + "No space left on device\n"}, Case{Output::Broken, SIGPIPE, ""},
          Case{Output::Closed, 0, start + "Bad file descriptor\n"}})
        for (const Arguments& arguments :
             {Arguments{"--help"}, Arguments{"add", "--help"}, Arguments{"--version"}, Arguments{"info", "letter.docx"},
              Arguments{"list", "letter.docx", "--json"}, Arguments{"rels", "letter.docx"},
              Arguments{"cat", "letter.docx", "/word/document.xml"}, Arguments{"new", "-"},
              Arguments{"rm", "letter.docx", "/word/styles.xml"},
              Arguments{"unrelate", "letter.docx", "/", "rId1", "-o", "-"}}) {
            ProcessOptions options;
            options.output = each.output;
            const ProcessResult result = opcraft(arguments, options);
            EXPECT_EQ(result.exitCode, each.signal == 0 ? 2 : -1) << testing::PrintToString(arguments);
            EXPECT_EQ(result.err, each.error);
            EXPECT_EQ(result.signal, each.signal);
        }
    EXPECT_EQ(read("letter.docx"), before);

    ProcessOptions unread;
    unread.output = Output::Broken;
    const Arguments relate{"relate", "letter.docx", "/", "--type", "http://t", "--target", "/word/styles.xml"};
    EXPECT_EQ(opcraft(relate, unread).signal, SIGPIPE);
    EXPECT_THAT(good({"rels", "letter.docx"}), HasSubstr("rId2")) << "saved before its ID was not read";
}

TEST_F(Errors, AClosedStandardInputIsNotTakenForTheFileThatIsOpenedFirst) {
    ProcessOptions options;
    options.closedInput = true;
    const std::string before = read("letter.docx");
    for (const Arguments& arguments :
         {Arguments{"info", "-"}, Arguments{"add", "letter.docx", "/a.xml", "--type", "a/b", "--from", "-"}}) {
        const ProcessResult result = opcraft(arguments, options);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.err, "opcraft: -: cannot be read: Bad file descriptor\n");
    }
    EXPECT_EQ(read("letter.docx"), before);
}

TEST_F(Errors, AFileThatCannotBeWrittenIsNamedAndTheOldOneStays) {
    fs::create_directory(folder_ / "folder");
    const std::pair<std::string, std::string> cases[] = {
        {"no/such/out.docx", "No such file or directory"},
        {"folder", "Is a directory"},
        {"/dev/full", "this is no regular file"},
    };
    const std::string before = read("letter.docx");
    for (const auto& [output, reason] : cases) {
        const ProcessResult result = opcraft({"unrelate", "letter.docx", "/", "rId1", "-o", output});
        EXPECT_EQ(result.exitCode, 2) << output;
        EXPECT_THAT(result.err, StartsWith("opcraft: " + output + ": "));
        EXPECT_THAT(result.err, EndsWith(reason + '\n'));
        EXPECT_EQ(result.err.find(": /", 9), std::string::npos) << "named once: " << result.err;
        expectOneLine(result);
        EXPECT_EQ(read("letter.docx"), before);
    }
    EXPECT_THAT(opcraft({"new", "no/such/new.docx"}).err, StartsWith("opcraft: no/such/new.docx: "));
}

TEST_F(Errors, ARefusedPermissionIsTold) {
    ProcessOptions nobody;
    if (::geteuid() == 0) {
        // Root may do everything, so another user tries.
        nobody.user = 65534;
        fs::permissions(folder_.path(), fs::perms(0755));
        if (opcraft({"--version"}, nobody).exitCode != 0)
            GTEST_SKIP() << "the built program cannot be run by another user";
    }
    const std::string before = read("letter.docx");
    fs::permissions(folder_ / "letter.docx", fs::perms::none);
    const ProcessResult reading = opcraft({"info", "letter.docx"}, nobody);
    EXPECT_EQ(reading.exitCode, 2);
    EXPECT_EQ(reading.err, "opcraft: letter.docx: cannot be opened: Permission denied\n");

    fs::permissions(folder_ / "letter.docx", fs::perms(0444));
    const ProcessResult changing = opcraft({"unrelate", "letter.docx", "/", "rId1"}, nobody);
    EXPECT_EQ(changing.exitCode, 2);
    EXPECT_THAT(changing.err, StartsWith("opcraft: letter.docx: "));
    EXPECT_THAT(changing.err, EndsWith("Permission denied\n"));
    expectOneLine(changing);
    EXPECT_EQ(read("letter.docx"), before);
    EXPECT_THAT(folder_.names(), ElementsAre("letter.docx"));

    fs::permissions(folder_.path(), fs::perms(0777));
    EXPECT_EQ(opcraft({"unrelate", "letter.docx", "/", "rId1", "-o", "out.docx"}, nobody).err, "");
    EXPECT_EQ(good({"rels", "out.docx"}), "No relationships.\n") << "a read-only file can be changed into another";
    EXPECT_EQ(read("letter.docx"), before);
}

TEST_F(Errors, ShowsProgressOnATerminalAfterASecondAndTakesItAway) {
    ProcessOptions options;
    options.input = "content";
    options.terminal = true;
    options.inputDelay = 2500;
    good({"new", "p.zip"});
    const ProcessResult slow = opcraft({"add", "p.zip", "/a.xml", "--type", "a/b", "--from", "-"}, options);
    EXPECT_EQ(slow.exitCode, 0);
    EXPECT_THAT(slow.err, StartsWith("\r\033[Kopcraft: p.zip: working, 1 s\r\033[K"));
    EXPECT_THAT(slow.err, EndsWith(" s\r\033[K"));
    options.inputDelay = 0;
    EXPECT_EQ(opcraft({"--version"}, options).err, "") << "quick work needs no progress";
}

} // namespace
} // namespace opc::test
