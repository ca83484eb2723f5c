// SPDX-License-Identifier: Apache-2.0
#include "opcraft/LintReport.hpp"

#include "opcraft/FileInput.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/model/URI.hpp>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

namespace opcraft {

namespace {

namespace fs = std::filesystem;

using opc::Finding;
using opc::Rule;
using opc::Severity;

/// Incremented when the meaning of fingerprints changes.
constexpr int BASELINE_VERSION = 1;

constexpr Severity SEVERITIES[] = {Severity::Error, Severity::Warning, Severity::Note};

constexpr const char* NUMBERS =
    "Numbers such as M1.26 are those of ECMA-376:2006, Annex H; the other names are those of "
    "opcraft.\n";

std::size_t countOf(const LintedFile& linted, Severity severity) {
    const auto& findings = linted.findings;
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), [&](const Finding& each) {
        return opc::getRule(each.rule).severity == severity;
    }));
}

Json numberOrNull(std::uint64_t number) {
    return number == 0 ? Json() : Json(number);
}

Json lintJson(const LintFinding& finding) {
    Json json = findingJson(finding);
    json["fingerprint"] = finding.fingerprint;
    return json;
}

Json ruleJson(const Rule& rule) {
    return {{"rule", rule.name},
            {"severity", nameOf(rule.severity)},
            {"subject", rule.subject},
            {"summary", rule.summary},
            {"remedy", rule.remedy}};
}

/// What makes a finding the same as one of another day. Each field has its end.
std::string baselineKeyOf(const Finding& finding) {
    const opc::ErrorPlace& place = finding.place;
    std::string key;
    for (const std::string& text :
         {std::string(opc::getRule(finding.rule).name), place.item, place.element, place.id, place.value})
        key += text + '\0';
    return key;
}

std::string hexDigestOf(const std::string& text) {
    auto digest = opc::crypto::CryptoEngine::createDigestEngine(opc::crypto::DigestAlgorithm::SHA256);
    digest.update(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    std::string hex;
    for (const unsigned char byte : digest.finish())
        for (const unsigned digit : {byte / 16U, byte % 16U})
            hex += "0123456789abcdef"[digit];
    return hex;
}

Failure notBaseline(const std::string& file) {
    return {ExitCode::NotProcessed, file, "", "not a baseline of opcraft, version " + std::to_string(BASELINE_VERSION)};
}

} // namespace

const char* nameOf(Severity severity) {
    constexpr const char* names[] = {"error", "warning", "note"};
    return names[static_cast<int>(severity)];
}

LintedFile::LintedFile(std::string fileName, const std::vector<opc::Finding>& found) : file(std::move(fileName)) {
    std::map<std::string, unsigned> counts;
    for (const Finding& finding : found) {
        const std::string key = baselineKeyOf(finding);
        const unsigned before = counts[key]++;
        findings.push_back({finding, hexDigestOf(before == 0 ? key : key + std::to_string(before))});
    }
}

std::string uriOf(const std::string& file) {
    if (file == "-")
        return file;
    const fs::path path = fs::absolute(file).lexically_normal();
    const fs::path relative = path.lexically_relative(fs::current_path());
    const bool isInside = !relative.empty() && *relative.begin() != "..";
    const std::string uri = toUtf8(
        opc::model::URI::encodeComponent(opc::toString((isInside ? relative : path).generic_string(), false), "/"));
    return isInside ? uri : "file://" + uri;
}

std::string placeText(const opc::ErrorPlace& place) {
    if (place.line == 0)
        return place.item;
    return place.item + ':' + std::to_string(place.line) + ':' + std::to_string(place.column);
}

std::string findingLine(const std::string& file, const Finding& finding) {
    const Rule& rule = opc::getRule(finding.rule);
    const std::string place = placeText(finding.place);
    return escaped(file + ": " + (place.empty() ? "" : place + ": ") + nameOf(rule.severity) + ' ' + rule.name + ": " +
                   finding.message);
}

Json findingJson(const Finding& finding) {
    const Rule& rule = opc::getRule(finding.rule);
    const opc::ErrorPlace& place = finding.place;
    return {{"rule", rule.name},
            {"severity", nameOf(rule.severity)},
            {"blocks", finding.blocks},
            {"item", textOrNull(place.item)},
            {"line", numberOrNull(place.line)},
            {"column", numberOrNull(place.column)},
            {"element", textOrNull(place.element)},
            {"attribute", textOrNull(place.attribute)},
            {"id", textOrNull(place.id)},
            {"value", textOrNull(place.value)},
            {"message", finding.message}};
}

std::string toText(const LintedFile& linted) {
    std::string text;
    for (const Finding& finding : linted.findings)
        text += findingLine(linted.file, finding) + '\n';
    return text;
}

std::string countLine(const std::vector<LintedFile>& files) {
    std::string text;
    for (const Severity severity : SEVERITIES) {
        std::size_t count = 0;
        for (const LintedFile& file : files)
            count += countOf(file, severity);
        text += (text.empty() ? "" : ", ") + countText(count, nameOf(severity));
    }
    std::size_t known = 0;
    for (const LintedFile& file : files)
        known += file.known;
    return text + (known == 0 ? "" : "; " + std::to_string(known) + " in the baseline") + '\n';
}

Json toJson(const LintedFile& linted) {
    Json json = makeJsonReport("lint", linted.file);
    json["findings"] = toJsonArray(linted.findings, lintJson);
    for (const Severity severity : SEVERITIES)
        json["counts"][nameOf(severity)] = countOf(linted, severity);
    json["counts"]["known"] = linted.known;
    return json;
}

CLI::Validator isRule() {
    return CLI::Validator(
        [](const std::string& name) {
            return opc::findRule(name) == nullptr
                       ? '"' + name + "\" is not a rule; 'opcraft lint --list-rules' shows all"
                       : std::string();
        },
        "");
}

std::string rulesText() {
    Table table({{"RULE"}, {"SEVERITY"}, {"SUBJECT"}, {"SUMMARY"}});
    for (const Rule& rule : opc::getAllRules())
        table.addRow({rule.name, nameOf(rule.severity), rule.subject, rule.summary});
    return table.toString() + NUMBERS;
}

Json rulesJson() {
    return {{"version", JSON_VERSION}, {"command", "lint"}, {"rules", toJsonArray(opc::getAllRules(), ruleJson)}};
}

std::string explanationOf(const Rule& rule) {
    const bool isNumbered = std::string("MS").find(rule.name[0]) != std::string::npos;
    return std::string(rule.name) + " (" + nameOf(rule.severity) + ", " + rule.subject + ")\n" + rule.summary + '\n' +
           "Remedy: " + rule.remedy + '\n' +
           (isNumbered ? "The number is that of ECMA-376:2006, Annex H.\n" : "The name is that of opcraft.\n");
}

Baseline Baseline::read(const std::string& file) {
    const auto bytes = FileInput(file).readAll();
    const Json json = Json::parse(bytes, nullptr, false);
    if (!json.is_object() || json.value("version", Json()) != BASELINE_VERSION)
        throw notBaseline(file);
    Baseline baseline;
    try {
        json.at("keys").get_to(baseline.keys_);
    } catch (const Json::exception&) {
        throw notBaseline(file);
    }
    return baseline;
}

void Baseline::add(const LintedFile& linted) {
    for (const LintFinding& finding : linted.findings)
        keys_[uriOf(linted.file)].insert(finding.fingerprint);
}

void Baseline::removeKnown(LintedFile& linted) const {
    const auto keys = keys_.find(uriOf(linted.file));
    if (keys == keys_.end())
        return;
    linted.known += std::erase_if(linted.findings,
                                  [&](const LintFinding& each) { return keys->second.contains(each.fingerprint); });
}

void Baseline::throwIfNotReplaceable(const std::string& file) {
    if (fs::is_regular_file(file) && fs::file_size(file) > 0)
        read(file);
}

void Baseline::write(const std::string& file) const {
    const bool isReplaced = fs::is_regular_file(file);
    const bool isNew = !fs::exists(file);
    const fs::path old = isReplaced ? fs::canonical(file) : fs::path(file);
    std::string written = isReplaced ? old.string() + ".XXXXXX" : file;
    std::error_code error;
    if (isReplaced) {
        const int created = ::mkstemp(written.data()); // a name that no other file or process has
        if (created < 0)
            throw Failure(ExitCode::NotProcessed, file, "", "cannot be written: " + systemReason(errno));
        ::close(created);
        fs::permissions(written, fs::status(old, error).permissions(), error);
    }
    std::ofstream stream(written, std::ios::binary);
    stream << toJsonText({{"version", BASELINE_VERSION}, {"keys", keys_}});
    stream.close();
    if (stream && isReplaced)
        fs::rename(written, old, error);
    if (stream && !error)
        return;
    if (isReplaced || isNew)
        fs::remove(written, error);
    throw Failure(ExitCode::NotProcessed, file, "", "cannot be written");
}

} // namespace opcraft
