// SPDX-License-Identifier: Apache-2.0
#include "c/Findings.hpp"
#include "c/Options.hpp"
#include "c/Store.hpp"

#include <opc/lint/Repair.hpp>

namespace opc::c {

namespace {

std::optional<lint::Duplicate> toDuplicate(opcraft_take take) {
    switch (take) {
    case OPCRAFT_TAKE_NEITHER:
        return std::nullopt;
    case OPCRAFT_TAKE_FIRST:
        return lint::Duplicate::First;
    case OPCRAFT_TAKE_LAST:
        return lint::Duplicate::Last;
    }
    throwInvalidArgument("take is no opcraft_take");
}

void fillStep(opcraft_repair_step& entry, Pool& pool, const lint::RepairStep& step) {
    auto* finding = pool.make<opcraft_finding>();
    fillFinding(*finding, pool, step.finding);
    entry.finding = finding;
    entry.change = pool.keep(std::string_view(step.change));
    entry.loss = pool.keepOrNull(step.loss);
    entry.deletes = step.deletes;
    entry.applies = step.applies;
    entry.why = pool.keepOrNull(step.why);
}

opcraft_repair_plan* makePlan(const lint::RepairPlan& plan, bool applied) {
    auto result = makeResult<opcraft_repair_plan>();
    Pool& pool = result->pool;
    result->applied = applied;
    result->steps = pool.structures<opcraft_repair_step>(
        plan.steps, result->step_count,
        [&](opcraft_repair_step& entry, const lint::RepairStep& step) { fillStep(entry, pool, step); });
    result->broken_signatures = pool.texts(plan.brokenSignatures, result->broken_signature_count);
    result->left = pool.structures<opcraft_finding>(
        plan.left, result->left_count,
        [&](opcraft_finding& entry, const Finding& finding) { fillFinding(entry, pool, finding); });
    return result.release();
}

opcraft_repair_plan* repair(opcraft_store& store, const opcraft_repair_options& given) {
    lint::RepairOptions how;
    how.only = toRules(given.only, given.only_count, "only");
    how.take = toDuplicate(given.take);
    how.breaksSignatures = given.breaks_signatures;
    const StoreUse use(store, given.apply ? interfaces::OpenMode::ReadWrite : interfaces::OpenMode::ReadOnly);
    how.limits = use.getLimits();
    if (given.apply) // what is saved is saved
        return makePlan(byStore(
                            &store, [&] { return lint::applyRepair(*use, how); }),
                        true);
    return makePlan(reportByStore(store, [&] { return lint::planRepair(*use, how); }), false);
}

} // namespace

} // namespace opc::c

using namespace opc::c;

opcraft_repair_plan* opcraft_repair(opcraft_store* store, const opcraft_repair_options* options,
                                    opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_repair_plan*>(nullptr),
        [&] { return repair(required(store, "store"), read(options, "options")); });
}

void opcraft_repair_plan_free(opcraft_repair_plan* plan) {
    freeResult(plan);
}
