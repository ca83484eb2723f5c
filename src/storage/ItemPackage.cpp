// SPDX-License-Identifier: Apache-2.0
#include <opc/storage/ItemPackage.hpp>

#include <utility>

namespace opc::storage {

ItemPackage::~ItemPackage() = default;

std::vector<std::string> ItemPackage::getOtherItems() const {
    std::vector<std::string> names;
    for (ZipItem& item : getItems())
        if (item.kind == ZipItemKind::Other)
            names.push_back(std::move(item.name));
    return names;
}

} // namespace opc::storage
