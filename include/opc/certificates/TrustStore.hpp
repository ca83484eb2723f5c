// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/core/Export.hpp>

#include <filesystem>
#include <vector>

namespace opc::certificates {

/// The certificates that are believed without proof.
///
/// A value that owns its certificates; used by one thread at a time, copies by others. Nothing is trusted that was not
/// added: a new store trusts nobody.
class OPCRAFT_API TrustStore {
public:
    /// Trusts what the platform's installation of OpenSSL trusts: its default file and folder, which the environment
    /// variables SSL_CERT_FILE and SSL_CERT_DIR replace. They are read when a certificate is validated.
    void addSystemCertificates() noexcept { system_ = true; }

    /// Trusts this certificate, whether or not it is a root.
    /// @throws opc::Exception when it is empty.
    void addCertificate(const X509Certificate& certificate);

    /// Trusts every certificate of a chain.
    void addCertificates(const X509CertificateChain& certificates);

    /// Trusts every "CERTIFICATE" block of a PEM file (RFC 7468). Nothing is added when it throws.
    /// @throws opc::Exception when the file cannot be read, has more than 64 MiB, is malformed, or holds no
    ///         certificate.
    void addPEMFile(const std::filesystem::path& file);

    /// Whether nothing was added. The certificates of the system count, even when there are none on this system.
    bool isEmpty() const noexcept { return certificates_.empty() && !system_; }

    /// Those that were added one by one or from files, in that order.
    const std::vector<X509Certificate>& getCertificates() const noexcept { return certificates_; }

    bool hasSystemCertificates() const noexcept { return system_; }

private:
    std::vector<X509Certificate> certificates_;
    bool system_ = false;
};

} // namespace opc::certificates
