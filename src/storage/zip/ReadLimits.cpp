// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ReadLimits.hpp"

#include "storage/Failure.hpp"

#include <algorithm>
#include <utility>

namespace opc::storage {

namespace {

void failIfMore(std::uint64_t count, std::uint64_t limit, const std::string& label, const char* what,
                const char* name) {
    if (count > limit) {
        fail(Errc::file_too_large, label + ": " + what + std::to_string(limit) + " (limit " + name + ")");
    }
}

class WatchedReader final : public ItemReader {
public:
    WatchedReader(std::unique_ptr<ItemReader> reader, ReadLimits& limits, ReadCount& count)
        : reader_(std::move(reader)), limits_(limits), count_(count) {}

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        const std::size_t count = reader_->read(buffer, size);
        read_ += count;
        limits_.count(read_, count_);
        return count;
    }

private:
    std::unique_ptr<ItemReader> reader_;
    ReadLimits& limits_;
    ReadCount& count_;
    std::uint64_t read_ = 0;
};

} // namespace

void ReadLimits::checkItems(std::uint64_t count, const std::string& label) const {
    failIfMore(count, limits_.items, label, "the file has more items than ", "items");
}

void ReadLimits::checkName(std::string_view name, const std::string& label) const {
    failIfMore(name.size(), limits_.nameLength, label, "an item has a name of more bytes than ", "name-length");
}

std::unique_ptr<ItemReader> ReadLimits::watch(std::unique_ptr<ItemReader> reader, ReadCount& count) {
    return std::make_unique<WatchedReader>(std::move(reader), *this, count);
}

void ReadLimits::count(std::uint64_t size, ReadCount& item) {
    failIfMore(size, limits_.itemSize, item.label, "the content has more bytes than ", "item-size");
    if (size > Limits::RATIO_FLOOR && size / std::max<std::uint64_t>(limits_.ratio, 1) > item.compressedSize) {
        fail(Errc::file_too_large, item.label + ": more bytes come out for one compressed byte than " +
                                       std::to_string(limits_.ratio) + " (limit ratio)");
    }
    if (size > item.inflated) {
        total_ += size - item.inflated;
        item.inflated = size;
    }
    failIfMore(total_, limits_.totalSize, item.label, "what was read of the package has more bytes than ",
               "total-size");
}

} // namespace opc::storage
