// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/algorithm/string.hpp>

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace opc::test {

/// The rows of a file; tabs stand between their fields. Lines that start with "# " are comments.
inline std::vector<std::vector<std::string>> readRows(const std::string& file) {
    std::ifstream stream(file);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(stream, line);)
        if (!boost::starts_with(line, "# "))
            boost::split(rows.emplace_back(), line, boost::is_any_of("\t"));
    if (rows.empty())
        throw std::runtime_error("no rows in " + file);
    return rows;
}

/// Those of a file below tests/.
inline std::vector<std::vector<std::string>> readTable(const std::string& file) {
    return readRows(std::string(OPCRAFT_TESTS) + "/" + file);
}

/// A text in which "\x41" stands for a byte.
inline std::string unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text.compare(i, 2, "\\x") == 0;
        bytes += isEscape ? static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16)) : text[i];
        i += isEscape ? 3 : 0;
    }
    return bytes;
}

} // namespace opc::test
