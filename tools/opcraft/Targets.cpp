// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Targets.hpp"

#include "opcraft/Relationships.hpp"

#include <opc/core/Strings.hpp>

#include <set>

namespace opcraft {

using opc::model::PartName;
using opc::model::Relationship;

std::optional<opc::model::Part> findTarget(OpenPackage& package, const Relationship& relationship) {
    const auto target = targetPartOf(relationship);
    // A target need not be a part name, but what is a part has one.
    if (!target || package.getPartKeys().count(opc::toLowerASCIIString(*target)) == 0)
        return std::nullopt;
    const PartName name(*target);
    if (!package.getModel().hasPart(name)) // it is a relationships part
        return std::nullopt;
    return package.getModel().getPart(name);
}

bool removeWithTargets(OpenPackage& package, const std::u16string& type) {
    opc::model::Package& model = package.getModel();
    const auto relationships = model.getRelationshipsByType(type);
    std::set<PartName> targets;
    for (const Relationship& relationship : relationships) {
        if (const auto part = findTarget(package, relationship))
            targets.insert(part->getName());
        model.deleteRelationship(relationship.getID());
    }
    for (const PartName& name : targets)
        if (entriesLeadingTo(name, package).empty())
            model.deletePart(name);
    return !relationships.empty();
}

} // namespace opcraft
