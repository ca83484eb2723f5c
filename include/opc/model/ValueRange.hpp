// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iterator>
#include <map>

namespace opc::model {

/// The values of a map in the order of their keys, for a range-based `for`: each is the one that is in the map, so that
/// nothing is copied or allocated. A view, to be used only as long as the function says that returned it.
template <class Key, class Value>
class ValueRange {
    using Base = typename std::map<Key, Value>::const_iterator;

public:
    class Iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = Value;
        using difference_type = std::ptrdiff_t;
        using pointer = const Value*;
        using reference = const Value&;

        Iterator() = default;
        explicit Iterator(Base base) : base_(base) {}

        reference operator*() const { return base_->second; }
        pointer operator->() const { return &base_->second; }
        Iterator& operator++() {
            ++base_;
            return *this;
        }
        Iterator operator++(int) { return Iterator(base_++); }
        Iterator& operator--() {
            --base_;
            return *this;
        }
        Iterator operator--(int) { return Iterator(base_--); }
        bool operator==(const Iterator& other) const { return base_ == other.base_; }
        bool operator!=(const Iterator& other) const { return base_ != other.base_; }

    private:
        Base base_;
    };

    ValueRange(const std::map<Key, Value>& map) : map_(&map) {}

    Iterator begin() const { return Iterator(map_->begin()); }
    Iterator end() const { return Iterator(map_->end()); }
    std::size_t size() const noexcept { return map_->size(); }
    bool empty() const noexcept { return map_->empty(); }

private:
    const std::map<Key, Value>* map_;
};

} // namespace opc::model
