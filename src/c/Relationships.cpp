// SPDX-License-Identifier: Apache-2.0
#include "c/Package.hpp"
#include "c/Results.hpp"

#include <opc/errors/Errors.hpp>

namespace opc::c {

namespace {

using model::Package;
using model::PartName;
using model::Relationship;
using model::RelationshipSource;
using model::TargetMode;
using model::URI;

/// The target as it is resolved; empty when it cannot be.
std::u16string resolve(const Relationship& relationship) {
    try {
        return relationship.getTargetURI().toString();
    } catch (const Exception&) {
        return {};
    }
}

/// Whether an internal target leads to no part of the package, its query and fragment left out.
bool isDangling(const Relationship& relationship, const Package& package) {
    if (relationship.getTargetMode() == TargetMode::External)
        return false;
    try {
        const URI target = relationship.getTargetURI();
        return target.hasScheme() || target.hasAuthority() || !package.hasPart(PartName(target.getPath()));
    } catch (const model::InvalidURI&) {
        return true;
    } catch (const model::InvalidPartName&) {
        return true;
    } catch (const model::UnsupportedResolve&) {
        return true;
    }
}

void fill(opcraft_relationship& entry, Pool& pool, const Relationship& relationship, const Package& package) {
    entry.source = pool.keep(relationship.getSourceURI().toString());
    entry.id = pool.keep(relationship.getID());
    entry.type = pool.keep(relationship.getType());
    entry.target = pool.keep(relationship.getTarget());
    entry.resolved = pool.keepOrNull(resolve(relationship));
    entry.external = relationship.getTargetMode() == TargetMode::External;
    entry.dangling = isDangling(relationship, package);
}

std::vector<Relationship> collect(Package& package, const char* source) {
    if (source != nullptr)
        return withSource(package, source, [](RelationshipSource& of) { return of.getRelationships(); });
    std::vector<Relationship> all = package.getRelationships();
    for (const model::Part& part : package.getParts()) {
        const std::vector<Relationship> more = part.getRelationships();
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

} // namespace

} // namespace opc::c

using namespace opc::c;

opcraft_relationship_list* opcraft_package_list_relationships(const opcraft_package* package, const char* source,
                                                              opcraft_error** error) {
    return guarded(
        package, error, static_cast<opcraft_relationship_list*>(nullptr),
        [&](OpenedPackage& opened) {
            Package& model = opened.model;
            auto list = makeResult<opcraft_relationship_list>();
            list->relationships = list->pool.structures<opcraft_relationship>(
                collect(model, source), list->count,
                [&](opcraft_relationship& entry, const Relationship& relationship) {
                    fill(entry, list->pool, relationship, model);
                });
            return list.release();
        });
}

void opcraft_relationship_list_free(opcraft_relationship_list* list) {
    freeResult(list);
}

char* opcraft_relationship_create(opcraft_package* package, const char* source, const char* type, const char* target,
                                  bool external, const char* id, opcraft_error** error) {
    return guarded(
        package, error, static_cast<char*>(nullptr),
        [&](OpenedPackage& opened) {
            const std::u16string typeText = toText(type, "type");
            const std::u16string targetText = toText(target, "target");
            const std::u16string idText = id != nullptr ? toText(id, "id") : std::u16string();
            return withSource(
                opened.model, source,
                [&](RelationshipSource& of) {
                    const Relationship made =
                        external ? of.createExternalRelationship(typeText, targetText, idText)
                                 : of.createInternalRelationship(typeText, toTarget(targetText), idText);
                    return copyForCaller(made.getID());
                });
        });
}

bool opcraft_relationship_set_target(opcraft_package* package, const char* source, const char* id, const char* target,
                                     opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](OpenedPackage& opened) {
            const std::u16string idText = toText(id, "id");
            const URI uri = toTarget(toText(target, "target"));
            withSource(
                opened.model, source, [&](RelationshipSource& of) { of.changeTarget(idText, uri); });
        });
}

bool opcraft_relationship_delete(opcraft_package* package, const char* source, const char* id, opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](OpenedPackage& opened) {
            const std::u16string idText = toText(id, "id");
            withSource(
                opened.model, source, [&](RelationshipSource& of) { of.deleteRelationship(idText); });
        });
}
