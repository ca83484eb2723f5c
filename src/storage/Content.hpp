// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/ItemReader.hpp"
#include "storage/SpilledContent.hpp"

#include <memory>
#include <vector>

namespace opc::storage {

/// The content that was written to one item. It only grows: new content is a new object, so that a reader of
/// the old one is not disturbed.
class Content final {
public:
    /// Content that stays in memory.
    Content() = default;

    /// Content that is moved to the file of the area when its memory is exceeded.
    Content(std::shared_ptr<SpillArea> area, interfaces::CompressionType compression);
    ~Content();

    Content(const Content&) = delete;
    Content& operator=(const Content&) = delete;

    /// Appends all bytes or throws. In memory, nothing is appended then; spilled content is lost and cannot be saved.
    void append(const unsigned char* data, std::size_t size);

    /// Marks the content as complete.
    void finish();

    std::uint64_t size() const;

    /// The bytes while they are in memory.
    const std::vector<unsigned char>& inMemory() const { return bytes_; }

    /// Null while the content is in memory.
    SpilledContent* spilled() const { return spilled_.get(); }

private:
    void spill(const unsigned char* data, std::size_t size);

    std::shared_ptr<SpillArea> area_;
    interfaces::CompressionType compression_ = interfaces::CompressionType::Normal;
    std::vector<unsigned char> bytes_;
    std::unique_ptr<SpilledContent> spilled_;
};

/// Reads content from its start, also while it grows.
std::unique_ptr<ItemReader> readContent(std::shared_ptr<const Content> content);

} // namespace opc::storage
