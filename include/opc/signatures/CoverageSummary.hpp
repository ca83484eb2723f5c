// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/signatures/CoverageReport.hpp>

#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace opc::model {

/// A relationship by its source, "/" for the package, and its ID.
using RelationshipName = std::pair<std::string, std::string>;

/// A `CoverageReport` by names, in UTF-8, which may also be that of several signatures. A value without invariants.
struct CoverageSummary {
    bool isComplete = false;
    std::set<std::string> coveredParts{};
    std::set<RelationshipName> coveredRelationships{};
    std::set<std::string> uncoveredParts{};
    std::set<RelationshipName> uncoveredRelationships{};
    std::vector<std::string> otherItems{};
    std::set<std::string> exceptedParts{};
    std::set<RelationshipName> exceptedRelationships{};
    std::vector<std::string> exceptedItems{};
    std::size_t externalTargets = 0;
};

OPCRAFT_API CoverageSummary summarize(const CoverageReport& coverage);

/// Leaves of a coverage what another one of the same package covers by itself, too: coverages are never added up.
OPCRAFT_API void restrict(CoverageSummary& coverage, const CoverageSummary& other);

} // namespace opc::model
