// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/compare/Compare.hpp>

#include "compare/ComparedParts.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace opc::compare {

/// The sizes of the stored items by the keys of the parts that they would be, the pieces of a part taken together;
/// empty for a store that does not tell.
std::map<std::string, std::uint64_t> sizesOf(const ComparedPackage& compared);

/// A stored item that is no part.
struct StoredItem {
    std::string name;
    std::uint64_t size;
    std::vector<unsigned char> digest; ///< SHA-256
};

/// In the order of their names; none for a store that does not tell.
/// @throws opc::Exception when one cannot be read.
std::vector<StoredItem> othersOf(const ComparedParts& parts);

/// Compares the stored items that are no parts. Those that have the same name several times are compared in their
/// order.
void compareItems(ComparedParts& before, ComparedParts& after, const CompareOptions& options,
                  std::vector<ItemDifference>& differences);

} // namespace opc::compare
