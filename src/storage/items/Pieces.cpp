// SPDX-License-Identifier: Apache-2.0
#include "storage/items/Pieces.hpp"

#include <opc/core/Characters.hpp>

#include <algorithm>
#include <charconv>

namespace opc::storage {

namespace {

std::string toLower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), detail::toLowerASCII<char>);
    return lower;
}

/// Removes a suffix, without regard to case.
bool takeOff(std::string_view& text, std::string_view ending) {
    const auto isSame = [](char lower, char c) { return lower == detail::toLowerASCII(c); };
    if (text.size() < ending.size() || !std::equal(ending.rbegin(), ending.rend(), text.rbegin(), isSame))
        return false;
    text.remove_suffix(ending.size());
    return true;
}

/// A number in a piece name: without leading zeros.
std::optional<std::uint64_t> parseNumber(std::string_view digits) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isNumber = error == std::errc() && end == digits.data() + digits.size();
    return isNumber && (digits.size() == 1 || digits.front() != '0') ? std::optional(number) : std::nullopt;
}

} // namespace

std::optional<PieceName> parsePieceName(std::string_view itemName) {
    std::string_view rest = itemName;
    if (!takeOff(rest, ".piece"))
        return std::nullopt;
    const bool isLast = takeOff(rest, ".last");
    const std::size_t start = rest.rfind("/[");
    if (start == std::string_view::npos || start == 0 || rest.back() != ']')
        return std::nullopt;
    const auto number = parseNumber(rest.substr(start + 2, rest.size() - start - 3));
    return number ? std::optional(PieceName{rest.substr(0, start), *number, isLast}) : std::nullopt;
}

std::optional<std::uint64_t> PieceGroups::add(const PieceName& name, std::uint64_t index) {
    Group& group = groups_[toLower(name.prefix)];
    if (name.isLast) {
        group.hasTwoLast = group.last.has_value();
        group.last = name.number;
    }
    const auto [known, isNew] = group.indexes.emplace(name.number, index);
    group.hasDuplicate |= !isNew;
    return isNew ? std::nullopt : std::optional(known->second);
}

bool PieceGroups::hasDuplicate(std::string_view prefix) const {
    const auto found = groups_.find(toLower(prefix));
    return found != groups_.end() && found->second.hasDuplicate;
}

/// The count of the pieces fits the number of the last one, which is the highest.
bool PieceGroups::isComplete(std::string_view prefix) const {
    const auto found = groups_.find(toLower(prefix));
    if (found == groups_.end())
        return false;
    const Group& group = found->second;
    return group.last && !group.hasTwoLast && !group.hasDuplicate && group.indexes.size() == *group.last + 1 &&
           group.indexes.rbegin()->first == *group.last;
}

std::vector<std::uint64_t> PieceGroups::getPieces(std::string_view prefix) const {
    std::vector<std::uint64_t> indexes;
    for (const auto& [number, index] : groups_.at(toLower(prefix)).indexes)
        indexes.push_back(index);
    return indexes;
}

} // namespace opc::storage
