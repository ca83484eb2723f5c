// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/CorePropertiesXml.hpp"
#include "opcraft/OpenPackage.hpp"

#include <string>
#include <vector>

namespace opcraft {

/// The core properties of a package, as they are stored.
struct StoredProperties {
    std::string part; ///< the name of the part; empty when the package has none
    opc::model::CoreProperties values;
    std::vector<UnreadText> unread; ///< what would be lost if the part were written anew from the values
};

/// @throws Failure naming the part and, where the part is wrong, the element.
StoredProperties readProperties(OpenPackage& package);

} // namespace opcraft
