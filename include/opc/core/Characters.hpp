// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <array>
#include <cstddef>
#include <string_view>

/// Character classes, percent-escapes and the decoding of Unicode. All are pure and may be called from any
/// thread.
namespace opc::detail {

constexpr bool isLetter(char32_t c) noexcept {
    return (c >= U'a' && c <= U'z') || (c >= U'A' && c <= U'Z');
}

constexpr bool isDigit(char32_t c) noexcept {
    return c >= U'0' && c <= U'9';
}

/// "A" to "Z" in lower case; any other unit as it is.
template <class Char>
constexpr Char toLowerASCII(Char unit) noexcept {
    return unit >= Char('A') && unit <= Char('Z') ? static_cast<Char>(unit + ('a' - 'A')) : unit;
}

/// True for the unreserved characters, which never need an escape in a URI (RFC 3986 §2.3).
constexpr bool isUnreserved(char32_t c) noexcept {
    return isLetter(c) || isDigit(c) || c == U'-' || c == U'.' || c == U'_' || c == U'~';
}

/// The characters of US-ASCII that fulfil a predicate.
template <class Rule>
constexpr std::array<bool, 0x80> makeTable(Rule rule) noexcept {
    std::array<bool, 0x80> table{};
    for (char32_t c = 0; c < table.size(); ++c)
        table[c] = rule(c);
    return table;
}

inline constexpr auto PATH_CHARACTERS = makeTable([](char32_t c) {
    return isUnreserved(c) || std::u32string_view(U"!$&'()*+,;=:@/").find(c) != std::u32string_view::npos;
});

/// True for what needs no escape in the path of a URI: pchar of RFC 3986 §3.3, and the "/".
constexpr bool isPathCharacter(char32_t c) noexcept {
    return c < PATH_CHARACTERS.size() && PATH_CHARACTERS[c];
}

/// True for separators, which end a token (RFC 2616 §2.2).
constexpr bool isSeparator(char32_t c) noexcept {
    return std::u32string_view(U"()<>@,;:\\\"/[]?={} \t").find(c) != std::u32string_view::npos;
}

inline constexpr auto TOKEN_CHARACTERS = makeTable([](char32_t c) { return c > 0x20 && c < 0x7F && !isSeparator(c); });

/// True for the characters of the tokens of a media type (RFC 2616 §2.2).
constexpr bool isTokenCharacter(char32_t c) noexcept {
    return c < TOKEN_CHARACTERS.size() && TOKEN_CHARACTERS[c];
}

/// The value of a hexadecimal digit; -1 for anything else.
constexpr int hexDigitValue(char32_t c) noexcept {
    if (isDigit(c))
        return static_cast<int>(c - U'0');
    const char32_t lower = toLowerASCII(c);
    return lower >= U'a' && lower <= U'f' ? static_cast<int>(lower - U'a' + 10) : -1;
}

/// The byte that a percent-escape at a position encodes (RFC 3986 §2.1); -1 when there is no escape.
template <class Char>
constexpr int escapedByte(std::basic_string_view<Char> text, std::size_t position) noexcept {
    if (position + 2 >= text.size() || text[position] != Char('%'))
        return -1;
    const int high = hexDigitValue(static_cast<char32_t>(text[position + 1]));
    const int low = hexDigitValue(static_cast<char32_t>(text[position + 2]));
    return high < 0 || low < 0 ? -1 : 16 * high + low;
}

/// Appends a byte as a percent-escape.
template <class Text>
void appendEscape(Text& text, unsigned char byte) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (const char c : {'%', digits[byte >> 4], digits[byte & 0xF]})
        text += static_cast<typename Text::value_type>(c);
}

constexpr bool isLeadSurrogate(char32_t value) noexcept {
    return value >= 0xD800 && value <= 0xDBFF;
}

constexpr bool isTrailSurrogate(char32_t value) noexcept {
    return value >= 0xDC00 && value <= 0xDFFF;
}

/// True for a unit that XML allows in a text (XML 1.0 §2.2); a surrogate is allowed in a pair only.
constexpr bool isXMLUnit(char16_t unit) noexcept {
    return (unit >= 0x20 && unit <= 0xFFFD) || unit == u'\t' || unit == u'\n' || unit == u'\r';
}

/// What the decoders return for a malformed sequence; no code point has this value.
inline constexpr char32_t MALFORMED_SEQUENCE = 0xFFFFFFFF;

/// The code point at a position, which is advanced past it; malformed for an unpaired surrogate.
constexpr char32_t decodeUTF16(std::u16string_view text, std::size_t& position) noexcept {
    const char32_t unit = text[position++];
    if (!isLeadSurrogate(unit) && !isTrailSurrogate(unit))
        return unit;
    if (isTrailSurrogate(unit) || position == text.size() || !isTrailSurrogate(text[position]))
        return MALFORMED_SEQUENCE;
    return 0x10000 + ((unit - 0xD800) << 10) + (text[position++] - 0xDC00);
}

/// The code point at a position, which is advanced past it; malformed for a truncated sequence, and then the position
/// is after the bytes that were valid so far, so that each maximal ill-formed part counts once.
OPCRAFT_API char32_t decodeUTF8(std::string_view text, std::size_t& position) noexcept;

} // namespace opc::detail
