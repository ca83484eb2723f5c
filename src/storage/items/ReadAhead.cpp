// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ReadAhead.hpp"

#include "storage/Threads.hpp"

#include <cstdint>

namespace opc::storage {

void readAhead(std::vector<const ZipEntry*> entries, const ItemArchive& archive, const ReadLimits& limits,
               unsigned threads, const TakeItem& take) {
    std::vector<std::uint64_t> sizes;
    std::uint64_t left = limits.get().totalSize;
    for (const ZipEntry*& entry : entries) {
        if (entry && (!limits.allow(entry->size, entry->count.compressedSize) || entry->size > left))
            entry = nullptr;
        sizes.push_back(entry ? entry->size : 0);
        left -= sizes.back();
    }
    forEachInParallel(threads, sizes, [&](std::size_t i) {
        if (!entries[i])
            return;
        archive.readWhole(*entries[i]->index, [&](const unsigned char* data, std::size_t size) {
            limits.note(size);
            take(i, data, size);
        });
        take(i, nullptr, 0);
    });
}

} // namespace opc::storage
