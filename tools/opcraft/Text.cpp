// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Text.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace opcraft {

namespace {

bool isControl(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

/// Characters that reorder bidirectional text or break lines.
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
        std::size_t length = 0;
        char32_t character = opc::detail::decodeUTF8(utf8, length);
        const bool isMalformed = character == opc::detail::MALFORMED_SEQUENCE;
        if (isMalformed) {
            character = static_cast<unsigned char>(utf8.front());
            length = 1;
        }
        if (isMalformed || isControl(character))
            text += formatted("\\x%02X", character);
        else if (isLayout(character))
            text += formatted("\\u%04X", character);
        else
            text += utf8.substr(0, length);
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

std::string listText(const std::vector<std::string>& texts, std::size_t longest) {
    const std::size_t count = std::min(texts.size(), longest);
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += (i == 0 ? "" : ", ") + texts[i];
    if (count < texts.size())
        text += " and " + std::to_string(texts.size() - count) + " more";
    return text;
}

std::string titledLine(const std::string& title, std::size_t width, const std::string& text) {
    const std::string padding(text.empty() || title.size() >= width ? 0 : width - title.size(), ' ');
    return title + padding + escaped(text) + '\n';
}

/// Longer cells move what follows in their row: a single one may have a million characters.
constexpr std::size_t WIDEST_COLUMN = 200;

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
            widths[i] = std::max(widths[i], std::min(widthOf(line[i]), WIDEST_COLUMN));

    std::string text;
    for (const auto& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            const std::string padding(widths[i] - std::min(widthOf(line[i]), widths[i]), ' ');
            const bool alignsRight = columns_[i].align == Align::Right;
            text += (i == 0 ? "" : "  ") + (alignsRight ? padding + line[i] : line[i] + padding);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

} // namespace opcraft
