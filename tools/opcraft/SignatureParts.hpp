// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <opc/signatures/SignatureSearch.hpp>

#include <string>

namespace opcraft {

/// The signatures of a package, found but not verified.
opc::model::FoundSignatures findSignatures(OpenPackage& package);

/// The line "1 PKCS#7 signature of the file, not checked"; empty for none.
std::string pkcs7Text(std::size_t count);

} // namespace opcraft
