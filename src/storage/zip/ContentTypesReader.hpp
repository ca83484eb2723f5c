// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/CaselessLess.hpp"
#include "storage/ItemReader.hpp"

#include <opc/core/PlainContentTypes.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

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

    /// Refuses two Defaults for one extension and two Overrides for one part: one reader uses the first, another one
    /// the last. Names are equal when their folded forms are (`foldName`).
    /// @param label starts the message.
    /// @throws opc::Exception bad_message
    void throwIfAmbiguous(const std::string& label) const;

    /// Refuses a part that has another content type for a reader that compares names with their case, or ignores
    /// namespace prefixes.
    /// @throws opc::Exception bad_message
    void throwIfAmbiguous(std::u16string_view partName, const std::string& label) const;

    /// What it was made of; nothing can be found afterwards.
    detail::ContentTypeTable release() &&;

private:
    using Map = std::unordered_map<std::u16string_view, const detail::ContentTypeEntry*, CaselessHash, CaselessEqual>;
    const std::u16string& typeOf(const detail::ContentTypeEntry& entry) const { return table_.types[entry.type]; }
    std::string shown(const detail::ContentTypeEntry& entry) const;
    const std::u16string* findExact(const Map& entries, std::u16string_view name) const;

    detail::ContentTypeTable table_; ///< the maps refer to its entries
    Map defaults_;
    Map overrides_;
    std::string duplicate_; ///< the first two entries that are equal; empty for none
};

/// Reads a content types stream of at most so many bytes leniently: to find out which items are parts, not to validate
/// the stream.
/// @return nothing when it cannot be read, is longer, is not well-formed or has a document type declaration.
std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize);

} // namespace opc::storage
