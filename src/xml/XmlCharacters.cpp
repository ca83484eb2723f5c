// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlCharacters.hpp"

#include <opc/errors/Errors.hpp>

#include <array>
#include <cstdio>

namespace opc::model {

namespace {

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

bool isCharacter(char16_t unit) {
    return unit >= 0x20 ? unit < 0xD800 || (unit > 0xDFFF && unit < 0xFFFE)
                        : unit == u'\t' || unit == u'\n' || unit == u'\r';
}

[[noreturn]] void refuse(char16_t unit) {
    std::array<char, sizeof("U+FFFF")> name{};
    std::snprintf(name.data(), name.size(), "U+%04X", static_cast<unsigned>(unit));
    throw InvalidXMLDocument(std::string("XML content can not contain the character ") + name.data());
}

} // namespace

void throwIfNotXmlText(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isCharacter(text[i])) {
            continue;
        }
        const bool paired = isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1]);
        if (!paired) {
            refuse(text[i]);
        }
        ++i;
    }
}

} // namespace opc::model
