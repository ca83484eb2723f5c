// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>

#include "crypto/OpenSSL.hpp"

namespace opc::certificates {

struct X509Certificate::Impl {
    /// OpenSSL's functions do not take it as constant, but the ones called here change nothing in it.
    crypto::Certificate certificate;
    std::vector<unsigned char> der;

    X509* get() const { return certificate.get(); }
};

/// False when there is an extended key usage and it names the authentication of servers or clients and nothing else.
bool isForMoreThanAuthentication(const X509* certificate);

} // namespace opc::certificates
