// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace opc::certificates {

/// How a certificate is named beside its digest (RFC 5035 §5).
struct IssuerSerial {
    std::string issuer;       ///< in the form of RFC 4514; empty when the names hold no distinguished name
    std::string serialNumber; ///< decimal
};

/// @throws opc::Exception when the bytes are not exactly one IssuerSerial.
IssuerSerial readIssuerSerial(const std::vector<unsigned char>& der);

} // namespace opc::certificates
