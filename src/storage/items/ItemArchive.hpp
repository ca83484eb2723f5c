// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/ItemReader.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace opc::storage {

/// What a package is stored in, such as a ZIP file: items with a name, which are found by their index.
class ItemArchive {
public:
    struct Item {
        std::string name; ///< UTF-8
        std::uint64_t size = 0;
        std::uint64_t compressedSize = 0; ///< as the archive declares it
    };

    virtual ~ItemArchive() = default;

    virtual std::uint64_t count() const = 0;
    virtual Item item(std::uint64_t index) const = 0;

    /// All bytes that are stored: no item has more, compressed.
    virtual std::uint64_t storedSize() const = 0;

    /// The name as it is stored, in whatever encoding; valid as long as the archive.
    virtual std::string_view storedName(std::uint64_t index) const = 0;

    /// Tells which of two items comes first; the same for all where they have no order.
    virtual std::uint64_t place(std::uint64_t /*index*/) const { return 0; }

    /// Reads an item from its start. Any number of readers may be in use at the same time; none outlives the
    /// archive.
    /// @param itemLabel starts the messages.
    /// @throws opc::Exception what the archive says, here or by the reader.
    virtual std::unique_ptr<ItemReader> read(std::uint64_t index, const std::string& itemLabel) const = 0;

    /// Delivers the content of an item, and checks it. Any number of threads may do so at the same time, also while one
    /// uses the other functions.
    /// @throws opc::Exception when the content is damaged, or has a form that is left to `read`, which tells what is
    /// wrong.
    virtual void readWhole(std::uint64_t index, const TakeBytes& take) const = 0;

    /// Reads several items, one behind the other.
    std::unique_ptr<ItemReader> readAll(std::vector<std::uint64_t> indexes, const std::string& itemLabel) const;
};

} // namespace opc::storage
