// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>

#include <string>

namespace opc::model {

inline std::string withName(const char* message, const PartName& name) {
    return message + toASCIIString(name.toString());
}

inline void throwIfPackageRoot(const PartName& name) {
    if (PartName::isPackageRootUri(name.getURI()))
        throw InvalidPartName("The package root is not the name of a part");
}

} // namespace opc::model
