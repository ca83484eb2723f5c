// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignedEntities.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "signatures/ManifestTarget.hpp"
#include "signatures/RelationshipsTransform.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace opc::model {

namespace {

using ReferenceData = DigitalSignatureData::ReferenceData;

/// @param types those of the relationships of the source.
void throwIfAbsent(const RelationshipSource& source, const RelationshipSelector& selector,
                   const std::set<std::u16string>& types) {
    const bool isById = selector.getSelectorType() == RelationshipSelectorType::ById;
    const std::u16string criteria = selector.getSelectionCriteria();
    if (isById ? source.hasRelationship(criteria) : types.count(criteria) != 0)
        return;
    const std::u16string name = selector.getSourceURI().toString();
    throw RelationshipNotFound(describe(selector) + " referenced to in the signature is not present in the " +
                               (PartName::isPackageRootUri(name) ? "package" : detail::toUTF8String(name, false)));
}

/// @throws RelationshipNotFound when a selector selects nothing.
std::vector<Relationship> resolveSelectors(const RelationshipSource& source,
                                           const std::vector<RelationshipSelector>& selectors,
                                           const SignatureFormRules& form) {
    std::set<std::u16string> types;
    for (const Relationship& relationship : source.getRelationships())
        types.insert(relationship.getType());
    for (const RelationshipSelector& selector : selectors)
        throwIfAbsent(source, selector, types);
    return selectRelationships(source, selectors, form);
}

void resolveRelationships(const Package& package, const ReferenceData& reference, const URI& source,
                          DigitalSignatureData& data) {
    auto [entry, isNew] = data.relationshipSelectors.try_emplace(source);
    if (!isNew)
        throw InvalidSignature("Two references of the signature cover relationships of " +
                               toASCIIString(source.toString()));
    entry->second = selectorsOf(reference, source);
    const auto selected = withSource(package, source, [&data, &entry = entry](const RelationshipSource& of) {
        return resolveSelectors(of, entry->second, rulesOf(data.form));
    });
    data.signedRelationships.insert(data.signedRelationships.end(), selected.begin(), selected.end());
}

/// The name in the case in which it is signed; where it can, it shares its text with the part.
PartName withSharedText(const Package& package, const PartName& name) {
    PartName stored = package.getPart(name).getName();
    return stored.toString() == name.toString() ? stored : name;
}

void resolve(const Package& package, const ReferenceData& reference, DigitalSignatureData& data) {
    const ManifestTarget target = ManifestTarget::of(reference.uri);
    const PartName part = target.isRelationships() ? PartName(target.name.getSourcePartName(), true) : target.name;
    const bool isRoot = PartName::isPackageRootUri(part.getURI());
    if (!isRoot && !package.hasPart(part))
        throw PartNotFound("Part referenced to by the signature is not present in the package.");
    if (target.isRelationships())
        resolveRelationships(package, reference, part.getURI(), data);
    else
        data.signedPartNames.push_back(isRoot ? part : withSharedText(package, part));
}

} // namespace

void fillUpSignedEntities(const Package& package, DigitalSignatureData& data) {
    data.signedPartNames.reserve(data.manifestReferences.size());
    for (const ReferenceData& reference : data.manifestReferences) {
        try {
            resolve(package, reference, data);
        } catch (Exception& e) {
            ErrorPlace place;
            place.element = "Reference";
            place.attribute = "URI";
            place.value = toASCIIString(reference.uri.toString());
            e.setPlace(std::make_shared<const ErrorPlace>(std::move(place)));
            throw;
        }
    }
}

void fillUpFoundEntities(const Package& package, DigitalSignatureData& data) {
    for (const ReferenceData& reference : data.manifestReferences) {
        const ManifestTarget target = ManifestTarget::of(reference.uri);
        if (!target.isRelationships()) {
            data.signedPartNames.push_back(package.hasPart(target.name) ? package.getPart(target.name).getName()
                                                                        : target.name);
            continue;
        }
        const URI source = PartName(target.name.getSourcePartName(), true).getURI();
        auto& selectors = data.relationshipSelectors[source];
        selectors = selectorsOf(reference, source);
        if (!PartName::isPackageRootUri(source) && !package.hasPart(PartName(source)))
            continue;
        const auto selected = withSource(package, source, [&](const RelationshipSource& of) {
            return reference.transforms.empty() ? of.getRelationships()
                                                : selectRelationships(of, selectors, rulesOf(data.form));
        });
        data.signedRelationships.insert(data.signedRelationships.end(), selected.begin(), selected.end());
    }
}

bool isCountersignature(const DigitalSignatureData& signature, const std::vector<DigitalSignature>& signatures) {
    if (signature.form == SignatureForm::Library)
        return signature.signatureId == COUNTERSIGNATURE_ID;
    std::set<PartName> parts;
    for (const DigitalSignature& each : signatures)
        parts.insert(each.getPartName());
    const auto& names = signature.signedPartNames;
    return !names.empty() &&
           std::all_of(names.begin(), names.end(), [&parts](const PartName& name) { return parts.count(name) != 0; });
}

} // namespace opc::model
