// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <string>
#include <vector>

namespace opcraft {

/// What may lead to a part and is not seen as a relationship of the package: relationships that cannot be read, and
/// those of items that are not parts, which some programs read all the same.
/// @return clauses, "the relationships of /a.xml cannot be read, and may point at this part"; those of the part itself
///         are left out.
std::vector<std::string> findUnseenReferrers(const opc::model::PartName& name, OpenPackage& package);

} // namespace opcraft
