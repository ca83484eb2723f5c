// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/SecretBytes.hpp>

#include <string>

namespace opcraft {

/// Reads a file with a key, or for "-" the standard input, in one piece of memory that is wiped.
/// @throws Failure naming the file when it cannot be read, or has more than 1 MiB.
opc::crypto::SecretBytes readSecret(const std::string& file);

/// A password, wiped when it goes.
class Password {
public:
    Password() = default;
    ~Password();

    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;

    /// Takes the first line of a file, without its end.
    /// @throws Failure naming the file when it cannot be read.
    void readFile(const std::string& file);
    /// Takes the value of an environment variable.
    /// @throws Failure naming the variable when there is none.
    void readEnvironment(const std::string& variable);

    const std::string& get() const noexcept { return text_; }

private:
    std::string text_;
};

} // namespace opcraft
