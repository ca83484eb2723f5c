// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/core/Export.hpp>

#include <string>
#include <vector>

namespace opc::certificates {

/// Certificates for building the path from a signer's certificate to a trusted one. They are not trusted themselves.
///
/// A value that owns its certificates; used by one thread at a time, copies by others.
class OPCRAFT_API X509CertificateChain {
public:
    X509CertificateChain() = default;
    /// @throws opc::Exception when one of them is empty.
    explicit X509CertificateChain(std::vector<X509Certificate> certificates);

    /// Reads every "CERTIFICATE" block of a PEM text (RFC 7468); other blocks are ignored.
    /// @throws opc::Exception when there is none, or the text or one of the certificates is malformed.
    static X509CertificateChain fromPEM(const std::string& text);

    /// Reads PEM as `fromPEM` does, or one certificate in DER.
    /// @throws opc::Exception when the bytes are neither.
    static X509CertificateChain fromPEMOrDER(const std::vector<unsigned char>& bytes);

    /// @throws opc::Exception when the certificate is empty.
    void add(const X509Certificate& certificate);

    bool isEmpty() const noexcept { return certificates_.empty(); }

    /// In the order of addition.
    const std::vector<X509Certificate>& getCertificates() const noexcept { return certificates_; }

private:
    std::vector<X509Certificate> certificates_;
};

} // namespace opc::certificates
