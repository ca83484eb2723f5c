// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>

#include "crypto/OpenSSL.hpp"

namespace opc::certificates {

struct X509Certificate::Impl {
    /// Not constant since OpenSSL's functions do not take constants; the ones called here do not change it.
    crypto::Certificate certificate;
    std::vector<unsigned char> der;

    X509* get() const { return certificate.get(); }
};

/// False when there is an extended key usage with nothing but the authentication of servers or clients.
bool isForMoreThanAuthentication(const X509* certificate);

} // namespace opc::certificates
