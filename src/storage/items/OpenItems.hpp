// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/ContentTypesReader.hpp"
#include "storage/items/ItemArchive.hpp"
#include "storage/items/ReadLimits.hpp"
#include "storage/items/ZipFaults.hpp"
#include "storage/items/ZipItems.hpp"

#include <opc/core/Findings.hpp>
#include <opc/core/PlainContentTypes.hpp>
#include <opc/core/interfaces/IPhysicalItems.hpp>
#include <opc/core/interfaces/IPhysicalParallelReading.hpp>
#include <opc/storage/zip/ZipItem.hpp>
#include <opc/storage/zip/ZipOptions.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::storage {

class PieceGroups;
struct PieceName;

/// How the items of a package are opened.
struct ItemsOpening {
    std::string label;  ///< of the package; starts the messages
    const char* kind;   ///< of what it is stored in: "a ZIP file"
    const char* ofKind; ///< stands before the name of another format of such files: "", "the content of "
    bool consistent;    ///< as of the `ZipOptions`
    ZipOptions::Take take;
    unsigned threads; ///< at least 1
};

/// The items of an open package: which of them are parts (ECMA-376-2 §7.2, §7.3), and their content.
class OpenItems final : public ZipItems, public ZipItemOwner {
public:
    /// @param opening outlives this object, as do the limits.
    OpenItems(ItemsOpening how, const ItemOrigin::Opening& opening, ReadLimits& limits)
        : how_(std::move(how)), opening_(opening), limits_(limits) {}

    /// Takes the items of an archive, which outlives them. Their number was checked.
    /// @throws opc::Exception what the faults throw; for a limit.
    void readNames(const ItemArchive& archive, const ZipFaults& faults);

    /// Finds the parts.
    /// @throws opc::Exception what the faults throw.
    void readContentTypes(const ZipFaults& faults);

    /// Those of names and content types.
    void findAmbiguities(const ZipFaults& faults, bool readsContents);

    /// Whether there are several content types streams, of which none is read.
    bool hasTwoContentTypes() const { return hasTwoContentTypes_; }

    /// The content types stream is being written.
    void forgetContentTypes() { table_.reset(); }

    std::unique_ptr<detail::ContentTypeTable> takeContentTypes() { return std::move(table_); }

    /// For the functions of the public classes with these names.
    std::vector<ZipItem> list() const;
    StoredItem& get(const std::string& name);
    StoredItem& getAt(std::size_t position);
    StoredItem& getContentTypes();
    std::vector<interfaces::IPhysicalPart*> getParts();
    std::vector<interfaces::IPhysicalItems::Item> getStored() const;
    StoredItem& getStoredAt(std::size_t position);

    bool isParallel() const { return how_.threads > 1; }
    void readParts(const std::vector<interfaces::IPhysicalPart*>& parts,
                   const interfaces::IPhysicalParallelReading::Take& take) const;
    bool countAsRead(interfaces::IPhysicalPart& part);

    const ItemOrigin::Opening& getOpening() const override { return opening_; }
    std::string labelOf(std::string_view itemName) const override;
    std::unique_ptr<ItemReader> readOriginal(ZipEntry& entry) override;

private:
    ZipEntry* findUnchanged(interfaces::IPhysicalPart& part) const;
    void addItems(std::vector<ItemArchive::Item> items, const PieceGroups& groups, const ZipFaults& faults);
    void addInterleavedPart(const PieceName& first, const std::vector<ItemArchive::Item>& items,
                            const PieceGroups& groups, const ZipFaults& faults);
    ZipEntry& addItem(std::uint64_t index, ItemArchive::Item&& item, std::vector<std::uint64_t> pieces,
                      const ZipFaults& faults);
    void setSizes(ZipEntry& entry, const ItemArchive::Item& item) const;
    void findContentTypes(const ZipFaults& faults);
    std::string readMediaType();
    std::optional<ContentTypes> readPlainContentTypes(ZipEntry& stream);
    std::optional<ContentTypes> readContentTypes(bool& isPlain);

    ItemsOpening how_;
    const ItemOrigin::Opening& opening_;
    ReadLimits& limits_;
    const ItemArchive* archive_ = nullptr; ///< null in a created package
    bool hasTwoContentTypes_ = false;
    std::map<std::size_t, ZipEntry> stored_;          ///< those that were asked for, as they are in the archive
    std::unique_ptr<detail::ContentTypeTable> table_; ///< null when the stream is not plain, or was written
    std::shared_ptr<const ContentTypes> types_;       ///< as opened, when that was tolerant and it is plain
};

/// Hands findings on, with the name of the part where there is one, and without what the open told already.
class PartFindings final : public FindingSink {
public:
    PartFindings(ZipItems& items, FindingSink& sink) : items_(items), sink_(sink) {}
    void found(const Finding& finding) override;

private:
    ZipItems& items_;
    FindingSink& sink_;
};

} // namespace opc::storage
