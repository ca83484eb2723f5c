// SPDX-License-Identifier: Apache-2.0
#include "signatures/ObjectText.hpp"

#include <opc/core/Strings.hpp>

namespace opc::model {

std::string toDigestedText(std::u16string_view xmlText) {
    const std::u16string declaration = u"xmlns=\"" + std::u16string(DSIG_NAMESPACE) + u"\" ";
    const std::size_t found = xmlText.find(declaration);
    if (found == std::u16string_view::npos)
        return detail::toUTF8String(xmlText);
    std::string text = detail::toUTF8String(xmlText.substr(0, found));
    return text += detail::toUTF8String(xmlText.substr(found + declaration.size()));
}

} // namespace opc::model
