// SPDX-License-Identifier: Apache-2.0
#include "compare/LineDifference.hpp"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>

#include <dtl/dtl.hpp>

namespace opc::compare {

namespace {

using Lines = std::vector<std::string>;
using Numbers = std::vector<int>; // equal lines have equal numbers

/// Bounds the quadratic time of the search: when the comparisons are used up, everything seems equal, which ends it.
class BoundedEqual : public dtl::Compare<int> {
public:
    BoundedEqual() = default;
    explicit BoundedEqual(std::uint64_t& left) : left_(&left) {}

    bool impl(const int& a, const int& b) const override {
        if (*left_ == 0)
            return true;
        --*left_;
        return a == b;
    }

private:
    std::uint64_t* left_ = nullptr;
};

/// Which lines stand only before ('-'), only after ('+'), or in both, in their order.
using Script = std::string;

class LineNumbers {
public:
    Numbers of(const Lines& lines, std::size_t begin, std::size_t end) {
        Numbers numbers;
        for (std::size_t i = begin; i < end; ++i)
            numbers.push_back(known_.try_emplace(lines[i], static_cast<int>(known_.size())).first->second);
        return numbers;
    }

private:
    std::map<std::string_view, int> known_; // ordered, since a package chooses the lines
};

Script bringInLine(const Numbers& before, const Numbers& after, std::uint64_t comparisons) {
    Script all = Script(before.size(), '-') + Script(after.size(), '+');
    if (before.empty() || after.empty())
        return all;
    std::uint64_t left = comparisons;
    dtl::Diff<int, Numbers, BoundedEqual> diff(before, after, true, BoundedEqual(left));
    diff.compose();
    if (left == 0)
        return all;
    Script script;
    for (const auto& each : diff.getSes().getSequence())
        script += each.second.type == dtl::SES_DELETE ? '-' : each.second.type == dtl::SES_ADD ? '+' : ' ';
    return script;
}

Script compareAll(const Lines& before, const Lines& after, std::uint64_t comparisons) {
    const std::size_t shorter = std::min(before.size(), after.size());
    std::size_t front = 0;
    while (front < shorter && before[front] == after[front])
        ++front;
    std::size_t back = 0;
    while (back < shorter - front && before[before.size() - 1 - back] == after[after.size() - 1 - back])
        ++back;
    LineNumbers numbers;
    const Numbers numbersBefore = numbers.of(before, front, before.size() - back);
    const Numbers numbersAfter = numbers.of(after, front, after.size() - back);
    return Script(front, ' ') + bringInLine(numbersBefore, numbersAfter, comparisons) + Script(back, ' ');
}

/// The parts of a script that are hunks, with equal lines around what differs: where each begins and ends.
std::vector<std::pair<std::size_t, std::size_t>> cut(const Script& script, std::size_t context) {
    std::vector<std::pair<std::size_t, std::size_t>> ranges;
    for (std::size_t i = script.find_first_not_of(' '); i != script.npos; i = script.find_first_not_of(' ', i + 1)) {
        const std::size_t begin = i - std::min(i, context);
        const std::size_t end = std::min(script.size(), i + 1 + std::min(context, script.size()));
        if (ranges.empty() || begin > ranges.back().second)
            ranges.emplace_back(begin, end);
        else
            ranges.back().second = end;
    }
    return ranges;
}

std::vector<DifferenceHunk> makeHunks(const Lines& before, const Lines& after, const Script& script,
                                      std::size_t context) {
    std::vector<DifferenceHunk> hunks;
    std::size_t i = 0;
    std::size_t inBefore = 0;
    std::size_t inAfter = 0;
    const auto pass = [&] {
        inBefore += script[i] == '+' ? 0U : 1U;
        inAfter += script[i] == '-' ? 0U : 1U;
        ++i;
    };
    for (const auto& [begin, end] : cut(script, context)) {
        while (i < begin)
            pass();
        DifferenceHunk hunk{inBefore, 0, inAfter, 0, {}};
        while (i < end) {
            hunk.lines.push_back({script[i], script[i] == '+' ? after[inAfter] : before[inBefore]});
            pass();
        }
        hunk.countBefore = inBefore - hunk.firstBefore;
        hunk.countAfter = inAfter - hunk.firstAfter;
        hunk.firstBefore += hunk.countBefore == 0 ? 0U : 1U;
        hunk.firstAfter += hunk.countAfter == 0 ? 0U : 1U;
        hunks.push_back(std::move(hunk));
    }
    return hunks;
}

} // namespace

void compareLines(const std::vector<std::string>& before, const std::vector<std::string>& after,
                  const CompareOptions& options, PartDifference& difference) {
    const Script script = compareAll(before, after, options.lineComparisons);
    difference.linesRemoved = static_cast<std::size_t>(std::count(script.begin(), script.end(), '-'));
    difference.linesAdded = static_cast<std::size_t>(std::count(script.begin(), script.end(), '+'));
    difference.hunks = makeHunks(before, after, script, options.context);
}

} // namespace opc::compare
