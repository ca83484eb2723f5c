// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/CaselessLess.hpp"
#include "storage/ItemReader.hpp"
#include "storage/zip/ZipFaults.hpp"

#include <opc/core/PlainContentTypes.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace opc::storage {

/// The entries of a content types stream (ECMA-376-2 §7.2.3), found by name. Of two entries that are equal without
/// regard to ASCII case, the first one counts.
class ContentTypes {
public:
    explicit ContentTypes(detail::ContentTypeTable table);
    ContentTypes(ContentTypes&&) = default;
    ContentTypes& operator=(ContentTypes&&) = default;

    /// @return null when the stream gives the part no content type.
    const std::u16string* find(std::u16string_view partName) const;

    const detail::ContentTypeTable& table() const { return table_; }

    /// The entries in the order of the stream.
    const std::vector<detail::ContentTypeEntry>& entries() const { return table_.entries; }

    /// Finds two Defaults for one extension and two Overrides for one part: one reader uses the first, another one
    /// the last. Names are equal when their folded forms are (`foldName`).
    void checkDuplicates(const ZipFaults& faults) const;

    /// Finds out whether a part has another content type for a reader that compares names with their case, or ignores
    /// namespace prefixes.
    void checkCase(std::u16string_view partName, const ZipFaults& faults) const;

    /// What it was made of; nothing can be found afterwards.
    detail::ContentTypeTable release() &&;

private:
    using Map = std::unordered_map<std::u16string_view, const detail::ContentTypeEntry*, CaselessHash, CaselessEqual>;
    const std::u16string& typeOf(const detail::ContentTypeEntry& entry) const { return table_.types[entry.type]; }
    const detail::ContentTypeEntry* findEntry(std::u16string_view partName) const;
    std::string shown(const detail::ContentTypeEntry& entry) const;
    void addDuplicate(RuleId rule, const detail::ContentTypeEntry& first, const detail::ContentTypeEntry& other,
                      const ZipFaults& faults) const;
    const std::u16string* findExact(std::u16string_view partName, bool knowsPrefixes) const;

    detail::ContentTypeTable table_; ///< the maps refer to its entries
    Map defaults_;
    Map overrides_;
    std::vector<std::pair<const detail::ContentTypeEntry*, const detail::ContentTypeEntry*>>
        duplicates_; ///< the first
                     ///< and another
};

/// Reads a content types stream of at most so many bytes leniently: to find out which items are parts, not to validate
/// the stream.
/// @return nothing when it cannot be read, is longer, is not well-formed or has a document type declaration.
std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize);

} // namespace opc::storage
