// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/items/ItemArchive.hpp"
#include "storage/zip/DeflateStream.hpp"
#include "storage/zip/ZipDirectory.hpp"
#include "storage/zip/ZipSource.hpp"

#include <zip.h>

#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

struct ZipDiscarder {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ZipHandle = std::unique_ptr<zip_t, ZipDiscarder>;

/// A ZIP file that is open for reading. Items are identified by their index in the central directory.
class ZipArchive final : public ItemArchive {
public:
    /// @param bytes outlive the archive.
    /// @param label starts the messages.
    /// @throws opc::Exception bad_message for a file that is not a ZIP file, or is ambiguous.
    ZipArchive(const Bytes& bytes, std::string label);

    std::uint64_t count() const override;

    /// A name in the old IBM code page is converted.
    Item item(std::uint64_t index) const override;

    std::uint64_t storedSize() const override { return bytes_.size(); }
    std::string_view storedName(std::uint64_t index) const override {
        return zipformat::viewOf(directory_.records()[index].name());
    }
    std::uint64_t place(std::uint64_t index) const override { return directory_.records()[index].localHeader; }

    /// The comment of an item, in UTF-8.
    std::string comment(std::uint64_t index) const;

    /// @throws opc::Exception not_supported for encrypted content or an unknown compression method; by the
    ///         reader, bad_message for damaged content.
    std::unique_ptr<ItemReader> read(std::uint64_t index, const std::string& itemLabel) const override;

    void readWhole(std::uint64_t index, const TakeBytes& take) const override;

    const std::string& getLabel() const { return label_; }
    const ZipDirectory& getDirectory() const { return directory_; }
    const Bytes& getBytes() const { return bytes_; }

private:
    bool hasSameItems(const ZipDirectory& directory) const;
    void throwIfOverlapping(std::uint64_t index, const std::string& itemLabel) const;

    std::string label_;
    const Bytes& bytes_;
    std::unique_ptr<ZipSource> source_;
    ZipHandle zip_;
    ZipDirectory directory_;
};

} // namespace opc::storage
