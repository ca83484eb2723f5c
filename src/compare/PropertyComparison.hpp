// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "compare/ComparedParts.hpp"

#include <vector>

namespace opc::compare {

/// Compares the core properties of two packages by their values.
/// @return false when those of one of them cannot be read without faults: nothing is compared then.
bool compareProperties(const ComparedParts& before, const ComparedParts& after,
                       std::vector<PropertyDifference>& differences);

} // namespace opc::compare
