// SPDX-License-Identifier: Apache-2.0
#include "storage/Content.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace opc::storage {

namespace {

class ContentReader final : public ItemReader {
public:
    explicit ContentReader(std::shared_ptr<const Content> content) : content_(std::move(content)) {}

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        if (content_->spilled() && !spilled_) {
            spilled_ = readPlain(*content_->spilled());
            skip();
        }
        const std::size_t count = spilled_ ? spilled_->read(buffer, size) : readMemory(buffer, size);
        position_ += count;
        return count;
    }

private:
    std::size_t readMemory(unsigned char* buffer, std::size_t size) const {
        const auto& bytes = content_->inMemory();
        const std::size_t count = std::min<std::uint64_t>(size, bytes.size() - position_);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer);
        return count;
    }

    /// Skips to the position of the reader when the content was moved to the file.
    void skip() {
        std::array<unsigned char, 4096> buffer;
        std::uint64_t left = position_;
        while (left > 0)
            left -= spilled_->read(buffer.data(), std::min<std::uint64_t>(left, buffer.size()));
    }

    std::shared_ptr<const Content> content_;
    std::unique_ptr<ItemReader> spilled_;
    std::uint64_t position_ = 0;
};

} // namespace

Content::Content(std::shared_ptr<SpillArea> area, interfaces::CompressionType compression)
    : area_(std::move(area)), compression_(compression) {}

Content::~Content() {
    if (area_)
        area_->freeMemory(bytes_.size());
}

void Content::append(const unsigned char* data, std::size_t size) {
    if (spilled_) {
        spilled_->append(data, size);
        return;
    }
    if (area_ && !area_->reserveMemory(size)) {
        spill(data, size);
        return;
    }
    try {
        bytes_.insert(bytes_.end(), data, data + size);
    } catch (...) {
        if (area_)
            area_->freeMemory(size);
        throw;
    }
}

void Content::spill(const unsigned char* data, std::size_t size) {
    spilled_ = std::make_unique<SpilledContent>(area_, compression_); // which keeps the write error
    spilled_->append(bytes_.data(), bytes_.size());
    spilled_->append(data, size);
    area_->freeMemory(bytes_.size());
    std::vector<unsigned char>().swap(bytes_);
}

void Content::finish() {
    if (spilled_)
        spilled_->finish();
}

std::uint64_t Content::size() const {
    return spilled_ ? spilled_->plainSize() : bytes_.size();
}

std::unique_ptr<ItemReader> readContent(std::shared_ptr<const Content> content) {
    return std::make_unique<ContentReader>(std::move(content));
}

} // namespace opc::storage
