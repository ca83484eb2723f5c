// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/compare/Compare.hpp>

#include <string>
#include <vector>

namespace opc::compare {

/// Fills in the hunks and counts of lines of a part. Where lines are too different to be brought in line within the
/// number of comparisons, all between the first and the last one that differ is one hunk.
void compareLines(const std::vector<std::string>& before, const std::vector<std::string>& after,
                  const CompareOptions& options, PartDifference& difference);

} // namespace opc::compare
