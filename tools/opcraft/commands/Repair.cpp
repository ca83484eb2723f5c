// SPDX-License-Identifier: Apache-2.0
#include "opcraft/LintReport.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/lint/Lint.hpp>
#include <opc/lint/Repair.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>

namespace opcraft {

namespace {

using opc::Finding;
using opc::lint::Duplicate;
using opc::lint::RepairPlan;
using opc::lint::RepairStep;

struct RepairArguments : ChangeOptions {
    bool json = false;
    bool apply = false;
    std::vector<std::string> only{};
    bool breaksSignatures = false;
};

/// What is done, or can be done, and the errors that stay.
struct RepairReport {
    RepairPlan plan;
    std::vector<Finding> left;
};

opc::lint::RepairOptions optionsOf(const RepairArguments& arguments) {
    opc::lint::RepairOptions options;
    options.limits = arguments.limits;
    for (const std::string& name : arguments.only)
        options.only.insert(opc::findRule(name)->id);
    if (arguments.take != Take::Neither)
        options.take = arguments.take == Take::First ? Duplicate::First : Duplicate::Last;
    options.breaksSignatures = arguments.breaksSignatures;
    return options;
}

std::size_t countApplied(const RepairPlan& plan) {
    return static_cast<std::size_t>(std::count_if(
        plan.steps.begin(), plan.steps.end(), [](const RepairStep& each) { return each.applies; }));
}

std::string stepText(const RepairArguments& arguments, const RepairStep& step) {
    std::string text = findingLine(arguments.file, step.finding) + '\n';
    text += escaped("  " + step.change) + '\n';
    if (!step.loss.empty())
        text += escaped("  lost: " + step.loss) + '\n';
    if (!step.applies)
        text += escaped("  not applied: " + step.why) + '\n';
    return text;
}

std::string reportText(const RepairArguments& arguments, const RepairReport& report) {
    std::string text;
    for (const RepairStep& step : report.plan.steps)
        text += stepText(arguments, step);
    for (const Finding& finding : report.left)
        text += findingLine(arguments.file, finding) + '\n' + escaped("  not mended: " + report.plan.explain(finding)) +
                '\n';
    if (!report.plan.brokenSignatures.empty())
        text += escaped("Signatures that do not hold afterwards: " + listText(report.plan.brokenSignatures)) + '\n';
    return text + countText(report.plan.steps.size(), "step") + ", " + std::to_string(countApplied(report.plan)) +
           (arguments.apply ? " applied; " : " to apply; ") + countText(report.left.size(), "error") +
           (arguments.apply ? " left\n" : " without a step\n");
}

Json stepJson(const RepairStep& step) {
    Json json = findingJson(step.finding);
    json.erase("blocks");
    json["change"] = step.change;
    json["loss"] = textOrNull(step.loss);
    json["deletes"] = step.deletes;
    json["applies"] = step.applies;
    json["why"] = textOrNull(step.why);
    return json;
}

Json reportJson(const RepairArguments& arguments, const RepairReport& report) {
    Json json = makeJsonReport("repair", arguments.file);
    json["applied"] = arguments.apply;
    json["steps"] = toJsonArray(report.plan.steps, stepJson);
    json["brokenSignatures"] = report.plan.brokenSignatures;
    json["left"] = toJsonArray(report.left, [&](const Finding& each) {
        Json left = findingJson(each);
        left["why"] = report.plan.explain(each);
        return left;
    });
    return json;
}

void write(const RepairArguments& arguments, const RepairReport& report, Console& console) {
    const std::string text = arguments.json ? toJsonText(reportJson(arguments, report)) : reportText(arguments, report);
    if (!arguments.apply || arguments.output != "-")
        return console.write(text, arguments.apply ? "; the change itself was saved" : "");
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        console.note(line);
}

/// The errors that are left in what was saved.
std::vector<Finding> findErrors(PackageInput& input, const RepairArguments& arguments) {
    const std::string output = arguments.output == "-" ? "" : arguments.output;
    std::vector<Finding> errors;
    try {
        errors = opc::lint::examine(*input.reopen(output, arguments.take), {arguments.limits, true, {}});
    } catch (const opc::Exception& e) {
        const std::string saved = arguments.output == "-" ? "" : "; the change itself was saved";
        const std::string file = output.empty() ? arguments.file : output;
        throw Failure(ExitCode::NotProcessed, file, "", toFailure(e, file, "").what() + saved);
    }
    errors.erase(
        std::remove_if(errors.begin(), errors.end(),
                       [](const Finding& each) { return opc::getRule(each.rule).severity != opc::Severity::Error; }),
        errors.end());
    return errors;
}

RepairReport plan(const RepairArguments& arguments) {
    PackageInput input(arguments);
    try {
        RepairReport report{opc::lint::planRepair(input.getZip(), optionsOf(arguments)), {}};
        report.left = std::exchange(report.plan.left, {});
        return report;
    } catch (const opc::Exception& e) {
        throw openFailure(input, arguments, e);
    }
}

/// Repairs and saves.
std::pair<std::unique_ptr<PackageInput>, RepairPlan> save(const RepairArguments& arguments,
                                                          std::chrono::milliseconds timeout) {
    InputOptions options = arguments;
    options.lockTimeout = timeout;
    auto input = std::make_unique<PackageInput>(options, arguments.output == "-");
    try {
        const auto repairOptions = optionsOf(arguments);
        const bool isElsewhere = !arguments.output.empty() && arguments.output != "-";
        std::optional<RepairPlan> planned; // while the file can still be read for its signatures
        if (isElsewhere && repairOptions.breaksSignatures)
            planned = opc::lint::planRepair(input->getZip(), repairOptions);
        if (isElsewhere)
            input->getZip().setOutput(arguments.output);
        RepairPlan done = opc::lint::applyRepair(input->getZip(), repairOptions);
        if (planned)
            done.brokenSignatures = planned->brokenSignatures;
        return {std::move(input), std::move(done)};
    } catch (const opc::Exception& e) {
        throwIfInUse(e, arguments.file);
        throw toFailure(e, arguments.file, "");
    }
}

ExitCode apply(const RepairArguments& arguments, Console& console) {
    if (arguments.output.empty() && isStream(arguments.file))
        throw Failure(ExitCode::WrongUsage, arguments.file, "", "this cannot be changed in place; name a file with -o");
    auto [input, done] = openWhenFree(arguments.file, arguments.wait, console,
                                      [&](std::chrono::milliseconds timeout) { return save(arguments, timeout); });
    const RepairReport report{done, findErrors(*input, arguments)};
    if (arguments.output == "-")
        console.write({reinterpret_cast<const char*>(input->getBytes().data()), input->getBytes().size()});
    write(arguments, report, console);
    return report.left.empty() ? ExitCode::Fine : ExitCode::Findings;
}

ExitCode repair(const RepairArguments& arguments, Console& console) {
    if (arguments.apply)
        return apply(arguments, console);
    RepairReport report = plan(arguments);
    write(arguments, report, console);
    return report.plan.steps.empty() ? ExitCode::Fine : ExitCode::Findings;
}

void addOptions(CLI::App& command, RepairArguments& arguments) {
    addChangeOptions(command, arguments);
    command.get_option("FILE")->description("The package; - is the standard input, and --apply then needs -o");
    addFlag(command, "--json", arguments.json, "Report as JSON, for programs (docs/json.md)");
    arguments.tolerant = true;
    addFlag(command, "--apply", arguments.apply, "Do what the plan says, in one save");
    command.get_option("--output")->needs("--apply");
    addTexts(command, "--only", arguments.only, "Mend what breaks this rule alone, even if that deletes something")
        ->type_name("RULE")
        ->check(isRule());
    addTakeOption(command, arguments.take, "Of several items, entries, properties or archives for one name");
    addFlag(command, "--break-signatures", arguments.breaksSignatures, "Change the package although it is signed");
}

constexpr const char* REPAIR_HELP =
    "Shows how what is wrong with a package can be mended without guessing, step by step: which finding of\n"
    "'opcraft lint' a step answers, what it changes and what is lost. Without --apply nothing is changed.\n\n"
    "Changed are the content types stream, relationships, core properties and the names of items; the content of\n"
    "other parts stays as it is, byte for byte. A step that deletes something is applied only when --only names its\n"
    "rule. Of two items for one name, two entries with different content types or two archives in one file, --take\n"
    "says which is kept. A signed package is changed only with --break-signatures; the plan names the signatures\n"
    "that do not hold afterwards.\n\n"
    "The exit code is 0 when there is nothing to do and 1 when there are steps; with --apply, 0 when no error is\n"
    "left and 1 when some are, which are named with the reason.\n\n"
    "Examples:\n  opcraft repair letter.docx\n  opcraft repair letter.docx --apply\n"
    "  opcraft repair letter.docx --apply -o mended.docx\n"
    "  opcraft repair letter.docx --apply --only zip-hidden-data";

} // namespace

void addRepairCommand(Tool& tool) {
    addCommand<RepairArguments>(tool, {"repair", "Mend what is wrong with a package", REPAIR_HELP, addOptions, repair,
                                       "there is nothing to mend or no error is left",
                                       "there are steps or an error is left"});
}

} // namespace opcraft
