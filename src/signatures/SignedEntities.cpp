// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignedEntities.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "signatures/ManifestTarget.hpp"
#include "signatures/RelationshipsTransform.hpp"

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

void resolve(const Package& package, const ReferenceData& reference, DigitalSignatureData& data) {
    const ManifestTarget target = ManifestTarget::of(reference.uri);
    const PartName part = target.isRelationships() ? PartName(target.name.getSourcePartName(), true) : target.name;
    if (!PartName::isPackageRootUri(part.getURI()) && !package.hasPart(part))
        throw PartNotFound("Part referenced to by the signature is not present in the package.");
    if (target.isRelationships())
        resolveRelationships(package, reference, part.getURI(), data);
    else
        data.signedPartNames.push_back(part);
}

} // namespace

void fillUpSignedEntities(const Package& package, DigitalSignatureData& data) {
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

} // namespace opc::model
