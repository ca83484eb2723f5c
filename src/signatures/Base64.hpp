// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/crypto/CryptoEngine.hpp>

#include <optional>
#include <string>
#include <vector>

namespace opc::model {

inline std::u16string toBase64(const std::vector<unsigned char>& bytes) {
    return toString(crypto::CryptoEngine::encodeBase64(bytes));
}

/// @return nothing when the text is not base64.
inline std::optional<std::vector<unsigned char>> fromBase64(const std::u16string& text) {
    try {
        return crypto::CryptoEngine::decodeBase64(text);
    } catch (const Exception&) {
        return std::nullopt;
    }
}

} // namespace opc::model
