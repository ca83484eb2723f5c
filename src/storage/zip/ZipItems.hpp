// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/CaselessLess.hpp"
#include "storage/StoredItem.hpp"
#include "storage/zip/ReadLimits.hpp"

#include <opc/core/interfaces/CompressionType.hpp>
#include <opc/storage/zip/ZipItem.hpp>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace opc::storage {

class ContentTypes;

/// One item of an open ZIP package.
struct ZipEntry {
    std::string name{};           ///< item name, UTF-8
    std::string label{};          ///< package and item, to start messages with
    std::u16string partName{};    ///< the part that the item would be by its name; empty for none
    std::u16string contentType{}; ///< empty when it is not known
    ZipItemKind kind = ZipItemKind::Other;
    std::optional<std::uint64_t> index{}; ///< place in the file that was opened; none for a new item
    std::vector<std::uint64_t> pieces{};  ///< places of all pieces in their order; empty for an item in one
    std::uint64_t size = 0;               ///< as stored
    std::uint64_t compressedSize = 0;
    interfaces::CompressionType compression = interfaces::CompressionType::Normal; ///< of a new item
    std::unique_ptr<ReadCount> count{};
    std::unique_ptr<StoredItem> bytes{};
};

/// The items of an open ZIP package in their order, found by name.
class ZipItems {
public:
    using Entries = std::list<ZipEntry>;

    const Entries& all() const { return entries_; }
    Entries& all() { return entries_; }

    /// Puts an item behind all others, or before a given one.
    ZipEntry& add(ZipEntry entry, std::optional<Entries::iterator> before = std::nullopt);

    /// The content types stream; null when there is none.
    ZipEntry* contentTypes() { return contentTypes_; }

    /// The first item of exactly this name; null for none.
    ZipEntry* findItem(const std::string& name);

    /// The part of this name; null for none.
    ZipEntry* findPart(std::u16string_view name);

    /// The item that is this part or takes the place where it would be; null for none.
    ZipEntry* findPlace(std::u16string_view partName);

    /// Takes a part out.
    void removePart(ZipEntry& part);

private:
    Entries entries_;
    std::multimap<std::u16string, Entries::iterator, CaselessLess> byPartName_;
    std::unordered_multimap<std::string, Entries::iterator> byItemName_;
    ZipEntry* contentTypes_ = nullptr;
};

/// Finds out which of the items are parts (ECMA-376-2 §7.3.4), and their content types.
/// @param types what the content types stream says; null when it cannot be read: then every item that has a part
///        name is handed on as a part, and the reader of the stream finds out why.
/// @param label starts the messages.
/// @throws opc::Exception bad_message when two items are the same part.
void findParts(ZipItems& items, const ContentTypes* types, const std::string& label);

} // namespace opc::storage
