// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/PartName.hpp>

#include <string>

namespace opc::model {

/// What the store has as a part, and a package that was opened with a sink for findings leaves out. A plain value.
struct LeftOutPart {
    PartName name;
    std::string reason; ///< why it is not a part: "no content type …"; UTF-8
};

} // namespace opc::model
