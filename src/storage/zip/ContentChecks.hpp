// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/ReadLimits.hpp"
#include "storage/items/ZipFaults.hpp"
#include "storage/items/ZipItems.hpp"
#include "storage/zip/ZipArchive.hpp"

namespace opc::storage {

/// Finds out what is wrong with the contents of items. Used while the package is open.
class ContentChecks {
public:
    /// @param items of the archive, and new ones, which are passed over.
    ContentChecks(ZipItems& items, const ZipArchive& archive, ReadLimits& limits, unsigned threads)
        : items_(items), archive_(archive), limits_(limits), threads_(threads) {}

    /// Reads every item to its end.
    void checkContents(const ZipFaults& faults);

private:
    void readToEnd(ZipEntry& entry);

    ZipItems& items_;
    const ZipArchive& archive_;
    ReadLimits& limits_;
    unsigned threads_;
};

} // namespace opc::storage
