// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/StoredProperties.hpp"

#include <nlohmann/json.hpp>

#include <string>

namespace opcraft {

/// The present properties, one or more lines each.
std::string toText(const StoredProperties& stored);

nlohmann::ordered_json toJson(const StoredProperties& stored, const std::string& file);

} // namespace opcraft
