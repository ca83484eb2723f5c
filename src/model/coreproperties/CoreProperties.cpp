// SPDX-License-Identifier: Apache-2.0
#include <opc/model/coreproperties/CoreProperties.hpp>

namespace opc::model {

void CoreProperties::clear() {
    *this = CoreProperties();
}

bool CoreProperties::isEmpty() const {
    return !category_ && !contentStatus_ && !created_ && !creator_ && !description_ && !identifier_ && !keywords_ &&
           !language_ && !lastModifiedBy_ && !lastPrinted_ && !modified_ && !revision_ && !subject_ && !title_ &&
           !version_;
}

} // namespace opc::model
