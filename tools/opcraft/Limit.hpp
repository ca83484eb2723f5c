// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>

#include <string>

namespace opcraft {

/// The names of all limits, separated by commas.
std::string limitNames();

/// Sets one limit.
/// @param text "NAME=VALUE"; the value is a number, which K, M, G or T behind it multiplies by a power of 1024.
/// @throws CLI::ValidationError for another text.
void setLimit(opc::Limits& limits, const std::string& text);

} // namespace opcraft
