// SPDX-License-Identifier: Apache-2.0
#include <opc/lint/Repair.hpp>

#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalFindings.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/lint/Lint.hpp>

#include "lint/Examination.hpp"
#include "lint/RepairSignatures.hpp"
#include "lint/RepairWork.hpp"

#include <boost/system/error_code.hpp>

#include <algorithm>
#include <set>
#include <string>

namespace opc::lint {

namespace {

using interfaces::IPhysicalFindings;
using interfaces::IPhysicalItems;
using interfaces::IPhysicalPackage;
using interfaces::OpenMode;

template <class Interface>
Interface& as(IPhysicalPackage& store) {
    if (auto* const found = dynamic_cast<Interface*>(&store))
        return *found;
    throw Exception("The items of this store cannot be repaired", make_error_code(boost::system::errc::not_supported));
}

/// A store that is open, and closed without a change unless it is saved.
class OpenStore {
public:
    OpenStore(IPhysicalPackage& store, OpenMode mode, FindingSink& sink) : store_(store) {
        as<IPhysicalFindings>(store).openTolerantly(mode, sink);
        isOpen_ = true;
    }
    ~OpenStore() {
        if (isOpen_)
            discard();
    }
    OpenStore(const OpenStore&) = delete;
    OpenStore& operator=(const OpenStore&) = delete;

    void save() {
        store_.close(false);
        isOpen_ = false;
    }

private:
    void discard() noexcept {
        try {
            store_.close(true);
        } catch (const Exception&) {
        }
    }

    IPhysicalPackage& store_;
    bool isOpen_ = false;
};

bool isAbout(const RepairStep& step, const Finding& finding) {
    const ErrorPlace& a = step.finding.place;
    const ErrorPlace& b = finding.place;
    return step.finding.rule == finding.rule && a.item == b.item && a.id == b.id;
}

void plan(RepairWork& work, IPhysicalPackage& store, FindingList& findings) {
    mendDuplicateItems(work);
    work.getSnapshot().index();
    work.getTypes().read(work.getSnapshot());
    work.findSignatures();
    mendItemNames(work);
    mendContentTypes(work);
    mendPackageRelationships(work);
    mendRelationships(work);
    mendUntypedItems(work);
    mendCoreProperties(work);
    as<IPhysicalFindings>(store).findAmbiguities(findings, false);
    mendArchive(work, findings.takeSorted({}));
    work.refuseSteps();
}

} // namespace

void mendArchive(RepairWork& work, const std::vector<Finding>& findings) {
    const bool takes = work.getOptions().take.has_value();
    std::set<std::string> unclear; // items that keep what their local header says of them
    for (const Finding& finding : findings)
        if (finding.rule == RuleId::HeadersAgree)
            unclear.insert(finding.place.item);
    for (const Finding& finding : findings) {
        const bool isBeside = finding.rule == RuleId::ZipEndRecord && finding.blocks; // of the archive that is read
        if (finding.rule != RuleId::ZipHiddenData && !isBeside)
            continue;
        RepairStep step{finding};
        step.change =
            isBeside ? "keeps the archive that is read, alone" : "writes the archive without what belongs to no item";
        step.loss = isBeside ? "what the file has beside the archive" : "these bytes";
        step.deletes = true;
        if (!isBeside && unclear.count(finding.place.item) != 0)
            step.why = "the headers of the item disagree about what belongs to it";
        const bool isApplied = work.add(std::move(step), isBeside && takes);
        work.dropsSurroundings = work.dropsSurroundings || isApplied;
        work.losesSurroundings = work.losesSurroundings || (isBeside && !isApplied);
    }
}

bool RepairPlan::applies() const noexcept {
    return std::any_of(
        steps.begin(), steps.end(), [](const RepairStep& each) { return each.applies; });
}

std::string RepairPlan::explain(const Finding& error) const {
    for (const RepairStep& step : steps)
        if (!step.applies && isAbout(step, error))
            return step.why;
    return "nothing is known that mends it without guessing";
}

RepairPlan planRepair(IPhysicalPackage& store, const RepairOptions& options) {
    RepairPlan result;
    std::optional<RepairWork> work;
    {
        FindingList findings({});
        const OpenStore open(store, OpenMode::ReadOnly, findings);
        work.emplace(as<IPhysicalItems>(store), options);
        plan(*work, store, findings);
    }
    result = std::move(work->getPlan());
    if (!work->getSignatures().empty())
        result.brokenSignatures = SignedContent(store, options.limits).findBroken(*work);
    for (const Finding& finding : examine(store, {options.limits, true, {}})) {
        const bool isAnswered = std::any_of(result.steps.begin(), result.steps.end(),
                                            [&](const RepairStep& each) { return isAbout(each, finding); });
        if (getRule(finding.rule).severity == Severity::Error && !isAnswered)
            result.left.push_back(finding);
    }
    return result;
}

RepairPlan applyRepair(IPhysicalPackage& store, const RepairOptions& options) {
    std::optional<SignedContent> isSigned;
    if (options.breaksSignatures)
        isSigned.emplace(store, options.limits);
    FindingList findings({});
    OpenStore open(store, OpenMode::ReadWrite, findings);
    RepairWork work(as<IPhysicalItems>(store), options);
    plan(work, store, findings);
    if (work.getRefusal().empty()) {
        auto changes = work.getSnapshot().getChanges();
        if (!changes.empty() || work.dropsSurroundings)
            as<IPhysicalItems>(store).changeItems(std::move(changes), work.dropsSurroundings);
    }
    if (isSigned)
        work.getPlan().brokenSignatures = isSigned->findBroken(work);
    open.save();
    return std::move(work.getPlan());
}

} // namespace opc::lint
