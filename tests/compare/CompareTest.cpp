// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"

#include <opc/compare/Compare.hpp>
#include <opc/compare/PackageText.hpp>
#include <opc/compare/PrettyXml.hpp>
#include <opc/core/ByteArrayInAdaptor.hpp>

#include <sstream>

namespace opc::model::test {
namespace {

using compare::CompareOptions;
using compare::ContentDifference;
using compare::DifferenceKind;
using compare::DifferenceReport;
using compare::PartDifference;
using opc::test::readTable;

constexpr const char* RICH_DOCUMENT =
    "<w:document xmlns:w=\"urn:w\" xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\" "
    "xmlns:mc=\"http://schemas.openxmlformats.org/markup-compatibility/2006\" xmlns:q=\"urn:q\" xmlns:l=\"urn:l\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" mc:Ignorable=\"w\"><w:x xmlns=\"urn:d\" xsi:type=\"t\" "
    "list=\"l mc\" ids=\"z rId1\"/><mc:Choice Requires=\"q\"/><w:p w:a=\"1\" "
    "w:b=\"2\">Dear Ada</w:p><w:p/><w:pic r:id=\"rId10\" r:link=\"rId2\"/></w:document>";

CompareOptions optionsOf(const std::string& text) {
    CompareOptions options;
    std::istringstream words(text);
    for (std::string word; words >> word;)
        if (word == "ids")
            options.ignoresIds = true;
        else if (word == "order")
            options.ignoresOrder = true;
        else if (word == "core-properties")
            options.ignoresCoreProperties = true;
        else if (word == "signatures")
            options.ignoresSignatures = true;
        else if (word == "short")
            options.linesSize = 100;
        else
            options.isCompared = [word](const std::string& name) { return name == word; };
    return options;
}

std::string signOf(DifferenceKind kind) {
    return std::string(1, "+-> ~"[static_cast<int>(kind) + (kind == DifferenceKind::Changed ? 1 : 0)]);
}

std::string textOf(const PartDifference& part) {
    std::string text = signOf(part.kind) + (part.before ? part.before->name : part.after->name);
    if (part.kind == DifferenceKind::Renamed)
        text += " " + part.after->name;
    if (part.linesRemoved + part.linesAdded > 0)
        text += " -" + std::to_string(part.linesRemoved) + "+" + std::to_string(part.linesAdded);
    if (part.differsInType)
        text += " type";
    if (part.firstByte)
        text += " @" + std::to_string(*part.firstByte);
    return text + (part.reason.empty() ? "" : " (" + part.reason + ")");
}

std::string textOf(const DifferenceReport& report) {
    std::string text;
    const auto add = [&](const std::string& each) { text += (text.empty() ? "" : ", ") + each; };
    for (const auto& each : report.parts)
        add(textOf(each));
    for (const auto& each : report.relationships)
        add(signOf(each.kind) + each.source + " -> " + each.target);
    for (const auto& each : report.properties)
        add(each.name + ": " + each.before.value_or("none") + " to " + each.after.value_or("none"));
    for (const auto& each : report.items)
        add("item " + signOf(each.kind) + each.name);
    for (const auto& each : report.signatures)
        add("signature " + std::string(1, "b-+m"[static_cast<int>(each.change)]) + " " + each.reason);
    return text;
}

/// pairs.tsv: what is done to a package, and how the result differs from it.
TEST(Compare, FindsWhatDiffersInMeaning) {
    for (const Fields& row : readTable("compare/pairs.tsv")) {
        Items before = letter();
        before["word/document.xml"] = RICH_DOCUMENT;
        if (row.at(1) == "signed")
            before = Items(changed(before.toZip(), signInForm, SignatureForm::Standard));
        Items after = before;
        change(after, Fields(row.begin(), row.end() - 1), SignatureForm::Standard);
        Bytes zips[] = {before.toZip(), after.toZip()};
        const Opened old(zips[0], OpenMode::ReadOnly, SignatureForm::Standard);
        const Opened now(zips[1], OpenMode::ReadOnly, SignatureForm::Standard);
        const compare::ComparedPackage pair[] = {
            {&old.package, const_cast<storage::ZipPackage*>(&old.physical), &old.manager},
            {&now.package, const_cast<storage::ZipPackage*>(&now.physical), &now.manager}};
        const CompareOptions options = optionsOf(row.at(row.size() - 2));
        const DifferenceReport report = compare::compare(pair[0], pair[1], options);
        EXPECT_EQ(textOf(report), row.back()) << row[0];
        EXPECT_EQ(report.isEqual(), row.back().empty()) << row[0];
        EXPECT_EQ(compare::compare(pair[1], pair[0], options).isEqual(), row.back().empty()) << row[0];
    }
}

std::string pretty(const std::string& xml) {
    const Bytes bytes = opc::test::toBytes(xml);
    ByteArrayInAdaptor stream(bytes);
    std::string text;
    compare::printPretty(stream, [&](std::string_view line) { text += std::string(line) + "|"; });
    return text;
}

TEST(PrettyXml, HasALineForEachElement) {
    EXPECT_EQ(
        pretty("<a z='1' b='&lt;&quot;&#10;'><b> x </b>\n<c>y<d/>z\n</c><!--n--><?p q?><e><![CDATA[<>&]]></e></a>"),
        "<a b=\"&lt;&quot;&#10;\" z=\"1\">|  <b> x </b>|  <c>|    y|    <d/>|    z|  </c>|  <!--n-->|  <?p q?>|  "
        "<e>&lt;&gt;&amp;</e>|</a>|");
    const std::string name(60, 'n');
    EXPECT_EQ(pretty("<a xmlns:q='urn:q' q:" + name + "='1' " + name + "='2'/>"),
              "<a|    xmlns:q=\"urn:q\"|    " + name + "=\"2\"|    q:" + name + "=\"1\"/>|");
    std::string many = "<a";
    for (unsigned i = 0; i <= 100'000; ++i)
        many += " a" + std::to_string(i) + "=''";
    for (const std::string& wrong : {std::string("<a>"), std::string("<!DOCTYPE a><a/>"), std::string("<p:a/>"),
                                     std::string(), many + "/>", "<a xmlns='" + std::string(1025, 'u') + "'/>"})
        EXPECT_THROW(pretty(wrong), InvalidXMLDocument) << wrong.substr(0, 99);
}

/// Lines that no bounded search brings in line, and ones that it does: patched together, they give the second text.
TEST(Compare, ShowsLinesThatLeadFromOneTextToTheOther) {
    std::string many[] = {"<a>", "<a>"};
    for (unsigned i = 0; i < 4000; ++i)
        for (unsigned side = 0; side < 2; ++side)
            many[side] += "<b" + std::to_string((i * (side == 0 ? 2654435761U : 40503U)) % 65521 % 900) + "/>";
    const std::string texts[][2] = {{"<a><b/><c/><d/></a>", "<a><c/><x/><d/><b/></a>"},
                                    {many[0] + "</a>", many[1] + "</a>"}};
    for (const auto& [from, to] : texts) {
        Items before = letter(), after = letter();
        before["word/styles.xml"] = from;
        after["word/styles.xml"] = to;
        Bytes zips[] = {before.toZip(), after.toZip()};
        const Opened old(zips[0], OpenMode::ReadOnly), now(zips[1], OpenMode::ReadOnly);
        CompareOptions options;
        options.context = 1'000'000;
        const DifferenceReport report = compare::compare({&old.package}, {&now.package}, options);
        ASSERT_EQ(report.parts.size(), 1U);
        ASSERT_EQ(report.parts[0].hunks.size(), 1U);
        std::string first, second;
        for (const auto& [side, line] : report.parts[0].hunks[0].lines) {
            first += side == '+' ? "" : line + "|";
            second += side == '-' ? "" : line + "|";
        }
        EXPECT_EQ(first, pretty(from));
        EXPECT_EQ(second, pretty(to));
    }
}

} // namespace
} // namespace opc::model::test
