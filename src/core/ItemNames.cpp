// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ItemNames.hpp>

#include <opc/core/Characters.hpp>

namespace opc::detail {

std::u16string toItemURI(std::string_view itemName) {
    std::u16string uri = u"/";
    uri.reserve(1 + itemName.size());
    for (std::size_t i = 0; i < itemName.size(); ++i) {
        const auto byte = static_cast<unsigned char>(itemName[i]);
        if (isPathCharacter(byte) || escapedByte(itemName, i) >= 0)
            uri += byte;
        else
            appendEscape(uri, byte);
    }
    return uri;
}

} // namespace opc::detail
