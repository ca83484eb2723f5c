// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/SignatureMethod.hpp>

#include <opc/core/Exception.hpp>
#include <opc/crypto/RSAPublicKey.hpp>

#include <algorithm>
#include <iterator>

namespace opc::model {

namespace {

constexpr auto& SIZES = crypto::RSAPublicKey::KEY_SIZES; // in the order of the enumerators

} // namespace

unsigned toKeySize(SignatureMethod signatureMethod) {
    const auto index = static_cast<std::size_t>(signatureMethod);
    if (index >= std::size(SIZES))
        throw Exception("Signature Method is unsupported.");
    return SIZES[index];
}

SignatureMethod toSignatureMethod(unsigned keySize) {
    const auto* const found = std::find(std::begin(SIZES), std::end(SIZES), keySize);
    if (found == std::end(SIZES))
        throw Exception("Input key size is not supported as a Signature Method.");
    return static_cast<SignatureMethod>(found - std::begin(SIZES));
}

} // namespace opc::model
