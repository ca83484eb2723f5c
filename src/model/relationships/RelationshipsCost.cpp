// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/RelationshipsCost.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>

#include "errors/ErrorPlaces.hpp"
#include "xml/XmlBounds.hpp"

#include <algorithm>
#include <numeric>

namespace opc::model {

namespace {

/// As UTF-8 or as a character reference.
std::uint64_t bytesOf(char16_t unit) noexcept {
    switch (unit) {
    case u'&':
    case u'<':
    case u'>':
    case u'"':
    case u'\t':
    case u'\n':
    case u'\r':
        return 6;
    default:
        return unit < 0x80 ? 1 : 3;
    }
}

std::uint64_t bytesOf(const std::u16string& text) noexcept {
    return std::accumulate(
        text.begin(), text.end(), std::uint64_t{0},
        [](std::uint64_t sum, char16_t unit) { return sum + bytesOf(unit); });
}

} // namespace

RelationshipsCost RelationshipsCost::ofNone() noexcept {
    return {2, 256}; // the root with its namespace; the XML declaration and both tags
}

RelationshipsCost RelationshipsCost::of(const std::u16string& id, const std::u16string& type,
                                        const std::u16string& target, TargetMode mode) noexcept {
    const bool hasMode = mode == TargetMode::External;
    return {hasMode ? 5U : 4U, (hasMode ? 64 : 42) + bytesOf(id) + bytesOf(type) + bytesOf(target)};
}

RelationshipsCost RelationshipsCost::of(const Relationship& relationship) noexcept {
    return of(relationship.id_, relationship.type_, relationship.target_, relationship.mode_);
}

RelationshipsCost RelationshipsCost::of(const RawRelationship& raw) noexcept {
    constexpr std::uint64_t layout = 8;
    const auto nodes = std::count_if(raw.text.begin(), raw.text.end(), [](char c) { return c == '<' || c == '='; });
    return {static_cast<std::uint64_t>(nodes), layout + raw.text.size()};
}

RelationshipsCost& RelationshipsCost::operator+=(const RelationshipsCost& other) noexcept {
    nodes += other.nodes;
    bytes += other.bytes;
    return *this;
}

RelationshipsCost& RelationshipsCost::operator-=(const RelationshipsCost& other) noexcept {
    nodes -= other.nodes;
    bytes -= other.bytes;
    return *this;
}

void throwIfTooMuch(const RelationshipsCost& cost, const URI& source, const Limits& limits) {
    try {
        throwIfTooManyNodes(cost.nodes, limits.xmlNodes);
        throwIfTooLarge(cost.bytes, limits.xmlSize);
    } catch (const InvalidXMLDocument& e) {
        const std::string part = toASCIIString(PartName(source).getRelationshipPartName());
        throwAt<InvalidRelationshipContent>(placeInItem(e, part), "In " + part + ": " + e.what());
    }
}

} // namespace opc::model
