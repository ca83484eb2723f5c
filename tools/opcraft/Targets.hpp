// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <opc/model/relationships/Relationship.hpp>

#include <optional>
#include <string>

namespace opcraft {

/// The part that a relationship leads to; none when it leads elsewhere, or to a part that is not there.
std::optional<opc::model::Part> findTarget(OpenPackage& package, const opc::model::Relationship& relationship);

/// Removes every relationship of a type of the package, and each part that they led to when no other relationship
/// leads to it.
/// @return whether there were any.
bool removeWithTargets(OpenPackage& package, const std::u16string& type);

} // namespace opcraft
