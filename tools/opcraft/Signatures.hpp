// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <set>
#include <string>

namespace opcraft {

/// Where a package is signed. Whether the signatures hold is not looked at.
struct Signatures {
    std::set<std::string> origins; ///< signature origin parts (ECMA-376-2 §10)
    std::set<std::string> xml;     ///< parts that hold an XML signature
    std::set<std::string> pkcs7;   ///< items that hold a PKCS#7 signature over the file, parts or not

    bool isSigned() const noexcept { return !xml.empty() || !pkcs7.empty(); }
};

Signatures findSignatures(OpenPackage& package);

} // namespace opcraft
