// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "c/Results.hpp"

#include <opc/core/Findings.hpp>
#include <opc/core/Rules.hpp>

#include <opcraft/opcraft.h>

#include <cstddef>
#include <set>

namespace opc::c {

/// The rules with names.
/// @param argument for messages.
/// @throws opc::Exception invalid_argument for a name of no rule.
std::set<RuleId> toRules(const char* const* names, std::size_t count, const char* argument);

void fillFinding(opcraft_finding& entry, Pool& pool, const Finding& finding);

} // namespace opc::c
