// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/RSAVerifier.hpp>

#include "crypto/Algorithms.hpp"
#include "crypto/RSAKeys.hpp"

namespace opc::crypto {

struct RSAVerifier::Impl {
    RSAPublicKey key;
    DigestAlgorithm digest;
    RSAPaddingMode padding;
    DigestContext context;

    void start(const ErrorScope& errors) {
        context.reset(EVP_MD_CTX_new());
        EVP_PKEY_CTX* operation = nullptr;
        errors.require(context && EVP_DigestVerifyInit_ex(context.get(), &operation, nameOf(digest), libraryContext(),
                                                          nullptr, key.getImpl().key.get(), nullptr) > 0,
                       "Verifying cannot be started");
        setPadding(operation, padding);
    }
};

RSAVerifier::RSAVerifier(const RSAPublicKey& key, DigestAlgorithm digest, RSAPaddingMode padding)
    : impl_(new Impl{key, digest, padding, nullptr}) {
    impl_->start(ErrorScope());
}

RSAVerifier::RSAVerifier(RSAVerifier&&) noexcept = default;
RSAVerifier& RSAVerifier::operator=(RSAVerifier&&) noexcept = default;
RSAVerifier::~RSAVerifier() = default;

void RSAVerifier::update(const unsigned char* data, std::size_t size) {
    const ErrorScope errors;
    errors.require(EVP_DigestVerifyUpdate(impl_->context.get(), data, size) > 0, "The data cannot be digested");
}

SignatureVerificationStatus RSAVerifier::verify(const std::vector<unsigned char>& signature) {
    const ErrorScope errors;
    // 1 is the only value that says "valid"; what the bytes of a signature can cause are the others.
    const bool valid = EVP_DigestVerifyFinal(impl_->context.get(), signature.data(), signature.size()) == 1;
    impl_->start(errors);
    return valid ? makeValidSignatureVerificationStatus() : makeInvalidSignatureVerificationStatus();
}

} // namespace opc::crypto
