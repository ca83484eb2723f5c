// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/crypto/RSAPublicKey.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <memory>
#include <string>
#include <vector>

namespace opc::certificates {

class TrustStore;
class X509CertificateChain;

/// The key usages of a certificate (RFC 5280 §4.2.1.3).
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

/// An X.509 certificate (RFC 5280), which may be empty.
///
/// Immutable; copies share one certificate, which any number of threads may use. It is written byte for byte as it was
/// read. Every function but `isEmpty` and the comparisons throws `opc::Exception` when it is empty.
class OPCRAFT_API X509Certificate {
public:
    /// An empty certificate.
    X509Certificate() noexcept;
    ~X509Certificate();
    X509Certificate(const X509Certificate&) noexcept;
    X509Certificate& operator=(const X509Certificate&) noexcept;

    /// @throws opc::Exception when the bytes are not exactly one certificate.
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

    /// The serial number in upper-case hexadecimal, with an even number of digits and "-" before a negative number.
    std::string getSerialNumber() const;
    /// The serial number in decimal, with "-" before a negative number, as XML signatures write it (XML-DSig §4.4.4).
    /// @throws opc::Exception when it is longer than 1024 bytes; RFC 5280 §4.1.2.2 allows 20.
    std::string getDecimalSerialNumber() const;

    /// The first and the last second of the validity period, in UTC; not-a-date-time when the time is malformed or
    /// before the year 1400.
    boost::posix_time::ptime getNotBefore() const;
    boost::posix_time::ptime getNotAfter() const;

    /// The size of the key in bits; 0 when OpenSSL does not support the kind of key.
    unsigned getKeySize() const;

    /// @throws opc::Exception when the key is not an RSA key of 1024, 2048 or 4096 bits.
    crypto::RSAPublicKey getPublicKey() const;

    /// The key, of any kind that signs packages.
    /// @throws opc::Exception when the key is refused, see `crypto::PublicKey`.
    crypto::PublicKey getSubjectPublicKey() const;

    /// Whether the key usage is allowed. A certificate without the extension allows every usage.
    bool allowsKeyUsage(KeyUsage usage) const;

    /// The purposes of the extended key usage (RFC 5280 §4.2.1.12), as dotted object identifiers; empty when the
    /// certificate has none.
    std::vector<std::string> getExtendedKeyUsages() const;

    /// Whether the purpose of the certificate includes signing documents: the key usage includes digital signatures or
    /// non-repudiation, and the extended key usage is not limited to the authentication of servers or clients.
    bool allowsDigitalSignatures() const;

    /// Whether the certificate is valid by itself, regardless of its issuer: its extensions are well-formed and, unless
    /// the options disable that check, the point in time is within its validity period.
    bool isValid(const CertificateValidationOptions& options) const;

    /// Validates the certificate of a signer. It never uses the network; revocation is not checked.
    ///
    /// - Chain: a path of signatures leads from this certificate, through certificates of `chain` (in any order;
    ///   unrelated ones are ignored), to one of `trust`. A certificate in the store ends the path even when it was
    ///   issued by another one. Keys on the path have at least the strength of RSA with 1024 bits, and signatures use
    ///   a digest stronger than SHA-1.
    /// - Validity time: of every certificate of the path, at the options' point in time.
    /// - Purpose: as `allowsDigitalSignatures`; also, no certificate between this one and the end of the path is
    ///   limited to the authentication of servers or clients.
    ///
    /// Without the check of the chain, the other two apply to this certificate only, and `chain` and `trust` are not
    /// used.
    /// @throws opc::Exception when OpenSSL fails; faults of a certificate are results.
    CertificateValidationResults validate(const X509CertificateChain& chain,
                                          const CertificateValidationOptions& options, const TrustStore& trust) const;

    /// For the library's own use.
    struct Impl;
    const Impl& getImpl() const;

private:
    explicit X509Certificate(std::shared_ptr<const Impl> impl) noexcept;

    std::shared_ptr<const Impl> impl_;
};

/// True when both have the same bytes, or are empty.
OPCRAFT_API bool operator==(const X509Certificate& a, const X509Certificate& b);
OPCRAFT_API bool operator!=(const X509Certificate& a, const X509Certificate& b);

} // namespace opc::certificates
