// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/CaselessLess.hpp"
#include "storage/ItemReader.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace opc::storage {

/// The entries of a content types stream (ECMA-376-2 §7.2.3), read leniently: to find out which items are parts, not to
/// validate the stream.
class ContentTypes {
public:
    /// @return null when the stream gives the part no content type.
    const std::u16string* find(std::u16string_view partName) const;

    /// Of two entries that are equal without regard to ASCII case, the first one is kept.
    /// @param isPlain whether the element is written without a prefix.
    void addDefault(std::u16string extension, std::u16string contentType, bool isPlain);
    void addOverride(std::u16string partName, std::u16string contentType, bool isPlain);

    /// Refuses two Defaults for one extension and two Overrides for one part: one reader uses the first, another one
    /// the last. Names are equal when their folded forms are (`foldName`).
    /// @param label starts the message.
    /// @throws opc::Exception bad_message
    void throwIfAmbiguous(const std::string& label) const;

    /// Refuses a part that has another content type for a reader that compares names with their case, or ignores
    /// namespace prefixes.
    /// @throws opc::Exception bad_message
    void throwIfAmbiguous(std::u16string_view partName, const std::string& label) const;

private:
    struct Type {
        std::u16string text;
        bool isPlain;
    };
    using Map = std::unordered_map<std::u16string, Type, CaselessHash, CaselessEqual>;
    void add(Map& entries, std::u16string name, Type type);
    static const std::u16string* findExact(const Map& entries, std::u16string_view name);

    Map defaults_;
    Map overrides_;
    std::string duplicate_; ///< the first two entries that are equal; empty for none
};

/// Reads a content types stream of at most so many bytes.
/// @return nothing when it cannot be read, is longer, is not well-formed or has a document type declaration.
std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize);

} // namespace opc::storage
