// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/core/Export.hpp>

#include <filesystem>
#include <vector>

namespace opc::certificates {

/// The certificates that are trusted.
///
/// A value that owns its certificates; used by one thread at a time, copies by others. A new store is empty.
class OPCRAFT_API TrustStore {
public:
    /// Trusts the default certificate file and directory of OpenSSL, which the environment variables SSL_CERT_FILE and
    /// SSL_CERT_DIR override. They are read when a certificate is validated.
    void addSystemCertificates() noexcept { system_ = true; }

    /// Trusts this certificate, which need not be a root.
    /// @throws opc::Exception when it is empty.
    void addCertificate(const X509Certificate& certificate);

    /// Trusts every certificate of a chain.
    void addCertificates(const X509CertificateChain& certificates);

    /// Trusts every "CERTIFICATE" block of a PEM file (RFC 7468). Nothing is added when it throws.
    /// @throws opc::Exception when the file cannot be read, is larger than 64 MiB, is malformed, or contains no
    ///         certificate.
    void addPEMFile(const std::filesystem::path& file);

    /// Whether nothing was added. False after `addSystemCertificates`, even on a system without certificates.
    bool isEmpty() const noexcept { return certificates_.empty() && !system_; }

    /// The certificates that were added individually or from files, in that order.
    const std::vector<X509Certificate>& getCertificates() const noexcept { return certificates_; }

    bool hasSystemCertificates() const noexcept { return system_; }

private:
    std::vector<X509Certificate> certificates_;
    bool system_ = false;
};

} // namespace opc::certificates
