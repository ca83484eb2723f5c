// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/SignatureMethod.hpp>

#include <opc/core/Exception.hpp>
#include <opc/crypto/RSAPublicKey.hpp>

#include <algorithm>
#include <iterator>

namespace opc::model {

namespace {

constexpr auto& sizes = crypto::RSAPublicKey::KEY_SIZES; // in the order of the enumerators

} // namespace

unsigned toKeySize(SignatureMethod signatureMethod) {
    const auto index = static_cast<std::size_t>(signatureMethod);
    if (index >= std::size(sizes))
        throw Exception("Signature Method is unsupported.");
    return sizes[index];
}

SignatureMethod toSignatureMethod(unsigned keySize) {
    const auto* const found = std::find(std::begin(sizes), std::end(sizes), keySize);
    if (found == std::end(sizes))
        throw Exception("Input key size is not supported as a Signature Method.");
    return static_cast<SignatureMethod>(found - std::begin(sizes));
}

} // namespace opc::model
