// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace opcraft {

/// The text with everything that could steer a terminal or reorder a line made visible: control characters and
/// malformed UTF-8 as "\xNN", what steers bidirectional text or breaks lines as "\uNNNN".
std::string escaped(std::string_view utf8);

/// UTF-8 for display; an unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

/// "512 bytes", "24.3 KiB (24883 bytes)".
std::string sizeText(std::uint64_t bytes);

/// "1 part", "2 parts".
std::string countText(std::uint64_t count, const std::string& noun);

/// Rows under titles, in columns as wide as their widest cell. Cells are escaped.
class Table {
public:
    enum class Align { Left, Right };
    struct Column {
        std::string title;
        Align align = Align::Left;
    };

    explicit Table(std::vector<Column> columns);

    void addRow(std::vector<std::string> cells);
    /// Every line ends with a line feed; nothing is padded at the end of a line.
    std::string toString() const;

private:
    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace opcraft
