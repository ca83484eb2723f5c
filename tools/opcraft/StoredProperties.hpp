// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/CorePropertiesXml.hpp"
#include "opcraft/OpenPackage.hpp"

#include <optional>
#include <string>
#include <vector>

namespace opcraft {

/// A relationship of the package to core properties, by the type of the standard or one that others write.
struct CorePropertiesEntry {
    std::string id;
    std::string target; ///< the part; as in the package when there is none
    std::string type;
    std::optional<opc::model::Part> part; ///< none when the relationship leads to no part that is there
    bool isStandard = false;
};

/// In the order in which they count: the first leads to what is shown and changed.
std::vector<CorePropertiesEntry> findCoreProperties(OpenPackage& package);

/// The core properties of a package, as they are stored.
struct StoredProperties {
    std::string part; ///< the name of the part; empty when the package has none
    std::vector<CorePropertiesEntry> entries;
    opc::model::CoreProperties values;
    std::vector<UnreadText> unread; ///< what would be lost if the part were written anew from the values
};

/// @throws Failure naming the part and, where the part is wrong, the element.
StoredProperties readProperties(OpenPackage& package);

} // namespace opcraft
