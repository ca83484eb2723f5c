// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <optional>
#include <vector>

namespace opc::model {

/// Reads a signature part that is character for character what `SignatureDocumentWriter` makes of some data, without a
/// parser: every tag is known, and what stands between them has no character that is written otherwise than it is read.
/// The data are those that `SignatureDocumentReader` reads out of it.
/// @param limits those for XML count.
/// @return nothing for every other part, valid or not.
/// @throws std::bad_alloc
std::optional<DigitalSignatureData> readPlainSignature(const std::vector<unsigned char>& bytes,
                                                       const SignatureFormRules& form, const Limits& limits);

} // namespace opc::model
