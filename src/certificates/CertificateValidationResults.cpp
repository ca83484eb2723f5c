// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/CertificateValidationResults.hpp>

#include <utility>

namespace opc::certificates {

CertificateValidationResults::CertificateValidationResults(int chainStatus, std::string message)
    : chainStatus_(chainStatus), message_(std::move(message)) {}

} // namespace opc::certificates
