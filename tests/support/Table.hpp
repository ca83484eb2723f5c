// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/algorithm/string.hpp>

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
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

/// A text in which "\n", "\r", "\t" and "\x41" stand for bytes.
inline std::string unescaped(std::string text) {
    for (std::size_t at = text.find('\\'); at != std::string::npos; at = text.find('\\', at + 1)) {
        const std::size_t which = std::string_view("nrtx").find(text[at + 1]);
        if (which < 3)
            text.replace(at, 2, 1, "\n\r\t"[which]);
        else if (which == 3)
            text.replace(at, 4, 1, static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)));
    }
    return text;
}

} // namespace opc::test
