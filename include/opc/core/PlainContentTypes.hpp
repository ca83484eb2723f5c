// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Content types streams (ECMA-376-2 §7.2.3) that need no validating parser.
namespace opc::detail {

/// A Default or an Override.
struct ContentTypeEntry {
    bool isDefault;
    bool hasPrefix;      ///< whether the element is written with a prefix
    std::u16string name; ///< the Extension or the PartName as written
    std::uint32_t type;  ///< the index of the content type in the table
    std::uint64_t begin; ///< where the element begins, in bytes from the start of the stream
    std::uint64_t end;   ///< the place behind it
};

/// What a content types stream says.
struct OPCRAFT_API ContentTypeTable {
    std::vector<ContentTypeEntry> entries{}; ///< in the order of the stream
    std::vector<std::u16string> types{};     ///< the content types of the entries as written, each once
    std::uint64_t size = 0;                  ///< of the stream, in bytes
    std::uint64_t nodes = 0;                 ///< as `Limits::xmlNodes` counts them

    /// Whether the stream keeps to limits for XML, which need not be those that it was read with.
    bool isWithin(const Limits& limits) const noexcept;
};

/// Reads a stream that is plain (`readPlainXml`), valid by the content types schema, and has neither elements in its
/// entries nor attributes beyond those of the schema. Whether a PartName is a part name is left open, and so is what a
/// ContentType means.
/// @return nothing for any other stream; whether that is valid is for a validating parser to say.
/// @throws std::bad_alloc
OPCRAFT_API std::optional<ContentTypeTable> readPlainContentTypes(const std::vector<unsigned char>& bytes,
                                                                  const Limits& limits);

} // namespace opc::detail
