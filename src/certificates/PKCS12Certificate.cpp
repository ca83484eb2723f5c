// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/PKCS12Certificate.hpp>

#include "certificates/BundleReader.hpp"
#include "certificates/X509Impl.hpp"

#include <utility>

namespace opc::certificates {

struct PKCS12Certificate::Impl {
    crypto::SecretBytes privateKey;
    X509Certificate certificate;
    X509CertificateChain chain;
};

PKCS12Certificate::PKCS12Certificate(const std::vector<unsigned char>& bytes, const std::string& password) {
    BundleContent content = readBundle(bytes, password);
    auto impl = std::make_shared<Impl>();
    for (const X509Certificate& certificate : content.certificates)
        if (impl->certificate.isEmpty() && isKeyOf(content.privateKey, certificate))
            impl->certificate = certificate;
        else
            impl->chain.add(certificate);
    impl->privateKey = std::move(content.privateKey);
    impl_ = std::move(impl);
}

PKCS12Certificate::~PKCS12Certificate() = default;
PKCS12Certificate::PKCS12Certificate(const PKCS12Certificate&) noexcept = default;
PKCS12Certificate& PKCS12Certificate::operator=(const PKCS12Certificate&) noexcept = default;

bool PKCS12Certificate::hasPrivateKey() const noexcept {
    return !impl_->privateKey.get().empty();
}

bool PKCS12Certificate::hasCertificate() const noexcept {
    return !impl_->certificate.isEmpty();
}

const crypto::SecretBytes& PKCS12Certificate::getPrivateKey() const noexcept {
    return impl_->privateKey;
}

const X509Certificate& PKCS12Certificate::getCertificate() const noexcept {
    return impl_->certificate;
}

const X509CertificateChain& PKCS12Certificate::getCertificateChain() const noexcept {
    return impl_->chain;
}

} // namespace opc::certificates
