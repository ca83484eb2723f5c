// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"

#include <gmock/gmock.h>

namespace opc::test {

namespace {

using testing::HasSubstr;

/// The option that bounds what a package may cost.
class LimitOption : public CommandLine {
protected:
    void SetUp() override { writeZip("letter.docx", letter()); }
};

} // namespace

TEST_F(LimitOption, BoundsWhatACommandTakes) {
    const struct {
        Arguments command;
        std::string sufficient;
        std::string limit;
        std::string reason;
    } cases[] = {
        {{"list", "letter.docx"}, "items=6", "items=5", "the file has more items than 5 (limit items)"},
        {{"info", "letter.docx"}, "name-length=28", "name-length=27", "a name of more bytes than 27"},
        {{"cat", "letter.docx", "/word/document.xml"}, "item-size=1K", "item-size=10", "(limit item-size)"},
        {{"cat", "letter.docx", "/word/document.xml"}, "total-size=1M", "total-size=1", "(limit total-size)"},
        {{"rels", "letter.docx"}, "xml-size=2K", "xml-size=100", "XML content is larger than 100 bytes"},
        {{"unrelate", "letter.docx", "/", "rId1", "-o", "out.docx"}, "xml-depth=2", "xml-depth=1", "nested deeper"},
        {{"info", "letter.docx"}, "xml-nodes=1K", "xml-nodes=10", "XML content has more than 10 nodes"},
        {{"props", "letter.docx"}, "items=1T", "items=0", "(limit items)"},
    };
    for (const auto& test : cases) {
        Arguments arguments = test.command;
        arguments.insert(arguments.end(), {"--limit", test.sufficient});
        good(arguments);
        arguments.insert(arguments.end(), {"--limit", test.limit}); // the last one counts
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, 2) << test.limit;
        EXPECT_THAT(result.err, HasSubstr(test.reason));
        EXPECT_THAT(result.err, testing::StartsWith("opcraft: letter.docx: "));
    }
    const std::string zeros((64U << 20) + 1, '\0');
    std::vector<RawItem> items = letter();
    items.push_back({"word/bomb.xml", zeros});
    writeZip("bomb.docx", items);
    const ProcessResult refused = opcraft({"cat", "bomb.docx", "word/bomb.xml"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_THAT(refused.err, HasSubstr("word/bomb.xml: more bytes come out for one compressed byte than 250"));
    EXPECT_TRUE(good({"cat", "bomb.docx", "word/bomb.xml", "--limit", "ratio=1032"}) == zeros);
}

TEST_F(LimitOption, TakesOnlyWhatItKnows) {
    const std::string names = "items, item-size, total-size, ratio, name-length, xml-size, xml-depth, xml-nodes";
    const std::string end = "; 'opcraft list --help' explains\n";
    for (const std::string text : {"items", "size=5", "=5", "ITEMS=5", "\"items=5"})
        EXPECT_EQ(opcraft({"list", "letter.docx", "--limit", text}).err,
                  "opcraft: --limit: \"" + text + "\" is no NAME=VALUE with a NAME of " + names + end);
    for (const std::string value : {"", "-1", "x", "5x", "5KK", "5 K", "1.5G", "99999999999999999999", "99999999T"}) {
        const ProcessResult result = opcraft({"list", "letter.docx", "--limit", "items=" + value});
        EXPECT_EQ(result.exitCode, 64);
        EXPECT_EQ(result.err, "opcraft: --limit: \"items=" + value +
                                  "\" has a VALUE that is no number, or one that is too large" + end);
    }
    EXPECT_EQ(opcraft({"new", "x.docx", "--limit", "items=5"}).exitCode, 64) << "nothing is opened";
}

} // namespace opc::test
