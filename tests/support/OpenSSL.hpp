// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Bytes.hpp"
#include "support/Process.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/core/Exception.hpp>

#include <boost/algorithm/string.hpp>

#include <openssl/err.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace opc::test {

inline std::vector<std::string> plus(std::vector<std::string> options, const std::vector<std::string>& more) {
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

/// Runs the openssl command in a folder and gives its standard output.
/// @throws std::runtime_error when the command fails.
inline std::string openssl(const TemporaryFolder& folder, const std::vector<std::string>& arguments) {
    const ProcessResult result = runProcess(OPCRAFT_OPENSSL, arguments, {.folder = folder.path()});
    if (result.exitCode != 0)
        throw std::runtime_error("openssl " + arguments.front() + ": " + result.err);
    return result.out;
}

/// A test that leaves nothing in OpenSSL's error queue: neither does what it calls.
class WithCleanErrorQueue : public testing::Test {
protected:
    void SetUp() override { ERR_clear_error(); }
    void TearDown() override { EXPECT_EQ(ERR_peek_error(), 0U) << "an error was left in OpenSSL's queue"; }
};

/// A test with a folder in which the openssl command works.
class WithOpenSSL : public WithCleanErrorQueue {
protected:
    /// What a command of these words, with blanks between them, writes.
    Bytes made(const std::string& command) {
        std::vector<std::string> words;
        boost::split(words, command, boost::is_any_of(" "));
        words.insert(words.begin() + 1, {"-out", "made"});
        openssl(folder, words);
        return readFile(folder / "made");
    }
    /// Makes an RSA key in PEM, where it is not there yet. @return the name of its file.
    std::string key(const std::string& bits) {
        if (!std::filesystem::exists(folder / bits))
            writeFile(folder / bits, made("genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:" + bits));
        return bits;
    }

    TemporaryFolder folder;
};

/// Reads bytes as they are, then cut, with one more, and with each of them changed. What is thrown has to be an
/// `opc::Exception`, and leaves nothing in OpenSSL's error queue. @return how many of the changed ones were read.
template <class Read>
int readDamaged(const Bytes& whole, Read read) {
    const auto canBeRead = [&](const Bytes& bytes) {
        bool done = true;
        try {
            read(bytes);
        } catch (const Exception&) {
            done = false;
        }
        EXPECT_EQ(ERR_peek_error(), 0U);
        return done;
    };
    EXPECT_TRUE(canBeRead(whole));
    Bytes bytes = whole;
    bytes.push_back(0);
    EXPECT_FALSE(canBeRead(bytes)) << "a byte more";
    for (std::size_t size = 0; size < whole.size(); size += 1 + size / 40)
        EXPECT_FALSE(canBeRead({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
    int count = 0;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        bytes = whole;
        bytes[i] ^= static_cast<unsigned char>(1 + i % 255);
        count += canBeRead(bytes);
    }
    return count;
}

} // namespace opc::test
