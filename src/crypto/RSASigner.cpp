// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/RSASigner.hpp>

#include "crypto/Algorithms.hpp"
#include "crypto/RSAKeys.hpp"

namespace opc::crypto {

struct RSASigner::Impl {
    RSAPrivateKey key;
    DigestAlgorithm digest;
    RSAPaddingMode padding;
    DigestContext context;

    void start() {
        startSignature(context, EVP_DigestSignInit_ex, key.getImpl().key, digest, padding, "Signing cannot be started");
    }
};

RSASigner::RSASigner(const RSAPrivateKey& key, DigestAlgorithm digest, RSAPaddingMode padding)
    : impl_(new Impl{key, digest, padding, nullptr}) {
    impl_->start();
}

RSASigner::RSASigner(RSASigner&&) noexcept = default;
RSASigner& RSASigner::operator=(RSASigner&&) noexcept = default;
RSASigner::~RSASigner() = default;

void RSASigner::update(const unsigned char* data, std::size_t size) {
    const ErrorScope errors;
    errors.require(EVP_DigestSignUpdate(impl_->context.get(), data, size) > 0, "The data cannot be digested");
}

std::vector<unsigned char> RSASigner::sign() {
    const ErrorScope errors;
    std::size_t size = impl_->key.getKeySize() / 8;
    std::vector<unsigned char> signature(size);
    const bool made = EVP_DigestSignFinal(impl_->context.get(), signature.data(), &size) > 0;
    if (!made)
        errors.fail("The private key cannot sign");
    signature.resize(size);
    impl_->start();
    return signature;
}

} // namespace opc::crypto
