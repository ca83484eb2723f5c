// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Tool.hpp"

#include "opcraft/Documentation.hpp"

#include <opc/core/Exception.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <string_view>

namespace opcraft {

namespace {

const std::map<std::string, Take> TAKES = {{"first", Take::First}, {"last", Take::Last}};

const std::map<std::string, ColorWhen> COLOR_CHOICES = {
    {"always", ColorWhen::Always}, {"auto", ColorWhen::Auto}, {"never", ColorWhen::Never}};

constexpr const char* STRICT_TEXT = "Refuse a package in which something is wrong, and say what is found first";
constexpr const char* STORED_TWICE = "Of several items for one name and of several archives in the file";

struct LimitName {
    std::string_view name;
    std::uint64_t opc::Limits::*limit;
};

constexpr std::array<LimitName, 8> LIMIT_NAMES = {{
    {"items", &opc::Limits::items},
    {"item-size", &opc::Limits::itemSize},
    {"total-size", &opc::Limits::totalSize},
    {"ratio", &opc::Limits::ratio},
    {"name-length", &opc::Limits::nameLength},
    {"xml-size", &opc::Limits::xmlSize},
    {"xml-depth", &opc::Limits::xmlDepth},
    {"xml-nodes", &opc::Limits::xmlNodes},
}};

std::vector<std::string> limitNames() {
    std::vector<std::string> names;
    for (const LimitName& each : LIMIT_NAMES)
        names.emplace_back(each.name);
    return names;
}

std::string listLimitNames() {
    return CLI::detail::join(limitNames(), ", ");
}

/// The power of two that a letter after a number stands for.
unsigned shiftFor(std::string_view unit) {
    constexpr std::string_view units = "KMGT";
    const std::size_t index = unit.size() == 1 ? units.find(unit.front()) : std::string_view::npos;
    return index == std::string_view::npos ? 0 : 10 * (static_cast<unsigned>(index) + 1);
}

std::optional<std::uint64_t> parseLimit(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
    const unsigned shift = shiftFor(unit);
    if (error != std::errc() || (!unit.empty() && shift == 0) ||
        value > std::numeric_limits<std::uint64_t>::max() >> shift)
        return std::nullopt;
    return value << shift;
}

/// @param text "NAME=VALUE"; the value is a number, which K, M, G or T after it multiplies by a power of 1024.
/// @throws CLI::ValidationError for another text.
void setLimit(opc::Limits& limits, const std::string& text) {
    const std::size_t sign = text.find('=');
    const std::string_view name = std::string_view(text).substr(0, sign);
    const auto found = std::find_if(LIMIT_NAMES.begin(), LIMIT_NAMES.end(),
                                    [&](const LimitName& known) { return known.name == name; });
    if (sign == std::string::npos || found == LIMIT_NAMES.end())
        throw CLI::ValidationError("--limit", '"' + text + "\" is not NAME=VALUE with a NAME of " + listLimitNames());
    const auto value = parseLimit(std::string_view(text).substr(sign + 1));
    if (!value)
        throw CLI::ValidationError("--limit", '"' + text + "\" has a VALUE that is not a number or is too large");
    limits.*found->limit = *value;
}

/// Bound to a vector itself, an option would read "[a,b]" as two texts and "{}" as none.
CLI::Option* addRepeated(CLI::App& command, const std::string& name,
                         const std::function<void(const CLI::results_t&)>& take, const std::string& description) {
    const auto callback = [take](const CLI::results_t& results) {
        take(results);
        return true;
    };
    return command.add_option(name, callback, description)
        ->type_size(1)
        ->expected(1, CLI::detail::expected_max_vector_size)
        ->allow_extra_args(false);
}

CLI::Option* addJsonFlag(CLI::App& command, bool& json) {
    return addFlag(command, "--json", json, "Report as JSON, for programs (docs/json.md)");
}

void addLimitOption(CLI::App& command, InputOptions& options) {
    const auto take = [&options](const CLI::results_t& results) {
        for (const std::string& text : results)
            setLimit(options.limits, text);
    };
    addRepeated(command, "--limit", take,
                "Bound what a package may cost; NAME is " + listLimitNames() +
                    "; VALUE may end in K, M, G or T. The ratio of an item counts beyond 64 MiB of it")
        ->type_name("NAME=VALUE")
        ->check(offering(limitNames(), "="));
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

ExitCode run(const Action& action, Console& console) {
    try {
        return action.run(console);
    } catch (const BrokenPipe&) {
        throw;
    } catch (const Failure& e) {
        console.note(e.getLine(action.file, action.part));
        return e.getExitCode();
    } catch (const opc::Exception& e) {
        console.note(toFailure(e, action.file, action.part).getLine("", ""));
    } catch (const std::bad_alloc&) {
        console.note(action.file + ": out of memory");
    } catch (const std::exception& e) {
        console.note(action.file + ": " + e.what());
    }
    return ExitCode::NotProcessed;
}

CLI::App& addSubcommand(Tool& tool, const std::string& name, const std::string& description, const std::string& help,
                        const std::string& exitCodes) {
    CLI::App* command = tool.app.add_subcommand(name, description);
    command->group(tool.group);
    command->footer(help + "\n\nExit codes: " + exitCodes + ", 2 the input could not be processed, 64 wrong usage.");
    return *command;
}

bool needsOptions(const Tool& tool, const std::string& command) {
    return tool.words.contains(command) || tool.words.contains(DOCUMENTATION_COMMAND);
}

void addInputOptions(CLI::App& command, InputOptions& options, const std::string& description) {
    command.add_option("FILE", options.file, description)->required();
    addLimitOption(command, options);
}

CLI::Option* addReadOptions(CLI::App& command, ReadOptions& options, const std::string& description) {
    addInputOptions(command, options, description);
    return addJsonFlag(command, options.json);
}

CLI::Option* addReadOptions(CLI::App& command, ReadOptions& options, std::vector<std::string>& files) {
    const auto take = [&](const CLI::results_t& results) {
        files = results;
        options.file = files.front();
    };
    addRepeated(command, "FILE", take, "The packages, files or folders; - is the standard input")
        ->allow_extra_args()
        ->required();
    addLimitOption(command, options);
    return addJsonFlag(command, options.json);
}

void addChangeOptions(CLI::App& command, ChangeOptions& options) {
    addInputOptions(command, options, "The package; - is the standard input, and needs -o");
    addSavingOptions(command, options);
}

void addChangeOptions(CLI::App& command, ChangeOptions& options, std::vector<std::string>& before,
                      const std::string& name, const std::string& description) {
    const auto take = [&](const CLI::results_t& results) {
        before = results;
        options.file = before.back();
        before.pop_back();
    };
    addRepeated(command, name, take, description)
        ->expected(2, CLI::detail::expected_max_vector_size)
        ->allow_extra_args()
        ->required();
    addLimitOption(command, options);
    addSavingOptions(command, options);
}

std::vector<CLI::Option*> addReadOrChangeOptions(CLI::App& command, ReadOrChangeOptions& options) {
    addInputOptions(command, options, "The package; - is the standard input, and a change of it needs -o");
    addSavingOptions(command, options);
    addTolerantFlag(command, options);
    CLI::Option* json = addJsonFlag(command, options.json);
    CLI::Option* strict = addFlag(command, "--strict", options.strict, STRICT_TEXT);
    CLI::Option* take = addTakeOption(command, options.take, STORED_TWICE)->excludes(strict);
    return {json, strict, take};
}

void addToleranceOptions(CLI::App& command, InputOptions& options) {
    options.tolerant = true;
    CLI::Option* strict = command
                              .add_flag_callback(
                                  "--strict", [&options] { options.tolerant = false; }, STRICT_TEXT)
                              ->disable_flag_override();
    addTakeOption(command, options.take, STORED_TWICE)->excludes(strict);
}

void addTolerantFlag(CLI::App& command, ChangeOptions& options) {
    addFlag(command, "--tolerant", options.tolerant,
            "Also change a package in which something is wrong; what is wrong stays as it is");
}

CLI::Option* addTakeOption(CLI::App& command, Take& take, const std::string& things) {
    const auto set = [&take](const std::string& which) { take = TAKES.at(which); };
    return command.add_option_function<std::string>("--take", set, things + ", take the first or last")
        ->type_name("WHICH")
        ->check(oneOf(TAKES));
}

void addWaitOption(CLI::App& command, unsigned& seconds) {
    command
        .add_option("--wait", seconds,
                    "How long to wait for other processes that change the file in place; 0 does not wait")
        ->type_name("SECONDS")
        ->check(notEmpty())
        ->capture_default_str();
}

void addColorOption(CLI::App& command, ColorWhen& when) {
    const auto set = [&when](const std::string& word) { when = COLOR_CHOICES.at(word); };
    command
        .add_option_function<std::string>(
            "--color", set, "Color the lines; auto does on a terminal, unless NO_COLOR is set in the environment")
        ->type_name("WHEN")
        ->check(oneOf(COLOR_CHOICES));
}

CLI::Option* addFlag(CLI::App& command, const std::string& name, bool& flag, const std::string& description) {
    return command.add_flag(name, flag, description)->disable_flag_override();
}

CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                      const std::string& description) {
    const auto take = [&texts](const CLI::results_t& results) { texts = results; };
    return addRepeated(command, name, take, description);
}

CLI::Validator notEmpty() {
    return CLI::Validator([](const std::string& text) { return std::string(text.empty() ? "must not be empty" : ""); },
                          "");
}

CLI::Validator offering(const std::vector<std::string>& words, const std::string& end) {
    const auto accept = [](const std::string&) { return std::string(); };
    return CLI::Validator(accept, "").name(CLI::detail::join(words, end + ' ') + end);
}

std::string toJsonText(const Json& report) {
    return report.dump(2, ' ', true, Json::error_handler_t::replace) + '\n';
}

Json makeJsonReport(const std::string& command, const std::string& file) {
    return {{"version", JSON_VERSION}, {"command", command}, {"file", file}};
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

} // namespace opcraft
