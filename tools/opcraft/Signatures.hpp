// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// Where a package is signed. Whether the signatures hold is not looked at.
struct Signatures {
    std::set<std::string> origins;  ///< signature origin parts (ECMA-376-2 §10)
    std::set<std::string> xml;      ///< parts that hold an XML signature
    std::set<std::string> own;      ///< those of them that are tied to the package as the library does it
    std::set<std::string> standard; ///< those in the form of the standard, which is not checked yet
    std::set<std::string> loose;    ///< parts with a content type of signatures that nothing ties to the package
    std::set<std::string> pkcs7;    ///< items that hold a PKCS#7 signature over the file, parts or not

    bool isSigned() const noexcept { return !xml.empty() || !pkcs7.empty(); }
    /// True when all of them can be checked.
    bool areOwn() const noexcept { return own == xml && pkcs7.empty(); }
};

Signatures findSignatures(OpenPackage& package);

/// "1 signature in the standard's form, not checked".
std::string notCheckedText(std::size_t count);

/// Removes every XML signature, in either form, that an origin of the package leads to, with all that ties it to the
/// package; it need not be readable. What is tied as a signature but is none, by its content type, stays.
/// @return the names of the parts that went.
std::vector<std::string> removeXmlSignatures(OpenPackage& package);

} // namespace opcraft
