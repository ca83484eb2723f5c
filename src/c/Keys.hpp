// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "c/Guard.hpp"

#include <opc/crypto/SecretBytes.hpp>
#include <opc/signatures/DigestMethod.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include <opcraft/opcraft.h>

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace opc::c {

/// A copy of what a caller gives, which is wiped.
/// @throws opc::Exception invalid_argument for NULL.
inline crypto::SecretBytes toSecret(const void* data, std::size_t length, const char* name) {
    const auto* bytes = &required(static_cast<const unsigned char*>(data), name);
    return crypto::SecretBytes(std::vector<unsigned char>(bytes, bytes + length));
}

/// Calls an action that reads a key or certificate of the caller's, whose name its errors get.
/// @throws opc::Exception invalid_argument for what has no code.
template <class Action>
auto reading(const char* name, Action action) {
    try {
        return action();
    } catch (const Exception& e) {
        if (e.code())
            throw;
        throwInvalidArgument(std::string(name) + ": " + e.what());
    }
}

/// The same for bytes, NULL aside.
/// @param read what the bytes are given to: `fromPEMOrDER` of a class.
template <class Read>
auto readBytes(const void* data, std::size_t length, const char* name, Read read) {
    const crypto::SecretBytes bytes = toSecret(data, length, name);
    return reading(name, [&] { return read(bytes.get()); });
}

/// @return none for OPCRAFT_DIGEST_DEFAULT.
/// @throws opc::Exception invalid_argument for a value that is none.
inline std::optional<model::DigestMethod> toDigestMethod(opcraft_digest digest, const char* name) {
    if (digest == OPCRAFT_DIGEST_DEFAULT)
        return std::nullopt;
    if (digest < OPCRAFT_DIGEST_MD5 || digest > OPCRAFT_DIGEST_SHA512)
        throwInvalidArgument(std::string(name) + " is no opcraft_digest");
    return static_cast<model::DigestMethod>(digest - OPCRAFT_DIGEST_MD5);
}

static_assert(static_cast<int>(model::DigestMethod::MD5) == OPCRAFT_DIGEST_MD5 - OPCRAFT_DIGEST_MD5);
static_assert(static_cast<int>(model::DigestMethod::SHA1) == OPCRAFT_DIGEST_SHA1 - OPCRAFT_DIGEST_MD5);
static_assert(static_cast<int>(model::DigestMethod::SHA224) == OPCRAFT_DIGEST_SHA224 - OPCRAFT_DIGEST_MD5);
static_assert(static_cast<int>(model::DigestMethod::SHA256) == OPCRAFT_DIGEST_SHA256 - OPCRAFT_DIGEST_MD5);
static_assert(static_cast<int>(model::DigestMethod::SHA384) == OPCRAFT_DIGEST_SHA384 - OPCRAFT_DIGEST_MD5);
static_assert(static_cast<int>(model::DigestMethod::SHA512) == OPCRAFT_DIGEST_SHA512 - OPCRAFT_DIGEST_MD5);

} // namespace opc::c
