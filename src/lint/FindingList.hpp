// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Findings.hpp>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace opc::lint {

/// Collects the findings of the rules that are asked for.
class FindingList final : public FindingSink {
public:
    /// @param rules that count; empty: all.
    explicit FindingList(std::set<RuleId> rules) : rules_(std::move(rules)) {}

    void found(const Finding& finding) override;

    /// Whether the rule is broken by the item, even if it is not asked for.
    bool has(RuleId rule, const std::string& item) const { return rulesOfItems_.count({item, rule}) != 0; }
    void clear() noexcept;

    /// The findings in order, each once: what blocks is not told a second time by somebody who knows no line.
    /// @param items in the order of the store, as findings name them.
    std::vector<Finding> takeSorted(const std::vector<std::u16string>& items);

private:
    std::map<std::string, std::size_t> rankItems(const std::vector<std::u16string>& items) const;
    bool isRepeated(const Finding& finding) const;

    std::set<RuleId> rules_;
    std::vector<Finding> findings_;
    std::set<std::pair<std::string, RuleId>> rulesOfItems_;
    std::set<std::pair<std::string, RuleId>> blocking_; ///< the same of findings that block
};

} // namespace opc::lint
