# SPDX-License-Identifier: Apache-2.0
# Writes the completion for zsh out of the records of docs/man/read-help.awk.

BEGIN { FS = "\t"; quote = "'\\''" }

$1 == "subcommand" {
    commands = commands "    '" plain($3) ":" plain($4) "'\n"
    names[++count] = $3
}
$1 == "argument" {
    place[$2, $3] = ++places[$2]
    specs[$2] = specs[$2] " \\\n      '" places[$2] ($4 == "required" ? ":" : "::") $3 ":" action($3, "") "'"
}
$1 == "option" {
    others = numbered($2, $10)
    value = $5 == "" ? "" : ":" plain($5) ":" action($5, $7)
    rest = "[" plain($11) "]" value "'"
    if ($8 == "repeated")
        spec = (others == "" ? "'" : "'(" others ")") "*" $4 rest
    else if ($3 != "")
        spec = "'(" $3 " " $4 (others == "" ? "" : " " others) ")'{" $3 "," $4 "}'" rest
    else
        spec = (others == "" ? "'" : "'(" others ")") $4 rest
    specs[$2] = specs[$2] " \\\n      " spec
}

END {
    print "#compdef opcraft"
    print "# zsh completion for opcraft, made from its help"
    print ""
    print "_opcraft() {"
    print "  local context state state_descr line"
    print "  typeset -A opt_args"
    printf "  local -a commands\n  commands=(\n%s  )\n", commands
    printf "  _arguments -C%s \\\n      '1:command:->command' \\\n      '*::argument:->argument'\n", specs[""]
    print "  case $state in"
    print "  command) _describe -t commands command commands ;;"
    print "  argument)"
    print "    case $line[1] in"
    for (i = 1; i <= count; ++i)
        printf "    %s)\n    _arguments%s\n    ;;\n", names[i], specs[names[i]]
    print "    esac"
    print "    ;;"
    print "  esac"
    print "}"
    print ""
    print "_opcraft \"$@\""
}

# What excludes an option, where an argument has its number.
function numbered(command, others,   words, n, i, result) {
    n = split(others, words, " ")
    for (i = 1; i <= n; ++i)
        result = result (i == 1 ? "" : " ") ((command, words[i]) in place ? place[command, words[i]] : words[i])
    return result
}

function plain(text) {
    gsub(/\\/, "\\\\", text)
    gsub(/\[/, "\\[", text)
    gsub(/\]/, "\\]", text)
    gsub(/:/, "\\:", text)
    gsub(/'/, quote, text)
    return text
}

function action(value, choices) {
    if (choices != "")
        return "(" choices ")"
    return value ~ /^(FILE|IMAGE)$/ ? "_files" : " "
}
