// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <string>
#include <vector>

namespace opcraft {

/// What may lead to a part, or another item, and is not seen as a relationship of the package: relationships that
/// cannot be read, and those of items that are not parts, which some programs read all the same.
/// @return clauses, "the relationships of /a.xml cannot be read, and may point at it"; those of the part itself
///         are left out.
std::vector<std::string> findUnseenReferrers(const std::string& name, OpenPackage& package);

} // namespace opcraft
