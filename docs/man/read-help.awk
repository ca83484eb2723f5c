# SPDX-License-Identifier: Apache-2.0
# Reads what `opcraft [COMMAND] --help` prints and writes what it says as records, one on a line, with fields between
# tabs. The command is a variable, empty for the help of the tool itself.
#
#   command      NAME  DESCRIPTION  USAGE
#   argument     NAME  ARGUMENT  required|optional  DESCRIPTION
#   option       NAME  SHORT  LONG  VALUE  DEFAULT  CHOICES  once|repeated  required|optional  EXCLUDES  DESCRIPTION
#   subcommand   NAME  SUBCOMMAND  DESCRIPTION
#   text         NAME  LINE
#
# A line that it does not understand ends it with an error, so that nothing is left out in silence.

BEGIN { OFS = "\t"; column = 30; while ((getline line) > 0) lines[++count] = line; readAll(); exit failed }

function fail(line) {
    print "The help of '" command "' has a line that is not understood: " line > "/dev/stderr"
    failed = 1
}

function trim(text) { gsub(/^ +| +$/, "", text); return text }

function readAll(   i, usage) {
    if (lines[2] !~ /^Usage: opcraft/)
        fail(lines[2])
    usage = lines[2]
    sub(/^Usage: /, "", usage)
    print "command", command, lines[1], usage
    for (i = 3; i <= count && lines[i] == ""; ++i) ;
    while (lines[i] ~ /^(Positionals|Options|Commands):$/)
        i = readSection(lines[i], i + 1)
    for (; i <= count; ++i)
        print "text", command, lines[i]
}

# An entry whose left column is too long has its description on the next line.
function readSection(title, i,   left, right) {
    for (; lines[i] ~ /^  [^ ]/; ++i) {
        left = substr(lines[i], 1, column)
        right = substr(lines[i], column + 1)
        if (lines[i + 1] ~ /^                              [^ ]/) {
            left = lines[i]
            right = lines[++i]
        } else if (left !~ / $/)
            fail(lines[i])
        readEntry(title, trim(left), trim(right))
    }
    for (; i <= count && lines[i] == ""; ++i) ;
    return i
}

function readEntry(title, left, right,   excludes, presence, times, name) {
    if (title == "Commands:") {
        print "subcommand", command, left, right
        return
    }
    excludes = ""
    if (match(left, / +Excludes: /)) {
        excludes = substr(left, RSTART + RLENGTH)
        left = substr(left, 1, RSTART - 1)
    }
    presence = sub(/ +\(required\)$/, "", left) ? "required" : "optional"
    times = sub(/ \.\.\.$/, "", left) ? "repeated" : "once"
    name = left
    sub(/ .*/, "", name)
    left = trim(substr(left, length(name) + 1))
    if (title == "Positionals:" && name ~ /^[A-Z]+$/ && left == "")
        print "argument", command, name, presence, right
    else if (title == "Options:" && name ~ /^(-[a-z],)?--[a-z0-9-]+$/ && left !~ / /)
        readOption(name, left, times, presence, excludes, right)
    else
        fail(name " " left)
}

# A value is followed by its default, which is told from a form like NAME=VALUE by its small letters.
function readOption(name, value, times, presence, excludes, right,   short, choices, preset) {
    short = name ~ /,/ ? substr(name, 1, 2) : ""
    sub(/^-[a-z],/, "", name)
    preset = ""
    if (match(value, /=[a-z0-9].*$/)) {
        preset = substr(value, RSTART + 1)
        value = substr(value, 1, RSTART - 1)
    }
    choices = ""
    if (right ~ /^[a-z0-9-]+(, [a-z0-9-]+)* or [a-z0-9-]+$/) {
        choices = right
        gsub(/, | or /, " ", choices)
    }
    print "option", command, short, name, value, preset, choices, times, presence, excludes, right
}
