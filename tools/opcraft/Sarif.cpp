// SPDX-License-Identifier: Apache-2.0
#include "opcraft/LintReport.hpp"

#include <algorithm>

namespace opcraft {

namespace {

using opc::Rule;
using opc::RuleId;

/// The rules that findings break, each once, in their order.
std::vector<RuleId> rulesOf(const std::vector<LintedFile>& files) {
    std::set<RuleId> rules;
    for (const LintedFile& file : files)
        for (const LintFinding& finding : file.findings)
            rules.insert(finding.rule);
    return {rules.begin(), rules.end()};
}

Json message(const std::string& text) {
    return {{"text", text}};
}

Json descriptorOf(RuleId id) {
    const Rule& rule = opc::getRule(id);
    return {{"id", rule.name},
            {"shortDescription", message(rule.summary)},
            {"fullDescription", message(rule.summary)},
            {"help", message(rule.remedy)},
            {"defaultConfiguration", {{"level", nameOf(rule.severity)}}},
            {"properties", {{"tags", {rule.subject}}}}};
}

/// The item, or the element in it.
Json logicalLocation(const opc::ErrorPlace& place) {
    if (place.element.empty())
        return {{"name", place.item}, {"fullyQualifiedName", place.item}, {"kind", "resource"}};
    const std::string name = place.element + (place.id.empty() ? "" : "[@Id='" + place.id + "']");
    return {{"name", name}, {"fullyQualifiedName", place.item + '#' + name}, {"kind", "element"}};
}

/// Services that show results need a line; a package has but one.
Json locationOf(const std::string& uri, const opc::ErrorPlace& place) {
    Json location = {{"physicalLocation", {{"artifactLocation", {{"uri", uri}}}, {"region", {{"startLine", 1}}}}}};
    if (!place.item.empty())
        location["logicalLocations"] = Json::array({logicalLocation(place)});
    return location;
}

Json resultOf(const std::string& uri, const LintFinding& finding, const std::vector<RuleId>& rules) {
    const Rule& rule = opc::getRule(finding.rule);
    const std::string place = placeText(finding.place);
    return {{"ruleId", rule.name},
            {"ruleIndex", std::find(rules.begin(), rules.end(), finding.rule) - rules.begin()},
            {"level", nameOf(rule.severity)},
            {"message", message((place.empty() ? "" : place + ": ") + finding.message)},
            {"locations", Json::array({locationOf(uri, finding.place)})},
            {"partialFingerprints",
             {{"opcraft/v1", finding.fingerprint},
              // The name under which GitHub tells results apart; it would take a hash of the line, the same for all.
              {"primaryLocationLineHash", finding.fingerprint + ":1"}}}};
}

} // namespace

Json toSarif(const std::vector<LintedFile>& files, bool isComplete) {
    const std::vector<RuleId> rules = rulesOf(files);
    Json results = Json::array();
    for (const LintedFile& file : files)
        for (const LintFinding& finding : file.findings)
            results.push_back(resultOf(uriOf(file.file), finding, rules));
    const Json driver = {
        {"name", "opcraft"}, {"version", OPCRAFT_VERSION}, {"rules", toJsonArray(rules, descriptorOf)}};
    const Json run = {{"tool", {{"driver", driver}}},
                      {"invocations", Json::array({{{"executionSuccessful", isComplete}}})},
                      {"columnKind", "utf16CodeUnits"},
                      {"results", results}};
    return {{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
            {"version", "2.1.0"},
            {"runs", Json::array({run})}};
}

} // namespace opcraft
