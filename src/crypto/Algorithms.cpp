// SPDX-License-Identifier: Apache-2.0
#include "crypto/Algorithms.hpp"

#include <opc/core/Exception.hpp>

#include <openssl/rsa.h>

namespace opc::crypto {

namespace {

void setPadding(EVP_PKEY_CTX* operation, RSAPaddingMode padding, const ErrorScope& errors) {
    switch (padding) {
    case RSAPaddingMode::PKCS1:
        errors.require(EVP_PKEY_CTX_set_rsa_padding(operation, RSA_PKCS1_PADDING) > 0, "The padding cannot be set");
        return;
    case RSAPaddingMode::PSS:
        // The digest of MGF1 is the one of the signature unless it is set.
        errors.require(EVP_PKEY_CTX_set_rsa_padding(operation, RSA_PKCS1_PSS_PADDING) > 0 &&
                           EVP_PKEY_CTX_set_rsa_pss_saltlen(operation, RSA_PSS_SALTLEN_DIGEST) > 0,
                       "The padding cannot be set");
        return;
    }
    throw Exception("Unknown padding mode.");
}

} // namespace

const char* nameOf(DigestAlgorithm digest) {
    switch (digest) {
    case DigestAlgorithm::MD5:
        return "MD5";
    case DigestAlgorithm::SHA1:
        return "SHA1";
    case DigestAlgorithm::SHA224:
        return "SHA224";
    case DigestAlgorithm::SHA256:
        return "SHA256";
    case DigestAlgorithm::SHA384:
        return "SHA384";
    case DigestAlgorithm::SHA512:
        return "SHA512";
    }
    throw Exception("Unknown digest algorithm.");
}

EVP_PKEY_CTX* startSignature(DigestContext& context, decltype(&EVP_DigestSignInit_ex) initialize, const Key& key,
                             DigestAlgorithm digest, const char* failure) {
    const ErrorScope errors;
    context.reset(EVP_MD_CTX_new());
    EVP_PKEY_CTX* operation = nullptr;
    errors.require(context && initialize(context.get(), &operation, nameOf(digest), libraryContext(), nullptr,
                                         key.get(), nullptr) > 0,
                   failure);
    return operation;
}

void startSignature(DigestContext& context, decltype(&EVP_DigestSignInit_ex) initialize, const Key& key,
                    DigestAlgorithm digest, RSAPaddingMode padding, const char* failure) {
    const ErrorScope errors;
    setPadding(startSignature(context, initialize, key, digest, failure), padding, errors);
}

} // namespace opc::crypto
