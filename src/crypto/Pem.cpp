// SPDX-License-Identifier: Apache-2.0
#include "crypto/Pem.hpp"

#include "crypto/OpenSSL.hpp"

#include <opc/core/Exception.hpp>

#include <openssl/err.h>
#include <openssl/pem.h>

#include <climits>

namespace opc::crypto {

namespace {

/// A block as OpenSSL returns it. The bytes may be those of a key, so they are wiped.
struct RawBlock {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;

    RawBlock() = default;
    RawBlock(const RawBlock&) = delete;
    RawBlock& operator=(const RawBlock&) = delete;
    ~RawBlock() {
        OPENSSL_secure_free(name);
        OPENSSL_secure_free(header);
        OPENSSL_secure_clear_free(data, static_cast<std::size_t>(size));
    }
};

bool isEndOfFile() {
    const unsigned long error = ERR_peek_last_error();
    return ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

} // namespace

std::string_view asText(const std::vector<unsigned char>& bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool looksLikePem(const std::vector<unsigned char>& bytes) {
    // Keys and certificates are longer than 127 bytes, so DER starts with a SEQUENCE with a length of several bytes.
    const bool isDer = bytes.size() > 1 && bytes[0] == 0x30 && bytes[1] > 0x80;
    return !isDer && asText(bytes).find("-----BEGIN ") != std::string_view::npos;
}

std::vector<PemBlock> readPem(std::string_view text) {
    const ErrorScope errors;
    if (text.size() > INT_MAX)
        throw Exception("The PEM file is too large.");
    if (text.empty())
        return {};
    const Bio input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    errors.require(input != nullptr, "A memory stream cannot be created");
    std::vector<PemBlock> blocks;
    for (;;) {
        RawBlock raw;
        if (PEM_read_bio_ex(input.get(), &raw.name, &raw.header, &raw.data, &raw.size, PEM_FLAG_SECURE) <= 0) {
            if (isEndOfFile())
                return blocks;
            errors.fail("The PEM file is malformed");
        }
        blocks.push_back({raw.name, *raw.header != '\0', SecretBytes({raw.data, raw.data + raw.size})});
    }
}

std::string writePem(const char* label, const std::vector<unsigned char>& bytes) {
    const ErrorScope errors;
    const Bio output(BIO_new(BIO_s_mem()));
    errors.require(output && bytes.size() <= INT_MAX &&
                       PEM_write_bio(output.get(), label, "", bytes.data(), static_cast<long>(bytes.size())) > 0,
                   "PEM cannot be written");
    char* text = nullptr;
    const long size = BIO_get_mem_data(output.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

} // namespace opc::crypto
