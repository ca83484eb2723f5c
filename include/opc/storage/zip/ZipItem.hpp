// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace opc::storage {

/// What an item of an open ZIP package is to the package model.
enum class ZipItemKind {
    ContentTypes, ///< the content types stream
    Part,         ///< a part, relationships parts included
    Other,        ///< not a part (ECMA-376-2 §7.3): kept as it is
};

/// One item of an open ZIP package, with all changes made so far. The pieces of an interleaved part
/// (ECMA-376-2 §7.2.4) are one item.
struct ZipItem {
    std::string name;        ///< the ZIP item name, UTF-8; of an interleaved part, what precedes "/[0].piece"
    std::u16string partName; ///< the part name; empty unless the kind is Part
    ZipItemKind kind = ZipItemKind::Other;
    std::uint64_t pieces = 0;         ///< the number of items with the bytes, for an interleaved part; else 0
    std::uint64_t size = 0;           ///< bytes, uncompressed
    std::uint64_t compressedSize = 0; ///< bytes in the file; for content written since the open, its plain size
    std::string reason{}; ///< why an item of the kind Other is not a part: "a backslash in the name"; else empty
};

} // namespace opc::storage
