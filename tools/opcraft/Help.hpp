// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace opcraft {

/// The help on the tool or on one of its commands; for a terminal, in lines of its width.
/// @param stream the descriptor that it will be written to.
std::string helpOf(const CLI::App& app, int stream);

/// Those that the help shows.
std::vector<std::string> namesOfCommands(const CLI::App& tool);

/// "--output", "-o".
std::vector<std::string> namesOfOptions(const CLI::App& app);

} // namespace opcraft
