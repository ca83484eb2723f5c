// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/URI.hpp>

#include <algorithm>
#include <string>

namespace opc::model {

/// An external target as it is parsed: producers write file names with backslashes.
inline std::u16string withSlashes(std::u16string target) {
    std::replace(target.begin(), target.end(), u'\\', URI::getSlash());
    return target;
}

} // namespace opc::model
