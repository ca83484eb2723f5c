// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/Content.hpp"

#include <opc/core/interfaces/CompressionType.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

class ReadLimits;
class ZipArchive;

/// How a new ZIP file differs from the one it comes from.
struct ZipChanges {
    struct Replaced {
        std::uint64_t index;
        std::shared_ptr<const Content> content; ///< null: the compressed bytes stay, and there is a new name
        std::string label;
        std::string newName{}; ///< empty: the name stays
    };
    struct Added {
        std::string name;                       ///< UTF-8
        std::shared_ptr<const Content> content; ///< null: what `load` returns
        interfaces::CompressionType compression;
        std::string label;
        std::function<std::shared_ptr<const Content>()> load{}; ///< called when the item is written
    };

    std::vector<std::uint64_t> deleted;
    std::vector<Replaced> replaced;
    std::vector<Added> first;  ///< in this order, after so many items of the original
    std::uint64_t leading = 0; ///< at most the number of its items
    std::vector<Added> added;  ///< in this order, after all others

    /// Whether the bytes before the first item are left out, and a comment of the archive that has an end record.
    bool dropsSurroundings = false;

    bool empty() const {
        return deleted.empty() && replaced.empty() && first.empty() && added.empty() && !dropsSurroundings;
    }
};

/// Writes a whole ZIP file, in which ZIP64 is used where a number needs it and nowhere else. The target is not
/// committed.
/// @param original what the changes apply to; null for none. Unchanged items are copied as they are, and
///        so are the bytes before the first one and the comment, unless they are dropped.
/// @param limits on the content of a new item, so that it can be read again.
/// @throws opc::Exception what reading and writing throw; value_too_large when a name or extra field is too long for a
///         ZIP file; file_too_large for content above a limit.
void writeZip(const ZipArchive* original, const ZipChanges& changes, const ReadLimits& limits, Target& target);

/// Copies bytes of a file.
/// @return how many; fewer than requested at the end only.
std::uint64_t copyBytes(const Bytes& source, std::uint64_t start, std::uint64_t size, Target& target);

} // namespace opc::storage
