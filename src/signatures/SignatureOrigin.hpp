// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/model/Package.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <optional>

namespace opc::model {

/// The relationship of the package to its signature origin part; of several, the first.
inline std::optional<Relationship> findOriginRelationship(const Package& package, const SignatureFormRules& form) {
    const auto found = package.getRelationshipsByType(form.originRelationshipType);
    return found.empty() ? std::nullopt : std::optional<Relationship>(found.front());
}

/// The part that a relationship leads to, whatever query and fragment its target has.
inline std::optional<PartName> partAt(const Package& package, const Relationship& relationship) {
    try {
        const URI target = relationship.getTargetURI();
        if (relationship.getTargetMode() == TargetMode::External || target.hasScheme() || target.hasAuthority())
            return std::nullopt;
        const PartName name{URI(target.getPath())};
        if (package.hasPart(name))
            return package.getPart(name).getName();
    } catch (const Exception&) { // not a part name
    }
    return std::nullopt;
}

/// Where a new signature of that name is stored.
inline PartName makeSignaturePartName(const SignatureFormRules& form, const std::u16string& name) {
    return form.folder + (u"/" + name) + u".xml";
}

} // namespace opc::model
