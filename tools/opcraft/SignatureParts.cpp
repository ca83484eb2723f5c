// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SignatureParts.hpp"

#include "opcraft/Text.hpp"

namespace opcraft {

opc::model::FoundSignatures findSignatures(OpenPackage& package) {
    std::vector<std::string> others;
    for (const opc::storage::ZipItem& item : package.getItems())
        if (item.kind == opc::storage::ZipItemKind::Other)
            others.push_back(item.name);
    return findSignatures(package.getModel(), others);
}

std::string pkcs7Text(std::size_t count) {
    return count == 0 ? std::string() : countText(count, "PKCS#7 signature") + " of the file, not checked\n";
}

} // namespace opcraft
