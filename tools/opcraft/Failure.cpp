// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Failure.hpp"

#include <string_view>
#include <system_error>
#include <utility>

namespace opcraft {

namespace {

void cutStart(std::string& text, const std::string& start) {
    if (text.starts_with(start))
        text.erase(0, start.size());
}

/// Takes a name off the end, with the colon and the space that lead to it.
void cutEnd(std::string& text, const std::string& name) {
    if (name.empty() || text.size() <= name.size() || text.substr(text.size() - name.size()) != name)
        return;
    std::string rest = text.substr(0, text.size() - name.size());
    while (!rest.empty() && rest.back() == ' ')
        rest.pop_back();
    if (rest.empty() || rest.back() != ':')
        return;
    rest.pop_back();
    text = std::move(rest);
}

/// A value as it is quoted: a message has one line, whatever stands in a package.
std::string quoted(const std::string& value) {
    constexpr std::size_t longest = 200;
    const bool isWhole = value.size() <= longest;
    return '"' + value.substr(0, longest) + (isWhole ? "\"" : "\" …");
}

/// "/word/_rels/document.xml.rels, line 502, column 7"
std::string placeText(const opc::ErrorPlace& place) {
    if (place.line == 0)
        return place.item;
    return place.item + ", line " + std::to_string(place.line) + ", column " + std::to_string(place.column);
}

/// What the place names: ", <Relationship> Id "rId9", Target "a b"".
std::string subjectText(const opc::ErrorPlace& place) {
    std::string text = place.element.empty() ? "" : ", <" + place.element + '>';
    if (!place.id.empty())
        text += " Id " + quoted(place.id);
    if (!place.attribute.empty() && place.attribute != "Id")
        text += (place.id.empty() ? " " : ", ") + place.attribute + ' ' + quoted(place.value);
    else if (place.attribute.empty() && !place.value.empty())
        text += ' ' + quoted(place.value);
    return text;
}

} // namespace

Failure::Failure(ExitCode exitCode, std::string file, std::string part, std::string reason)
    : exitCode_(exitCode), file_(std::move(file)), part_(std::move(part)), reason_(std::move(reason)) {}

std::string Failure::getLine(const std::string& defaultFile, const std::string& defaultPart) const {
    std::string line;
    // The part is one of the command's own file only.
    const std::string& part = !part_.empty() || !file_.empty() ? part_ : defaultPart;
    for (const std::string& piece : {file_.empty() ? defaultFile : file_, part})
        if (!piece.empty())
            line += piece + ": ";
    return line + reason_;
}

Failure toFailure(const opc::Exception& error, const std::string& file, const std::string& part, ExitCode exitCode) {
    const auto place = error.getPlace();
    if (place && !place->item.empty())
        return Failure(exitCode, file, placeText(*place), place->reason + subjectText(*place));
    std::string reason = error.what();
    cutStart(reason, "ZIP package in memory: ");
    cutStart(reason, file + ": ");
    cutStart(reason, '"' + file + "\": ");
    if (!part.empty()) {
        cutStart(reason, part + ": ");
        cutStart(reason, '"' + part + "\": ");
        cutEnd(reason, part);
    }
    return Failure(exitCode, file, part, reason);
}

Failure wrongArgument(const std::string& argument, const std::string& reason) {
    return Failure(ExitCode::WrongUsage, "", "", '"' + argument + "\": " + reason);
}

std::string systemReason(int number) {
    return std::system_category().message(number);
}

} // namespace opcraft
