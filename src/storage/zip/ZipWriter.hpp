// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Content.hpp"

#include <opc/core/interfaces/CompressionType.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

/// How a new ZIP file differs from the one it comes from.
struct ZipChanges {
    struct Replaced {
        std::uint64_t index;
        std::shared_ptr<const Content> content;
        std::string label;
        std::string newName{}; ///< empty: the name stays
    };
    struct Added {
        std::string name; ///< US-ASCII
        std::shared_ptr<const Content> content;
        interfaces::CompressionType compression;
        std::string label;
    };

    std::vector<std::uint64_t> deleted;
    std::vector<Replaced> replaced;
    std::vector<Added> added; ///< in this order, behind all others

    bool empty() const { return deleted.empty() && replaced.empty() && added.empty(); }
};

/// Writes a whole ZIP file. The target is not committed.
/// @param original what the changes apply to; null for none. Items without a change keep their compressed bytes.
/// @param label starts the messages.
void writeZip(const Bytes* original, const ZipChanges& changes, Target& target, const std::string& label);

} // namespace opc::storage
