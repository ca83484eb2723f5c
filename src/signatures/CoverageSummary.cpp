// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/CoverageSummary.hpp>

#include <opc/core/Strings.hpp>

namespace opc::model {

namespace {

std::set<std::string> namesOf(const std::vector<PartName>& parts) {
    std::set<std::string> names;
    for (const PartName& part : parts)
        names.insert(detail::toUTF8String(part.toString(), false));
    return names;
}

std::set<RelationshipName> namesOf(const std::vector<Relationship>& relationships) {
    std::set<RelationshipName> names;
    for (const Relationship& each : relationships)
        names.emplace(detail::toUTF8String(each.getSourceURI().toString(), false),
                      detail::toUTF8String(each.getID(), false));
    return names;
}

/// What is uncovered in one of the two is uncovered; what else is excepted in one of them is excepted.
template <class Name>
void restrict(std::set<Name>& covered, std::set<Name>& uncovered, std::set<Name>& excepted,
              const std::set<Name>& otherUncovered, const std::set<Name>& otherExcepted) {
    uncovered.insert(otherUncovered.begin(), otherUncovered.end());
    excepted.insert(otherExcepted.begin(), otherExcepted.end());
    for (const Name& name : uncovered) {
        excepted.erase(name);
        covered.erase(name);
    }
    for (const Name& name : excepted)
        covered.erase(name);
}

} // namespace

CoverageSummary summarize(const CoverageReport& coverage) {
    CoverageSummary summary;
    summary.isComplete = coverage.isComplete();
    summary.coveredParts = namesOf(coverage.coveredParts);
    summary.coveredRelationships = namesOf(coverage.coveredRelationships);
    summary.uncoveredParts = namesOf(coverage.uncoveredParts);
    summary.uncoveredRelationships = namesOf(coverage.uncoveredRelationships);
    summary.otherItems = coverage.otherItems;
    summary.exceptedParts = namesOf(coverage.exceptedParts);
    summary.exceptedRelationships = namesOf(coverage.exceptedRelationships);
    summary.exceptedItems = coverage.exceptedItems;
    summary.externalTargets = coverage.externalTargets;
    return summary;
}

void restrict(CoverageSummary& coverage, const CoverageSummary& other) {
    restrict(coverage.coveredParts, coverage.uncoveredParts, coverage.exceptedParts, other.uncoveredParts,
             other.exceptedParts);
    restrict(coverage.coveredRelationships, coverage.uncoveredRelationships, coverage.exceptedRelationships,
             other.uncoveredRelationships, other.exceptedRelationships);
    coverage.isComplete = coverage.isComplete && other.isComplete;
}

} // namespace opc::model
