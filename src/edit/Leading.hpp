// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/relationships/Relationship.hpp>

#include <optional>
#include <string>

namespace opc::edit {

/// The path that an internal relationship leads to inside of the package, without query and fragment; it need not be
/// the name of a part. Nothing for others.
inline std::optional<std::u16string> pathOf(const model::Relationship& relationship) {
    if (relationship.getTargetMode() == model::TargetMode::External)
        return std::nullopt;
    const model::URI written(relationship.getTarget());
    if (written.hasScheme() || written.hasAuthority())
        return std::nullopt;
    return relationship.getTargetURI().getPath();
}

} // namespace opc::edit
