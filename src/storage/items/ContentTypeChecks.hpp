// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/ContentTypesReader.hpp"
#include "storage/items/ReadLimits.hpp"
#include "storage/items/ZipFaults.hpp"
#include "storage/items/ZipItems.hpp"

#include <opc/core/Exception.hpp>

namespace opc::storage {

/// Finds out where readers could differ about content types, and in the XML by which parts are found.
class ContentTypeChecks {
public:
    /// @param items outlive this object, as do the limits.
    ContentTypeChecks(ZipItems& items, const ReadLimits& limits) : items_(items), limits_(limits) {}

    /// The content types stream, and the XML of the relationships.
    /// @param types null when the stream cannot be read.
    /// @param readsXml whether the items are read.
    void check(const ContentTypes* types, const ZipFaults& faults, bool readsXml = true);

private:
    void checkXml(ZipEntry& entry, bool isUsable, const ZipFaults& faults);

    ZipItems& items_;
    const ReadLimits& limits_;
};

/// Whether an error is about a content, not about a limit or the system.
bool isOfContent(const Exception& error);

} // namespace opc::storage
