// SPDX-License-Identifier: Apache-2.0
#include "opcraft/CoverageEntry.hpp"

#include "opcraft/SignatureEntry.hpp"
#include "opcraft/Text.hpp"

#include <algorithm>

namespace opcraft {

namespace {

using nlohmann::ordered_json;
using opc::model::PartName;
using opc::model::Relationship;

/// How much is named without --explain.
constexpr std::size_t named = 20;

std::set<std::string> namesOf(const std::vector<PartName>& parts) {
    std::set<std::string> names;
    for (const PartName& part : parts)
        names.insert(toUtf8(part.toString()));
    return names;
}

std::set<LinkName> namesOf(const std::vector<Relationship>& relationships) {
    std::set<LinkName> names;
    for (const Relationship& each : relationships)
        names.emplace(toUtf8(each.getSourceURI().toString()), toUtf8(each.getID()));
    return names;
}

/// Of some things, those that are covered, those that are not, and those that need not be.
template <class Name>
void restrict(std::size_t& covered, std::set<Name>& uncovered, std::set<Name>& excepted,
              const std::set<Name>& otherUncovered, const std::set<Name>& otherExcepted) {
    const std::size_t total = covered + uncovered.size() + excepted.size();
    uncovered.insert(otherUncovered.begin(), otherUncovered.end());
    excepted.insert(otherExcepted.begin(), otherExcepted.end());
    for (const Name& name : uncovered)
        excepted.erase(name);
    covered = total - uncovered.size() - excepted.size();
}

std::vector<std::string> uncoveredNames(const CoverageEntry& coverage) {
    std::vector<std::string> names(coverage.uncoveredParts.begin(), coverage.uncoveredParts.end());
    for (const LinkName& link : coverage.uncoveredRelationships)
        names.push_back(linkText(link));
    for (const std::string& item : coverage.otherItems)
        names.push_back(item + ", which is no part");
    return names;
}

std::vector<std::string> exceptedNames(const CoverageEntry& coverage) {
    std::vector<std::string> names(coverage.exceptedParts.begin(), coverage.exceptedParts.end());
    for (const LinkName& link : coverage.exceptedRelationships)
        names.push_back(linkText(link));
    names.insert(names.end(), coverage.exceptedItems.begin(), coverage.exceptedItems.end());
    for (std::string& name : names)
        name += ": not signed, not content";
    return names;
}

std::string nameLines(const std::string& label, const std::vector<std::string>& names, bool explain) {
    const std::size_t count = explain || names.size() <= named + 1 ? names.size() : named;
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += detailLine(i == 0 ? label : "", names[i]);
    if (count < names.size())
        text += detailLine("", "and " + std::to_string(names.size() - count) + " more (--explain names all)");
    return text;
}

ordered_json toJson(const std::set<LinkName>& links) {
    ordered_json json = ordered_json::array();
    for (const LinkName& link : links)
        json.push_back({{"source", link.first}, {"id", link.second}});
    return json;
}

} // namespace

std::string linkText(const LinkName& link) {
    return "relationship " + link.second + " of " + (link.first == "/" ? "the package" : link.first);
}

CoverageEntry entryOf(const opc::model::CoverageReport& coverage) {
    CoverageEntry entry;
    entry.isComplete = coverage.isComplete();
    entry.parts = coverage.coveredParts.size();
    entry.relationships = coverage.coveredRelationships.size();
    entry.uncoveredParts = namesOf(coverage.uncoveredParts);
    entry.uncoveredRelationships = namesOf(coverage.uncoveredRelationships);
    entry.otherItems = coverage.otherItems;
    entry.exceptedParts = namesOf(coverage.exceptedParts);
    entry.exceptedRelationships = namesOf(coverage.exceptedRelationships);
    entry.exceptedItems = coverage.exceptedItems;
    entry.externalTargets = coverage.externalTargets;
    return entry;
}

void restrict(CoverageEntry& coverage, const CoverageEntry& other) {
    restrict(coverage.parts, coverage.uncoveredParts, coverage.exceptedParts, other.uncoveredParts,
             other.exceptedParts);
    restrict(coverage.relationships, coverage.uncoveredRelationships, coverage.exceptedRelationships,
             other.uncoveredRelationships, other.exceptedRelationships);
    coverage.isComplete = coverage.isComplete && other.isComplete;
}

std::string ofText(std::size_t covered, std::size_t uncovered, const std::string& noun) {
    return std::to_string(covered) + " of " + countText(covered + uncovered, noun);
}

std::string coverageText(const CoverageEntry& coverage) {
    std::string text = ofText(coverage.parts, coverage.uncoveredParts.size(), "part") + ", " +
                       ofText(coverage.relationships, coverage.uncoveredRelationships.size(), "relationship");
    if (!coverage.otherItems.empty())
        text += ", " + ofText(0, coverage.otherItems.size(), "other item");
    return text;
}

std::string uncoveredLines(const CoverageEntry& coverage, bool explain) {
    return nameLines("Not covered", uncoveredNames(coverage), explain) +
           nameLines("Not asked for", exceptedNames(coverage), explain);
}

std::string listText(const std::vector<std::string>& names) {
    const std::size_t count = std::min(names.size(), named);
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += (i == 0 ? "" : ", ") + names[i];
    if (count < names.size())
        text += " and " + std::to_string(names.size() - count) + " more";
    return text;
}

ordered_json toJson(const CoverageEntry& coverage) {
    ordered_json json;
    json["complete"] = coverage.isComplete;
    json["parts"] = coverage.parts;
    json["relationships"] = coverage.relationships;
    json["uncoveredParts"] = coverage.uncoveredParts;
    json["uncoveredRelationships"] = toJson(coverage.uncoveredRelationships);
    json["otherItems"] = coverage.otherItems;
    json["exceptedParts"] = coverage.exceptedParts;
    json["exceptedRelationships"] = toJson(coverage.exceptedRelationships);
    json["exceptedItems"] = coverage.exceptedItems;
    json["externalTargets"] = coverage.externalTargets;
    return json;
}

} // namespace opcraft
