// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>

#include <optional>
#include <vector>

namespace opc::model {

/// Reads a core properties part that is valid, keeps the rules and has nothing out of the ordinary, without a
/// validating parser.
/// @return none when a validating parser has to read the part.
std::optional<CoreProperties> readPlainCoreProperties(const std::vector<unsigned char>& bytes, const Limits& limits);

} // namespace opc::model
