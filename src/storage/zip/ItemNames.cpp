// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ItemNames.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <array>

namespace opc::storage {

namespace {

constexpr bool isHexDigit(char16_t c) {
    return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'F') || (c >= u'a' && c <= u'f');
}

/// The characters that stand for themselves in the path of a URI: pchar of RFC 3986 §3.3, and the "/".
constexpr auto PATH_CHARACTERS = [] {
    std::array<bool, 256> table{};
    for (const char c : std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                         "-._~!$&'()*+,;=:@/")) {
        table[static_cast<unsigned char>(c)] = true;
    }
    return table;
}();

bool isPlainPath(std::u16string_view name) {
    return std::all_of(name.begin(), name.end(), [](char16_t c) { return c < 256 && PATH_CHARACTERS[c]; });
}

constexpr bool isEscape(std::string_view text) {
    return text.size() >= 3 && text[0] == '%' && isHexDigit(static_cast<unsigned char>(text[1])) &&
           isHexDigit(static_cast<unsigned char>(text[2]));
}

} // namespace

bool isContentTypesItem(std::string_view itemName) {
    constexpr std::u16string_view name = u"[Content_Types].xml";
    if (itemName.size() != name.size()) {
        return false;
    }
    const std::u16string wide(itemName.begin(), itemName.end());
    return caselessCompare(wide, name) == 0;
}

std::optional<std::u16string> toPartName(std::string_view itemName) {
    constexpr std::u16string_view hex = u"0123456789ABCDEF";
    std::u16string name = u"/";
    name.reserve(1 + itemName.size());
    for (std::size_t i = 0; i < itemName.size(); ++i) {
        const auto byte = static_cast<unsigned char>(itemName[i]);
        if (PATH_CHARACTERS[byte] || isEscape(itemName.substr(i))) {
            name += byte;
        } else {
            name += {u'%', hex[byte >> 4], hex[byte & 15]};
        }
    }
    return detail::isPartName(name) ? std::optional(name) : std::nullopt;
}

std::string explainItemName(std::string_view itemName) {
    if (itemName.ends_with('/')) {
        return "a folder";
    }
    if (itemName.find('\\') != itemName.npos) {
        return "a backslash in the name";
    }
    if (itemName.starts_with('/') || itemName.find("//") != itemName.npos) {
        return "an empty segment in the name";
    }
    if (itemName.ends_with('.') || itemName.find("./") != itemName.npos) {
        return "a segment of the name ends with a dot";
    }
    return "an escape in the name that no part name has";
}

std::optional<std::string> toItemName(std::u16string_view partName) {
    if (!detail::isPartName(partName)) {
        return std::nullopt;
    }
    const std::string name = detail::toUTF8String(partName.substr(1));
    return isPlainPath(partName) || toPartName(name) == partName ? std::optional(name) : std::nullopt;
}

} // namespace opc::storage
