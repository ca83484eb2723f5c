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

    void start() {
        startSignature(context, EVP_DigestVerifyInit_ex, key.getImpl().key, digest, padding,
                       "Verifying cannot be started");
    }
};

RSAVerifier::RSAVerifier(const RSAPublicKey& key, DigestAlgorithm digest, RSAPaddingMode padding)
    : impl_(new Impl{key, digest, padding, nullptr}) {
    impl_->start();
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
    // Only 1 means valid; a malformed signature causes other values.
    const bool valid = EVP_DigestVerifyFinal(impl_->context.get(), signature.data(), signature.size()) == 1;
    impl_->start();
    return valid ? makeValidSignatureVerificationStatus() : makeInvalidSignatureVerificationStatus();
}

} // namespace opc::crypto
