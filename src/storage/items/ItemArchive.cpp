// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ItemArchive.hpp"

#include <cstddef>
#include <utility>

namespace opc::storage {

namespace {

/// Reads items in a row.
class ItemsReader final : public ItemReader {
public:
    ItemsReader(const ItemArchive& archive, std::vector<std::uint64_t> indexes, std::string label)
        : archive_(archive), indexes_(std::move(indexes)), label_(std::move(label)) {}

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        while (size > 0) {
            const std::size_t count = current_ ? current_->read(buffer, size) : 0;
            if (count > 0)
                return count;
            if (next_ == indexes_.size())
                return 0;
            current_ = archive_.read(indexes_[next_++], label_);
        }
        return 0;
    }

private:
    const ItemArchive& archive_;
    const std::vector<std::uint64_t> indexes_;
    const std::string label_;
    std::size_t next_ = 0;
    std::unique_ptr<ItemReader> current_;
};

} // namespace

std::unique_ptr<ItemReader> ItemArchive::readAll(std::vector<std::uint64_t> indexes,
                                                 const std::string& itemLabel) const {
    return std::make_unique<ItemsReader>(*this, std::move(indexes), itemLabel);
}

} // namespace opc::storage
