# SPDX-License-Identifier: Apache-2.0
# Writes the manual page of one command out of the records of all commands (read-help.awk). Variables: `command`, empty
# for the page of the tool itself; `version`; `sections`, a file with further sections for the latter.

BEGIN { FS = "\t"; page = command == "" ? "opcraft" : "opcraft-" command }

$1 == "text" && $2 == "" && $3 ~ /^Exit codes: / { exitCodes = $3 }
$2 != command { next }
$1 == "command" { description = $3; usage = $4 }
$1 == "argument" { arguments = arguments ".TP\n.I " roff($3) "\n" sentence($5) }
$1 == "option" { options = options option() }
$1 == "subcommand" { subcommands = subcommands ".TP\n.BR opcraft\\-" $3 " (1)\n" sentence($4); names[++count] = $3 }
$1 == "text" { addText($3) }

END {
    print ".\\\" Made from the help of opcraft."
    printf ".TH %s 1 \"\" \"Opcraft %s\" \"Opcraft Manual\"\n", roff(toupper(page)), version
    printf ".SH NAME\n%s \\- %s\n", roff(page), roff(command == "" ? summary() : small(description))
    printf ".SH SYNOPSIS\n%s", synopsis()
    printf ".SH DESCRIPTION\n%s%s", sentence(description), prose
    section("ARGUMENTS", arguments)
    section("COMMANDS", subcommands)
    section("OPTIONS", options)
    section("EXAMPLES", examples == "" ? "" : ".nf\n" examples ".fi\n")
    exitStatus()
    if (command == "")
        while ((getline line < sections) > 0)
            print line
    seeAlso()
}

function section(title, body) { if (body != "") printf ".SH %s\n%s", title, body }

function small(text) { return tolower(substr(text, 1, 1)) substr(text, 2) }

# "opcraft - looks into ...", without the examples in brackets and the full stop.
function summary(   text) {
    text = small(description)
    sub(/ \([^)]*\)/, "", text)
    sub(/\.$/, "", text)
    return text
}

function sentence(text) { return roff(text) (text ~ /[.!?]$/ ? "" : ".") "\n" }

# What roff would take for its own is escaped, and a hyphen is one that can be copied.
function roff(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    gsub(/'/, "\\(aq", text)
    gsub(/…/, "...", text)
    return text ~ /^\./ ? "\\&" text : text
}

function synopsis(   rest) {
    rest = substr(usage, length(page) + 1)
    rest = roff(rest)
    gsub(/[A-Z]+/, "\\fI&\\fR", rest)
    return "\\fB" roff(substr(usage, 1, length(page))) "\\fR" rest "\n"
}

function option(   line) {
    line = ".TP\n" ($3 == "" ? "" : "\\fB" roff($3) "\\fR, ") "\\fB" roff($4) "\\fR"
    line = line ($5 == "" ? "" : " \\fI" roff($5) "\\fR") "\n" sentence($11)
    if ($9 == "required")
        line = line "It has to be given.\n"
    if ($6 != "")
        line = line "The default is " roff($6) ".\n"
    if ($8 == "repeated")
        line = line "It may be given more than once.\n"
    if ($10 != "")
        line = line "It excludes " roff(listed($10)) ".\n"
    return line
}

function listed(words,   last) {
    if (words !~ / /)
        return words
    last = words
    sub(/.* /, "", last)
    words = substr(words, 1, length(words) - length(last) - 1)
    gsub(/ /, ", ", words)
    return words " and " last
}

# Everything after the line "Example:" is examples; the rest is paragraphs, an indented line of which stands alone.
function addText(line) {
    if (line ~ /^Examples?:$/)
        isExample = 1
    else if (line ~ /^Exit codes: /)
        return
    else if (isExample)
        examples = examples roff(line) "\n"
    else if (line == "") {
        isNewParagraph = 1
    } else {
        if (isNewParagraph || prose == "")
            prose = prose ".PP\n"
        else if (line ~ /^ /)
            prose = prose ".br\n"
        prose = prose roff(line) "\n"
        isNewParagraph = 0
    }
}

function exitStatus(   n, i, parts, code) {
    sub(/^Exit codes: /, "", exitCodes)
    sub(/\.$/, "", exitCodes)
    print ".SH EXIT STATUS"
    n = split(exitCodes, parts, /, /)
    for (i = 1; i <= n; ++i) {
        code = parts[i]
        sub(/ .*/, "", code)
        printf ".TP\n.B %s\n%s", code, sentence(substr(parts[i], length(code) + 2))
    }
}

function seeAlso(   i) {
    print ".SH SEE ALSO"
    if (command != "")
        print ".BR opcraft (1)"
    for (i = 1; i <= count; ++i)
        printf ".BR opcraft\\-%s (1)%s\n", names[i], i < count ? "," : ""
}
