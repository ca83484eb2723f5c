// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/compare/Compare.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <fnmatch.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace opcraft {

namespace {

using opc::compare::CompareOptions;
using opc::compare::ContentDifference;
using opc::compare::DifferenceHunk;
using opc::compare::DifferenceKind;
using opc::compare::DifferenceReport;
using opc::compare::ItemDifference;
using opc::compare::PartDifference;
using opc::compare::PartState;
using opc::compare::PropertyDifference;
using opc::compare::RelationshipDifference;
using opc::compare::SignatureChange;
using opc::compare::SignatureDifference;

struct DiffOptions : ReadOptions {
    std::string other{};
    bool stat = false;
    ColorWhen color = ColorWhen::Auto;
    std::vector<std::string> parts{};
    std::vector<std::string> ignored{};
};

const std::map<std::string, bool CompareOptions::*> IGNORED = {
    {"ids", &CompareOptions::ignoresIds},
    {"order", &CompareOptions::ignoresOrder},
    {"core-properties", &CompareOptions::ignoresCoreProperties},
    {"signatures", &CompareOptions::ignoresSignatures}};

const std::map<DifferenceKind, const char*> KINDS = {{DifferenceKind::Added, "added"},
                                                     {DifferenceKind::Removed, "removed"},
                                                     {DifferenceKind::Renamed, "renamed"},
                                                     {DifferenceKind::Changed, "changed"}};

const std::map<ContentDifference, const char*> CONTENTS = {{ContentDifference::None, "none"},
                                                           {ContentDifference::Xml, "xml"},
                                                           {ContentDifference::TooLarge, "too-large"},
                                                           {ContentDifference::Bytes, "bytes"}};

const std::map<SignatureChange, const char*> SIGNATURE_CHANGES = {{SignatureChange::Broken, "broken"},
                                                                  {SignatureChange::Removed, "removed"},
                                                                  {SignatureChange::Added, "added"},
                                                                  {SignatureChange::Mended, "mended"}};

struct DiffReport {
    std::string file;
    std::string other;
    DifferenceReport differences;
    std::vector<std::string> unreadSignatures{}; ///< messages on packages whose signatures could not be read
    std::size_t findings = 0;
};

/// A package, and its signatures where they can be read.
class DiffInput {
public:
    DiffInput(const DiffOptions& options, const std::string& file) : options_(options) {
        options_.file = file;
        options_.signatures = options.parts.empty() && !ignoresSignatures(options);
        try {
            package_ = std::make_unique<OpenPackage>(options_);
        } catch (const UnreadableSignatures& e) {
            problem_ = e.getLine("", "");
            options_.signatures = false;
            package_ = std::make_unique<OpenPackage>(options_);
        }
        package_->getInput().expectReading();
    }

    opc::compare::ComparedPackage get() const {
        return {&package_->getModel(), &package_->getInput().getStore(),
                options_.signatures ? &package_->getSignatureManager() : nullptr};
    }

    const FindingList& getFindings() const { return package_->getFindings(); }
    /// Why its signatures cannot be read; empty when they can.
    const std::string& getProblem() const noexcept { return problem_; }

private:
    static bool ignoresSignatures(const DiffOptions& options) {
        return std::find(options.ignored.begin(), options.ignored.end(), "signatures") != options.ignored.end();
    }

    InputOptions options_;
    std::string problem_;
    std::unique_ptr<OpenPackage> package_;
};

CompareOptions compareOptions(const DiffOptions& options) {
    CompareOptions how;
    for (const std::string& name : options.ignored)
        how.*IGNORED.at(name) = true;
    if (!options.parts.empty())
        how.isCompared = [&options](const std::string& name) {
            return std::any_of(options.parts.begin(), options.parts.end(), [&](const std::string& pattern) {
                const std::string whole = (pattern.front() == '/' ? "" : "/") + pattern;
                return ::fnmatch(whole.c_str(), name.c_str(), 0) == 0;
            });
        };
    return how;
}

DiffReport makeReport(const DiffOptions& options, Console& console) {
    const DiffInput before(options, options.file);
    const DiffInput after(options, options.other);
    DiffReport report{options.file, options.other,
                      opc::compare::compare(before.get(), after.get(), compareOptions(options))};
    if (options.stat)
        for (PartDifference& each : report.differences.parts)
            each.hunks.clear();
    for (const DiffInput* each : {&before, &after})
        if (!each->getProblem().empty())
            report.unreadSignatures.push_back(each->getProblem());
    report.findings = before.getFindings().getAll().size() + after.getFindings().getAll().size();
    before.getFindings().note(console, options.file);
    after.getFindings().note(console, options.other);
    return report;
}

// ---- text

std::string stateText(const PartState& state) {
    return state.name + " (" + state.contentType + ", " + sizeText(state.size) + ")";
}

std::string contentText(const PartDifference& part) {
    std::string text;
    if (part.linesRemoved + part.linesAdded > 0)
        text = "-" + std::to_string(part.linesRemoved) + " +" + std::to_string(part.linesAdded) + " lines";
    else if (part.content == ContentDifference::Xml || part.content == ContentDifference::TooLarge)
        text = "other XML";
    if (part.content == ContentDifference::Bytes)
        text = "other bytes" + (part.firstByte ? " from offset " + std::to_string(*part.firstByte) + " on" : "") +
               ", " + std::to_string(part.before->size) + " and " + std::to_string(part.after->size) + " bytes";
    return text + (part.reason.empty() ? "" : (text.empty() ? "" : "; ") + part.reason);
}

std::string hunkText(const DifferenceHunk& hunk) {
    std::string text = "@@ -" + std::to_string(hunk.firstBefore) + ',' + std::to_string(hunk.countBefore) + " +" +
                       std::to_string(hunk.firstAfter) + ',' + std::to_string(hunk.countAfter) + " @@\n";
    for (const auto& [side, line] : hunk.lines)
        text += side + escaped(line) + '\n';
    return text;
}

std::string partText(const PartDifference& part) {
    const std::string kind = std::string(KINDS.at(part.kind)) + " part ";
    if (!part.before || !part.after)
        return escaped(kind + stateText(part.before ? *part.before : *part.after)) + '\n';
    std::string line = kind + part.before->name;
    if (part.kind == DifferenceKind::Renamed)
        line += " to " + part.after->name;
    const std::string content = contentText(part);
    line += content.empty() ? "" : ": " + content;
    if (part.differsInType)
        line += (content.empty() ? ": " : "; ") + ("content type " + part.before->contentType) + ", now " +
                part.after->contentType;
    std::string text = escaped(line) + '\n';
    for (const DifferenceHunk& hunk : part.hunks)
        text += hunkText(hunk);
    return text;
}

std::string relationshipLine(const RelationshipDifference& each) {
    const std::string what =
        each.problem.empty() ? " relationship " : " entry that is no relationship (" + each.problem + ") ";
    return escaped(KINDS.at(each.kind) + what + each.id + " of " + (each.source == "/" ? "the package" : each.source) +
                   ": " + each.type + " -> " + each.target + (each.isExternal ? " (external)" : "")) +
           '\n';
}

std::string valueText(const std::optional<std::string>& value) {
    return value ? '"' + *value + '"' : "none";
}

std::string signatureLine(const SignatureDifference& each) {
    std::string text = "signature " + each.part;
    switch (each.change) {
    case SignatureChange::Broken:
        text += " is broken: " + each.reason;
        break;
    case SignatureChange::Removed:
        text += each.heldBefore ? " is removed" : " is removed; it did not hold: " + each.reason;
        break;
    case SignatureChange::Added:
        text += each.holdsAfter ? " is added" : " is added, and does not hold: " + each.reason;
        break;
    case SignatureChange::Mended:
        text += " holds now; it did not: " + each.reason;
        break;
    }
    return escaped(text) + '\n';
}

std::string summaryText(const DiffReport& report) {
    const DifferenceReport& all = report.differences;
    if (all.isEqual())
        return "";
    std::vector<std::string> counts;
    const auto add = [&](std::size_t count, const std::string& one, const std::string& several) {
        if (count > 0)
            counts.push_back(std::to_string(count) + ' ' + (count == 1 ? one : several));
    };
    add(all.parts.size(), "part", "parts");
    add(all.relationships.size(), "relationship", "relationships");
    add(all.properties.size(), "core property", "core properties");
    add(all.items.size(), "other item", "other items");
    add(all.signatures.size(), "signature", "signatures");
    return "Different: " + listText(counts) + '\n';
}

Color colorOfDifference(std::string_view line) {
    if (line.starts_with("@@"))
        return Color::Cyan;
    if (line.starts_with('+') || line.starts_with("added "))
        return Color::Green;
    if (line.starts_with('-') || line.starts_with("removed ") || line.starts_with("signature "))
        return Color::Red;
    return Color::None;
}

std::string toText(const DiffReport& report) {
    const DifferenceReport& all = report.differences;
    std::string text;
    for (const PartDifference& each : all.parts)
        text += partText(each);
    for (const RelationshipDifference& each : all.relationships)
        text += relationshipLine(each);
    for (const PropertyDifference& each : all.properties)
        text +=
            escaped("core property " + each.name + ": " + valueText(each.before) + ", now " + valueText(each.after)) +
            '\n';
    for (const ItemDifference& each : all.items)
        text += escaped(std::string(KINDS.at(each.kind)) + " other item " + each.name) + '\n';
    for (const SignatureDifference& each : all.signatures)
        text += signatureLine(each);
    for (const std::string& each : report.unreadSignatures)
        text += escaped("signatures were not compared: " + each) + '\n';
    return text + summaryText(report);
}

// ---- JSON

Json stateJson(const std::optional<PartState>& state) {
    if (!state)
        return {};
    return {
        {"name", state->name}, {"contentType", state->contentType}, {"size", state->size}, {"sha256", state->sha256}};
}

Json hunkJson(const DifferenceHunk& hunk) {
    Json json{{"firstBefore", hunk.firstBefore},
              {"countBefore", hunk.countBefore},
              {"firstAfter", hunk.firstAfter},
              {"countAfter", hunk.countAfter}};
    json["lines"] =
        toJsonArray(hunk.lines, [](const opc::compare::DifferenceLine& line) { return line.side + line.text; });
    return json;
}

Json partJson(const PartDifference& part) {
    Json json{{"change", KINDS.at(part.kind)},        {"before", stateJson(part.before)},
              {"after", stateJson(part.after)},       {"contentTypeDiffers", part.differsInType},
              {"content", CONTENTS.at(part.content)}, {"linesRemoved", part.linesRemoved},
              {"linesAdded", part.linesAdded}};
    json["firstByte"] = part.firstByte ? Json(*part.firstByte) : Json();
    json["reason"] = textOrNull(part.reason);
    json["hunks"] = toJsonArray(part.hunks, hunkJson);
    return json;
}

Json relationshipJson(const RelationshipDifference& each) {
    return {{"change", KINDS.at(each.kind)},
            {"source", each.source},
            {"id", textOrNull(each.id)},
            {"type", textOrNull(each.type)},
            {"target", each.target},
            {"mode", each.isExternal ? "external" : "internal"},
            {"problem", textOrNull(each.problem)}};
}

Json valueJson(const std::optional<std::string>& value) {
    return value ? Json(*value) : Json();
}

Json propertyJson(const PropertyDifference& each) {
    return {{"name", each.name}, {"before", valueJson(each.before)}, {"after", valueJson(each.after)}};
}

Json itemJson(const ItemDifference& each) {
    Json json{{"change", KINDS.at(each.kind)}, {"name", each.name}};
    json["sizeBefore"] = each.kind == DifferenceKind::Added ? Json() : Json(each.sizeBefore);
    json["sizeAfter"] = each.kind == DifferenceKind::Removed ? Json() : Json(each.sizeAfter);
    return json;
}

Json signatureJson(const SignatureDifference& each) {
    return {{"part", each.part}, {"change", SIGNATURE_CHANGES.at(each.change)}, {"reason", textOrNull(each.reason)}};
}

Json toJson(const DiffReport& report) {
    const DifferenceReport& all = report.differences;
    Json json = makeJsonReport("diff", report.file, report.findings);
    json["other"] = report.other;
    json["equal"] = all.isEqual();
    json["comparedParts"] = all.comparedParts;
    json["parts"] = toJsonArray(all.parts, partJson);
    json["relationships"] = toJsonArray(all.relationships, relationshipJson);
    json["properties"] = toJsonArray(all.properties, propertyJson);
    json["otherItems"] = toJsonArray(all.items, itemJson);
    json["signatures"] = toJsonArray(all.signatures, signatureJson);
    json["unreadSignatures"] = report.unreadSignatures;
    return json;
}

ExitCode diff(const DiffOptions& options, Console& console) {
    if (options.file == "-" && options.other == "-")
        throw wrongArgument("-", "only one of two packages can be the standard input");
    const DiffReport report = makeReport(options, console);
    if (options.json)
        console.write(toJsonText(toJson(report)));
    else
        console.write(toText(report), colorOfDifference, options.color);
    return report.differences.isEqual() ? ExitCode::Fine : ExitCode::Findings;
}

void addOptions(CLI::App& command, DiffOptions& options) {
    addReadOptions(command, options);
    command.add_option("OTHER", options.other, "The package that it is compared with")->required();
    addToleranceOptions(command, options);
    addColorOption(command, options.color);
    addFlag(command, "--stat", options.stat, "Do not show the lines that differ");
    addTexts(command, "--parts", options.parts,
             "Compare only parts and items whose names match, as in '/word/*'; not signatures")
        ->type_name("PATTERN")
        ->check(notEmpty());
    addTexts(command, "--ignore", options.ignored,
             "Leave out the Ids of relationships in XML, the order of XML elements, core properties or signatures")
        ->type_name("WHAT")
        ->check(oneOf(IGNORED));
}

constexpr const char* DIFF_HELP =
    "Compares by meaning: the parts with their content types, XML by its canonical form, relationships by where they\n"
    "lead, core properties by their values, and tells which signatures do not hold any more. The order of items,\n"
    "attributes and relationships, compression, prefixes and comments of XML make no difference. Lines are those of\n"
    "the XML with a line for each element. A part of other name with the same bytes and content type is renamed.\n\n"
    "Examples:\n  opcraft diff draft.docx final.docx\n  opcraft diff draft.docx final.docx --stat --ignore "
    "core-properties\n"
    "  opcraft diff draft.docx final.docx --parts '/word/*' --json";

} // namespace

void addDiffCommand(Tool& tool) {
    addCommand<DiffOptions>(tool, {"diff", "Show how two packages differ", DIFF_HELP, addOptions, diff,
                                   "the packages are equal", "they differ"});
}

} // namespace opcraft
