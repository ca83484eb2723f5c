// SPDX-License-Identifier: Apache-2.0
#include "opcraft/LintReport.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/lint/Lint.hpp>

#include <algorithm>
#include <map>
#include <optional>

namespace opcraft {

namespace {

using opc::Finding;
using opc::Severity;

enum class LintFormat { Text, Json, Sarif };

const std::map<std::string, LintFormat> LINT_FORMATS = {
    {"text", LintFormat::Text}, {"json", LintFormat::Json}, {"sarif", LintFormat::Sarif}};

const std::map<std::string, Severity> LEAST_SEVERITIES = {
    {"error", Severity::Error}, {"warning", Severity::Warning}, {"note", Severity::Note}};

struct LintOptions : ReadOptions {
    std::vector<std::string> files{};
    std::string format = "text";
    std::string failOn = "error";
    std::string baseline{};
    std::string newBaseline{};
    std::vector<std::string> rules{};
    bool listsRules = false;
    ColorWhen color = ColorWhen::Auto;
    std::string explained{};
};

LintFormat formatOf(const LintOptions& options) {
    return options.json ? LintFormat::Json : LINT_FORMATS.at(options.format);
}

LintedFile lintFile(const LintOptions& options, const std::string& file) {
    LintOptions one = options;
    one.file = file;
    one.take = Take::Last; // of what is there twice, what most programs read
    const PackageInput input(one);
    opc::lint::Options how{options.limits};
    for (const std::string& name : options.rules)
        how.rules.insert(opc::findRule(name)->id);
    return {file, opc::lint::examine(input.getStore(), how)};
}

bool hasFailure(const LintedFile& linted, Severity least) {
    return std::any_of(
        linted.findings.begin(), linted.findings.end(),
        [&](const Finding& each) { return opc::getRule(each.rule).severity <= least; });
}

Color colorOfFinding(std::string_view line) {
    if (line.find(": error ") != line.npos)
        return Color::Red;
    return line.find(": warning ") != line.npos ? Color::Yellow : Color::None;
}

/// Lints all files that can be read.
/// @param each called with the findings of each file.
/// @return the highest exit code.
template <class Action>
ExitCode forEachFile(const LintOptions& options, Console& console, Action each) {
    ExitCode highest = ExitCode::Fine;
    for (const std::string& file : options.files) {
        const auto lintOne = [&](Console&) {
            return each(lintFile(options, file)) ? ExitCode::Findings : ExitCode::Fine;
        };
        highest = std::max(highest, run({file, "", lintOne}, console));
    }
    return highest;
}

Json toJson(const std::vector<LintedFile>& files, bool isSeveral) {
    if (!isSeveral)
        return toJson(files.front());
    const auto toFile = [](const LintedFile& each) { return toJson(each); };
    return {{"version", JSON_VERSION}, {"command", "lint"}, {"files", toJsonArray(files, toFile)}};
}

void write(const LintOptions& options, const std::vector<LintedFile>& files, bool isComplete, Console& console) {
    if (formatOf(options) == LintFormat::Sarif)
        console.write(toJsonText(toSarif(files, isComplete)));
    else if (files.empty())
        return;
    else if (formatOf(options) == LintFormat::Json)
        console.write(toJsonText(toJson(files, options.files.size() > 1)));
    else
        console.write(countLine(files));
}

ExitCode lintFiles(const LintOptions& options, Console& console) {
    if (!options.newBaseline.empty())
        Baseline::throwIfNotReplaceable(options.newBaseline);
    std::optional<Baseline> known;
    if (!options.baseline.empty())
        known = Baseline::read(options.baseline);
    Baseline found;
    std::vector<LintedFile> files;
    const ExitCode code = forEachFile(options, console, [&](LintedFile linted) {
        found.add(linted);
        if (known)
            known->removeKnown(linted);
        if (formatOf(options) == LintFormat::Text)
            console.write(toText(linted), colorOfFinding, options.color);
        files.push_back(std::move(linted));
        return options.newBaseline.empty() && hasFailure(files.back(), LEAST_SEVERITIES.at(options.failOn));
    });
    write(options, files, code != ExitCode::NotProcessed, console);
    if (!options.newBaseline.empty() && code != ExitCode::NotProcessed)
        found.write(options.newBaseline);
    return code;
}

ExitCode lint(const LintOptions& options, Console& console) {
    const bool isJson = formatOf(options) == LintFormat::Json;
    if (options.listsRules)
        console.write(isJson ? toJsonText(rulesJson()) : rulesText());
    else if (!options.explained.empty())
        console.write(explanationOf(*opc::findRule(options.explained)));
    else if (options.files.empty())
        throw Failure(ExitCode::WrongUsage, "", "", "FILE is required; 'opcraft lint --help' explains");
    else
        return lintFiles(options, console);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, LintOptions& options) {
    CLI::Option* json = addReadOptions(command, options, options.files);
    addColorOption(command, options.color);
    command.get_option("FILE")->required(false); // rules are explained without one
    command.add_option("--format", options.format, "How to report: text, json or sarif (SARIF 2.1.0)")
        ->type_name("FORMAT")
        ->capture_default_str()
        ->check(oneOf(LINT_FORMATS))
        ->excludes(json);
    command
        .add_option("--fail-on", options.failOn,
                    "The least severity that makes the exit code 1: error, warning or note")
        ->type_name("SEVERITY")
        ->capture_default_str()
        ->check(oneOf(LEAST_SEVERITIES));
    command
        .add_option("--baseline", options.baseline,
                    "Leave out the findings that this file has, which --write-baseline wrote")
        ->type_name("FILE")
        ->check(notEmpty());
    command
        .add_option(
            "--write-baseline", options.newBaseline,
            "Write all findings to this file, unless a FILE cannot be read; they do not make the exit code 1 then")
        ->type_name("FILE")
        ->check(notEmpty());
    addTexts(command, "--rule", options.rules, "Hold the packages to this rule alone")
        ->type_name("RULE")
        ->check(isRule());
    addFlag(command, "--list-rules", options.listsRules, "List all rules, and read no package");
    command.add_option("--explain", options.explained, "Explain a rule, and read no package")
        ->type_name("RULE")
        ->check(isRule());
}

constexpr const char* LINT_HELP =
    "Reports everything at once that is wrong with packages, on which programs differ or which is worth knowing:\n"
    "names, content types, relationships, XML, core properties, thumbnails, signatures, the ZIP file itself, and\n"
    "macros, embedded files and external targets. A package that other commands do not open is read as far as it\n"
    "can be. Nothing in it is run or fetched, and who signed it is not judged; 'opcraft verify' does that.\n\n"
    "An error is against the standard, a warning is something on which programs differ, a note is neither. The\n"
    "numbers of rules are those of ECMA-376:2006, Annex H; rules without a number have a name instead. A baseline\n"
    "knows a finding by its rule, item, element and value, not by its line. docs/lint.md lists the rules.\n\n"
    "The exit code is 1 when there is a finding of the severity of --fail-on or a graver one, and 2 when a FILE\n"
    "cannot be read at all; the other FILEs are examined all the same.\n\n"
    "Examples:\n  opcraft lint letter.docx\n  opcraft lint *.docx --format sarif > lint.sarif\n"
    "  opcraft lint letter.docx --write-baseline known.json\n"
    "  opcraft lint letter.docx --baseline known.json --fail-on warning\n  opcraft lint --explain M1.26";

} // namespace

void addLintCommand(Tool& tool) {
    addCommand<LintOptions>(tool, {"lint", "Report what is wrong with packages", LINT_HELP, addOptions, lint,
                                   "nothing of the severity of --fail-on is found", "something is"});
}

} // namespace opcraft
