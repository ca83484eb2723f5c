// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Console.hpp"
#include "opcraft/Failure.hpp"
#include "opcraft/Suggestion.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Limits.hpp>
#include <opc/signatures/SignatureForm.hpp>
#include <opc/storage/zip/ZipOptions.hpp>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// What is to be done once the command line is parsed.
struct Action {
    std::string file; ///< named in error messages
    std::string part; ///< the same; may be empty
    std::function<ExitCode(Console&)> run;
};

/// Runs an action and reports every error in one line.
/// @throws BrokenPipe
ExitCode run(const Action& action, Console& console);

/// The command line of the tool. The chosen command sets the action.
struct Tool {
    CLI::App app{"Looks into packages of the Open Packaging Conventions (.docx, .xlsx, .nupkg, …) and changes them."};
    Action action;
    std::string group{};           ///< the heading in the help of the commands that are added next
    std::set<std::string> words{}; ///< of the command line
};

/// The options of every command.
struct CommandOptions {
    std::string file{};
    std::string part{};        ///< the part or item that error messages name; may be empty
    bool hidesPackage = false; ///< whether error messages leave out the part "/"; set by the command
};

using Take = opc::storage::ZipOptions::Take;

/// The options of a command that opens a package.
struct InputOptions : CommandOptions {
    opc::Limits limits{};
    bool consistent = false;   ///< whether a ZIP file that readers may read differently is refused; set by the command
    bool signatures = false;   ///< whether signatures are read, to be verified or changed; set by the command
    bool tolerant = false;     ///< whether a package in which something is wrong is opened
    Take take = Take::Neither; ///< of several for one name
    opc::model::SignatureForm formToWrite = opc::model::SignatureForm::Standard; ///< of new signatures
    std::optional<std::chrono::milliseconds> lockTimeout{}; ///< as of `opc::storage::ZipOptions`; set by the command
};

/// The options of a command that reads.
struct ReadOptions : InputOptions {
    bool json = false;
};

/// The options of a command that changes a package.
struct ChangeOptions : InputOptions {
    std::string output{}; ///< empty: in place
    unsigned wait = 60;   ///< seconds, for other processes that change the file
};

/// The options of a command that reads, or changes a package when options say so.
struct ReadOrChangeOptions : ChangeOptions {
    bool json = false;
    bool strict = false; ///< when it reads; `tolerant` is for changes

    InputOptions forReading() const {
        InputOptions options = *this;
        options.tolerant = !strict;
        return options;
    }
};

/// A command of the tool.
template <class Options>
struct Command {
    const char* name;
    const char* description;
    std::string help; ///< what `--help` shows below the options
    void (*addOptions)(CLI::App& command, Options& options);
    ExitCode (*run)(const Options& options, Console& console);
    const char* fine = "done";      ///< what exit code 0 means
    const char* findings = nullptr; ///< and 1; null when the command never ends with it
};

/// @param exitCodes "0 done, 1 different": those that not every command has.
CLI::App& addSubcommand(Tool& tool, const std::string& name, const std::string& description, const std::string& help,
                        const std::string& exitCodes = "0 done");

/// Whether the words of the command line name a command, or ask for the documentation of all. To set up the options of
/// all commands takes longer than most of them run.
bool needsOptions(const Tool& tool, const std::string& command);

/// Registers a command, with its options when it needs them.
/// @tparam Options a `CommandOptions` with what the command adds.
template <class Options>
void addCommand(Tool& tool, const Command<Options>& command) {
    const auto options = std::make_shared<Options>();
    const std::string findings = command.findings ? std::string(", 1 ") + command.findings : "";
    CLI::App& app = addSubcommand(tool, command.name, command.description, command.help,
                                  std::string("0 ") + command.fine + findings);
    if (needsOptions(tool, command.name))
        command.addOptions(app, *options);
    app.callback([&tool, options, run = command.run] {
        const bool isHidden = options->hidesPackage && options->part == "/";
        tool.action = {options->file, isHidden ? "" : options->part,
                       [options, run](Console& console) { return run(*options, console); }};
    });
}

inline constexpr const char* PACKAGE_DESCRIPTION = "The package, a file or a folder; - is the standard input";

void addInputOptions(CLI::App& command, InputOptions& options, const std::string& description = PACKAGE_DESCRIPTION);
/// @return the option for JSON.
CLI::Option* addReadOptions(CLI::App& command, ReadOptions& options,
                            const std::string& description = PACKAGE_DESCRIPTION);
/// For a command that reads several packages.
/// @param files receives their names, the first of which the options have as well.
CLI::Option* addReadOptions(CLI::App& command, ReadOptions& options, std::vector<std::string>& files);
void addChangeOptions(CLI::App& command, ChangeOptions& options);
/// For a command whose last argument is the file.
/// @param before receives the arguments before that, at least one.
/// @param name of these arguments.
void addChangeOptions(CLI::App& command, ChangeOptions& options, std::vector<std::string>& before,
                      const std::string& name, const std::string& description);
/// @return the options for reading alone, which exclude those that change; the first is that for JSON.
std::vector<CLI::Option*> addReadOrChangeOptions(CLI::App& command, ReadOrChangeOptions& options);

/// For a command that reads tolerantly: `--strict` and `--take`.
void addToleranceOptions(CLI::App& command, InputOptions& options);
/// For a command that changes: `--tolerant`.
void addTolerantFlag(CLI::App& command, ChangeOptions& options);
/// `--take`.
/// @param things the several of which one is taken.
CLI::Option* addTakeOption(CLI::App& command, Take& take, const std::string& things);

/// @param seconds holds the default.
void addWaitOption(CLI::App& command, unsigned& seconds);

/// `--color`.
void addColorOption(CLI::App& command, ColorWhen& when);

CLI::Option* addFlag(CLI::App& command, const std::string& name, bool& flag, const std::string& description);

/// An option that may be given any number of times, each time with one text, which is taken literally.
CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                      const std::string& description);

/// For an option or argument whose absence means something else than an empty text, which is a mistake in a script.
CLI::Validator notEmpty();

/// For an option that takes any text, for which completion offers words.
/// @param end what follows each of them: "=" where a value comes next.
CLI::Validator offering(const std::vector<std::string>& words, const std::string& end = "");

/// For an option that takes one of the keys of a map. Completion offers the keys, which are the name of the validator.
template <class Map, class... Filters>
CLI::Validator oneOf(const Map& map, Filters... filters) {
    std::string words;
    for (const auto& [word, value] : map)
        words += (words.empty() ? "" : " ") + word;
    std::vector<std::string> names;
    for (const auto& [word, value] : map)
        names.push_back(word);
    const CLI::IsMember member(map, filters...);
    const auto check = [member, names](std::string& word) {
        const std::string problem = member(word);
        return problem.empty() ? problem : word + ": not one of " + listText(names) + suggest(word, names);
    };
    return CLI::Validator(check, "").name(words);
}

using Json = nlohmann::ordered_json;

/// Incremented when JSON reports change incompatibly.
inline constexpr int JSON_VERSION = 1;

/// The text of a JSON report. It is ASCII, so that no control character in a package reaches the terminal.
std::string toJsonText(const Json& report);

/// A report with what all reports have in common.
Json makeJsonReport(const std::string& command, const std::string& file);

/// Null for an empty text.
Json textOrNull(const std::string& text);

/// An array of what a function makes of every element.
template <class Range, class Function>
Json toJsonArray(const Range& range, Function toElement) {
    Json json = Json::array();
    for (const auto& each : range)
        json.push_back(toElement(each));
    return json;
}

} // namespace opcraft
