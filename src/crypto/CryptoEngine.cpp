// SPDX-License-Identifier: Apache-2.0
#include <opc/crypto/CryptoEngine.hpp>

#include "crypto/OpenSSL.hpp"

#include <opc/core/Exception.hpp>

#include <openssl/rand.h>

#include <algorithm>
#include <climits>

namespace opc::crypto {

namespace {

/// OpenSSL takes sizes as `int`. A multiple of 3, so that only the last block is padded.
constexpr std::size_t ENCODED_AT_ONCE = 3 << 20;

template <class Unit>
std::string withoutWhiteSpace(std::basic_string_view<Unit> text) {
    std::string result;
    result.reserve(text.size());
    for (const Unit unit : text) {
        if (unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n')
            continue;
        if (unit <= ' ' || unit >= 0x7F)
            throw Exception("The text is not base64: it holds characters other than those of base64.");
        result += static_cast<char>(unit);
    }
    return result;
}

/// OpenSSL's decoder accepts more than base64, its encoder writes strict base64: text is valid when encoding the
/// decoded bytes gives the same text.
std::vector<unsigned char> decode(const std::string& text) {
    if (text.size() > INT_MAX)
        throw Exception("The base64 text is too long.");
    std::vector<unsigned char> bytes((text.size() + 3) / 4 * 3);
    const int size = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
    const auto padding = std::min<std::ptrdiff_t>(2, text.end() - std::find(text.begin(), text.end(), '='));
    if (size >= padding) {
        bytes.resize(static_cast<std::size_t>(size - padding));
        if (CryptoEngine::encodeBase64(bytes) == text)
            return bytes;
    }
    throw Exception("The text is not base64.");
}

} // namespace

DigestEngine CryptoEngine::createDigestEngine(DigestAlgorithm algorithm) {
    return DigestEngine(algorithm);
}

RSASigner CryptoEngine::createRSASigner(const RSAPrivateKey& key, DigestAlgorithm digest, RSAPaddingMode padding) {
    return {key, digest, padding};
}

RSAVerifier CryptoEngine::createRSAVerifier(const RSAPublicKey& key, DigestAlgorithm digest, RSAPaddingMode padding) {
    return {key, digest, padding};
}

RSAPaddingMode CryptoEngine::getDefaultRSASigningPaddingMode() noexcept {
    return RSAPaddingMode::PKCS1;
}

std::vector<unsigned char> CryptoEngine::generateRandomBytes(std::size_t count) {
    const ErrorScope errors;
    std::vector<unsigned char> bytes(count);
    errors.require(RAND_bytes_ex(libraryContext(), bytes.data(), count, 0) > 0, "Random bytes cannot be generated");
    return bytes;
}

std::string CryptoEngine::encodeBase64(const std::vector<unsigned char>& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    std::vector<unsigned char> block(std::min(bytes.size() + 2, ENCODED_AT_ONCE) / 3 * 4 + 1);
    for (std::size_t start = 0; start < bytes.size(); start += ENCODED_AT_ONCE) {
        const int size = EVP_EncodeBlock(block.data(), bytes.data() + start,
                                         static_cast<int>(std::min(bytes.size() - start, ENCODED_AT_ONCE)));
        text.append(reinterpret_cast<const char*>(block.data()), static_cast<std::size_t>(size));
    }
    return text;
}

std::vector<unsigned char> CryptoEngine::decodeBase64(std::string_view text) {
    return decode(withoutWhiteSpace(text));
}

std::vector<unsigned char> CryptoEngine::decodeBase64(std::u16string_view text) {
    return decode(withoutWhiteSpace(text));
}

} // namespace opc::crypto
