// SPDX-License-Identifier: Apache-2.0
#include "lint/RepairSignatures.hpp"

#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "lint/Examination.hpp"

#include <algorithm>

namespace opc::lint {

namespace {

class Ignored final : public FindingSink {
public:
    void found(const Finding& /*finding*/) override {}
};

} // namespace

SignedContent::SignedContent(interfaces::IPhysicalPackage& store, const Limits& limits) {
    model::Package package(store, limits);
    const model::DigitalSignatureManager manager(package, model::getAllSignatureForms(),
                                                 model::SignatureForm::Standard);
    Ignored sink;
    try {
        package.open(interfaces::OpenMode::ReadOnly, sink);
    } catch (const opc::Exception&) {
        return; // what cannot be read is taken for broken
    }
    for (const model::DigitalSignature& each : manager.getSignatures()) {
        if (!each.getProblem().empty())
            continue;
        Signature& signature = signatures_[toText(each.getPartName().toString())];
        for (const model::PartName& name : each.getSignedPartNames())
            signature.parts.push_back(toLowerASCIIString(name.toString()));
        for (const model::Relationship& relationship : each.getSignedRelationships())
            signature.relationships.emplace_back(toLowerASCIIString(relationship.getSourceURI().getPath()),
                                                 toText(relationship.getID()));
    }
}

bool SignedContent::isBroken(const Signature& signature, const RepairWork& work) {
    const auto isPartChanged = [&](const std::u16string& name) {
        return work.changedParts.count(name) != 0 || work.changedExtensions.count(detail::getExtension(name)) != 0;
    };
    return std::any_of(signature.parts.begin(), signature.parts.end(), isPartChanged) ||
           std::any_of(signature.relationships.begin(), signature.relationships.end(),
                       [&](const auto& each) { return work.changedRelationships.count(each) != 0; });
}

std::vector<std::string> SignedContent::findBroken(const RepairWork& work) const {
    std::vector<std::string> broken;
    if (!work.isChanged())
        return broken;
    for (const std::string& name : work.getSignatures())
        if (const auto found = signatures_.find(name); found == signatures_.end() || isBroken(found->second, work))
            broken.push_back(name);
    return broken;
}

} // namespace opc::lint
