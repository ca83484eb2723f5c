// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// The signatures of a package, found but not verified.
struct Signatures {
    std::set<std::string> origins;  ///< signature origin parts (ECMA-376-2 §10)
    std::set<std::string> xml;      ///< parts that hold an XML signature
    std::set<std::string> standard; ///< those of them in one of the standard forms
    std::set<std::string>
        loose; ///< parts with a content type of signatures that no signature origin of the package leads to
    std::set<std::string> pkcs7; ///< items with a PKCS#7 signature of the file, parts or not

    bool isSigned() const noexcept { return !xml.empty() || !pkcs7.empty(); }
};

Signatures findSignatures(OpenPackage& package);

/// The line "1 PKCS#7 signature of the file, not checked"; empty for none.
std::string pkcs7Text(std::size_t count);

} // namespace opcraft
