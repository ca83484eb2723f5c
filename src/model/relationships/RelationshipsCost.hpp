// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/model/relationships/RawRelationship.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include <cstdint>
#include <string>

namespace opc::model {

/// What relationships count towards the limits for XML when they are written.
struct RelationshipsCost {
    std::uint64_t nodes = 0;
    std::uint64_t bytes = 0; ///< an upper bound of what is written

    /// Of a relationships part without a relationship.
    static RelationshipsCost ofNone() noexcept;
    static RelationshipsCost of(const std::u16string& id, const std::u16string& type, const std::u16string& target,
                                TargetMode mode) noexcept;
    static RelationshipsCost of(const Relationship& relationship) noexcept;
    /// Of an element that is written as it is kept: at least its nodes.
    static RelationshipsCost of(const RawRelationship& raw) noexcept;

    RelationshipsCost& operator+=(const RelationshipsCost& other) noexcept;
    RelationshipsCost& operator-=(const RelationshipsCost& other) noexcept;
};

/// @throws InvalidRelationshipContent when a relationships part of this cost could not be read again.
/// @param source of the relationships.
void throwIfTooMuch(const RelationshipsCost& cost, const URI& source, const Limits& limits);

} // namespace opc::model
