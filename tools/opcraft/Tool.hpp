// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Console.hpp"
#include "opcraft/Failure.hpp"

#include <opc/core/Limits.hpp>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace opcraft {

/// What is to be done once the command line is read.
struct Action {
    std::string file; ///< named in error messages
    std::string part; ///< the same; may be empty
    std::function<ExitCode(Console&)> run;
};

/// The command line of the tool. Each command adds itself, and leaves its action when it is chosen.
struct Tool {
    CLI::App app{"Looks into packages of the Open Packaging Conventions (.docx, .xlsx, .nupkg, …) and changes them."};
    Action action;
};

/// The options of a command that opens a package.
struct InputOptions {
    std::string file;
    opc::Limits limits{};
    bool consistent = false; ///< whether a ZIP file that could be read in two ways is refused; set by the command
    bool signatures = false; ///< whether signatures are read, so that they are checked or changed; set by the command
    std::optional<std::chrono::milliseconds> lockTimeout{}; ///< as of `opc::storage::ZipOptions`; set by the command
};

/// The options of a command that reads.
struct ReadOptions : InputOptions {
    bool json = false;
};

/// The options of a command that changes.
struct ChangeOptions : InputOptions {
    std::string output{}; ///< empty: in place
    unsigned wait = 60;   ///< seconds, for other processes that change the file
};

/// The options of a command that reads, and changes when it is told what.
struct ReadOrChangeOptions : ChangeOptions {
    bool json = false;
};

CLI::App* addCommand(Tool& tool, const std::string& name, const std::string& description, const std::string& help);
void addInputOptions(CLI::App& command, InputOptions& options, const std::string& description);
/// @return the one for JSON.
CLI::Option* addReadOptions(CLI::App& command, ReadOptions& options);
void addChangeOptions(CLI::App& command, ChangeOptions& options);
/// @return the one for JSON, which only reading takes.
CLI::Option* addReadOrChangeOptions(CLI::App& command, ReadOrChangeOptions& options);

/// @param seconds with the default.
void addWaitOption(CLI::App& command, unsigned& seconds);

/// An option that may be given any number of times, each time with one text, which is taken as it is.
CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                      const std::string& description);

/// For an option or argument whose absence means something else than an empty text would, which is an error of a
/// script.
CLI::Validator notEmpty();

/// The text of a JSON report. It is ASCII: nothing in it can steer a terminal.
std::string toJsonText(const nlohmann::ordered_json& report);

/// A report that is still to be filled, with what all reports have in common.
nlohmann::ordered_json makeJsonReport(const std::string& command, const std::string& file);

void addInfoCommand(Tool& tool);
void addListCommand(Tool& tool);
void addRelsCommand(Tool& tool);
void addCatCommand(Tool& tool);
void addNewCommand(Tool& tool);
void addAddCommand(Tool& tool);
void addRmCommand(Tool& tool);
void addRelateCommand(Tool& tool);
void addUnrelateCommand(Tool& tool);
void addPropsCommand(Tool& tool);
void addThumbnailCommand(Tool& tool);
void addSignCommand(Tool& tool);
void addVerifyCommand(Tool& tool);
void addSignaturesCommand(Tool& tool);
void addCountersignCommand(Tool& tool);
void addUnsignCommand(Tool& tool);

} // namespace opcraft
