// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ItemNames.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/ItemNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <utility>

namespace opc::storage {

bool isUTF8(std::string_view name) {
    std::size_t position = 0;
    while (position < name.size())
        if (detail::decodeUTF8(name, position) == detail::MALFORMED_SEQUENCE)
            return false;
    return true;
}

bool isContentTypesItem(std::string_view itemName) {
    return std::ranges::equal(itemName, CONTENT_TYPES_ITEM, {}, detail::toLowerASCII<char>, detail::toLowerASCII<char>);
}

std::optional<std::u16string> toPartName(std::string_view itemName) {
    std::u16string name = detail::toItemURI(itemName);
    return detail::isPartName(name) ? std::optional(std::move(name)) : std::nullopt;
}

std::optional<detail::PartNameRule> findPartNameRule(std::string_view itemName) {
    const auto fault = detail::findPartNameFault(detail::toItemURI(itemName));
    return fault ? std::optional(fault->rule) : std::nullopt;
}

std::string explainItemName(std::string_view itemName) {
    const detail::PartNameRule rule = findPartNameRule(itemName).value();
    if (rule == detail::PartNameRule::NoSlashAtEnd)
        return "a folder";
    if (itemName.find('\\') != itemName.npos)
        return "a backslash in the name";
    switch (rule) {
    case detail::PartNameRule::NoEmptySegment:
    case detail::PartNameRule::AbsolutePath: // starts with "//"
        return "an empty segment in the name";
    case detail::PartNameRule::NoSegmentOfDots:
    case detail::PartNameRule::NoDotAtEnd:
        return "a segment of the name ends with a dot";
    default:
        return "an escape in the name that is not allowed in a part name";
    }
}

std::optional<std::string> toItemName(std::u16string_view partName) {
    if (!detail::isPartName(partName))
        return std::nullopt;
    const std::string name = detail::toUTF8String(partName.substr(1));
    return toPartName(name) == partName ? std::optional(name) : std::nullopt;
}

} // namespace opc::storage
