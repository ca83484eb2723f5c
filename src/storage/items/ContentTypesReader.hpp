// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/ItemReader.hpp"
#include "storage/items/ZipFaults.hpp"

#include <opc/core/PlainContentTypes.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::storage {

/// The entries of a content types stream (ECMA-376-2 §7.2.3), found by name. Of two entries that are equal without
/// regard to ASCII case, the first one counts.
class ContentTypes {
public:
    /// The first entry of each name, ordered by the names: hostile names could make any hash table slow.
    using Index = std::vector<const detail::ContentTypeEntry*>;

    explicit ContentTypes(detail::ContentTypeTable table);
    ContentTypes(ContentTypes&&) = default;
    ContentTypes& operator=(ContentTypes&&) = default;

    /// @return null when the stream gives the part no content type.
    const std::u16string* find(std::u16string_view partName) const;

    /// The entry that gives a part its content type; null for none.
    const detail::ContentTypeEntry* findEntry(std::u16string_view partName) const;

    const Index& getOverrides() const { return overrides_; }

    /// The same for parts in the order of their names.
    /// @param next among the Overrides; the first one for the first part.
    const detail::ContentTypeEntry* findNext(std::u16string_view partName, Index::const_iterator& next) const;

    /// Whether a reader that compares names with their case, or ignores namespace prefixes, finds that entry, too.
    static bool isExact(const detail::ContentTypeEntry& entry, std::u16string_view partName);

    const std::u16string& typeOf(const detail::ContentTypeEntry& entry) const { return table_.types[entry.type]; }

    const detail::ContentTypeTable& table() const { return table_; }

    /// The entries in the order of the stream.
    const std::vector<detail::ContentTypeEntry>& entries() const { return table_.entries; }

    /// Finds two Defaults for one extension and two Overrides for one part: one reader uses the first, another one
    /// the last. Names are equal when their folded forms are (`foldName`).
    void checkDuplicates(const ZipFaults& faults) const;

    /// Finds out whether a part has another content type for such readers.
    void checkCase(std::u16string_view partName, const ZipFaults& faults) const;

    /// What it was made of; nothing can be found afterwards.
    detail::ContentTypeTable release() &&;

private:
    static const detail::ContentTypeEntry* findIn(const Index& index, std::u16string_view name);
    Index makeIndex(bool ofDefaults);
    std::string shown(const detail::ContentTypeEntry& entry) const;
    void addDuplicate(RuleId rule, const detail::ContentTypeEntry& first, const detail::ContentTypeEntry& other,
                      const ZipFaults& faults) const;
    const std::u16string* findExact(std::u16string_view partName, bool knowsPrefixes) const;

    detail::ContentTypeTable table_; ///< the indexes refer to its entries
    Index defaults_;
    Index overrides_;
    std::vector<std::pair<const detail::ContentTypeEntry*, const detail::ContentTypeEntry*>>
        duplicates_; ///< the first and another, in the order of the stream
};

/// Reads a content types stream of at most so many bytes leniently: to find out which items are parts, not to validate
/// the stream.
/// @return nothing when it cannot be read, is longer, is not well-formed or has a document type declaration.
std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize);

} // namespace opc::storage
