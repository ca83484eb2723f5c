// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Limit.hpp"

#include <CLI/Error.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace opcraft {

namespace {

struct LimitName {
    std::string_view name;
    std::uint64_t opc::Limits::*limit;
};

constexpr std::array<LimitName, 8> names = {{
    {"items", &opc::Limits::items},
    {"item-size", &opc::Limits::itemSize},
    {"total-size", &opc::Limits::totalSize},
    {"ratio", &opc::Limits::ratio},
    {"name-length", &opc::Limits::nameLength},
    {"xml-size", &opc::Limits::xmlSize},
    {"xml-depth", &opc::Limits::xmlDepth},
    {"xml-nodes", &opc::Limits::xmlNodes},
}};

/// The power of two that a letter behind a number stands for.
unsigned shiftFor(std::string_view unit) {
    constexpr std::string_view units = "KMGT";
    const std::size_t place = unit.size() == 1 ? units.find(unit.front()) : std::string_view::npos;
    return place == std::string_view::npos ? 0 : 10 * (static_cast<unsigned>(place) + 1);
}

std::optional<std::uint64_t> parseValue(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
    const unsigned shift = shiftFor(unit);
    if (error != std::errc() || (!unit.empty() && shift == 0) ||
        value > std::numeric_limits<std::uint64_t>::max() >> shift)
        return std::nullopt;
    return value << shift;
}

} // namespace

std::string limitNames() {
    std::string text;
    for (const LimitName& name : names)
        text += (text.empty() ? "" : ", ") + std::string(name.name);
    return text;
}

void setLimit(opc::Limits& limits, const std::string& text) {
    const std::size_t sign = text.find('=');
    const std::string_view name = std::string_view(text).substr(0, sign);
    const auto found =
        std::find_if(names.begin(), names.end(), [&](const LimitName& known) { return known.name == name; });
    if (sign == std::string::npos || found == names.end())
        throw CLI::ValidationError("--limit", '"' + text + "\" is no NAME=VALUE with a NAME of " + limitNames());
    const auto value = parseValue(std::string_view(text).substr(sign + 1));
    if (!value)
        throw CLI::ValidationError("--limit",
                                   '"' + text + "\" has a VALUE that is no number, or one that is too large");
    limits.*found->limit = *value;
}

} // namespace opcraft
