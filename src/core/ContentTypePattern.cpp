// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ContentTypePattern.hpp>

#include <opc/core/Characters.hpp>

#include <cstdint>

namespace opc::detail {

namespace {

/// The states of a match in the pattern, one bit each, since a backslash in a quoted string can be read in two ways.
enum State : std::uint32_t {
    BeforeType = 1U << 0,
    InType = 1U << 1,
    BeforeSubtype = 1U << 2,
    InSubtype = 1U << 3,
    BeforeSemicolon = 1U << 4,
    BeforeName = 1U << 5,
    InName = 1U << 6,
    BeforeValue = 1U << 7,
    InToken = 1U << 8,
    InQuotes = 1U << 9,
    AfterBackslash = 1U << 10,
    AfterQuotes = 1U << 11,
};
using States = std::uint32_t;

constexpr States ACCEPTING = InSubtype | InToken | AfterQuotes;

bool isSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r';
}

/// White space, a graphic character of Basic Latin but the quote, or one of the Latin-1 Supplement.
bool isQuotable(char16_t c) {
    return isSpace(c) || (c >= 0x20 && c < 0x7F && c != u'"') || (c >= 0xA0 && c <= 0xFF);
}

States whenAny(States states, States from, States to) {
    return (states & from) != 0 ? to : 0;
}

States stepInToken(States states) {
    return whenAny(states, BeforeType | InType, InType) | whenAny(states, BeforeSubtype | InSubtype, InSubtype) |
           whenAny(states, BeforeName | InName, InName) | whenAny(states, BeforeValue | InToken, InToken);
}

States stepAtSpace(States states) {
    return whenAny(states, ACCEPTING | BeforeSemicolon, BeforeSemicolon) | whenAny(states, BeforeName, BeforeName);
}

States stepAtSeparator(States states, char16_t c) {
    switch (c) {
    case u'/':
        return whenAny(states, InType, BeforeSubtype);
    case u';':
        return whenAny(states, ACCEPTING | BeforeSemicolon, BeforeName);
    case u'=':
        return whenAny(states, InName, BeforeValue);
    case u'"':
        return whenAny(states, BeforeValue, InQuotes) | whenAny(states, InQuotes, AfterQuotes);
    case u'\\':
        return whenAny(states, InQuotes, AfterBackslash);
    default:
        return 0;
    }
}

States step(States states, char16_t c) {
    States next = c < 0x80 ? whenAny(states, AfterBackslash, InQuotes) : 0;
    next |= isQuotable(c) ? whenAny(states, InQuotes, InQuotes) : 0;
    if (isTokenCharacter(c))
        return next | stepInToken(states);
    return next | (isSpace(c) ? stepAtSpace(states) : stepAtSeparator(states, c));
}

} // namespace

bool matchesContentTypePattern(std::u16string_view text) noexcept {
    States states = BeforeType;
    for (const char16_t c : text) {
        states = step(states, c);
        if (states == 0)
            return false;
    }
    return (states & ACCEPTING) != 0;
}

bool matchesExtensionPattern(std::u16string_view text) noexcept {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t c = text[i];
        const bool isOfSegment = isPathCharacter(c) && c != u'/' && c != u'.' && c != u';';
        if (!isOfSegment && escapedByte(text, i) < 0)
            return false;
    }
    return !text.empty();
}

} // namespace opc::detail
