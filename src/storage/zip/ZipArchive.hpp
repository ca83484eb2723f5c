// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/StoredItem.hpp"
#include "storage/zip/FileBytes.hpp"
#include "storage/zip/ZipSource.hpp"

#include <zip.h>

#include <memory>
#include <optional>
#include <string>

namespace opc::storage {

struct ZipDiscarder {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ZipHandle = std::unique_ptr<zip_t, ZipDiscarder>;

/// Opens an archive over a source; the flags are those of libzip.
/// @param label starts the messages.
ZipHandle openZip(ZipSource& source, int flags, const std::string& label);

/// A ZIP file that is open for reading. Items are known by their place in the central directory.
class ZipArchive {
public:
    struct Item {
        std::string name; ///< UTF-8; a name in the old IBM code page is converted
        std::uint64_t size = 0;
        std::uint64_t compressedSize = 0;
    };

    /// @param label starts the messages.
    /// @throws opc::Exception bad_message for what is no ZIP file.
    ZipArchive(std::unique_ptr<PackageBytes> bytes, std::string label);

    std::uint64_t count() const;
    Item item(std::uint64_t index) const;

    /// Reads an item from its start. Any number of readers may be in use at the same time; none outlives the
    /// archive.
    /// @param itemLabel starts the messages.
    /// @throws opc::Exception not_supported for encrypted content or an unknown compression method; by the
    ///         reader, bad_message for damaged content.
    std::unique_ptr<ItemReader> read(std::uint64_t index, const std::string& itemLabel) const;

    /// Refuses a file in which two items share bytes, so that a short file could stand for endless content.
    /// @throws opc::Exception bad_message
    void throwIfOverlapping() const;

    const PackageBytes& getBytes() const { return *bytes_; }

private:
    /// The bytes of the file that an item takes.
    struct Extent {
        std::uint64_t start;
        std::uint64_t end;
        std::uint64_t index;
    };
    std::optional<Extent> findExtent(std::uint64_t index) const;

    std::string label_;
    std::unique_ptr<PackageBytes> bytes_;
    std::unique_ptr<ZipSource> source_;
    ZipHandle zip_;
};

} // namespace opc::storage
