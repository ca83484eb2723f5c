// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"

#include <opc/lint/Lint.hpp>

#include <algorithm>
#include <fstream>
#include <map>

namespace opc::model::test {
namespace {

using opc::test::readTable;

const char* nameOf(Severity severity) {
    constexpr const char* names[] = {"error", "warning", "note"};
    return names[static_cast<int>(severity)];
}

/// A package without a finding.
Items goodPackage() {
    Items items = letter();
    boost::replace_all(items["word/_rels/document.xml.rels"], "urn:link",
                       "http://schemas.openxmlformats.org/officeDocument/2006/relationships/hyperlink");
    return items;
}

std::string textOf(const std::vector<Finding>& findings) {
    std::string text;
    for (const Finding& each : findings)
        text += (text.empty() ? "" : ", ") + std::string(getRule(each.rule).name) +
                (each.place.item.empty() ? "" : " " + each.place.item) +
                (each.place.line == 0 ? "" : ":" + std::to_string(each.place.line));
    return text;
}

std::vector<Finding> examine(Bytes zip, const lint::Options& options = {}) {
    storage::ZipPackage store(zip);
    return lint::examine(store, options);
}

bool opensStrictly(Bytes zip) {
    try {
        storage::ZipPackage store(zip);
        Package(store).open(OpenMode::ReadOnly);
        return true;
    } catch (const Exception&) {
        return false;
    }
}

TEST(Lint, FindsWhatIsWrongAndNothingElse) {
    for (const Fields& row : readTable("lint/witnesses.tsv")) {
        if (row.at(1) == "storage")
            continue;
        Items items = goodPackage();
        change(items, row, SignatureForm::Standard);
        const Bytes zip = items.toZip();
        const std::vector<Finding> findings = examine(zip);
        EXPECT_EQ(textOf(findings), row.back()) << row[0];
        const bool isBlocked =
            std::any_of(findings.begin(), findings.end(), [](const Finding& each) { return each.blocks; });
        EXPECT_EQ(opensStrictly(zip), !isBlocked) << row[0];
        for (const Finding& each : findings)
            EXPECT_EQ(textOf(examine(zip, {{}, true, {each.rule}})).find(getRule(each.rule).name), 0) << row[0];
    }
}

/// What breaks each rule: the first row that expects it first, or else the first that expects it.
std::map<std::string, std::string> witnesses() {
    std::map<std::string, std::string> found;
    for (const bool takesAll : {false, true})
        for (const Fields& row : readTable("lint/witnesses.tsv"))
            for (std::istringstream findings(row.back()); !findings.eof();) {
                std::string finding;
                std::getline(findings >> std::ws, finding, ',');
                found.emplace(finding.substr(0, finding.find(' ')), row.front());
                if (!takesAll)
                    break;
            }
    return found;
}

TEST(Lint, IsDocumentedRuleByRuleWithWitnesses) {
    const auto found = witnesses();
    std::string expected;
    for (const Rule& rule : getAllRules()) {
        const auto witness = found.find(rule.name);
        EXPECT_NE(witness, found.end()) << rule.name << " has no witness";
        if (witness != found.end())
            expected += "| `" + std::string(rule.name) + "` | " + nameOf(rule.severity) + " | " + rule.summary + " | " +
                        witness->second + " | " + rule.remedy + " |\n";
    }
    std::ifstream stream(OPCRAFT_TESTS "/../docs/lint.md");
    std::string documented;
    for (std::string line; std::getline(stream, line);)
        if (line.starts_with("| `"))
            documented += line + '\n';
    EXPECT_EQ(documented, expected);
}

} // namespace
} // namespace opc::model::test
