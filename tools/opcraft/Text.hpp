// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace opcraft {

/// The text with everything escaped that could control a terminal or reorder a line: control characters and malformed
/// UTF-8 as "\xNN", characters that reorder bidirectional text or break lines as "\uNNNN".
std::string escaped(std::string_view utf8);

/// UTF-8 for display; an unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

/// "512 bytes", "24.3 KiB (24883 bytes)".
std::string sizeText(std::uint64_t bytes);

/// "1 part", "2 parts".
std::string countText(std::uint64_t count, const std::string& noun);

/// How many names a line or list has at most, unless the user asks for all.
inline constexpr std::size_t SHOWN_NAMES = 20;

/// "a, b and 3 more".
/// @param longest how many are named at most.
std::string listText(const std::vector<std::string>& texts, std::size_t longest = SHOWN_NAMES);

/// A title, padded to a width, and the text, escaped.
std::string titledLine(const std::string& title, std::size_t width, const std::string& text);

/// Rows below titles, in columns as wide as their widest cell, up to a bound. Cells are escaped.
class Table {
public:
    enum class Align { Left, Right };
    struct Column {
        std::string title;
        Align align = Align::Left;
    };

    explicit Table(std::vector<Column> columns);

    void addRow(std::vector<std::string> cells);
    /// Every line ends with a line feed, without spaces in front of it.
    std::string toString() const;

private:
    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace opcraft
