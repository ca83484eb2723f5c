// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/model/relationships/Relationship.hpp>
#include <opc/model/relationships/RelationshipSelector.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace opc::model {

/// Calls an action with a relationship source by its URI: a part, or for "/" the package.
/// @throws PartNotFound
template <class Action>
auto withSource(const Package& package, const URI& source, Action action) -> decltype(action(package)) {
    if (PartName::isPackageRootUri(source))
        return action(static_cast<const RelationshipSource&>(package));
    const Part part = package.getPart(PartName(source));
    return action(static_cast<const RelationshipSource&>(part));
}

/// The selectors of a reference to relationships of a source; those by ID first.
std::vector<RelationshipSelector> selectorsOf(const DigitalSignatureData::ReferenceData& reference, const URI& source);

/// "Relationship with ID rId1", or with its type.
std::string describe(const RelationshipSelector& selector);

/// Whether this is the relationship of the origin part to the countersignature. Signatures exclude it: the
/// countersignature itself covers the relationships of the origin part.
bool isOwnOfCountersignature(const Package& package, const Relationship& relationship, const SignatureFormRules& form);

/// The relationships of a source that at least one of the selectors selects, each once, sorted by ID.
/// @param form of the signature.
/// @throws InvalidObject, PackageNotOpen
std::vector<Relationship> selectRelationships(const RelationshipSource& source,
                                              const std::vector<RelationshipSelector>& selectors,
                                              const SignatureFormRules& form);

/// The output of the relationships transform (ECMA-376-2 §10.5.13) in canonical form, as UTF-8. It does not depend on
/// how the relationships part is written.
/// @param relationships sorted by ID.
/// @param whiteSpaces the number of empty `text` elements in front, for `RelationshipsReading::WhiteSpace`.
std::string transformRelationships(const std::vector<Relationship>& relationships,
                                   RelationshipsReading reading = RelationshipsReading::AsStandard,
                                   std::size_t whiteSpaces = 0);

/// The number of texts between the elements of a relationships part.
/// @throws opc::Exception when it is not XML.
std::size_t countWhiteSpaces(const std::vector<unsigned char>& relationshipsPart, const Limits& limits);

} // namespace opc::model
