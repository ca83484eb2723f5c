// SPDX-License-Identifier: Apache-2.0
#include "signatures/ObjectText.hpp"

#include <utility>

namespace opc::model {

std::u16string toDigestedText(std::u16string xmlText) {
    const std::u16string declaration = u"xmlns=\"" + std::u16string(DSIG_NAMESPACE) + u"\" ";
    const std::size_t found = xmlText.find(declaration);
    if (found != std::u16string::npos)
        xmlText.erase(found, declaration.size());
    return xmlText;
}

} // namespace opc::model
