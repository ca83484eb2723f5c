// SPDX-License-Identifier: Apache-2.0
#include <opc/edit/MovePart.hpp>

#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>

#include "edit/Leading.hpp"
#include "model/WellKnown.hpp"
#include "model/relationships/RelationshipsCost.hpp"
#include "model/relationships/Retargeting.hpp"

#include <map>

namespace opc::edit {

namespace {

using model::Package;
using model::PartName;
using model::Relationship;
using model::RelationshipsCost;
using model::RelationshipSource;

/// The relationships that lead to a part.
class Leading {
public:
    Leading(const Package& package, const PartName& name)
        : package_(package), name_(name), folded_(detail::foldName(detail::toUTF8String(name.toString()))) {}

    bool operator()(const Relationship& relationship) const {
        const auto path = pathOf(relationship);
        if (!path)
            return false;
        if (caselessCompare(*path, name_.toString()) == 0)
            return true;
        if (detail::isPartName(*path) && package_.hasPart(*path))
            return false;
        return detail::foldTarget(relationship.getSourceURI().getPath(), relationship.getTarget()).count(folded_) != 0;
    }

private:
    const Package& package_;
    const PartName& name_;
    std::string folded_;
};

void throwIfOrigin(const Package& package, const Leading& leadsToPart, const PartName& name) {
    for (const Relationship& each :
         package.getRelationshipsByType(model::wellknown::SIGNATURE_ORIGIN_RELATIONSHIP_TYPE))
        if (leadsToPart(each))
            throw model::PartCreateFailed("The signature origin keeps its name: " + toASCIIString(name.toString()));
}

/// One relationship of a source that gets another target.
struct Retarget {
    Relationship relationship;
    model::URI target;
};

std::vector<Retarget> findRetargets(const RelationshipSource& source, const Leading& leadsToPart,
                                    const PartName& newName) {
    std::vector<Retarget> found;
    for (const Relationship& each : source.getRelationships())
        if (leadsToPart(each)) {
            const model::URI written(each.getTarget());
            const model::URI target = model::retarget(written, source.getSourceURI(), newName.toString());
            if (target.toString() != written.toString())
                found.push_back({each, target});
        }
    return found;
}

/// Before anything is changed, since a part that has moved without what leads to it is lost for those who follow that.
void throwIfTooMuch(const RelationshipSource& source, const std::vector<Retarget>& retargets,
                    const opc::Limits& limits) {
    if (retargets.empty())
        return;
    RelationshipsCost cost = RelationshipsCost::ofNone();
    for (const Relationship& each : source.getRelationships())
        cost += RelationshipsCost::of(each);
    for (const model::RawRelationship& each : source.getRawRelationships())
        cost += RelationshipsCost::of(each);
    for (const auto& [former, target] : retargets) {
        cost -= RelationshipsCost::of(former);
        cost += RelationshipsCost::of(former.getID(), former.getType(), target.toString(), model::TargetMode::Internal);
        model::throwIfTooMuch(cost, source.getSourceURI(), limits);
    }
}

ChangedTarget toChanged(const Relationship& former, const Relationship& now) {
    return {now.getSourceURI().toString(), now.getID(), now.getType(), former.getTarget(), now.getTarget()};
}

} // namespace

MoveReport movePart(Package& package, const PartName& name, const PartName& newName) {
    const model::Part part = package.getPart(name);
    const Leading leadsToPart(package, name);
    throwIfOrigin(package, leadsToPart, name);
    std::map<PartName, std::vector<Retarget>> retargets;
    for (const model::Part& each : package.getParts())
        if (each.getName() != name)
            throwIfTooMuch(each, retargets[each.getName()] = findRetargets(each, leadsToPart, newName),
                           package.getLimits());
    const std::vector<Retarget> ofPackage = findRetargets(package, leadsToPart, newName);
    throwIfTooMuch(package, ofPackage, package.getLimits());
    const std::vector<Relationship> own = part.getRelationships();

    model::Part moved = package.renamePart(name, newName);
    MoveReport report;
    for (const Retarget& each : ofPackage)
        report.targets.push_back(
            toChanged(each.relationship, package.changeTarget(each.relationship.getID(), each.target)));
    for (model::Part& source : package.getParts()) {
        for (const Retarget& each : retargets[source.getName()])
            report.targets.push_back(
                toChanged(each.relationship, source.changeTarget(each.relationship.getID(), each.target)));
        if (source.getName() != newName)
            continue;
        for (const Relationship& former : own)
            if (const Relationship now = moved.getRelationshipByID(former.getID());
                now.getTarget() != former.getTarget())
                report.targets.push_back(toChanged(former, now));
    }
    return report;
}

} // namespace opc::edit
