// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <string>

namespace opcraft {

/// What a package is to its users.
struct Kind {
    std::string name;      ///< "Word document"; "OPC package" when it is not known
    std::string extension; ///< the usual one, without the dot; empty when the kind is not known
    std::string mainPart;  ///< the part that a reader starts from; empty when it is not found
};

/// Guesses the kind from the package relationship to the main part and its content type, or from a well-known item.
Kind guessKind(OpenPackage& package);

} // namespace opcraft
