// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Failure.hpp"

#include <system_error>
#include <utility>

namespace opcraft {

namespace {

void removePrefix(std::string& text, const std::string& prefix) {
    if (text.starts_with(prefix))
        text.erase(0, prefix.size());
}

/// Removes a name at the end, with the colon and the spaces in front of it.
void removeSuffix(std::string& text, const std::string& name) {
    if (!text.ends_with(name))
        return;
    const std::size_t end = text.substr(0, text.size() - name.size()).find_last_not_of(' ');
    if (end != std::string::npos && text[end] == ':')
        text.erase(end);
}

/// A value in quotation marks, at most 200 bytes of it, so that a message remains readable.
std::string quoted(const std::string& value) {
    constexpr std::size_t longest = 200;
    const bool isWhole = value.size() <= longest;
    return '"' + value.substr(0, longest) + (isWhole ? "\"" : "\" …");
}

/// "/word/_rels/document.xml.rels, line 502, column 7"
std::string locationText(const opc::ErrorPlace& place) {
    if (place.line == 0)
        return place.item;
    return place.item + ", line " + std::to_string(place.line) + ", column " + std::to_string(place.column);
}

/// The element and attribute: ", <Relationship> Id "rId9", Target "a b"".
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
    // The default part belongs to the default file.
    const std::string& part = !part_.empty() || !file_.empty() ? part_ : defaultPart;
    for (const std::string& piece : {file_.empty() ? defaultFile : file_, part})
        if (!piece.empty())
            line += piece + ": ";
    return line + reason_;
}

Failure toFailure(const opc::Exception& error, const std::string& file, const std::string& part, ExitCode exitCode) {
    const auto place = error.getPlace();
    if (place && !place->item.empty())
        return Failure(exitCode, file, locationText(*place), place->reason + subjectText(*place));
    std::string reason = error.what();
    removePrefix(reason, "ZIP package in memory: ");
    removePrefix(reason, file + ": ");
    removePrefix(reason, '"' + file + "\": ");
    if (!part.empty()) {
        removePrefix(reason, part + ": ");
        removePrefix(reason, '"' + part + "\": ");
        removeSuffix(reason, part);
    }
    return Failure(exitCode, file, part, reason);
}

std::string warningLine(const std::string& file, const opc::ErrorPlace& place) {
    return Failure(ExitCode::Fine, file, locationText(place), "warning: " + place.reason + subjectText(place))
        .getLine("", "");
}

Failure wrongArgument(const std::string& argument, const std::string& reason) {
    return Failure(ExitCode::WrongUsage, "", "", '"' + argument + "\": " + reason);
}

std::string systemReason(int number) {
    return std::system_category().message(number);
}

} // namespace opcraft
