// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Documentation.hpp"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace opcraft {

namespace {

constexpr const char* FURTHER_SECTIONS = R"(.SH SAVING
A command that changes a package writes a new file beside it, flushes that to the disk and renames it to the old one.
Whatever interrupts it before, the old file is unchanged. Items that are not changed keep their bytes and their order,
including those that are not parts. With
.B \-o
the result goes to another file. Commands that change the same file in place at the same time run one after another; a
command that has to wait longer than
.B \-\-wait
says ends with exit code 2, and so does one that finds that another program replaced the file meanwhile.
.SH ENVIRONMENT
.TP
.B TMPDIR
The folder for content that exceeds 8 MiB of memory, in a file without a name, until it is saved. Without it,
.I /var/tmp
is used.
.TP
.B NO_COLOR
With any value that is not empty, nothing is colored unless
.B \-\-color
asks for it.
)";

/// Escapes what roff would interpret; a hyphen is one that can be copied.
std::string roff(const std::string& text) {
    std::string result = text.starts_with('.') ? "\\&" : "";
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text.compare(i, 3, "…") == 0) {
            result += "...";
            i += 2;
        } else if (text[i] == '\\') {
            result += "\\e";
        } else if (text[i] == '-') {
            result += "\\-";
        } else if (text[i] == '\'') {
            result += "\\(aq";
        } else {
            result += text[i];
        }
    return result;
}

std::string sentence(const std::string& text) {
    const bool ends = text.ends_with('.') || text.ends_with('!') || text.ends_with('?');
    return roff(text) + (ends ? "\n" : ".\n");
}

std::string section(const std::string& title, const std::string& body) {
    return body.empty() ? "" : ".SH " + title + '\n' + body;
}

std::string lowerFirst(std::string text) {
    text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
    return text;
}

/// What the page is, in a few words: for the tool, without the examples in brackets.
std::string summaryOf(const CommandInfo& command) {
    std::string text = lowerFirst(command.description);
    if (const std::size_t start = text.find(" ("); start != std::string::npos)
        text.erase(start, text.find(')', start) + 1 - start);
    if (text.ends_with('.'))
        text.pop_back();
    return text;
}

/// The usage with its names in italics.
std::string synopsisOf(const std::string& page, const std::string& usage) {
    std::string text;
    bool isName = false;
    for (const char c : usage + '\n') {
        if (isName != (c >= 'A' && c <= 'Z')) {
            isName = !isName;
            text += isName ? "\\fI" : "\\fR";
        }
        text += c;
    }
    return "\\fB" + page + "\\fR " + text;
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : (i + 1 == names.size() ? " and " : ", ")) + names[i];
    return text;
}

std::string textOf(const OptionInfo& option) {
    std::string text = ".TP\n";
    if (!option.shortName.empty())
        text += "\\fB" + roff(option.shortName) + "\\fR, ";
    text += "\\fB" + roff(option.name) + "\\fR";
    text += (option.value.empty() ? "" : " \\fI" + roff(option.value) + "\\fR") + '\n' + sentence(option.description);
    if (option.isRequired)
        text += "It has to be given.\n";
    if (!option.preset.empty())
        text += "The default is " + roff(option.preset) + ".\n";
    if (option.isRepeated)
        text += "It may be given more than once.\n";
    if (!option.excludes.empty())
        text += "It excludes " + roff(listOf(option.excludes)) + ".\n";
    return text;
}

/// The help in two: paragraphs, where an indented line starts a new line, and the examples.
struct Help {
    std::string paragraphs{};
    std::string examples{};
};

bool isExitCodes(const std::string& line) {
    return line.starts_with("Exit codes: ");
}

void addParagraphLine(const std::string& line, bool startsParagraph, std::string& text) {
    if (startsParagraph || text.empty())
        text += ".PP\n";
    else if (line.starts_with(' '))
        text += ".br\n";
    text += roff(line) + '\n';
}

Help splitHelp(const std::vector<std::string>& lines) {
    Help help;
    bool isExample = false;
    bool startsParagraph = false;
    for (const std::string& line : lines) {
        if (line == "Example:" || line == "Examples:")
            isExample = true;
        else if (isExample && line.starts_with(' '))
            help.examples += roff(line) + '\n';
        else if (!line.empty() && !isExitCodes(line))
            addParagraphLine(line, startsParagraph, help.paragraphs);
        startsParagraph = line.empty();
    }
    return help;
}

/// From "Exit codes: 0 fine, 1 findings."
std::string exitStatusOf(const CommandInfo& command) {
    const auto line = std::find_if(command.help.begin(), command.help.end(), isExitCodes);
    if (line == command.help.end())
        return {};
    std::istringstream words(line->substr(line->find(':') + 1, line->find_last_of('.') - line->find(':') - 1));
    std::string text;
    for (std::string code, meaning; words >> code && std::getline(words >> std::ws, meaning, ',');)
        text += ".TP\n.B " + code + '\n' + sentence(meaning);
    return text;
}

std::string seeAlso(const CommandInfo& command, const std::vector<CommandInfo>& commands) {
    if (!command.name.empty())
        return ".BR opcraft (1)\n";
    std::string text;
    for (std::size_t i = 1; i < commands.size(); ++i)
        text += ".BR opcraft\\-" + commands[i].name + (i + 1 < commands.size() ? " (1),\n" : " (1)\n");
    return text;
}

std::string commandsText(const CommandInfo& command, const std::vector<CommandInfo>& commands) {
    std::string text;
    for (std::size_t i = 1; command.name.empty() && i < commands.size(); ++i)
        text += ".TP\n.BR opcraft\\-" + commands[i].name + " (1)\n" + sentence(commands[i].description);
    return text;
}

} // namespace

std::string makeManualPage(const CommandInfo& command, const std::vector<CommandInfo>& commands) {
    const std::string page = roff("opcraft" + (command.name.empty() ? "" : '-' + command.name));
    const std::string invocation = "opcraft" + (command.name.empty() ? "" : ' ' + command.name);
    const Help help = splitHelp(command.help);
    std::string title = page;
    std::transform(title.begin(), title.end(), title.begin(), [](unsigned char c) { return std::toupper(c); });
    std::string arguments;
    for (const OptionInfo& each : command.arguments)
        arguments += ".TP\n.I " + roff(each.name) + '\n' + sentence(each.description);
    std::string options;
    for (const OptionInfo& each : command.options)
        options += textOf(each);
    return ".\\\" Made by opcraft itself.\n.TH " + title +
           " 1 \"\" \"Opcraft " OPCRAFT_VERSION "\" \"Opcraft Manual\"\n" +
           section("NAME", page + " \\- " + roff(summaryOf(command)) + '\n') +
           section("SYNOPSIS", synopsisOf(invocation, command.usage)) +
           section("DESCRIPTION", sentence(command.description) + help.paragraphs) + section("ARGUMENTS", arguments) +
           section("COMMANDS", commandsText(command, commands)) + section("OPTIONS", options) +
           section("EXAMPLES", help.examples.empty() ? "" : ".nf\n" + help.examples + ".fi\n") +
           section("EXIT STATUS", exitStatusOf(command)) + (command.name.empty() ? FURTHER_SECTIONS : "") +
           section("SEE ALSO", seeAlso(command, commands));
}

} // namespace opcraft
