// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "lint/Examination.hpp"

namespace opc::lint {

/// Reports the namespace of Markup Compatibility in XML that the reader takes, unless the reader itself reported it.
/// @param item as findings name it.
void checkCompatibility(Examination& examination, RuleId rule, const std::string& item,
                        std::vector<unsigned char> bytes);

} // namespace opc::lint
