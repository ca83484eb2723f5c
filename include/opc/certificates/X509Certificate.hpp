// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/RSAPublicKey.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <memory>
#include <string>
#include <vector>

namespace opc::certificates {

class TrustStore;
class X509CertificateChain;

/// What a certificate says its key is for (RFC 5280 §4.2.1.3).
enum class KeyUsage {
    DigitalSignature,
    NonRepudiation,
    KeyEncipherment,
    DataEncipherment,
    KeyAgreement,
    KeyCertSign,
    CRLSign,
    EncipherOnly,
    DecipherOnly,
};

/// An X.509 certificate (RFC 5280), or none.
///
/// Immutable; copies share one certificate, which any number of threads may use. What is written is byte for byte what
/// was read. Every function but `isEmpty` and the comparisons throws `opc::Exception` when there is no certificate.
class OPCRAFT_API X509Certificate {
public:
    /// No certificate.
    X509Certificate() noexcept;
    ~X509Certificate();
    X509Certificate(const X509Certificate&) noexcept;
    X509Certificate& operator=(const X509Certificate&) noexcept;

    /// @throws opc::Exception when the bytes are no certificate, or more than one.
    static X509Certificate fromDER(const std::vector<unsigned char>& der);

    /// Reads the first "CERTIFICATE" block of a PEM text (RFC 7468).
    /// @throws opc::Exception when there is none, or the text or the certificate is malformed.
    static X509Certificate fromPEM(const std::string& text);

    /// @throws opc::Exception as the other two do.
    static X509Certificate fromPEMOrDER(const std::vector<unsigned char>& bytes);

    bool isEmpty() const noexcept { return !impl_; }

    const std::vector<unsigned char>& toDER() const;
    std::string toPEM() const;

    /// The distinguished name in the form of RFC 4514, in UTF-8, with control characters escaped.
    std::string getSubject() const;
    std::string getIssuer() const;

    /// The serial number in upper-case hexadecimal digits, an even number of them; "-" in front when it is negative.
    std::string getSerialNumber() const;

    /// The first and the last second of its validity, in UTC; not-a-date-time when the time is malformed or before the
    /// year 1400.
    boost::posix_time::ptime getNotBefore() const;
    boost::posix_time::ptime getNotAfter() const;

    /// The size of the key in bits, of whatever kind it is; 0 when OpenSSL does not know its kind.
    unsigned getKeySize() const;

    /// @throws opc::Exception when the key is not an RSA key of 1024, 2048 or 4096 bits.
    crypto::RSAPublicKey getPublicKey() const;

    /// Whether the key may be used so: a certificate that says nothing about it allows everything.
    bool allowsKeyUsage(KeyUsage usage) const;

    /// The purposes of the extended key usage (RFC 5280 §4.2.1.12), as dotted object identifiers; empty when the
    /// certificate says nothing about it.
    std::vector<std::string> getExtendedKeyUsages() const;

    /// Whether the purpose of the certificate includes signing documents: the key usage holds digital signatures or
    /// non-repudiation, and the extended key usage is not only for the authentication of servers or clients.
    bool allowsDigitalSignatures() const;

    /// Whether the certificate holds by itself, whoever issued it: its extensions are well-formed and, unless the
    /// options leave that out, the point in time lies within its validity.
    bool isValid(const CertificateValidationOptions& options) const;

    /// Judges the certificate as the one of a signer. It never uses the network; revocation is not looked up.
    ///
    /// - Chain: from this certificate a path of signatures leads, by certificates of `chain` (in any order; what does
    ///   not belong there does no harm), to one of `trust`. A certificate that was added to the store is an end of the
    ///   path, also when another one issued it. Keys on the way have at least the strength of RSA with 1024 bits, and
    ///   signatures that of a digest better than SHA-1.
    /// - Validity time: of every certificate of the path, at the options' point in time.
    /// - Purpose: as `allowsDigitalSignatures`, also that no certificate between this one and the end of the path is
    ///   only for the authentication of servers or clients.
    ///
    /// Without the check of the chain, the other two look at this certificate alone, and `chain` and `trust` are not
    /// used.
    /// @throws opc::Exception when OpenSSL fails; what is wrong with a certificate is a result.
    CertificateValidationResults validate(const X509CertificateChain& chain,
                                          const CertificateValidationOptions& options, const TrustStore& trust) const;

    /// For the library's own use.
    struct Impl;
    const Impl& getImpl() const;

private:
    explicit X509Certificate(std::shared_ptr<const Impl> impl) noexcept;

    std::shared_ptr<const Impl> impl_;
};

/// True when both are the same bytes, or no certificate.
OPCRAFT_API bool operator==(const X509Certificate& a, const X509Certificate& b);
OPCRAFT_API bool operator!=(const X509Certificate& a, const X509Certificate& b);

} // namespace opc::certificates
