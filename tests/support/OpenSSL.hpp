// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Process.hpp"
#include "support/TemporaryFolder.hpp"

#include <openssl/err.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace opc::test {

using Bytes = std::vector<unsigned char>;

inline Bytes toBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// Runs the openssl command in a folder and gives its standard output.
/// @throws std::runtime_error when the command fails.
inline std::string openssl(const TemporaryFolder& folder, const std::vector<std::string>& arguments) {
    ProcessOptions options;
    options.folder = folder.path();
    const ProcessResult result = runProcess(OPCRAFT_OPENSSL, arguments, options);
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

} // namespace opc::test
