// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Documentation.hpp"

#include "opcraft/Tool.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace opcraft {

namespace {

/// The words that an option takes (`oneOf`).
std::string choicesOf(CLI::Option& option) {
    try {
        return option.get_validator()->get_name();
    } catch (const CLI::OptionNotFound&) {
        return {};
    }
}

OptionInfo infoOf(CLI::Option& option, const std::vector<CLI::Option*>& all) {
    OptionInfo info;
    const bool takesValue = option.get_type_size() != 0;
    info.name = option.get_positional() ? option.get_name(true) : "--" + option.get_lnames().front();
    if (!option.get_snames().empty())
        info.shortName = '-' + option.get_snames().front();
    if (takesValue && !option.get_positional())
        info.value = option.get_type_name();
    info.preset = takesValue ? option.get_default_str() : "";
    info.choices = choicesOf(option);
    info.isRepeated = takesValue && option.get_expected_max() == CLI::detail::expected_max_vector_size;
    info.isRequired = option.get_required();
    for (const CLI::Option* other : all) // in this order, and not in that of a set of pointers
        if (option.get_excludes().contains(const_cast<CLI::Option*>(other)))
            info.excludes.push_back(other->get_name());
    info.description = option.get_description();
    return info;
}

CommandInfo infoOf(CLI::App& app) {
    CommandInfo info;
    info.description = app.get_description();
    info.usage = "[OPTIONS]";
    const std::vector<CLI::Option*> options = app.get_options([](CLI::Option*) { return true; });
    for (CLI::Option* option : options) {
        const OptionInfo each = infoOf(*option, options);
        if (!option->get_positional()) {
            info.options.push_back(each);
            continue;
        }
        info.arguments.push_back(each);
        const std::string text = each.name + (each.isRepeated ? "..." : "");
        info.usage += ' ' + (each.isRequired ? text : '[' + text + ']');
    }
    std::istringstream help(app.get_footer());
    for (std::string line; std::getline(help, line);)
        info.help.push_back(line);
    return info;
}

std::vector<CommandInfo> readCommands(CLI::App& app) {
    std::vector<CommandInfo> commands{infoOf(app)};
    commands.front().usage += " COMMAND";
    for (CLI::App* command : app.get_subcommands([](CLI::App* each) { return !each->get_group().empty(); })) {
        commands.push_back(infoOf(*command));
        commands.back().name = command->get_name();
    }
    return commands;
}

void writeFile(const std::filesystem::path& name, const std::string& text) {
    std::filesystem::create_directories(name.parent_path());
    std::ofstream file(name, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw Failure(ExitCode::NotProcessed, name.string(), "", "cannot be written");
}

void writeDocumentation(CLI::App& app, const std::filesystem::path& folder) {
    const std::vector<CommandInfo> commands = readCommands(app);
    for (const CommandInfo& command : commands) {
        const std::string name = "opcraft" + (command.name.empty() ? "" : '-' + command.name) + ".1";
        writeFile(folder / "man1" / name, makeManualPage(command, commands));
    }
    writeFile(folder / "completion/opcraft", makeBashCompletion(commands));
    writeFile(folder / "completion/_opcraft", makeZshCompletion(commands));
    writeFile(folder / "completion/opcraft.fish", makeFishCompletion(commands));
}

} // namespace

void addDocumentationCommand(Tool& tool) {
    const auto folder = std::make_shared<std::string>();
    CLI::App* command = tool.app.add_subcommand(DOCUMENTATION_COMMAND, "Write manual pages and completion scripts");
    command->group(""); // hidden
    command->add_option("FOLDER", *folder, "The folder to write to")->required();
    command->callback([&tool, folder] {
        tool.action = {*folder, "", [&tool, folder](Console&) {
                           writeDocumentation(tool.app, *folder);
                           return ExitCode::Fine;
                       }};
    });
}

} // namespace opcraft
