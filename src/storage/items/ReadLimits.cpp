// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ReadLimits.hpp"

#include "storage/Failure.hpp"

#include <algorithm>
#include <utility>

namespace opc::storage {

namespace {

[[noreturn]] void failAt(std::uint64_t limit, const std::string& label, const std::string& what, const char* name) {
    fail(Errc::file_too_large, label + ": " + what + std::to_string(limit) + " (limit " + name + ")");
}

class WatchedReader final : public ItemReader {
public:
    WatchedReader(std::unique_ptr<ItemReader> reader, ReadLimits& limits, ReadCount& count, const ItemOrigin& origin)
        : reader_(std::move(reader)), limits_(limits), count_(count), origin_(origin) {}

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        const std::size_t count = reader_->read(buffer, size);
        read_ += count;
        limits_.note(count);
        limits_.count(read_, count_, origin_);
        return count;
    }

private:
    std::unique_ptr<ItemReader> reader_;
    ReadLimits& limits_;
    ReadCount& count_;
    const ItemOrigin& origin_;
    std::uint64_t read_ = 0;
};

} // namespace

void ReadLimits::throwIfCancelled() const {
    if (cancelled_ && cancelled_->load(std::memory_order_relaxed))
        fail(Errc::operation_canceled, "the work was cancelled");
}

void ReadLimits::checkItems(std::uint64_t count, const std::string& label, const char* holder) const {
    if (count > limits_.items)
        failAt(limits_.items, label, std::string(holder) + " has more items than ", "items");
}

void ReadLimits::checkName(std::string_view name, const std::string& label) const {
    if (name.size() > limits_.nameLength)
        failAt(limits_.nameLength, label, "an item has a name of more bytes than ", "name-length");
}

void ReadLimits::checkRelationshipsName(std::u16string_view name, const std::string& label) const {
    if (name.size() - 1 > limits_.nameLength)
        failAt(limits_.nameLength, label, "the relationships part of an item has a name of more bytes than ",
               "name-length");
}

std::optional<ReadLimits::Excess> ReadLimits::findExcess(std::uint64_t size, std::uint64_t compressedSize) const {
    if (size > limits_.itemSize)
        return Excess{limits_.itemSize, "the content has more bytes than ", "item-size"};
    if (size > Limits::RATIO_FLOOR && size / std::max<std::uint64_t>(limits_.ratio, 1) > compressedSize)
        return Excess{limits_.ratio, "more inflated bytes for one compressed byte than ", "ratio"};
    return std::nullopt;
}

void ReadLimits::checkContent(std::uint64_t size, std::uint64_t compressedSize, const std::string& label) const {
    if (const auto excess = findExcess(size, compressedSize))
        failAt(excess->limit, label, excess->what, excess->name);
}

std::unique_ptr<ItemReader> ReadLimits::watch(std::unique_ptr<ItemReader> reader, ReadCount& count,
                                              const ItemOrigin& origin) {
    return std::make_unique<WatchedReader>(std::move(reader), *this, count, origin);
}

void ReadLimits::count(std::uint64_t size, ReadCount& item, const ItemOrigin& origin) {
    if (findExcess(size, item.compressedSize))
        checkContent(size, item.compressedSize, origin.getLabel());
    if (size > item.inflated) {
        total_ += size - item.inflated;
        item.inflated = size;
    }
    if (total_ > limits_.totalSize)
        failAt(limits_.totalSize, origin.getLabel(), "what was read of the package has more bytes than ", "total-size");
}

bool ReadLimits::tryToCount(std::uint64_t size, ReadCount& item) {
    const std::uint64_t added = size - std::min(size, item.inflated);
    if (!allow(size, item.compressedSize) || total_ > limits_.totalSize || added > limits_.totalSize - total_)
        return false;
    total_ += added;
    item.inflated += added;
    return true;
}

} // namespace opc::storage
