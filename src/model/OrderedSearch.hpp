// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iterator>

namespace opc::model {

/// Moves an iterator of an ordered map to the first entry that does not come before a key: quickly where keys are
/// looked for in their order.
template <class Map, class Key>
void advanceTo(const Key& key, Map& map, typename Map::iterator& next) {
    const bool isThere =
        (next == map.end() || !(next->first < key)) && (next == map.begin() || std::prev(next)->first < key);
    if (!isThere)
        next = map.lower_bound(key);
}

} // namespace opc::model
