// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "compare/ComparedParts.hpp"

#include <vector>

namespace opc::compare {

/// Verifies the signatures of both packages. Nothing when one of them has no manager of signatures.
void compareSignatures(ComparedParts& before, ComparedParts& after, std::vector<SignatureDifference>& differences);

} // namespace opc::compare
