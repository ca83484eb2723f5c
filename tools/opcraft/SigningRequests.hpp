// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <opc/signatures/DigitalSignatureManager.hpp>

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace opcraft {

/// What of a package is to be signed; all of it when nothing is named.
struct SelectionOptions {
    std::vector<std::string> parts{};
    std::vector<std::string> relationships{};     ///< SOURCE#ID
    std::vector<std::string> relationshipTypes{}; ///< SOURCE=TYPE
};

void addSelectionOptions(CLI::App& command, SelectionOptions& options);

/// @throws Failure for wrong usage when a text has not its form, and for what is not in the package.
opc::model::SigningRequest makeSigningRequest(OpenPackage& package, const SelectionOptions& options);

} // namespace opcraft
