// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>

namespace opc::model {

inline void throwIfNotOpen(const Package& package) {
    if (!package.isOpen())
        throw PackageNotOpen("Package is not open");
}

inline void throwIfNotOpenForModify(const Package& package) {
    throwIfNotOpen(package);
    if (package.isReadOnly())
        throw PackageReadOnly("Package is read-only");
    if (package.isCreateOnly())
        throw PackageCreateOnly("Package is open only for create");
}

} // namespace opc::model
