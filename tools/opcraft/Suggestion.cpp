// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Suggestion.hpp"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace opcraft {

namespace {

/// For all candidates together: pairs of characters that are compared.
constexpr std::size_t MAXIMUM_WORK = 20'000'000;

/// How many typing errors a word may have: one for three letters.
std::size_t errorsIn(std::string_view word) {
    const std::size_t start = std::min(word.find_first_not_of('-'), word.size());
    return std::max<std::size_t>(1, (word.size() - start) / 3);
}

std::string toLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return lower;
}

/// Insertions, deletions, replacements and swaps of neighbours that make one word of another (optimal string
/// alignment).
std::size_t distanceBetween(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last(b.size() + 1);
    std::iota(last.begin(), last.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::vector<std::size_t> row(b.size() + 1, i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const bool isEqual = a[i - 1] == b[j - 1];
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isEqual ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::move(last);
        last = std::move(row);
    }
    return last.back();
}

bool endsInPath(std::string_view name, std::string_view path) {
    return path.size() > 1 && name.ends_with(path) &&
           (path.front() == '/' || (name.size() > path.size() && name[name.size() - path.size() - 1] == '/'));
}

} // namespace

std::string findSimilar(std::string_view word, const std::vector<std::string>& candidates) {
    const std::string folded = toLower(word);
    const std::string* similar = nullptr;
    std::size_t fewest = errorsIn(word) + 1;
    std::size_t work = 0;
    for (const std::string& candidate : candidates) {
        const std::string name = toLower(candidate);
        if (name == folded)
            return candidate;
        if (fewest > 0 && endsInPath(name, folded)) {
            similar = &candidate;
            fewest = 0;
        }
        const std::size_t difference = std::max(name.size(), folded.size()) - std::min(name.size(), folded.size());
        work += difference < fewest ? name.size() * folded.size() : 0;
        if (difference >= fewest || work > MAXIMUM_WORK)
            continue;
        if (const std::size_t distance = distanceBetween(folded, name); distance < fewest) {
            similar = &candidate;
            fewest = distance;
        }
    }
    return similar ? *similar : std::string();
}

std::string suggest(std::string_view word, const std::vector<std::string>& candidates) {
    const std::string similar = findSimilar(word, candidates);
    return similar.empty() ? similar : "; did you mean \"" + similar + "\"?";
}

} // namespace opcraft
