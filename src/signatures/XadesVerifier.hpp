// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/TrustStore.hpp>
#include <opc/certificates/X509Certificate.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include <cstddef>
#include <vector>

namespace opc::model {

/// What XAdES says of a certificate.
struct ClaimedCertificate {
    CertificateClaim claim = CertificateClaim::None;
    std::size_t place = 0; ///< among `SignedProperties::certificates`, of the one that holds
};

/// Compares the digests that the signed properties contain with the certificate that verified the signature: one of
/// them has to be that of the certificate (XAdES §7.2.2), beside those of its issuers. Issuer and serial number are not
/// compared. `None` without a certificate, too.
/// @throws opc::Exception when OpenSSL fails.
ClaimedCertificate examineCertificateClaim(const DigitalSignatureData& data,
                                           const certificates::X509Certificate& certificate);

/// Verifies the time stamps of the signature value, in document order. With an empty `trust` none is trusted, nor is
/// one whose imprint is made with MD5, or whose path has the key of the signer.
/// @throws opc::Exception when OpenSSL fails; faults of a time stamp are problems of its report.
std::vector<TimeStampReport> examineTimeStamps(const DigitalSignatureData& data, const certificates::TrustStore& trust,
                                               const certificates::X509Certificate& signer);

} // namespace opc::model
