// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/model/relationships/Relationship.hpp>
#include <opc/model/relationships/RelationshipSelector.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

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

/// Whether this is the relationship of the origin part by which the package has its countersignature. Signatures leave
/// it out, since the countersignature, too, covers the relationships that it is one of.
bool isOwnOfCountersignature(const Package& package, const Relationship& relationship);

/// The relationships of a source that at least one of the selectors selects, each once, by their IDs.
/// @throws InvalidObject, PackageNotOpen
std::vector<Relationship> selectRelationships(const RelationshipSource& source,
                                              const std::vector<RelationshipSelector>& selectors);

/// What the relationships transform of ECMA-376-2 §10.5.13 makes of them, in canonical form, as UTF-8: the same for
/// relationships in memory and for those of a stored part, whatever it looks like.
/// @param relationships by their IDs.
std::string transformRelationships(const std::vector<Relationship>& relationships);

} // namespace opc::model
