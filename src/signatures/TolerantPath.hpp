// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/relationships/Relationship.hpp>

#include <set>
#include <string>
#include <string_view>

namespace opc::model {

/// A name inside of a package as the most tolerant reader takes it: percent-escapes read, backslashes as slashes, dots,
/// empty segments, and dots and blanks at the ends of segments left out, ASCII letters in lower case. Two names that
/// some reader takes for one have one path; so may two that none does, which is why nothing is read by it.
/// @param name UTF-8.
std::string tolerantPath(std::string_view name);

/// The same, of what a relationship leads to; its target mode is not looked at. Some readers take query and fragment
/// for a part of the name, so there are two paths with them.
std::set<std::string> tolerantPaths(const Relationship& relationship);

} // namespace opc::model
