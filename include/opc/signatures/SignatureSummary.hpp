// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/core/Export.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/signatures/SignatureAlgorithm.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace opc::model {

class DigitalSignature;
class DigitalSignatureManager;

/// A signature as reports show it: its own claims, unverified. All texts are UTF-8. A value without invariants.
struct SignatureSummary {
    std::string name{}; ///< `DigitalSignature::getName`
    std::string part{};
    SignatureForm form = SignatureForm::Library;
    bool isCountersignature = false;
    std::string problem{}; ///< why it cannot be read; the members below, but `data`, are empty then
    std::string time{};    ///< as the signer claims, by XAdES if it does; W3CDTF in UTC; empty: not known
    SignatureAlgorithm algorithm{};
    certificates::X509Certificate certificate{}; ///< empty when a bare key decides, or the signature has neither
    std::string fingerprint{};                   ///< `getFingerprint` of the public key; empty when it is not known
    std::size_t parts = 0;                       ///< how many it names
    std::size_t relationships = 0;
    std::shared_ptr<const DigitalSignatureData> data{}; ///< not null; what else it claims
};

/// @param signature of the manager.
OPCRAFT_API SignatureSummary summarize(const DigitalSignatureManager& manager, const DigitalSignature& signature);

/// The SHA-256 digest of a certificate or a public key (SubjectPublicKeyInfo) in DER, in lower-case hexadecimal: what
/// `openssl x509 -fingerprint -sha256` prints without the colons. May be called from any thread.
OPCRAFT_API std::string getFingerprint(const std::vector<unsigned char>& der);

} // namespace opc::model
