# SPDX-License-Identifier: Apache-2.0
# Writes the completion for fish out of the records of docs/man/read-help.awk.

BEGIN {
    FS = "\t"
    print "# fish completion for opcraft, made from its help"
    print "complete -c opcraft -f"
}

$1 == "subcommand" { printf "complete -c opcraft -n __fish_use_subcommand -a %s -d %s\n", $3, quoted($4) }
$1 == "argument" && $3 ~ /^(FILE|IMAGE)$/ { printf "complete -c opcraft%s -F\n", condition($2) }
$1 == "option" {
    short = $3 == "" ? "" : " -s " substr($3, 2)
    printf "complete -c opcraft%s%s -l %s%s -d %s\n", condition($2), short, substr($4, 3), value(), quoted($11)
}

function condition(command) {
    return command == "" ? " -n __fish_use_subcommand" : " -n '__fish_seen_subcommand_from " command "'"
}

function value() {
    if ($5 == "")
        return ""
    if ($7 != "")
        return " -x -a '" $7 "'"
    return $5 ~ /^(FILE|IMAGE)$/ ? " -r -F" : " -x"
}

function quoted(text) {
    gsub(/\\/, "\\\\", text)
    gsub(/'/, "\\'", text)
    return "'" text "'"
}
