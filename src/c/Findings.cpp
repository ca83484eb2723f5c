// SPDX-License-Identifier: Apache-2.0
#include "c/Findings.hpp"

#include "c/Options.hpp"
#include "c/Package.hpp"

#include <opc/lint/Lint.hpp>

namespace opc::c {

namespace {

static_assert(static_cast<int>(Severity::Error) == OPCRAFT_SEVERITY_ERROR);
static_assert(static_cast<int>(Severity::Warning) == OPCRAFT_SEVERITY_WARNING);
static_assert(static_cast<int>(Severity::Note) == OPCRAFT_SEVERITY_NOTE);

/// All rules, in the order of `RuleId`, for as long as the process lives.
class RuleTable {
public:
    RuleTable() {
        for (const Rule& rule : getAllRules())
            rules_.push_back({sizeof(opcraft_rule), rule.name, static_cast<opcraft_severity>(rule.severity),
                              rule.subject, rule.summary, rule.remedy});
        for (const opcraft_rule& rule : rules_)
            pointers_.push_back(&rule);
    }

    const std::vector<const opcraft_rule*>& get() const noexcept { return pointers_; }

private:
    std::vector<opcraft_rule> rules_;
    std::vector<const opcraft_rule*> pointers_;
};

const RuleTable& ruleTable() {
    static const RuleTable table;
    return table;
}

opcraft_finding_list* makeList(const std::vector<Finding>& findings) {
    auto list = makeResult<opcraft_finding_list>();
    list->findings = list->pool.structures<opcraft_finding>(
        findings, list->count, [&](opcraft_finding& entry, const Finding& of) { fillFinding(entry, list->pool, of); });
    return list.release();
}

} // namespace

std::set<RuleId> toRules(const char* const* names, std::size_t count, const char* argument) {
    std::set<RuleId> rules;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = elementOf(names, i, argument);
        const Rule* const rule = findRule(name);
        if (rule == nullptr)
            throwInvalidArgument(std::string(argument) + ": no rule \"" + name + '"');
        rules.insert(rule->id);
    }
    return rules;
}

void fillFinding(opcraft_finding& entry, Pool& pool, const Finding& finding) {
    entry.rule = ruleTable().get().at(static_cast<std::size_t>(finding.rule));
    entry.blocks = finding.blocks;
    entry.message = pool.keep(std::string_view(finding.message));
    entry.item = pool.keepOrNull(finding.place.item);
    entry.line = finding.place.line;
    entry.column = finding.place.column;
    entry.element = pool.keepOrNull(finding.place.element);
    entry.attribute = pool.keepOrNull(finding.place.attribute);
    entry.value = pool.keepOrNull(finding.place.value);
    entry.id = pool.keepOrNull(finding.place.id);
}

} // namespace opc::c

using namespace opc::c;

const opcraft_rule* const* opcraft_rules(size_t* count) {
    const std::vector<const opcraft_rule*>* rules = nullptr;
    try {
        rules = &ruleTable().get();
    } catch (...) { // out of memory
    }
    if (count != nullptr)
        *count = rules != nullptr ? rules->size() : 0;
    return rules != nullptr ? rules->data() : nullptr;
}

opcraft_finding_list* opcraft_package_list_findings(const opcraft_package* package, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_finding_list*>(nullptr), [&] { return makeList(openedOf(package).found.findings); });
}

opcraft_finding_list* opcraft_lint(opcraft_store* store, const opcraft_lint_options* options, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_finding_list*>(nullptr),
        [&] {
            const opcraft_lint_options given = read(options, "options");
            opc::lint::Options how;
            how.readsContents = !given.without_contents;
            how.rules = toRules(given.rules, given.rule_count, "rules");
            const StoreUse use(required(store, "store"), opc::interfaces::OpenMode::ReadOnly);
            how.limits = use.getLimits();
            return makeList(reportByStore(
                *store, [&] { return opc::lint::examine(*use, how); }));
        });
}

void opcraft_finding_list_free(opcraft_finding_list* list) {
    freeResult(list);
}
