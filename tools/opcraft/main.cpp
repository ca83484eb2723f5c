// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Documentation.hpp"
#include "opcraft/Help.hpp"
#include "opcraft/Suggestion.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string>
#include <vector>

namespace opcraft {
namespace {

/// In the order in which the help shows them.
void addCommands(Tool& tool) {
    tool.app.name("opcraft");
    tool.app.set_version_flag("--version", "opcraft " OPCRAFT_VERSION, "Print the version and exit");
    tool.app.require_subcommand(1);
    tool.app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    tool.app.get_formatter()->label("REQUIRED", "(required)");
    tool.app.get_formatter()->label("TEXT", "");
    tool.app.footer("'opcraft help COMMAND' explains a command and shows an example.\n\n"
                    "Exit codes: 0 fine, 1 findings, 2 the input could not be processed, 64 wrong usage.");
    tool.group = "Look into packages";
    addInfoCommand(tool);
    addListCommand(tool);
    addRelsCommand(tool);
    addCatCommand(tool);
    addExtractCommand(tool);
    addDiffCommand(tool);
    addTextCommand(tool);
    addGraphCommand(tool);
    tool.group = "Check and mend";
    addLintCommand(tool);
    addRepairCommand(tool);
    tool.group = "Change packages";
    addNewCommand(tool);
    addPackCommand(tool);
    addAddCommand(tool);
    addPutCommand(tool);
    addMvCommand(tool);
    addCpCommand(tool);
    addRetypeCommand(tool);
    addRmCommand(tool);
    addRelateCommand(tool);
    addUnrelateCommand(tool);
    addPropsCommand(tool);
    addThumbnailCommand(tool);
    tool.group = "Signatures";
    addSignCommand(tool);
    addVerifyCommand(tool);
    addSignaturesCommand(tool);
    addCountersignCommand(tool);
    addUnsignCommand(tool);
    tool.group = "Help";
    addHelpCommand(tool);
    addDocumentationCommand(tool);
}

/// A word of the command line, so that it is told from the words beside it.
std::string quoted(const std::string& word) {
    return word.empty() || word.find(' ') != std::string::npos ? '"' + word + '"' : word;
}

/// What is wrong with words that nothing takes.
/// @param kind what a word is that is no option: "argument".
std::string explainRest(const CLI::App& app, const std::vector<std::string>& rest, const std::string& kind) {
    const auto isOption = [](const std::string& word) { return word.size() > 1 && word.front() == '-'; };
    const auto option = std::ranges::find_if(rest, isOption);
    if (option != rest.end()) {
        const std::string name = option->substr(0, option->find('='));
        return quoted(name) + ": unknown option" + suggest(name, namesOfOptions(app));
    }
    if (kind == "command")
        return quoted(rest.front()) + ": unknown command" + suggest(rest.front(), namesOfCommands(app));
    std::vector<std::string> words;
    std::ranges::transform(rest, std::back_inserter(words), quoted);
    return listText(words) + (words.size() == 1 ? ": unexpected argument" : ": unexpected arguments");
}

/// The line for the user; empty when no command is named.
std::string explain(const Tool& tool, const CLI::ParseError& error) {
    const auto chosen = tool.app.get_subcommands();
    const CLI::App& app = chosen.empty() ? tool.app : *chosen.front();
    const auto rest = app.remaining();
    if (chosen.empty() && rest.empty())
        return {};
    const bool isRest = chosen.empty() || dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    const std::string reason = isRest ? explainRest(app, rest, chosen.empty() ? "command" : "argument") : error.what();
    const std::string command = chosen.empty() ? "" : ' ' + app.get_name();
    return reason + (reason.ends_with('?') ? " 'opcraft" : "; 'opcraft") + command + " --help' explains";
}

ExitCode wrongUsage(const Tool& tool, const CLI::ParseError& error) {
    const std::string line = explain(tool, error);
    if (line.empty())
        Console("").show(helpOf(tool.app, STDERR_FILENO));
    else
        Console("").note(line);
    return ExitCode::WrongUsage;
}

ExitCode runCommandLine(Tool& tool, int count, char** arguments) {
    std::string answer;
    try {
        tool.app.parse(count, arguments);
    } catch (const CLI::CallForVersion& version) {
        answer = std::string(version.what()) + '\n';
    } catch (const CLI::Success&) {
        const auto chosen = tool.app.get_subcommands();
        answer = helpOf(chosen.empty() ? tool.app : *chosen.front(), STDOUT_FILENO);
    } catch (const CLI::ParseError& e) {
        return wrongUsage(tool, e);
    }
    Console console(tool.action.file);
    if (!answer.empty())
        tool.action.run = [&answer](Console& out) {
            out.write(answer);
            return ExitCode::Fine;
        };
    return run(tool.action, console);
}

/// Opens /dev/null for every standard stream that is closed. Otherwise the next file that is opened would get its
/// number, and be taken for the input or get the result. Reading or writing it fails, as with the closed stream.
void occupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) == -1)
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace
} // namespace opcraft

int main(int count, char** arguments) {
    opcraft::occupyStandardStreams();
    // A save is not interrupted because nobody reads the report.
    const auto inherited = std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file that is too large for a limit of the system is an error that is told
    try {
        opcraft::Tool tool;
        tool.words.insert(arguments, arguments + count);
        opcraft::addCommands(tool);
        return static_cast<int>(opcraft::runCommandLine(tool, count, arguments));
    } catch (const opcraft::BrokenPipe& e) {
        // All files are closed: now the signal terminates the program, as is usual, unless the parent process ignores
        // it.
        std::signal(SIGPIPE, inherited);
        std::raise(SIGPIPE);
        std::fprintf(stderr, "opcraft: %s\n", e.getLine("", "").c_str());
        return static_cast<int>(e.getExitCode());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "opcraft: %s\n", e.what());
        return static_cast<int>(opcraft::ExitCode::NotProcessed);
    }
}
