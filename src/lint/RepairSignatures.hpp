// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "lint/RepairWork.hpp"

#include <optional>

namespace opc::lint {

/// What the XML signatures of a package cover.
class SignedContent {
public:
    /// Opens the package for reading and closes it.
    SignedContent(interfaces::IPhysicalPackage& store, const Limits& limits);

    /// The parts and items with the signatures that do not hold after the changes.
    std::vector<std::string> findBroken(const RepairWork& work) const;

private:
    struct Signature {
        std::vector<std::u16string> parts; ///< in lower case
        std::vector<std::pair<std::u16string, std::string>> relationships;
    };

    static bool isBroken(const Signature& signature, const RepairWork& work);

    std::map<std::string, Signature> signatures_; ///< by the part; those that could be read
};

} // namespace opc::lint
