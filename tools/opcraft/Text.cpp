// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace opcraft {

namespace {

struct Sequence {
    char32_t character = 0;
    std::size_t length = 0; // 0 when the bytes are no UTF-8
};

/// How many bytes a sequence has whose first byte this is; 0 for a byte that starts none.
std::size_t lengthOf(unsigned char first) {
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF)
        return 2;
    if (first >= 0xE0 && first <= 0xEF)
        return 3;
    return first >= 0xF0 && first <= 0xF4 ? 4 : 0;
}

/// Overlong forms, surrogates and what lies past U+10FFFF are no characters.
bool isMalformed(char32_t character, std::size_t length) {
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    return character < smallest[length] || character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF);
}

Sequence firstSequence(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthOf(first);
    if (length == 0 || length > text.size())
        return {};
    char32_t character = length == 1 ? first : first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != 0x80)
            return {};
        character = character << 6U | (next & 0x3FU);
    }
    return isMalformed(character, length) ? Sequence{} : Sequence{character, length};
}

bool isControl(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

bool isLayout(char32_t c) {
    return c == 0x061C || (c >= 0x200E && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

std::string formatted(const char* format, unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::size_t widthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

} // namespace

std::string escaped(std::string_view utf8) {
    std::string text;
    while (!utf8.empty()) {
        const Sequence next = firstSequence(utf8);
        const std::size_t length = std::max<std::size_t>(next.length, 1);
        if (next.length == 0 || isControl(next.character)) {
            const unsigned value = next.length == 0 ? static_cast<unsigned char>(utf8.front()) : next.character;
            text += formatted("\\x%02X", value);
        } else if (isLayout(next.character)) {
            text += formatted("\\u%04X", next.character);
        } else {
            text += utf8.substr(0, length);
        }
        utf8.remove_prefix(length);
    }
    return text;
}

std::string toUtf8(std::u16string_view text) {
    return opc::detail::toUTF8String(text, false);
}

std::string sizeText(std::uint64_t bytes) {
    const std::string exact = countText(bytes, "byte");
    if (bytes < 1024)
        return exact;
    constexpr const char* units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    double size = static_cast<double>(bytes) / 1024;
    for (; size >= 1024 && unit + 1 < std::size(units); ++unit)
        size /= 1024;
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", size, units[unit]);
    return std::string(text) + " (" + exact + ")";
}

std::string countText(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

void Table::addRow(std::vector<std::string> cells) {
    for (std::string& cell : cells)
        cell = escaped(cell);
    rows_.push_back(std::move(cells));
}

std::string Table::toString() const {
    std::vector<std::vector<std::string>> lines(1);
    for (const Column& column : columns_)
        lines.front().push_back(column.title);
    lines.insert(lines.end(), rows_.begin(), rows_.end());

    std::vector<std::size_t> widths(columns_.size());
    for (const auto& line : lines)
        for (std::size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(line[i]));

    std::string text;
    for (const auto& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            const std::string padding(widths[i] - widthOf(line[i]), ' ');
            const bool isRight = columns_[i].align == Align::Right;
            text += (i == 0 ? "" : "  ") + (isRight ? padding + line[i] : line[i] + padding);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

} // namespace opcraft
