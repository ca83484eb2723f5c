// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Help.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <sstream>

namespace opcraft {

namespace {

/// Where the descriptions of options and commands start.
constexpr std::size_t DESCRIPTIONS = 30;
constexpr std::size_t NARROWEST = 50;

/// The columns of a terminal; 0 for what is none.
std::size_t widthOf(int stream) {
    winsize size{};
    const bool isTerminal = ::isatty(stream) == 1 && ::ioctl(stream, TIOCGWINSZ, &size) == 0;
    return isTerminal && size.ws_col != 0 ? std::max<std::size_t>(size.ws_col, NARROWEST) : 0;
}

/// UTF-8 has one byte for each character that does not continue one.
std::size_t columnsOf(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// Cuts a line between words; what follows is indented as the text in it is.
std::string wrapped(const std::string& line, std::size_t width) {
    if (columnsOf(line) <= width)
        return line + '\n';
    const bool isDescription = line.starts_with("  ") && line.size() > DESCRIPTIONS && line[DESCRIPTIONS - 1] == ' ';
    const std::size_t indentation = isDescription ? DESCRIPTIONS : line.find_first_not_of(' ');
    std::string text = line.substr(0, indentation);
    std::istringstream words(line.substr(indentation));
    std::size_t columns = indentation;
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        if (!isFirst && columns + 1 + columnsOf(word) > width) {
            text += '\n' + std::string(indentation, ' ');
            columns = indentation;
        } else if (!isFirst) {
            text += ' ';
            ++columns;
        }
        text += word;
        columns += columnsOf(word);
    }
    return text + '\n';
}

/// Whether a line of running text goes on in the next one.
bool goesOn(const std::string& line, const std::string& next) {
    const auto isText = [](const std::string& each) { return !each.empty() && each.front() != ' '; };
    return isText(line) && isText(next) && !line.ends_with(':') && !line.starts_with("Usage:");
}

std::string wrapAll(const std::string& help, std::size_t width) {
    std::istringstream lines(help);
    std::string text;
    std::string paragraph;
    for (std::string line; std::getline(lines, line); paragraph = line)
        if (goesOn(paragraph, line))
            line = paragraph + ' ' + line;
        else if (text.size() + paragraph.size() > 0)
            text += wrapped(paragraph, width);
    return text + wrapped(paragraph, width);
}

} // namespace

std::string helpOf(const CLI::App& app, int stream) {
    // Not by `help`, which a chosen command of the app would answer.
    const std::string name = (app.get_parent() ? app.get_parent()->get_name() + ' ' : "") + app.get_name();
    const std::string help = app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
    const std::size_t width = widthOf(stream);
    return width == 0 ? help : wrapAll(help, width);
}

std::vector<std::string> namesOfCommands(const CLI::App& tool) {
    std::vector<std::string> names;
    for (const CLI::App* command :
         tool.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); }))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> namesOfOptions(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options([](const CLI::Option* each) { return !each->get_positional(); })) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
        for (const std::string& name : option->get_snames())
            names.push_back('-' + name);
    }
    return names;
}

} // namespace opcraft
