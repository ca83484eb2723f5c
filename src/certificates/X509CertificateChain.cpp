// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/X509CertificateChain.hpp>

#include "crypto/Pem.hpp"

#include <opc/core/Exception.hpp>

namespace opc::certificates {

X509CertificateChain::X509CertificateChain(std::vector<X509Certificate> certificates) {
    certificates_.reserve(certificates.size());
    for (const X509Certificate& certificate : certificates)
        add(certificate);
}

X509CertificateChain X509CertificateChain::fromPEM(const std::string& text) {
    X509CertificateChain chain;
    for (const crypto::PemBlock& block : crypto::readPem(text))
        if (block.label == "CERTIFICATE")
            chain.add(X509Certificate::fromDER(block.bytes.get()));
    if (chain.isEmpty())
        throw Exception("The PEM text holds no certificate.");
    return chain;
}

X509CertificateChain X509CertificateChain::fromPEMOrDER(const std::vector<unsigned char>& bytes) {
    if (crypto::looksLikePem(bytes))
        return fromPEM({bytes.begin(), bytes.end()});
    return X509CertificateChain({X509Certificate::fromDER(bytes)});
}

void X509CertificateChain::add(const X509Certificate& certificate) {
    if (certificate.isEmpty())
        throw Exception("An empty certificate cannot be part of a chain.");
    certificates_.push_back(certificate);
}

} // namespace opc::certificates
