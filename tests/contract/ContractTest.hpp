// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Stores.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace opc::test {

/// What every physical package does, whatever it is kept in.
class PhysicalPackageContract : public testing::TestWithParam<StoreKind> {
protected:
    std::unique_ptr<Store> store = GetParam().make();
    interfaces::IPhysicalPackage& package = store->package();

    /// Saves and closes, with content types for all parts.
    void save() {
        writeContentTypes(package);
        package.close(false);
    }

    /// The names of parts as a package that is open for reading only has them.
    static std::vector<std::string> asRead(std::vector<std::string> names) {
        if (GetParam().isSorted)
            std::sort(names.begin(), names.end());
        return names;
    }

    /// Stores a package of these parts and closes it.
    void storePackage(const std::map<std::u16string, std::string>& parts) {
        package.open(OpenMode::CreateOnly);
        for (const auto& [name, bytes] : parts)
            createPart(package, name, bytes);
        save();
    }
};

} // namespace opc::test
