// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>

#include <opc/signatures/CoverageReport.hpp>

#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace opcraft {

/// A relationship by its source, "/" for the package, and its ID.
using LinkName = std::pair<std::string, std::string>;

/// "relationship rId2 of /word/document.xml".
std::string linkText(const LinkName& link);

/// What a signature covers of the package, and the rest by name.
struct CoverageEntry {
    bool isComplete = false;
    std::size_t parts = 0;
    std::size_t relationships = 0;
    std::set<std::string> uncoveredParts{};
    std::set<LinkName> uncoveredRelationships{};
    std::vector<std::string> otherItems{};
    std::set<std::string> exceptedParts{};
    std::set<LinkName> exceptedRelationships{};
    std::vector<std::string> exceptedItems{};
    std::size_t externalTargets = 0;
};

CoverageEntry entryOf(const opc::model::CoverageReport& coverage);

/// Leaves of a coverage what another one covers, too: what each covers by itself is never added up.
void restrict(CoverageEntry& coverage, const CoverageEntry& other);

/// "2 of 3 parts, 4 of 4 relationships".
std::string coverageText(const CoverageEntry& coverage);
/// "2 of 3 parts".
std::string ofText(std::size_t covered, std::size_t uncovered, const std::string& noun);
/// Lines that name what is not covered.
/// @param explain true: however much it is.
std::string uncoveredLines(const CoverageEntry& coverage, bool explain);

/// The names that a line can hold: "a, b and 3 more".
std::string listText(const std::vector<std::string>& names);

nlohmann::ordered_json toJson(const CoverageEntry& coverage);

} // namespace opcraft
