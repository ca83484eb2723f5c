// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Documentation.hpp"
#include "opcraft/commands/Commands.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>

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
    tool.app.footer("'opcraft COMMAND --help' explains a command and shows an example.\n\n"
                    "Exit codes: 0 fine, 1 findings, 2 the input could not be processed, 64 wrong usage.");
    addInfoCommand(tool);
    addListCommand(tool);
    addRelsCommand(tool);
    addCatCommand(tool);
    addExtractCommand(tool);
    addDiffCommand(tool);
    addTextCommand(tool);
    addGraphCommand(tool);
    addLintCommand(tool);
    addRepairCommand(tool);
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
    addSignCommand(tool);
    addVerifyCommand(tool);
    addSignaturesCommand(tool);
    addCountersignCommand(tool);
    addUnsignCommand(tool);
    addDocumentationCommand(tool);
}

ExitCode wrongUsage(const Tool& tool, const CLI::ParseError& error) {
    std::string reason = error.what();
    std::string command = "opcraft";
    const auto chosen = tool.app.get_subcommands();
    if (!chosen.empty())
        command += ' ' + chosen.front()->get_name();
    else if (const auto rest = tool.app.remaining(); !rest.empty())
        reason = rest.front() + ": unknown command or option";
    else
        reason = "a command is required";
    Console("").note(reason + "; '" + command + " --help' explains");
    return ExitCode::WrongUsage;
}

ExitCode runCommandLine(Tool& tool, int count, char** arguments) {
    std::string answer;
    try {
        tool.app.parse(count, arguments);
    } catch (const CLI::CallForVersion& version) {
        answer = std::string(version.what()) + '\n';
    } catch (const CLI::Success&) {
        answer = tool.app.help();
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
    try {
        opcraft::Tool tool;
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
