// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/zip/ContentTypesReader.hpp"
#include "storage/zip/ReadLimits.hpp"
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipFaults.hpp"
#include "storage/zip/ZipItems.hpp"

namespace opc::storage {

/// Finds out what is wrong with the contents of items. Used while the package is open.
class ContentChecks {
public:
    /// @param items of the archive, and new ones, which are passed over.
    ContentChecks(ZipItems& items, const ZipArchive& archive, ReadLimits& limits, unsigned threads)
        : items_(items), archive_(archive), limits_(limits), threads_(threads) {}

    /// Reads every item to its end.
    void checkContents(const ZipFaults& faults);

    /// The content types stream, and the XML of the relationships.
    /// @param types null when the stream cannot be read.
    /// @param readsXml whether the items are read.
    void checkContentTypes(const ContentTypes* types, const ZipFaults& faults, bool readsXml = true);

private:
    void readToEnd(ZipEntry& entry);
    void checkXml(ZipEntry& entry, bool isUsable, const ZipFaults& faults);

    ZipItems& items_;
    const ZipArchive& archive_;
    ReadLimits& limits_;
    unsigned threads_;
};

} // namespace opc::storage
