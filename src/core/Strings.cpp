// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>

#include <opc/core/Characters.hpp>
#include <opc/core/Exception.hpp>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

namespace opc {

static_assert(sizeof(wchar_t) == sizeof(char32_t), "a wide character holds any Unicode code point");

using detail::decodeUTF16;
using detail::decodeUTF8;
using detail::MALFORMED_SEQUENCE;

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

constexpr bool isScalarValue(char32_t value) noexcept {
    return value <= 0x10FFFF && !detail::isLeadSurrogate(value) && !detail::isTrailSurrogate(value);
}

// How many units two texts share from their start, four at a time: most of two names is the same.
std::size_t countEqual(const char16_t* a, const char16_t* b, std::size_t size) noexcept {
    using Word = std::uint64_t;
    constexpr std::size_t step = sizeof(Word) / sizeof(char16_t);
    std::size_t i = 0;
    for (; i + step <= size; i += step) {
        Word first = 0;
        Word second = 0;
        std::memcpy(&first, a + i, sizeof first);
        std::memcpy(&second, b + i, sizeof second);
        if (const Word bits = first ^ second; bits != 0) {
            const int equal =
                std::endian::native == std::endian::little ? std::countr_zero(bits) : std::countl_zero(bits);
            return i + static_cast<std::size_t>(equal) / (8 * sizeof(char16_t));
        }
    }
    while (i < size && a[i] == b[i])
        ++i;
    return i;
}

[[noreturn]] void throwMalformed(const char* what, std::size_t position) {
    throw Exception(std::string(what) + " at position " + std::to_string(position) + ".");
}

/// What a conversion gives, or its error with the code of an argument that is refused.
template <class Conversion>
auto convertArgument(Conversion conversion) {
    try {
        return conversion();
    } catch (const Exception& e) {
        throw Exception(e.what(), make_error_code(boost::system::errc::invalid_argument));
    }
}

// What a first byte of UTF-8 announces (Unicode, table 3-7): the number of further bytes, and the range of the second
// one, which excludes overlong forms, surrogates and what lies above U+10FFFF.
struct LeadByte {
    int further; // -1 for a byte that cannot be the first
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
};

LeadByte describeLeadByte(unsigned char lead) noexcept {
    if (lead < 0x80)
        return {0};
    if (lead < 0xC2 || lead > 0xF4)
        return {-1};
    if (lead < 0xE0)
        return {1};
    if (lead < 0xF0)
        return {2, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    return {3, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
}

void appendUTF16(std::u16string& text, char32_t value) {
    if (value < 0x10000) {
        text += static_cast<char16_t>(value);
    } else {
        text += static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10));
        text += static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FF));
    }
}

void appendUTF8(std::string& text, char32_t value) {
    if (value < 0x80) {
        text += static_cast<char>(value);
        return;
    }
    const int further = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
    text += static_cast<char>(((0xFF00U >> (further + 1)) & 0xFFU) | (value >> (6 * further)));
    for (int shift = 6 * (further - 1); shift >= 0; shift -= 6)
        text += static_cast<char>(0x80 | ((value >> shift) & 0x3F));
}

} // namespace

int caselessCompare(std::u16string_view a, std::u16string_view b) noexcept {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = countEqual(a.data(), b.data(), common); i < common; ++i) {
        const int difference = detail::toLowerASCII(a[i]) - detail::toLowerASCII(b[i]);
        if (difference != 0)
            return difference;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

std::u16string toLowerASCIIString(std::u16string_view text) {
    std::u16string result(text);
    std::transform(result.begin(), result.end(), result.begin(), detail::toLowerASCII<char16_t>);
    return result;
}

std::string toASCIIString(std::u16string_view text) {
    std::string result(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] > 0x7F)
            throwMalformed("The text is not US-ASCII: a character above U+007F", i);
        result[i] = static_cast<char>(text[i]);
    }
    return result;
}

std::wstring toWideString(std::u16string_view text) {
    std::wstring result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const char32_t value = decodeUTF16(text, position);
        if (value == MALFORMED_SEQUENCE)
            throwMalformed("The text is not valid UTF-16: an unpaired surrogate", start);
        result += static_cast<wchar_t>(value);
    }
    return result;
}

std::u16string toString(std::string_view utf8, bool strict) {
    const auto ascii = std::find_if(utf8.begin(), utf8.end(), [](char unit) { return (unit & 0x80) != 0; });
    std::u16string result(utf8.begin(), ascii);
    result.reserve(utf8.size());
    for (std::size_t position = result.size(); position < utf8.size();) {
        const std::size_t start = position;
        const char32_t value = decodeUTF8(utf8, position);
        if (value == MALFORMED_SEQUENCE && strict)
            throwMalformed("The text is not valid UTF-8: a malformed sequence", start);
        appendUTF16(result, value == MALFORMED_SEQUENCE ? REPLACEMENT : value);
    }
    return result;
}

std::u16string toString(std::wstring_view text) {
    std::u16string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto value = static_cast<char32_t>(text[i]);
        if (!isScalarValue(value))
            throwMalformed("The wide text holds a value that is not a Unicode character", i);
        appendUTF16(result, value);
    }
    return result;
}

std::u16string fromUTF8(std::string_view text) {
    return convertArgument([text] { return toString(text); });
}

std::string toUTF8(std::u16string_view text) {
    return convertArgument([text] { return detail::toUTF8String(text); });
}

std::string toUDEString(std::u16string_view text) {
    std::string result;
    std::vector<char> encoded(MB_CUR_MAX);
    std::mbstate_t state{};
    for (std::size_t position = 0; position < text.size();) {
        const char32_t value = decodeUTF16(text, position);
        const std::mbstate_t before = state;
        auto count = std::wcrtomb(encoded.data(), static_cast<wchar_t>(value), &state);
        if (count == static_cast<std::size_t>(-1)) {
            state = before;
            count = std::wcrtomb(encoded.data(), L'?', &state);
        }
        result.append(encoded.data(), count);
    }
    // A stateful encoding goes back to its initial state before the closing NUL, which is not part of the text.
    return result.append(encoded.data(), std::wcrtomb(encoded.data(), L'\0', &state) - 1);
}

namespace detail {

char32_t decodeUTF8(std::string_view text, std::size_t& position) noexcept {
    const auto lead = static_cast<unsigned char>(text[position++]);
    auto [further, low, high] = describeLeadByte(lead);
    if (further < 0)
        return MALFORMED_SEQUENCE;
    char32_t value = further == 0 ? lead : lead & (0x3FU >> further);
    for (; further > 0; --further, low = 0x80, high = 0xBF) {
        const unsigned char byte = position < text.size() ? static_cast<unsigned char>(text[position]) : 0;
        if (byte < low || byte > high)
            return MALFORMED_SEQUENCE;
        value = (value << 6) | (byte & 0x3FU);
        ++position;
    }
    return value;
}

std::string toUTF8String(std::u16string_view text, bool strict) {
    const auto ascii = std::find_if(text.begin(), text.end(), [](char16_t unit) { return unit > 0x7F; });
    std::string result(text.begin(), ascii);
    for (std::size_t position = result.size(); position < text.size();) {
        const std::size_t start = position;
        const char32_t value = decodeUTF16(text, position);
        if (value == MALFORMED_SEQUENCE && strict)
            throwMalformed("The text is not valid UTF-16: an unpaired surrogate", start);
        appendUTF8(result, value == MALFORMED_SEQUENCE ? REPLACEMENT : value);
    }
    return result;
}

std::size_t hashFolded(std::u16string_view text) noexcept {
    std::uint64_t hash = 0xCBF29CE484222325; // FNV-1a
    for (const char16_t unit : text)
        hash = (hash ^ toLowerASCII(unit)) * 0x100000001B3;
    return static_cast<std::size_t>(hash);
}

std::u16string getExtension(std::u16string_view path) {
    const std::u16string_view segment = path.substr(path.rfind(u'/') + 1); // npos + 1 is the start
    const std::size_t dot = segment.rfind(u'.');
    return dot == std::u16string_view::npos ? std::u16string() : std::u16string(segment.substr(dot + 1));
}

} // namespace detail
} // namespace opc
