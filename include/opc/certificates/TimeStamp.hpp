// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/certificates/X509Certificate.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/DigestEngine.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace opc::certificates {

/// A time stamp token (RFC 3161 §2.4.2): an authority's statement that octets existed at a time.
///
/// Immutable; copies share the token, which any number of threads may use.
class OPCRAFT_API TimeStamp {
public:
    /// Reads a token; nothing is verified.
    /// @throws opc::Exception when the bytes are not exactly one token (a ContentInfo with SignedData over a TSTInfo,
    ///         and one signer), or more than 1 MiB; it contains more than 50 certificates, or a malformed one; or it
    ///         has another version than 1 or a critical extension.
    static TimeStamp fromDER(const std::vector<unsigned char>& der);

    /// When it was made, in UTC; fractions of a second are dropped.
    const boost::posix_time::ptime& getTime() const noexcept;
    /// Of the imprint; none when it is not one of `crypto::DigestAlgorithm`.
    std::optional<crypto::DigestAlgorithm> getDigestAlgorithm() const noexcept;
    /// As a dotted object identifier.
    const std::string& getPolicy() const noexcept;
    /// The certificate of the authority; an empty one when the token contains none.
    X509Certificate getCertificate() const;

    /// Whether the imprint is the digest of the octets. False when the digest is not known.
    /// @throws opc::Exception when OpenSSL fails.
    bool covers(const std::string& octets) const;

    /// Whether the signature of the token is valid for its certificate, which has to be one for time stamping only
    /// (RFC 3161 §2.3) and to be named in the signed attributes (RFC 5035 §3 and §4). False when there is no
    /// certificate or the signature is made with MD5. The chain is not looked at.
    /// @throws opc::Exception when OpenSSL fails.
    bool isSignatureValid() const;

    /// Validates the certificate at the time of the stamp: a path leads to a certificate of `trust`, as in
    /// `X509Certificate::validate` but for the purpose. The certificates in the token and `trust` are used, the network
    /// never; revocation is not checked.
    /// @param signer the certificate of whoever made what is stamped. A path with his key is not valid
    ///        (X509_V_ERR_APPLICATION_VERIFICATION), since he could have made the stamp for any time. Empty where
    ///        nobody is known.
    /// @throws opc::Exception when the token contains no certificate of the authority, or OpenSSL fails.
    CertificateValidationResults validateCertificate(const TrustStore& trust, const X509Certificate& signer) const;

private:
    struct Impl;
    explicit TimeStamp(std::shared_ptr<const Impl> impl) noexcept;

    std::shared_ptr<const Impl> impl_;
};

} // namespace opc::certificates
