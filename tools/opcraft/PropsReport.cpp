// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PropsReport.hpp"

#include "opcraft/PropertyEdits.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/Tool.hpp"

#include <opc/core/Time.hpp>

#include <optional>
#include <vector>

namespace opcraft {

namespace {

using Json = nlohmann::ordered_json;

std::string line(const std::string& title, const std::string& text) {
    constexpr std::size_t width = 16;
    const std::string padding(text.empty() ? 0 : width - title.size(), ' ');
    return title + padding + escaped(text) + '\n';
}

std::vector<std::string> toLines(const std::u16string& text) {
    return {toUtf8(text)};
}

std::vector<std::string> toLines(const boost::posix_time::ptime& time) {
    return {toUtf8(opc::convertTimeToString(time))};
}

std::vector<std::string> toLines(const KeywordsAccess::Type& keywords) {
    std::vector<std::string> lines;
    for (const auto& keyword : keywords)
        lines.push_back(toUtf8(toArgument(keyword)));
    return lines;
}

Json toJson(const std::u16string& text) {
    return toUtf8(text);
}

Json toJson(const boost::posix_time::ptime& time) {
    return toUtf8(opc::convertTimeToString(time));
}

Json toJson(const KeywordsAccess::Type& keywords) {
    Json json = Json::array();
    for (const auto& [text, language] : keywords)
        json.push_back({{"text", toUtf8(text)}, {"language", language.empty() ? Json() : Json(toUtf8(language))}});
    return json;
}

/// What cannot be taken for granted of where the properties are.
std::string placesText(const std::vector<CorePropertiesEntry>& entries) {
    std::string text;
    if (!entries.empty() && !entries.front().isStandard)
        text = "\nThis is " + escaped(entries.front().target) + ", related by another type than the standard's:\n" +
               escaped(entries.front().type) + '\n';
    for (std::size_t i = 1; i < entries.size(); ++i)
        text += "\nNot shown is " + escaped(entries[i].target) + ", which some programs show instead, related by:\n" +
                escaped(entries[i].type) + '\n';
    return text;
}

Json toJson(const CorePropertiesEntry& entry) {
    return {{"part", entry.part ? Json(entry.target) : Json()}, {"relationshipType", entry.type}};
}

/// Calls an action with the name of every property and its value, an optional.
template <class Action>
void forEachValue(const opc::model::CoreProperties& values, Action action) {
    for (const Property& property : allProperties)
        std::visit([&](const auto& access) { action(property.name, (values.*access.get)()); }, property.access);
}

} // namespace

std::string toText(const StoredProperties& stored) {
    std::string text;
    forEachValue(stored.values, [&](const char* name, const auto& value) {
        if (!value)
            return;
        std::string title = name;
        for (const std::string& each : toLines(*value)) {
            text += line(title, each);
            title.clear();
        }
    });
    return (text.empty() ? "No core properties.\n" : text) + placesText(stored.entries);
}

nlohmann::ordered_json toJson(const StoredProperties& stored, const std::string& file) {
    Json json = makeJsonReport("props", file);
    json["part"] = stored.part.empty() ? Json() : Json(stored.part);
    json["relationshipType"] = stored.entries.empty() ? Json() : Json(stored.entries.front().type);
    forEachValue(stored.values, [&](const char* name, const auto& value) {
        json["properties"][name] = value ? toJson(*value) : Json();
    });
    json["unread"] = Json::array();
    for (const UnreadText& unread : stored.unread)
        json["unread"].push_back({{"property", unread.property->name}, {"text", toUtf8(unread.text)}});
    json["furtherParts"] = Json::array();
    for (std::size_t i = 1; i < stored.entries.size(); ++i)
        json["furtherParts"].push_back(toJson(stored.entries[i]));
    return json;
}

} // namespace opcraft
