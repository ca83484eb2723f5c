// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/signatures/SignatureForm.hpp>
#include <opc/signatures/SigningOptions.hpp>

#include <string>
#include <vector>

namespace opc::model {

/// What a signer wants to know of a signature that is made all the same: a weak key, a weak digest, and a signature
/// that other programs do not accept for want of a certificate. One sentence each, without a full stop. What the
/// signature does not cover is told by `DigitalSignatureManager::findSigningGaps`.
/// @param key the signer's.
OPCRAFT_API std::vector<std::string> findSigningWarnings(const crypto::PublicKey& key, SignatureForm form,
                                                         const SigningOptions& options);

} // namespace opc::model
