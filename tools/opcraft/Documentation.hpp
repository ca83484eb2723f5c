// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace opcraft {

struct Tool;

/// An option of a command, or an argument.
struct OptionInfo {
    std::string shortName{}; ///< "-o"; may be empty
    std::string name{};      ///< "--output", or "PART" for an argument
    std::string value{};     ///< "FILE"; empty for a flag or an argument
    std::string preset{};    ///< the default; may be empty
    std::string choices{};   ///< the words that it takes, separated by spaces; empty when it takes any text
    bool isRepeated = false;
    bool isRequired = false;
    std::vector<std::string> excludes{}; ///< names of options and arguments
    std::string description{};
};

/// A command as the parser of the command line knows it.
struct CommandInfo {
    std::string name{}; ///< empty for the tool itself
    std::string description{};
    std::string usage{}; ///< "[OPTIONS] FILE"
    std::vector<OptionInfo> arguments{};
    std::vector<OptionInfo> options{};
    std::vector<std::string> help{}; ///< the lines that `--help` shows below the options
};

// Every function below takes the tool itself first, and then its commands.

/// The manual page of one of the commands, in the man macros of roff.
std::string makeManualPage(const CommandInfo& command, const std::vector<CommandInfo>& commands);

std::string makeBashCompletion(const std::vector<CommandInfo>& commands);
std::string makeZshCompletion(const std::vector<CommandInfo>& commands);
std::string makeFishCompletion(const std::vector<CommandInfo>& commands);

inline constexpr const char* DOCUMENTATION_COMMAND = "generate-documentation";

/// Adds a command that no help shows: it writes manual pages and completion scripts into a folder, for the build.
void addDocumentationCommand(Tool& tool);

} // namespace opcraft
