// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <optional>

namespace opc::model {

/// The relationship of the package to its signature origin part; of several, the first.
inline std::optional<Relationship> findOriginRelationship(const Package& package, const SignatureFormRules& form) {
    const auto found = package.getRelationshipsByType(form.originRelationshipType);
    return found.empty() ? std::nullopt : std::optional<Relationship>(found.front());
}

/// Where a new signature of that name is stored.
inline PartName makeSignaturePartName(const SignatureFormRules& form, const std::u16string& name) {
    return form.folder + (u"/" + name) + u".xml";
}

} // namespace opc::model
