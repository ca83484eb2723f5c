# SPDX-License-Identifier: Apache-2.0
# Writes the completion for bash out of the records of docs/man/read-help.awk. It needs bash alone.

BEGIN { FS = "\t" }

$1 == "subcommand" { commands = commands (commands == "" ? "" : " ") $3 }
$1 == "argument" { places[$2] = places[$2] ($3 ~ /^(FILE|IMAGE)$/ ? " file" : " text") }
$1 == "option" {
    options[$2] = options[$2] ($3 == "" ? "" : " " $3) " " $4
    if ($5 != "") {
        kind = $7 != "" ? $7 : $5 ~ /^(FILE|IMAGE)$/ ? "file" : "text"
        values = values "    '" $2 " " $4 "'" ($3 == "" ? "" : " | '" $2 " " $3 "'") ") value='" kind "' ;;\n"
    }
}

END {
    print "# bash completion for opcraft, made from its help"
    print ""
    print "# Sets value to what follows option $2 of command $1: file, text, words to choose from, or nothing."
    printf "_opcraft_value() {\n    case \"$1 $2\" in\n%s    *) value= ;;\n    esac\n}\n\n", values
    print "_opcraft() {"
    print "    local word=${COMP_WORDS[COMP_CWORD]} command= value= options= places= place=0 found i"
    print "    for ((i = 1; i < COMP_CWORD; ++i)); do"
    print "        if [[ ${COMP_WORDS[i]} == '=' ]]; then"
    print "            value=${value:-text}"
    print "        elif [[ -n $value ]]; then"
    print "            value="
    print "        elif [[ ${COMP_WORDS[i]} == -?* ]]; then"
    print "            _opcraft_value \"$command\" \"${COMP_WORDS[i]}\""
    print "        elif [[ -z $command ]]; then"
    print "            command=${COMP_WORDS[i]}"
    print "        else"
    print "            ((++place))"
    print "        fi"
    print "    done"
    print "    [[ $word == '=' ]] && word="
    print "    case $command in"
    printf "    '') options='%s' ;;\n", substr(options[""], 2)
    n = split(commands, names, " ")
    for (i = 1; i <= n; ++i)
        printf "    %s) options='%s' places=(%s) ;;\n", names[i], substr(options[names[i]], 2),
            substr(places[names[i]], 2)
    print "    esac"
    print "    if [[ -z $value && $word == -* ]]; then"
    print "        value=$options"
    print "    elif [[ -z $value && -z $command ]]; then"
    printf "        value='%s'\n", commands
    print "    elif [[ -z $value ]]; then"
    print "        value=${places[place]-}"
    print "    fi"
    print "    COMPREPLY=()"
    print "    if [[ $value == file ]]; then"
    print "        compopt -o filenames 2>/dev/null"
    print "        found=$(compgen -f -- \"$word\") && mapfile -t COMPREPLY <<<\"$found\""
    print "    elif [[ -n $value && $value != text ]]; then"
    print "        found=$(compgen -W \"$value\" -- \"$word\") && mapfile -t COMPREPLY <<<\"$found\""
    print "    fi"
    print "}"
    print "complete -F _opcraft opcraft"
}
