// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "c/Guard.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

namespace opc::c {

/// The size that a structure had in the first version of the library that has it. One that grows keeps that size here,
/// by a specialization; its new members begin at the old size, never in what was padding before.
template <class Structure>
inline constexpr std::size_t firstSize = sizeof(Structure);

/// A structure of a newer version is at most so much larger; beyond it the size was not set.
inline constexpr std::size_t MOST_GROWTH = 1024;

/// What a caller fills, as the library knows it: a caller of an older version has not all fields, which are zero then,
/// and one of a newer version may have more, which have to be zero.
/// @param given may be null: all is zero.
/// @param name for messages.
template <class Structure>
Structure read(const Structure* given, const char* name) {
    Structure known{};
    if (given == nullptr)
        return known;
    std::size_t size = 0;
    std::memcpy(&size, given, sizeof size);
    if (size < firstSize<Structure> || size > sizeof known + MOST_GROWTH)
        throwInvalidArgument(std::string(name) + ": size is " + std::to_string(size) +
                             ", which is not that of the structure");
    const auto* bytes = reinterpret_cast<const unsigned char*>(given);
    if (size > sizeof known &&
        std::any_of(bytes + sizeof known, bytes + size, [](unsigned char byte) { return byte != 0; }))
        throwInvalidArgument(std::string(name) + ": a field is set that this version of the library does not know");
    std::memcpy(&known, given, std::min(size, sizeof known));
    known.size = sizeof known;
    return known;
}

/// An element of a list that the caller gives.
template <class Structure>
const Structure* elementOf(const Structure* const* list, std::size_t index, const char* name) {
    if (list == nullptr || list[index] == nullptr)
        throwInvalidArgument(std::string(name) + " has NULL for an element");
    return list[index];
}

} // namespace opc::c
