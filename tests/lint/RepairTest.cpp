// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"

#include <opc/lint/Repair.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>

#include <sstream>

namespace opc::model::test {
namespace {

using lint::RepairOptions;
using lint::RepairPlan;
using opc::test::RawItem;
using opc::test::readTable;
using Take = storage::ZipOptions::Take;

RepairOptions optionsOf(const std::string& text) {
    RepairOptions options;
    std::istringstream words(text);
    for (std::string word; words >> word;)
        if (const Rule* rule = findRule(word))
            options.only.insert(rule->id);
        else if (word == "break")
            options.breaksSignatures = true;
        else
            options.take = word == "first" ? lint::Duplicate::First : lint::Duplicate::Last;
    return options;
}

storage::ZipOptions storeOptions(const RepairOptions& options) {
    storage::ZipOptions store;
    if (options.take)
        store.take = *options.take == lint::Duplicate::First ? Take::First : Take::Last;
    return store;
}

std::string textOf(const RepairPlan& plan) {
    std::string text;
    for (const lint::RepairStep& each : plan.steps)
        text += (text.empty() ? "" : ", ") + std::string(getRule(each.finding.rule).name) + " " +
                each.finding.place.item + (each.applies ? "" : "?");
    for (const std::string& each : plan.brokenSignatures)
        if (plan.applies())
            text += "; breaks " + each;
    return text;
}

RepairPlan plan(Bytes zip, const RepairOptions& options) {
    storage::ZipPackage store(zip, storeOptions(options));
    return lint::planRepair(store, options);
}

/// Repairs, and does it again.
/// @return the repaired bytes.
Bytes repaired(const Bytes& zip, const RepairOptions& options, const std::string& what) {
    Bytes once = zip;
    storage::ZipPackage store(once, storeOptions(options));
    const RepairPlan done = lint::applyRepair(store, options);
    EXPECT_EQ(textOf(done), textOf(plan(zip, options))) << what;
    EXPECT_EQ(done.applies(), once != zip) << what;
    Bytes twice = once;
    storage::ZipPackage again(twice, storeOptions(options));
    EXPECT_FALSE(lint::applyRepair(again, options).applies()) << what;
    EXPECT_EQ(twice, once) << what;
    return once;
}

Items packageOf(const Fields& row) {
    Items items = letter();
    if (row.at(1) == "office")
        replaceIn(items["[Content_Types].xml"], "<Override",
                  "<Override PartName=\"/word/document.xml\" ContentType=\"application/"
                  "vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml\"/><Override");
    change(items, Fields(row.begin(), row.end() - 2), SignatureForm::Standard);
    return items;
}

TEST(Repair, DoesWhatItSaysAndIsDoneThen) {
    for (const Fields& row : readTable("lint/repairs.tsv")) {
        const RepairOptions options = optionsOf(row.at(row.size() - 3));
        const Bytes zip = packageOf(row).toZip();
        EXPECT_EQ(textOf(plan(zip, options)), row.at(row.size() - 2)) << row[0];
        const Bytes after = repaired(zip, options, row[0]);
        if (row.back().empty())
            continue;
        const std::size_t colon = row.back().find(": ");
        const std::string content = Items(after)[row.back().substr(0, colon)]; // which opens it strictly
        EXPECT_NE(content.find(row.back().substr(colon + 2)), std::string::npos) << row[0] << ": " << content;
    }
}

std::vector<RawItem> rawLetter() {
    std::vector<RawItem> raw;
    for (const auto& [name, content] : letter().byName())
        raw.push_back({name, content});
    return raw;
}

/// What only the bytes of the file show: duplicate items, two archives, and what is in front of one.
TEST(Repair, DeletesOnlyWhatIsChosen) {
    std::vector<RawItem> twice = rawLetter();
    twice.push_back({"word/styles.xml", "<other/>"});
    const std::string one = opc::test::rawZip(rawLetter());
    const std::string other = opc::test::rawZip({{"a.txt", "x"}});
    const struct {
        std::string zip, options, steps, styles;
    } rows[] = {
        {opc::test::rawZip(twice), "", "M3.3 word/styles.xml?", ""},
        {opc::test::rawZip(twice), "first", "M3.3 word/styles.xml", "<styles/>"},
        {opc::test::rawZip(twice), "last", "M3.3 word/styles.xml", "<other/>"},
        {opc::test::rawZip(rawLetter(), "", "#!/bin/sh\n"), "", "zip-hidden-data ?", ""},
        {opc::test::rawZip(rawLetter(), "", "#!/bin/sh\n"), "zip-hidden-data", "zip-hidden-data ", "<styles/>"},
        {"junk" + one, "", "zip-end-record ?", ""},
        {"junk" + one, "zip-end-record", "zip-end-record ", "<styles/>"},
        {other + one, "last", "zip-end-record ", "<styles/>"},
        {one + other, "first", "zip-end-record ", "<styles/>"},
    };
    for (const auto& row : rows) {
        const RepairOptions options = optionsOf(row.options);
        EXPECT_EQ(textOf(plan(toBytes(row.zip), options)), row.steps);
        const Bytes after = repaired(toBytes(row.zip), options, row.steps);
        if (row.styles.empty())
            continue;
        EXPECT_EQ(Items(after)["word/styles.xml"], row.styles) << row.steps;
    }
}

/// The errors that are left have reasons, and no other store is taken.
TEST(Repair, SaysWhyItMendsNothing) {
    Items items = letter();
    replaceIn(items["word/_rels/document.xml.rels"], "Target=\"styles.xml\"", "Target=\"mailto:ada\"");
    replaceIn(items["word/_rels/document.xml.rels"], "Id=\"rId3\"", "Id=\"rId1\"");
    items["word/document.xml"] = "<a id='rId1'/>";
    const RepairPlan found = plan(items.toZip(), {});
    ASSERT_EQ(found.left.size(), 1U);
    EXPECT_EQ(found.explain(found.left[0]), "nothing is known that mends it without guessing");
    EXPECT_EQ(found.explain(found.steps.at(0).finding), "the source refers to \"rId1\"");
    storage::MemoryPackage other;
    EXPECT_THROW(lint::planRepair(other, {}), Exception);
}

} // namespace
} // namespace opc::model::test
