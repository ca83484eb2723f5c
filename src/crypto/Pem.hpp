// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/SecretBytes.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace opc::crypto {

/// One block of a PEM file (RFC 7468), from its "BEGIN" to its "END" line.
struct PemBlock {
    std::string label;
    bool encrypted; ///< by the headers of RFC 1421, as older key files are
    SecretBytes bytes;
};

/// A view of the bytes as text, without a copy: they may be those of a key.
std::string_view asText(const std::vector<unsigned char>& bytes) noexcept;

/// True when the bytes contain a "BEGIN" line and do not start like DER.
bool looksLikePem(const std::vector<unsigned char>& bytes);

/// All blocks, in order; text around them is skipped. Encrypted blocks are not decrypted.
/// @throws opc::Exception for a block that is malformed or has no "END" line.
std::vector<PemBlock> readPem(std::string_view text);

/// The block as text.
std::string writePem(const char* label, const std::vector<unsigned char>& bytes);

} // namespace opc::crypto
