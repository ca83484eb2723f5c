// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace opc::model {

// What the signatures of a package may cost together: all of them are in memory while it is open, and one that covers
// every relationship of a package takes no more than a line. In force for what is read and, so that it can be read
// again, for what is written.
inline constexpr std::size_t MAXIMUM_SIGNATURES = 100;
inline constexpr std::size_t MAXIMUM_SIGNED_ENTITIES = 300'000; ///< parts and relationships, once for each signature

/// Parts, relationships and items of a package, once for each signature whose coverage is examined. More of them cannot
/// be covered by each.
inline constexpr std::size_t MAXIMUM_EXAMINED_ENTITIES = 1'000'000;

/// @param more parts and relationships that one more signature covers.
/// @throws Error when one more signature is too much.
template <class Error>
void throwIfTooMuchIsSigned(const std::vector<DigitalSignature>& signatures, std::size_t more) {
    if (signatures.size() >= MAXIMUM_SIGNATURES)
        throw Error("There are more than " + std::to_string(MAXIMUM_SIGNATURES) + " signatures.");
    for (const DigitalSignature& each : signatures)
        more += each.getImpl()->signedPartNames.size() + each.getImpl()->signedRelationships.size();
    if (more > MAXIMUM_SIGNED_ENTITIES)
        throw Error("The signatures cover more than " + std::to_string(MAXIMUM_SIGNED_ENTITIES) +
                    " parts and relationships.");
}

} // namespace opc::model
