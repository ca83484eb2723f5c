// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Secrets.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/FileInput.hpp"

#include <string.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace opcraft {

namespace {

constexpr std::size_t largest = 1024UL * 1024;

} // namespace

opc::crypto::SecretBytes readSecret(const std::string& file) {
    FileInput input(file);
    // A vector that grew would leave copies behind.
    std::vector<unsigned char> bytes(largest + 1);
    std::size_t filled = 0;
    while (const std::size_t count = input.read(bytes.data() + filled, bytes.size() - filled))
        filled += count;
    const bool isTooLarge = filled > largest;
    bytes.resize(filled);
    opc::crypto::SecretBytes secret(std::move(bytes));
    if (isTooLarge)
        throw Failure(ExitCode::NotProcessed, file, "", "this is too large for a key, a certificate or a password");
    return secret;
}

Password::~Password() {
    ::explicit_bzero(text_.data(), text_.size());
}

void Password::readFile(const std::string& file) {
    const opc::crypto::SecretBytes secret = readSecret(file);
    const std::vector<unsigned char>& bytes = secret.get();
    auto end = std::find(bytes.begin(), bytes.end(), '\n');
    if (end != bytes.begin() && *(end - 1) == '\r')
        --end;
    text_.resize(static_cast<std::size_t>(end - bytes.begin()));
    std::copy(bytes.begin(), end, text_.begin());
}

void Password::readEnvironment(const std::string& variable) {
    const char* value = std::getenv(variable.c_str());
    if (value == nullptr)
        throw Failure(ExitCode::NotProcessed, variable, "", "there is no environment variable of this name");
    text_ = value;
}

} // namespace opcraft
