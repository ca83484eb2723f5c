// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace opcraft {

/// The candidate that a user who wrote a word most likely meant: the same but for case, a longer path that ends in it,
/// or one that is a few typing errors away. Bounded work, however many candidates there are.
/// @return empty when none is near.
std::string findSimilar(std::string_view word, const std::vector<std::string>& candidates);

/// "; did you mean "list"?", or nothing.
std::string suggest(std::string_view word, const std::vector<std::string>& candidates);

} // namespace opcraft
