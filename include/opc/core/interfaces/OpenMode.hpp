// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc::interfaces {

/// What may be done with an open package.
enum class OpenMode : std::int32_t {
    ReadOnly = 0,   ///< nothing can be changed
    CreateOnly = 1, ///< a new, empty package; nothing can be read back or deleted
    ReadWrite = 2,  ///< an existing package, read and changed
};

} // namespace opc::interfaces
