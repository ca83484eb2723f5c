// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/PKCS12Certificate.hpp>
#include <opc/certificates/TrustStore.hpp>

#include <vector>

namespace opc::model {

using Bytes = std::vector<unsigned char>;
using certificates::CertificateValidationOptions;
using certificates::PKCS12Certificate;
using certificates::TrustStore;
using certificates::X509Certificate;
using certificates::X509CertificateChain;

/// The store; when it is empty, one with the system certificates.
inline TrustStore orSystemTrust(TrustStore store) {
    if (store.isEmpty())
        store.addSystemCertificates();
    return store;
}

} // namespace opc::model
