// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/TrustStore.hpp>

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace opcraft {

/// Whose certificates the user believes in: nobody's, unless it is said.
struct TrustOptions {
    std::vector<std::string> files{};
    bool system = false;

    bool isTrusting() const noexcept { return system || !files.empty(); }
};

/// @param other an option that makes trust in certificates pointless; may be null.
void addTrustOptions(CLI::App& command, TrustOptions& options, CLI::Option* other = nullptr);

/// @throws Failure naming a file that cannot be read, or holds no certificates.
opc::certificates::TrustStore makeTrustStore(const TrustOptions& options);

/// What is asked of a certificate: its time and its purpose, and its chain once somebody is trusted. The library takes
/// an empty store for the one of the system, so it is never to look for a chain there.
opc::certificates::CertificateValidationOptions makeValidationOptions(const TrustOptions& options);

} // namespace opcraft
