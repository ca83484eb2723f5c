// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <set>
#include <string>
#include <vector>

namespace opc::model {

class Package;

/// What of a package is, or poses as, a signature: found by relationships, content types and names, not read. The names
/// are UTF-8, those of parts with the slash in front, those of items without.
struct OPCRAFT_API FoundSignatures {
    std::set<std::string> origins{};  ///< signature origin parts (ECMA-376-2 §10)
    std::set<std::string> xml{};      ///< parts that hold an XML signature
    std::set<std::string> standard{}; ///< those of them in one of the standard forms

    /// Parts with a content type of signatures that no signature origin of the package leads to, and such origins.
    std::set<std::string> loose{};

    /// Items with a PKCS#7 signature of the file as a whole, parts or not: their extension is "p7s" or "p7x". No other
    /// function of the library looks at these.
    std::set<std::string> pkcs7{};

    bool isSigned() const noexcept { return !xml.empty() || !pkcs7.empty(); }
};

/// @param otherItems names of stored items that are not parts (`interfaces::IPhysicalOtherItems`).
/// @throws PackageNotOpen
OPCRAFT_API FoundSignatures findSignatures(const Package& package, const std::vector<std::string>& otherItems = {});

} // namespace opc::model
