// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ContentTypesReader.hpp"

#include "storage/zip/XmlElements.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <utility>

namespace opc::storage {

namespace {

constexpr std::string_view DEFAULT_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Default";
constexpr std::string_view OVERRIDE_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Override";

} // namespace

const std::u16string* ContentTypes::find(std::u16string_view partName) const {
    const auto override = overrides_.find(partName);
    if (override != overrides_.end()) {
        return &override->second;
    }
    const auto entry = defaults_.find(detail::getExtension(partName));
    return entry == defaults_.end() ? nullptr : &entry->second;
}

void ContentTypes::addDefault(std::u16string extension, std::u16string contentType) {
    defaults_.try_emplace(std::move(extension), std::move(contentType));
}

void ContentTypes::addOverride(std::u16string partName, std::u16string contentType) {
    overrides_.try_emplace(std::move(partName), std::move(contentType));
}

std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize) {
    ContentTypes types;
    const auto take = [&types](const XmlElement& element) {
        if (element.name() == DEFAULT_ELEMENT) {
            types.addDefault(element.attribute("Extension"), element.attribute("ContentType"));
        } else if (element.name() == OVERRIDE_ELEMENT) {
            types.addOverride(element.attribute("PartName"), element.attribute("ContentType"));
        }
    };
    try {
        return forEachElement(stream, maximumSize, take) ? std::optional(std::move(types)) : std::nullopt;
    } catch (const Exception&) {
        return std::nullopt;
    }
}

} // namespace opc::storage
