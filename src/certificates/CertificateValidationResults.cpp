// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/CertificateValidationResults.hpp>

#include <utility>

namespace opc::certificates {

CertificateValidationResults::CertificateValidationResults(int chainStatus, std::string message,
                                                           std::shared_ptr<const X509Certificate> trustAnchor)
    : chainStatus_(chainStatus), message_(std::move(message)), trustAnchor_(std::move(trustAnchor)) {}

} // namespace opc::certificates
