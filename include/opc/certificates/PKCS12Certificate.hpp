// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/SecretBytes.hpp>

#include <memory>
#include <string>
#include <vector>

namespace opc::certificates {

/// A private key, its certificate and the certificate chain of a PKCS#12 file (RFC 7292).
///
/// Immutable; copies share the content, which any number of threads may use. The private key's memory is wiped when the
/// last copy is destroyed. The password is not kept.
class OPCRAFT_API PKCS12Certificate {
public:
    /// Reads the whole file. The first of several private keys is used; the certificate is the first one with the
    /// public key of the private key, and the chain is all the others, in their order.
    ///
    /// Files with legacy ciphers (RC2, RC4, DES) need OpenSSL's legacy provider.
    /// @param password in UTF-8; empty for a file without a password.
    /// @throws opc::Exception when the bytes are not a PKCS#12 file; the password is wrong or contains a zero byte; the
    ///         file requires more than 10,000,000 rounds of key derivation or more than 16 levels of nesting; it uses
    ///         an algorithm or a mode that is not supported (such as public keys instead of a password); or a key or
    ///         certificate in it is malformed.
    PKCS12Certificate(const std::vector<unsigned char>& bytes, const std::string& password);
    ~PKCS12Certificate();
    PKCS12Certificate(const PKCS12Certificate&) noexcept;
    PKCS12Certificate& operator=(const PKCS12Certificate&) noexcept;

    bool hasPrivateKey() const noexcept;
    bool hasCertificate() const noexcept;

    /// The private key as a PrivateKeyInfo of PKCS#8, not encrypted; empty when there is none. Valid as long as this
    /// object or a copy of it. The key may be of any kind, see `crypto::RSAPrivateKey::fromDER`.
    const crypto::SecretBytes& getPrivateKey() const noexcept;

    /// The certificate of the private key; an empty one when there is none.
    const X509Certificate& getCertificate() const noexcept;

    /// All other certificates.
    const X509CertificateChain& getCertificateChain() const noexcept;

private:
    struct Impl;
    std::shared_ptr<const Impl> impl_;
};

} // namespace opc::certificates
