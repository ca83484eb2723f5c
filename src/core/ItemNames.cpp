// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ItemNames.hpp>

#include <opc/core/Characters.hpp>

#include <algorithm>

namespace opc::detail {

std::u16string toItemURI(std::string_view itemName) {
    const auto isPathByte = [](char c) { return isPathCharacter(static_cast<unsigned char>(c)); };
    std::u16string uri(1 + itemName.size(), u'/');
    if (std::all_of(itemName.begin(), itemName.end(), isPathByte)) { // as of nearly all names
        std::copy(itemName.begin(), itemName.end(), uri.begin() + 1);
        return uri;
    }
    uri.resize(1);
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
