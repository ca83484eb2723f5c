// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>

namespace opc::certificates {

/// Validates the certificate of a time stamp authority for a point in time as `X509Certificate::validate` does, but
/// that its purpose has to be time stamping only (RFC 3161 §2.3), and no certificate of its path may have the key of
/// the signer, unless that is empty.
/// @throws opc::Exception when OpenSSL fails.
CertificateValidationResults validateForTimeStamping(const X509Certificate& certificate,
                                                     const X509CertificateChain& chain,
                                                     const boost::posix_time::ptime& time, const TrustStore& trust,
                                                     const X509Certificate& signer);

} // namespace opc::certificates
