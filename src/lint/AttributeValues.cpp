// SPDX-License-Identifier: Apache-2.0
#include "lint/AttributeValues.hpp"

#include "lint/RepairDocument.hpp"

#include <algorithm>
#include <string_view>

namespace opc::lint {

namespace {

constexpr std::size_t LONGEST = 512; // of an Id that is looked for

/// The text of a document. What is ASCII in UTF-16 becomes ASCII.
std::string textOf(std::vector<unsigned char> document) {
    document.erase(std::remove(document.begin(), document.end(), 0), document.end());
    const auto begin = std::find(
        document.begin(), document.begin() + std::min<std::ptrdiff_t>(4, document.end() - document.begin()), '<');
    return {begin, document.end()};
}

} // namespace

AttributeValues::AttributeValues(std::vector<unsigned char> document, const std::set<std::string>& sought) {
    const std::string text = textOf(std::move(document));
    if (text.empty() || text.front() != '<') {
        problem_ = "the source is not XML";
        return;
    }
    for (std::size_t at = text.find('='); at != text.npos; at = text.find('=', at + 1)) {
        const std::size_t quote = text.find_first_not_of(BLANKS, at + 1);
        if (quote == text.npos || (text[quote] != '"' && text[quote] != '\''))
            continue;
        const std::string_view window = std::string_view(text).substr(quote + 1, LONGEST);
        const std::string_view value = window.substr(0, window.find(text[quote]));
        if (value.find("&#") != value.npos)
            problem_ = "the source has references to characters in attributes";
        else if (value.substr(0, 3) == "rId" || sought.count(std::string(value)) != 0)
            values_.emplace(value);
    }
}

} // namespace opc::lint
