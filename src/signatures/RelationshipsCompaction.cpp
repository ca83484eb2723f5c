// SPDX-License-Identifier: Apache-2.0
#include "signatures/RelationshipsCompaction.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include "signatures/Base64.hpp"
#include "signatures/ManifestTarget.hpp"
#include "signatures/PartDigester.hpp"
#include "signatures/RelationshipsTransform.hpp"

#include <algorithm>

namespace opc::model {

namespace {

using ReferenceData = DigitalSignatureData::ReferenceData;

bool isCompact(const RelationshipSource& source) {
    try {
        return source.isCompact();
    } catch (const Exception&) { // new, and not written yet
        return false;
    }
}

/// Whether a reference has the digest of the relationships by the letter of the standard.
bool holdsByTheLetter(const ReferenceData& reference, const RelationshipSource& source) {
    try {
        const auto selected = selectRelationships(source, selectorsOf(reference, source.getSourceURI()),
                                                  rulesOf(SignatureForm::Standard));
        PartDigester digester(source.getPackage());
        return digester.digestBytes(transformRelationships(selected),
                                    AlgorithmURIMap::getDigestMethod(reference.digestMethod)) ==
               fromBase64(reference.digestValue);
    } catch (const Exception&) { // an unknown digest
        return false;
    }
}

} // namespace

RelationshipsCompaction::RelationshipsCompaction(Package& package, const std::vector<DigitalSignature>& existing)
    : package_(package) {
    for (const DigitalSignature& signature : existing) {
        if (signature.getForm() == SignatureForm::Library)
            continue;
        for (const ReferenceData& reference : signature.getImpl()->manifestReferences) {
            const ManifestTarget target = ManifestTarget::of(reference.uri);
            if (target.isRelationships())
                existing_.emplace(target.name, reference);
        }
    }
}

void RelationshipsCompaction::add(const DigitalSignatureData& signature) {
    for (const auto& [source, selectors] : signature.relationshipSelectors)
        if (!withSource(package_, source, isCompact) && !isCoveredWithWhiteSpace(source))
            sources_.push_back(source);
}

bool RelationshipsCompaction::isCoveredWithWhiteSpace(const URI& source) const {
    return withSource(
        package_, source,
        [&](const RelationshipSource& of) {
            const auto [begin, end] = existing_.equal_range(of.getRelationshipsPartName());
            return std::any_of(
                begin, end, [&of](const auto& entry) { return !holdsByTheLetter(entry.second, of); });
        });
}

void RelationshipsCompaction::run() {
    for (const URI& source : sources_)
        if (PartName::isPackageRootUri(source))
            package_.makeCompact();
        else
            package_.getPart(PartName(source)).makeCompact();
}

} // namespace opc::model
