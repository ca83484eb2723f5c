// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "compare/ComparedParts.hpp"

#include <map>
#include <string>
#include <vector>

namespace opc::compare {

/// Parts of the first package with their keys in the second one, where these differ.
using Renames = std::map<std::string, std::string>;

/// Compares the relationships of the package and of all parts, those of the first package as if its parts were renamed.
void compareRelationships(const ComparedParts& before, const ComparedParts& after, const Renames& renames,
                          const CompareOptions& options, std::vector<RelationshipDifference>& differences);

/// The target of an internal relationship as a URI; as it is written when it has none.
std::string resolvedTargetOf(const model::Relationship& relationship);

/// Where the relationships of a part lead, in one text for type, mode and target.
/// @param renames empty for the second package.
IdTargets idTargetsOf(const model::Part& part, const Renames& renames);

} // namespace opc::compare
