// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc::model {

/// What a listing of parts or relationships omits.
enum class ExcludeMode : std::int32_t {
    IncludeAll = 0,     ///< nothing
    ExcludeManaged = 1, ///< what belongs to a data manager
};

} // namespace opc::model
