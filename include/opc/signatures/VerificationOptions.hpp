// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/TrustStore.hpp>

#include <cstdint>
#include <vector>

namespace opc::model {

/// The point in time at which the certificate of a signer has to be valid.
enum class ValidationTime : std::int32_t {
    Given,   ///< that of the validation options
    Signed,  ///< the time that the signature claims, which nothing confirms
    Stamped, ///< the time of a trusted time stamp of the signature; without one the certificate is not valid
};

/// How signatures are verified.
struct VerificationOptions {
    certificates::CertificateValidationOptions validation{};
    /// Empty: the certificates of the system are trusted. Time stamps are trusted by it only when it is not empty.
    certificates::TrustStore trust{};
    ValidationTime time = ValidationTime::Given;
    /// A SubjectPublicKeyInfo, or an RSAPublicKey of PKCS#1, in DER: the only key that counts. Empty: the keys and
    /// certificates of the signatures count.
    std::vector<unsigned char> publicKey{};
    /// Relationships are read by the letter of the standard only (`RelationshipsReading::AsStandard`).
    bool strict = false;
};

} // namespace opc::model
