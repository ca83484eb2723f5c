// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlCharacters.hpp"

#include <opc/core/Characters.hpp>
#include <opc/errors/Errors.hpp>

#include <array>
#include <cstdio>

namespace opc::model {

namespace {

[[noreturn]] void refuse(char16_t unit) {
    std::array<char, sizeof("U+FFFF")> name{};
    std::snprintf(name.data(), name.size(), "U+%04X", static_cast<unsigned>(unit));
    throw InvalidXMLDocument(std::string("XML content can not contain the character ") + name.data());
}

} // namespace

void throwIfNotXmlText(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const char16_t unit = text[i];
        if (!detail::isXMLUnit(unit) || detail::decodeUTF16(text, i) == detail::MALFORMED_SEQUENCE)
            refuse(unit);
    }
}

} // namespace opc::model
