// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/DigestEngine.hpp>

#include "crypto/Algorithms.hpp"
#include "crypto/OpenSSL.hpp"

#include <array>

namespace opc::crypto {

struct DigestEngine::Impl {
    Digest digest;
    DigestContext context;

    void start(const ErrorScope& errors) {
        errors.require(EVP_DigestInit_ex2(context.get(), digest.get(), nullptr) > 0, "The digest cannot be started");
    }
};

DigestEngine::DigestEngine(DigestAlgorithm algorithm) : impl_(std::make_unique<Impl>()) {
    const char* const name = nameOf(algorithm);
    const ErrorScope errors;
    impl_->digest.reset(EVP_MD_fetch(libraryContext(), name, nullptr));
    impl_->context.reset(EVP_MD_CTX_new());
    errors.require(impl_->digest && impl_->context, "The digest is not available");
    impl_->start(errors);
}

DigestEngine::DigestEngine(DigestEngine&&) noexcept = default;
DigestEngine& DigestEngine::operator=(DigestEngine&&) noexcept = default;
DigestEngine::~DigestEngine() = default;

void DigestEngine::update(const unsigned char* data, std::size_t size) {
    const ErrorScope errors;
    errors.require(EVP_DigestUpdate(impl_->context.get(), data, size) > 0, "The digest cannot be computed");
}

std::vector<unsigned char> DigestEngine::finish() {
    const ErrorScope errors;
    std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
    unsigned size = 0;
    errors.require(EVP_DigestFinal_ex(impl_->context.get(), value.data(), &size) > 0, "The digest cannot be computed");
    impl_->start(errors);
    return {value.begin(), value.begin() + size};
}

} // namespace opc::crypto
