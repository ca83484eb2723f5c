// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/signatures/DigestMethod.hpp>

#include <string>

namespace opc::model {

/// How a signature is made with a `crypto::Signer`.
struct SigningOptions {
    DigestMethod digestMethod = DigestMethod::SHA256;
    /// The signer's; empty: the signature contains the bare key, which does not identify anybody and which other
    /// programs do not accept.
    certificates::X509Certificate certificate{};
    certificates::X509CertificateChain chain{}; ///< written into the signature
    /// How the certificate is validated before anything is signed.
    certificates::CertificateValidationOptions validation{};
    certificates::TrustStore trust{}; ///< empty: the certificates of the system are trusted
    std::u16string comments{};        ///< the purpose of signing, which `SignatureForm::Office` shows; may be empty
};

} // namespace opc::model
