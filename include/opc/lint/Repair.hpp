// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Findings.hpp>
#include <opc/core/Limits.hpp>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace opc::interfaces {
class IPhysicalPackage;
}

namespace opc::lint {

/// Which of several items or entries with one name is kept.
enum class Duplicate { First, Last };

/// What a repair may do. A value without invariants.
struct RepairOptions {
    Limits limits{};         ///< those for XML count; those of items are the store's
    std::set<RuleId> only{}; ///< the rules that are mended; empty: all, but for what would be deleted

    /// Without it neither of two items or entries for one name is deleted. A store that is to take one of two archives
    /// in a row is opened so by its own options.
    std::optional<Duplicate> take{};

    bool breaksSignatures = false; ///< without it a signed package is not changed
};

/// One change, and the finding that it answers. All texts are UTF-8.
struct RepairStep {
    Finding finding;
    std::string change{}; ///< what it does, in one sentence
    std::string loss{};   ///< what is lost by it; empty: nothing
    bool deletes = false; ///< it is applied only when `RepairOptions::only` has the rule, or `take` chooses
    bool applies = false;
    std::string why{}; ///< why it does not apply; else empty
};

/// What can be done about what is wrong with a package. A value without invariants.
struct OPCRAFT_API RepairPlan {
    std::vector<RepairStep> steps{};

    /// The parts and items with the signatures that do not hold after the steps that apply, or would apply if the
    /// package were not signed: those that cover what is changed, and those of which that is not known.
    std::vector<std::string> brokenSignatures{};

    std::vector<Finding> left{}; ///< errors for which there is no step; empty in the result of `applyRepair`

    /// Whether a step changes something.
    bool applies() const noexcept;

    /// Why an error is still there after a repair by this plan, in one sentence.
    std::string explain(const Finding& error) const;
};

/// Looks for what can be mended without guessing, opening the package for reading, and closes it.
///
/// A repair changes the content types stream, relationships parts, core properties parts and the names of items, and
/// deletes items only as `RepairOptions::take` says; no other part is changed. In a document that is changed, all that
/// needs no change keeps its bytes. The plan for a repaired package has no step that applies.
///
/// Items are renamed in word, spreadsheet, presentation and drawing packages only, in which nothing but relationships
/// names parts. Of a relationship whose Id is not unique the Id is changed only when the source, searched for it as the
/// value of an attribute, does not have it.
///
/// Called by one thread at a time for one store.
/// @param store not open; it implements `interfaces::IPhysicalFindings` and `interfaces::IPhysicalItems`.
/// @throws opc::Exception not_supported for another store; as `examine` when nothing can be read, for a failure of the
///         store and for an exceeded limit of the store.
OPCRAFT_API RepairPlan planRepair(interfaces::IPhysicalPackage& store, const RepairOptions& options = {});

/// The same, with all steps that apply done in one save. Without such a step the store is opened and closed for a
/// change, so that a ZIP file with another output is written there.
/// @throws opc::Exception as `planRepair`; as the store when it cannot be saved. It is unchanged then, and closed.
OPCRAFT_API RepairPlan applyRepair(interfaces::IPhysicalPackage& store, const RepairOptions& options = {});

} // namespace opc::lint
