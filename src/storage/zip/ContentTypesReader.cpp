// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ContentTypesReader.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/XmlElements.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <utility>

namespace opc::storage {

namespace {

constexpr std::string_view DEFAULT_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Default";
constexpr std::string_view OVERRIDE_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Override";

std::string shown(std::u16string_view name, std::u16string_view contentType) {
    return inQuotes(detail::toUTF8String(name, false)) + " is " + inQuotes(detail::toUTF8String(contentType, false));
}

} // namespace

const std::u16string* ContentTypes::find(std::u16string_view partName) const {
    const auto override = overrides_.find(partName);
    if (override != overrides_.end())
        return &override->second.text;
    const auto entry = defaults_.find(detail::getExtension(partName));
    return entry == defaults_.end() ? nullptr : &entry->second.text;
}

const std::u16string* ContentTypes::findExact(const Map& entries, std::u16string_view name) {
    const auto entry = entries.find(name);
    return entry != entries.end() && entry->second.isPlain && entry->first == name ? &entry->second.text : nullptr;
}

void ContentTypes::addDefault(std::u16string extension, std::u16string contentType, bool isPlain) {
    add(defaults_, std::move(extension), {std::move(contentType), isPlain});
}

void ContentTypes::addOverride(std::u16string partName, std::u16string contentType, bool isPlain) {
    add(overrides_, std::move(partName), {std::move(contentType), isPlain});
}

void ContentTypes::add(Map& entries, std::u16string name, Type type) {
    const auto [known, isNew] = entries.try_emplace(name, type);
    if (!isNew && duplicate_.empty())
        duplicate_ = shown(known->first, known->second.text) + ", and " + shown(name, type.text);
}

void ContentTypes::throwIfAmbiguous(const std::string& label) const {
    std::string duplicate = duplicate_;
    for (const Map* entries : {&defaults_, &overrides_}) {
        std::unordered_map<std::string, const Map::value_type*> folded;
        for (const auto& entry : *entries) {
            const auto [known, isNew] =
                folded.try_emplace(detail::foldName(detail::toUTF8String(entry.first, false)), &entry);
            if (!isNew && duplicate.empty()) {
                duplicate = shown(known->second->first, known->second->second.text) + ", and " +
                            shown(entry.first, entry.second.text);
            }
        }
    }
    if (!duplicate.empty())
        fail(Errc::bad_message, label + ": \"[Content_Types].xml\": two content types for one name: " + duplicate);
}

void ContentTypes::throwIfAmbiguous(std::u16string_view partName, const std::string& label) const {
    const std::u16string* type = find(partName);
    const std::u16string* exact = findExact(overrides_, partName);
    if (!exact)
        exact = findExact(defaults_, detail::getExtension(partName));
    if (type && exact && *type != *exact) {
        fail(Errc::bad_message, label + ": \"[Content_Types].xml\": " + shown(partName, *type) +
                                    ", but for readers that are sensitive to case or prefixes, " +
                                    shown(partName, *exact));
    }
}

std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize) {
    ContentTypes types;
    const auto take = [&types](const XmlElement& element) {
        const bool isPlain = !element.hasPrefix();
        if (element.name() == DEFAULT_ELEMENT)
            types.addDefault(element.attribute("Extension"), element.attribute("ContentType"), isPlain);
        else if (element.name() == OVERRIDE_ELEMENT)
            types.addOverride(element.attribute("PartName"), element.attribute("ContentType"), isPlain);
    };
    try {
        return forEachElement(stream, maximumSize, take) ? std::optional(std::move(types)) : std::nullopt;
    } catch (const Exception&) {
        return std::nullopt;
    }
}

} // namespace opc::storage
