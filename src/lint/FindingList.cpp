// SPDX-License-Identifier: Apache-2.0
#include "lint/FindingList.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

namespace opc::lint {

namespace {

constexpr const char* CONTENT_TYPES = "[Content_Types].xml";

bool areEqual(const Finding& a, const Finding& b) {
    const auto key = [](const Finding& each) {
        return std::tie(each.rule, each.place.item, each.place.line, each.place.column, each.place.element,
                        each.place.id, each.place.attribute, each.place.value, each.message);
    };
    return key(a) == key(b);
}

/// Any order: this one is quick for names that start alike.
struct NameLess {
    bool operator()(const std::u16string& a, const std::u16string& b) const noexcept {
        const int difference = caselessCompare(a, b);
        return difference != 0 ? difference < 0 : a < b;
    }
};

} // namespace

void FindingList::found(const Finding& finding) {
    rulesOfItems_.emplace(finding.place.item, finding.rule);
    if (finding.blocks)
        blocking_.emplace(finding.place.item, finding.rule);
    if (rules_.empty() || rules_.count(finding.rule) != 0)
        findings_.push_back(finding);
}

void FindingList::clear() noexcept {
    findings_.clear();
    rulesOfItems_.clear();
    blocking_.clear();
}

bool FindingList::isRepeated(const Finding& finding) const {
    return !finding.blocks && finding.place.line == 0 && blocking_.count({finding.place.item, finding.rule}) != 0;
}

/// Those of the package as a whole come first, and those of items that are not named last.
std::map<std::string, std::size_t> FindingList::rankItems(const std::vector<std::u16string>& items) const {
    std::map<std::u16string, std::size_t, NameLess> found; // most items have no findings
    for (const Finding& finding : findings_)
        found.emplace(toString(finding.place.item, false), items.size());
    for (std::size_t i = 0; i < items.size(); ++i)
        if (const auto rank = found.find(items[i]); rank != found.end())
            rank->second = std::min(rank->second, i);
    std::map<std::string, std::size_t> ranks{{"", 0}, {CONTENT_TYPES, 1}};
    std::size_t unnamed = 2 + items.size();
    for (const Finding& finding : findings_) {
        const std::size_t rank = found.at(toString(finding.place.item, false));
        if (ranks.emplace(finding.place.item, rank == items.size() ? unnamed : rank + 2).second)
            ++unnamed;
    }
    return ranks;
}

std::vector<Finding> FindingList::takeSorted(const std::vector<std::u16string>& items) {
    if (findings_.empty())
        return {};
    findings_.erase(
        std::remove_if(findings_.begin(), findings_.end(), [this](const Finding& each) { return isRepeated(each); }),
        findings_.end());
    const std::map<std::string, std::size_t> ranks = rankItems(items);
    std::vector<std::pair<std::size_t, Finding*>> order;
    order.reserve(findings_.size());
    for (Finding& each : findings_)
        order.emplace_back(ranks.at(each.place.item), &each);
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) {
        const auto key = [](const auto& each) {
            const ErrorPlace& place = each.second->place;
            return std::tie(each.first, place.line, place.column, each.second->rule);
        };
        return key(a) < key(b);
    });
    std::vector<Finding> sorted;
    for (const auto& [rank, finding] : order)
        if (sorted.empty() || !areEqual(sorted.back(), *finding))
            sorted.push_back(std::move(*finding));
    findings_.clear();
    return sorted;
}

} // namespace opc::lint
