// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/SecretBytes.hpp>

#include <openssl/crypto.h>

#include <utility>

namespace opc::crypto {

SecretBytes::SecretBytes(std::vector<unsigned char> bytes) noexcept : bytes_(std::move(bytes)) {}

SecretBytes::SecretBytes(SecretBytes&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}

SecretBytes& SecretBytes::operator=(SecretBytes&& other) noexcept {
    std::swap(bytes_, other.bytes_);
    return *this;
}

SecretBytes::~SecretBytes() {
    wipe(bytes_);
}

void wipe(std::vector<unsigned char>& bytes) noexcept {
    OPENSSL_cleanse(bytes.data(), bytes.size());
    bytes.clear();
}

} // namespace opc::crypto
