// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace opc::model {

// Limits of all signatures of a package together, which are in memory while it is open: a few bytes of XML can cover
// every relationship of a package. They apply to reading and, so that the result can be read again, to signing.
inline constexpr std::size_t MAXIMUM_SIGNATURES = 100;
inline constexpr std::size_t MAXIMUM_SIGNED_ENTITIES = 300'000; ///< parts and relationships, once per signature

/// Parts, relationships and items of a package, once per signature whose coverage is examined.
inline constexpr std::size_t MAXIMUM_EXAMINED_ENTITIES = 1'000'000;

/// @param more the number of parts and relationships that another signature covers.
/// @throws Error when the other signature would exceed a limit.
template <class Error>
void throwIfTooMuchIsSigned(const std::vector<DigitalSignature>& signatures, std::size_t more) {
    if (signatures.size() >= MAXIMUM_SIGNATURES)
        throw Error("More than " + std::to_string(MAXIMUM_SIGNATURES) + " signatures.");
    for (const DigitalSignature& each : signatures)
        more += each.getImpl()->signedPartNames.size() + each.getImpl()->signedRelationships.size();
    if (more > MAXIMUM_SIGNED_ENTITIES)
        throw Error("The signatures cover more than " + std::to_string(MAXIMUM_SIGNED_ENTITIES) +
                    " parts and relationships.");
}

} // namespace opc::model
