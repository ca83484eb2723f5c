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

/// What a content types stream says (ECMA-376-2 §7.2.3), read leniently: to find out which items are parts, not to
/// judge the stream.
class ContentTypes {
public:
    /// @return null when the stream gives the part no content type.
    const std::u16string* find(std::u16string_view partName) const;

    /// The first of two entries that are equal without regard to ASCII case stays.
    void addDefault(std::u16string extension, std::u16string contentType);
    void addOverride(std::u16string partName, std::u16string contentType);

private:
    using Map = std::unordered_map<std::u16string, std::u16string, CaselessHash, CaselessEqual>;
    Map defaults_;
    Map overrides_;
};

/// Reads a content types stream to its end, if that comes before so many bytes.
/// @return nothing when it cannot be read, is longer or is no well-formed XML without a document type declaration.
std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize);

} // namespace opc::storage
