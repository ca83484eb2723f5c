// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Documentation.hpp"

#include <algorithm>
#include <cstddef>

namespace opcraft {

namespace {

bool isFile(const std::string& value) {
    return value == "FILE" || value == "IMAGE" || value == "OTHER";
}

/// An argument or the value of an option that is the name of a part or of another item in the package.
bool isItem(const std::string& value) {
    return value == "PART" || value == "ITEM" || value == "SOURCE";
}

/// What completion offers for a value: "file", "part", or "text" for nothing.
std::string kindOf(const std::string& value) {
    return isFile(value) ? "file" : (isItem(value) ? "part" : "text");
}

std::string replaced(std::string text, const std::string& old, const std::string& with) {
    for (std::size_t at = text.find(old); at != std::string::npos; at = text.find(old, at + with.size()))
        text.replace(at, old.size(), with);
    return text;
}

/// What follows an option in bash: words to choose from, or the kind of value.
std::string bashValue(const OptionInfo& option) {
    if (!option.choices.empty())
        return option.choices;
    return kindOf(option.value);
}

std::string bashValues(const CommandInfo& command) {
    std::string text;
    for (const OptionInfo& option : command.options)
        if (!option.value.empty()) {
            const std::string start = '\'' + command.name + ' ';
            const std::string shortName = option.shortName.empty() ? "" : " | " + start + option.shortName + '\'';
            text += "    " + start + option.name + '\'' + shortName + ") value='" + bashValue(option) + "' ;;\n";
        }
    return text;
}

std::string bashOptions(const CommandInfo& command) {
    std::string names;
    for (const OptionInfo& option : command.options)
        names += ' ' + option.shortName + (option.shortName.empty() ? "" : " ") + option.name;
    std::string arguments;
    std::string rest;
    for (const OptionInfo& argument : command.arguments) {
        const std::string value = kindOf(argument.name);
        arguments += ' ' + value;
        rest = argument.isRepeated ? " rest=" + value : "";
    }
    const std::string values = arguments.empty() ? "" : " arguments=(" + arguments.substr(1) + ')' + rest;
    return "    " + (command.name.empty() ? "''" : command.name) + ") options='" + names.substr(1) + '\'' + values +
           " ;;\n";
}

constexpr const char* BASH_SCRIPT = R"(# bash completion for opcraft, made by opcraft itself

# Sets value to what follows option $2 of command $1: file, part, text, words to choose from, or nothing.
_opcraft_value() {
    case "$1 $2" in
@VALUES@    *) value= ;;
    esac
}

# Adds the names of parts in package $1 that start with $2. They are data, and never expanded.
_opcraft_parts() {
    local file=${1//\\/} name
    file=${file#[\"\']}
    file=${file%[\"\']}
    [[ $file == '~/'* ]] && file=$HOME/${file#'~/'}
    [[ -f $file || -d $file ]] || return 0
    compopt -o filenames 2>/dev/null
    while IFS= read -r name; do
        [[ $name == "$2"* ]] && COMPREPLY+=("$name")
    done < <(opcraft list --names -- "$file" 2>/dev/null)
}

_opcraft() {
    local word=${COMP_WORDS[COMP_CWORD]} command= value= options= arguments= rest= index=0 found file= i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} == '=' ]]; then
            value=${value:-text}
        elif [[ -n $value ]]; then
            value=
        elif [[ ${COMP_WORDS[i]} == -?* ]]; then
            _opcraft_value "$command" "${COMP_WORDS[i]}"
        elif [[ -z $command ]]; then
            command=${COMP_WORDS[i]}
        else
            file=${file:-${COMP_WORDS[i]}}
            ((++index))
        fi
    done
    [[ $word == '=' ]] && word=
    case $command in
@OPTIONS@    esac
    if [[ -z $value && $word == -* ]]; then
        value=$options
    elif [[ -z $value && -z $command ]]; then
        value='@COMMANDS@'
    elif [[ -z $value ]]; then
        value=${arguments[index]-$rest}
    fi
    COMPREPLY=()
    if [[ $value == file ]]; then
        compopt -o filenames 2>/dev/null
        found=$(compgen -f -- "$word") && mapfile -t COMPREPLY <<<"$found"
    elif [[ $value == part ]]; then
        _opcraft_parts "$file" "$word"
    elif [[ -n $value && $value != text ]]; then
        [[ $value == *= ]] && compopt -o nospace 2>/dev/null
        found=$(compgen -W "$value" -- "$word") && mapfile -t COMPREPLY <<<"$found"
    fi
}
complete -F _opcraft opcraft
)";

constexpr const char* ZSH_SCRIPT = R"(#compdef opcraft
# zsh completion for opcraft, made by opcraft itself

# The names of parts in the first file on the line.
_opcraft_parts() {
  local word file
  for word in "${words[@]:1:$((CURRENT - 2))}"; do
    file=${(Q)word}
    [[ $file == '~/'* ]] && file=$HOME/${file#'~/'}
    [[ $word != -* && ( -f $file || -d $file ) ]] || continue
    compadd -- "${(@f)$(opcraft list --names -- $file 2>/dev/null)}"
    return
  done
}

_opcraft() {
  local context state state_descr line
  typeset -A opt_args
  local -a commands
  commands=(
@COMMANDS@  )
  _arguments -C@OPTIONS@ \
      '1:command:->command' \
      '*::argument:->argument'
  case $state in
  command) _describe -t commands command commands ;;
  argument)
    case $line[1] in
@ARGUMENTS@    esac
    ;;
  esac
}

_opcraft "$@"
)";

/// A text in single quotes in a specification of `_arguments` or `_describe`.
std::string zshText(std::string text) {
    for (const std::string special : {"\\", "[", "]", ":"})
        text = replaced(text, special, '\\' + special);
    return replaced(text, "'", "'\\''");
}

std::string zshAction(const std::string& value, const std::string& choices) {
    if (!choices.empty())
        return '(' + choices + ')';
    return isFile(value) ? "_files" : (isItem(value) ? "_opcraft_parts" : " ");
}

/// What excludes an option; an argument is excluded by its number.
std::string zshExclusions(const OptionInfo& option, const CommandInfo& command) {
    std::string text;
    for (const std::string& name : option.excludes) {
        const auto found = std::find_if(command.arguments.begin(), command.arguments.end(),
                                        [&](const OptionInfo& each) { return each.name == name; });
        const auto number = found - command.arguments.begin() + 1;
        text += (text.empty() ? "" : " ") + (found == command.arguments.end() ? name : std::to_string(number));
    }
    return text;
}

std::string zshOption(const OptionInfo& option, const CommandInfo& command) {
    const std::string value =
        option.value.empty() ? "" : ':' + zshText(option.value) + ':' + zshAction(option.value, option.choices);
    const std::string rest = '[' + zshText(option.description) + ']' + value + '\'';
    const std::string others = zshExclusions(option, command);
    if (!option.shortName.empty() && !option.isRepeated)
        return "'(" + option.shortName + ' ' + option.name + (others.empty() ? "" : ' ' + others) + ")'{" +
               option.shortName + ',' + option.name + "}'" + rest;
    return '\'' + (others.empty() ? "" : '(' + others + ')') + (option.isRepeated ? "*" : "") + option.name + rest;
}

std::string zshSpecifications(const CommandInfo& command) {
    constexpr const char* nextLine = " \\\n      ";
    std::string text;
    std::size_t number = 0;
    for (const OptionInfo& argument : command.arguments)
        text += nextLine + ('\'' + (argument.isRepeated ? "*" : std::to_string(++number))) +
                (argument.isRequired || argument.isRepeated ? ":" : "::") + argument.name + ':' +
                zshAction(argument.name, "") + '\'';
    for (const OptionInfo& option : command.options)
        text += nextLine + zshOption(option, command);
    return text;
}

std::string fishText(const std::string& text) {
    return '\'' + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + '\'';
}

std::string fishCondition(const CommandInfo& command) {
    return command.name.empty() ? " -n __fish_use_subcommand"
                                : " -n '__fish_seen_subcommand_from " + command.name + '\'';
}

std::string fishValue(const OptionInfo& option) {
    if (option.value.empty())
        return {};
    if (!option.choices.empty())
        return " -x -a '" + option.choices + '\'';
    return isFile(option.value) ? " -r -F" : " -x";
}

} // namespace

std::string makeBashCompletion(const std::vector<CommandInfo>& commands) {
    std::string values;
    std::string options;
    std::string names;
    for (const CommandInfo& command : commands) {
        values += bashValues(command);
        options += bashOptions(command);
        names += (names.empty() ? "" : " ") + command.name;
    }
    return replaced(replaced(replaced(BASH_SCRIPT, "@VALUES@", values), "@OPTIONS@", options), "@COMMANDS@", names);
}

std::string makeZshCompletion(const std::vector<CommandInfo>& commands) {
    std::string names;
    std::string arguments;
    for (std::size_t i = 1; i < commands.size(); ++i) {
        const CommandInfo& command = commands[i];
        names += "    '" + zshText(command.name) + ':' + zshText(command.description) + "'\n";
        arguments += "    " + command.name + ")\n    _arguments" + zshSpecifications(command) + "\n    ;;\n";
    }
    const std::string script = replaced(replaced(ZSH_SCRIPT, "@COMMANDS@", names), "@ARGUMENTS@", arguments);
    return replaced(script, "@OPTIONS@", zshSpecifications(commands.front()));
}

std::string makeFishCompletion(const std::vector<CommandInfo>& commands) {
    std::string text = "# fish completion for opcraft, made by opcraft itself\ncomplete -c opcraft -f\n";
    for (std::size_t i = 1; i < commands.size(); ++i)
        text += "complete -c opcraft -n __fish_use_subcommand -a " + commands[i].name + " -d " +
                fishText(commands[i].description) + '\n';
    for (const CommandInfo& command : commands) {
        const std::string start = "complete -c opcraft" + fishCondition(command);
        const auto isFileArgument = [](const OptionInfo& each) { return isFile(each.name); };
        if (std::any_of(command.arguments.begin(), command.arguments.end(), isFileArgument))
            text += start + " -F\n";
        for (const OptionInfo& option : command.options)
            text += start + (option.shortName.empty() ? "" : " -s " + option.shortName.substr(1)) + " -l " +
                    option.name.substr(2) + fishValue(option) + " -d " + fishText(option.description) + '\n';
    }
    return text;
}

} // namespace opcraft
