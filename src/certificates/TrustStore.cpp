// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/TrustStore.hpp>

#include <opc/core/Exception.hpp>

#include <cerrno>
#include <fstream>
#include <string>

namespace opc::certificates {

namespace {

constexpr std::size_t LARGEST_FILE = 64 << 20;

std::string readFile(const std::filesystem::path& file) {
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    char block[65536];
    while (stream.read(block, sizeof block), stream.gcount() > 0) {
        text.append(block, static_cast<std::size_t>(stream.gcount()));
        if (text.size() > LARGEST_FILE)
            throw Exception("The file of certificates \"" + file.string() + "\" is too large.");
    }
    if (!stream.eof() || stream.bad()) {
        const boost::system::error_code code(errno, boost::system::generic_category());
        throw Exception("The file of certificates \"" + file.string() + "\" cannot be read: " + code.message(), code);
    }
    return text;
}

} // namespace

void TrustStore::addCertificate(const X509Certificate& certificate) {
    if (certificate.isEmpty())
        throw Exception("An empty certificate cannot be trusted.");
    certificates_.push_back(certificate);
}

void TrustStore::addCertificates(const X509CertificateChain& certificates) {
    const auto& added = certificates.getCertificates();
    certificates_.insert(certificates_.end(), added.begin(), added.end());
}

void TrustStore::addPEMFile(const std::filesystem::path& file) {
    addCertificates(X509CertificateChain::fromPEM(readFile(file)));
}

} // namespace opc::certificates
