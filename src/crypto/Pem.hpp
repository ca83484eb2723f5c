// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/SecretBytes.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace opc::crypto {

/// One block of a PEM file (RFC 7468): what stands between its "BEGIN" and "END" lines.
struct PemBlock {
    std::string label;
    bool encrypted; ///< by the headers of RFC 1421, as older key files are
    SecretBytes bytes;
};

/// The same bytes, as text. Nothing is copied: they may be those of a key.
std::string_view asText(const std::vector<unsigned char>& bytes) noexcept;

/// True when a "BEGIN" line stands in the bytes and they do not begin as DER does.
bool looksLikePem(const std::vector<unsigned char>& bytes);

/// All blocks, in order; text around them is skipped. Nothing is decrypted, and no password is asked for.
/// @throws opc::Exception for a block that is malformed or not ended.
std::vector<PemBlock> readPem(std::string_view text);

/// The block as text.
std::string writePem(const char* label, const std::vector<unsigned char>& bytes);

} // namespace opc::crypto
