// SPDX-License-Identifier: Apache-2.0
#include "lint/FindingList.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <tuple>
#include <unordered_map>
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

std::vector<Finding> FindingList::takeSorted(const std::vector<std::u16string>& items) {
    if (findings_.empty())
        return {};
    std::unordered_map<std::string, std::size_t> ranks{{"", 0}, {CONTENT_TYPES, 1}};
    for (const std::u16string& item : items)
        ranks.emplace(detail::toUTF8String(item, false), ranks.size());
    for (const Finding& finding : findings_)
        ranks.emplace(finding.place.item, ranks.size());
    findings_.erase(std::remove_if(
                        findings_.begin(), findings_.end(), [this](const Finding& each) { return isRepeated(each); }),
                    findings_.end());
    const auto key = [&ranks](const Finding& each) {
        return std::make_tuple(ranks.at(each.place.item), each.place.line, each.place.column, each.rule);
    };
    std::stable_sort(findings_.begin(), findings_.end(),
                     [&](const Finding& a, const Finding& b) { return key(a) < key(b); });
    findings_.erase(std::unique(findings_.begin(), findings_.end(), areEqual), findings_.end());
    return std::exchange(findings_, {});
}

} // namespace opc::lint
