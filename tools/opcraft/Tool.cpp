// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Tool.hpp"

#include "opcraft/Limit.hpp"

namespace opcraft {

namespace {

/// Raised when the JSON reports change in a way that a reader of the old ones would notice.
constexpr int jsonVersion = 1;

CLI::Option* addJsonFlag(CLI::App& command, bool& json) {
    return command.add_flag("--json", json, "Report as JSON, for programs (docs/json.md)")->disable_flag_override();
}

void addSavingOptions(CLI::App& command, ChangeOptions& options) {
    command
        .add_option("-o,--output", options.output,
                    "Save to this file and leave FILE as it is; - is the standard output")
        ->type_name("FILE")
        ->check(notEmpty());
    addWaitOption(command, options.wait);
}

} // namespace

CLI::App* addCommand(Tool& tool, const std::string& name, const std::string& description, const std::string& help) {
    CLI::App* command = tool.app.add_subcommand(name, description);
    command->group("Commands");
    command->footer(help);
    return command;
}

void addInputOptions(CLI::App& command, InputOptions& options, const std::string& description) {
    command.add_option("FILE", options.file, description)->required();
    const auto take = [&options](const CLI::results_t& results) {
        for (const std::string& text : results)
            setLimit(options.limits, text);
        return true;
    };
    command
        .add_option("--limit", take,
                    "Bound what a package may cost; NAME is " + limitNames() +
                        "; VALUE may end in K, M, G or T. The ratio of an item counts beyond 64 MiB of it")
        ->type_name("NAME=VALUE")
        ->type_size(1)
        ->expected(1, CLI::detail::expected_max_vector_size)
        ->allow_extra_args(false);
}

CLI::Option* addReadOptions(CLI::App& command, ReadOptions& options) {
    addInputOptions(command, options, "The package; - is the standard input");
    return addJsonFlag(command, options.json);
}

void addChangeOptions(CLI::App& command, ChangeOptions& options) {
    addInputOptions(command, options, "The package; - is the standard input, and needs -o");
    addSavingOptions(command, options);
}

CLI::Option* addReadOrChangeOptions(CLI::App& command, ReadOrChangeOptions& options) {
    addInputOptions(command, options, "The package; - is the standard input, and a change of it needs -o");
    addSavingOptions(command, options);
    return addJsonFlag(command, options.json);
}

void addWaitOption(CLI::App& command, unsigned& seconds) {
    command
        .add_option("--wait", seconds,
                    "How long to wait for other processes that change the file in place; 0 does not wait")
        ->type_name("SECONDS")
        ->check(notEmpty())
        ->capture_default_str();
}

CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                      const std::string& description) {
    // Bound to a vector itself, the option would read "[a,b]" as two texts and "{}" as none.
    const auto take = [&texts](const CLI::results_t& results) {
        texts = results;
        return true;
    };
    return command.add_option(name, take, description)
        ->type_size(1)
        ->expected(1, CLI::detail::expected_max_vector_size)
        ->allow_extra_args(false);
}

CLI::Validator notEmpty() {
    return CLI::Validator([](const std::string& text) { return std::string(text.empty() ? "must not be empty" : ""); },
                          "");
}

std::string toJsonText(const nlohmann::ordered_json& report) {
    return report.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

nlohmann::ordered_json makeJsonReport(const std::string& command, const std::string& file) {
    nlohmann::ordered_json report;
    report["version"] = jsonVersion;
    report["command"] = command;
    report["file"] = file;
    return report;
}

} // namespace opcraft
