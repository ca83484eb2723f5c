// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Help.hpp"

#include "opcraft/Suggestion.hpp"
#include "opcraft/commands/Commands.hpp"

#include <unistd.h>

#include <memory>
#include <string>

namespace opcraft {

namespace {

ExitCode help(const CLI::App& tool, const std::string& name, Console& console) {
    const auto named = [&name](const CLI::App* each) { return each->get_name() == name; };
    const auto commands = tool.get_subcommands(named);
    if (!name.empty() && commands.empty())
        throw Failure(ExitCode::WrongUsage, name, "",
                      "unknown command" + suggest(name, namesOfCommands(tool)) + "; 'opcraft help' shows all");
    console.write(helpOf(name.empty() ? tool : *commands.front(), STDOUT_FILENO));
    return ExitCode::Fine;
}

} // namespace

void addHelpCommand(Tool& tool) {
    const auto name = std::make_shared<std::string>();
    CLI::App& command = addSubcommand(tool, "help", "Explain a command, or show all of them",
                                      "The same as 'opcraft COMMAND --help' and 'opcraft --help'.\n\n"
                                      "Example:\n  opcraft help list");
    command.add_option("COMMAND", *name, "The command; without it, all are shown");
    command.callback([&tool, name] {
        tool.action = {*name, "", [&tool, name](Console& console) { return help(tool.app, *name, console); }};
    });
}

} // namespace opcraft
