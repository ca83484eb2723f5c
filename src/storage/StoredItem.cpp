// SPDX-License-Identifier: Apache-2.0
#include "storage/StoredItem.hpp"

#include "storage/Failure.hpp"

#include <utility>

namespace opc::storage {

using interfaces::OpenMode;

void ItemInputStream::open() {
    reader_.reset();
    done_ = false;
    reader_ = item_.startReading();
}

unsigned long ItemInputStream::read(unsigned char* buffer, unsigned long size) {
    if (!reader_)
        fail(Errc::bad_file_descriptor, item_.getLabel() + ": the stream is not open");
    if (size == 0)
        return 0;
    const std::size_t count = reader_->read(buffer, size);
    done_ = count == 0;
    return count;
}

void ItemOutputStream::write(const unsigned char* data, unsigned long size) {
    if (content_) {
        content_->append(data, size);
        return;
    }
    auto content = item_.makeContent();
    const auto use = [&] {
        item_.setContent(content);
        content_ = content;
    };
    try {
        content->append(data, size);
    } catch (...) {
        if (content->spilled() != nullptr) // which keeps the failure, so that no save leaves it out
            use();
        throw;
    }
    use();
}

void ItemOutputStream::close() {
    if (const auto content = std::exchange(content_, nullptr))
        content->finish();
}

StoredItem::StoredItem(ItemOrigin& origin, std::u16string name, interfaces::CompressionType compression)
    : origin_(origin), name_(std::move(name)), compression_(compression) {}

interfaces::IPhysicalInputStream* StoredItem::getInputStream() {
    if (!input_)
        input_ = std::make_unique<ItemInputStream>(*this);
    return input_.get();
}

interfaces::IPhysicalOutputStream* StoredItem::getOutputStream() {
    if (origin_.getOpening().mode == OpenMode::ReadOnly)
        fail(Errc::operation_not_permitted, getLabel() + ": the package is open for reading only");
    if (!output_)
        output_ = std::make_unique<ItemOutputStream>(*this);
    return output_.get();
}

std::shared_ptr<Content> StoredItem::makeContent() const {
    const auto& area = origin_.getOpening().area;
    return area ? std::make_shared<Content>(area, compression_) : std::make_shared<Content>();
}

std::unique_ptr<ItemReader> StoredItem::startReading() const {
    if (origin_.getOpening().mode == OpenMode::CreateOnly)
        fail(Errc::operation_not_permitted, getLabel() + ": nothing can be read while the package is created");
    return content_ ? readContent(content_) : origin_.readOriginal();
}

} // namespace opc::storage
