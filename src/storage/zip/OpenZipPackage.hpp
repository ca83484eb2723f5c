// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/OpenItems.hpp"
#include "storage/items/ReadLimits.hpp"
#include "storage/items/ZipFaults.hpp"
#include "storage/zip/ArchivesInRow.hpp"
#include "storage/zip/FileBytes.hpp"
#include "storage/zip/Targets.hpp"
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipWriter.hpp"

#include <opc/core/PlainContentTypes.hpp>
#include <opc/core/interfaces/IPhysicalItems.hpp>
#include <opc/core/interfaces/IPhysicalParallelReading.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/storage/zip/ZipOptions.hpp>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace opc::storage {

class ContentChecks;

/// Where a ZIP package is kept: in a file, or in bytes.
struct ZipLocation {
    std::string label; ///< starts the messages
    std::filesystem::path file;
    std::vector<unsigned char>* bytes = nullptr;
    ZipOptions options{};
};

/// A ZIP package from its open to its close. The operations are those of `ZipPackage`.
class OpenZipPackage final {
public:
    /// @param output as for `setOutput`; nothing: where the package is kept.
    /// @param sink null: what is wrong is thrown. Used by the constructor only.
    OpenZipPackage(const ZipLocation& location, interfaces::OpenMode mode,
                   const std::optional<std::filesystem::path>& output = std::nullopt, FindingSink* sink = nullptr);

    void findAmbiguities(FindingSink& sink, bool readsContents);

    void setOutput(const std::filesystem::path& file);
    std::vector<ZipItem> getItems() const { return items_.list(); }
    bool hasOtherItems(const std::u16string& extension) const { return items_.hasOthers(extension); }
    interfaces::IPhysicalInputStream* getItemInputStream(const std::string& name);
    interfaces::IPhysicalInputStream* getItemInputStreamAt(std::size_t position);
    interfaces::IPhysicalInputStream* getContentTypeInputStream();
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream();
    std::unique_ptr<detail::ContentTypeTable> takeContentTypes() { return items_.takeContentTypes(); }
    std::vector<interfaces::IPhysicalPart*> getParts() { return items_.getParts(); }
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          interfaces::CompressionType compression);
    void deletePart(const std::u16string& name);
    interfaces::IPhysicalPart* renamePart(const std::u16string& name, const std::u16string& newName);

    // Those of `IPhysicalItems`.
    std::vector<interfaces::IPhysicalItems::Item> getStoredItems() const { return items_.getStored(); }
    interfaces::IPhysicalInputStream* getStoredItemInputStream(std::size_t position);
    void changeItems(const std::vector<interfaces::IPhysicalItems::Change>& changes, bool dropsSurroundings);

    // Those of `IPhysicalParallelReading`.
    bool isParallel() const { return items_.isParallel(); }
    void readParts(const std::vector<interfaces::IPhysicalPart*>& parts,
                   const interfaces::IPhysicalParallelReading::Take& take) const {
        items_.readParts(parts, take);
    }
    bool countAsRead(interfaces::IPhysicalPart& part) { return items_.countAsRead(part); }

    /// Writes the changes, if there are any, to the file or the output.
    void save();

private:
    void openReplaced();
    void takeForOwn(FileBytes& file);
    std::unique_ptr<PackageBytes> openBytes();
    void openArchive(const ZipFaults& faults);
    bool chooseArchive(const ZipFaults& faults);
    ContentChecks contentChecks();
    void removeItem(ZipEntry& item);
    std::string itemNameFor(const std::u16string& name, const ZipEntry* renamed = nullptr);
    void throwIfTaken(std::u16string_view name, std::string_view itemName, const ZipEntry* renamed);
    void throwIfBeyondLimits(const ZipChanges& changes) const;
    std::string labelOf(std::u16string_view partName) const;
    void throwIfReadOnly(std::u16string_view partName = {}) const;
    void throwIfCreateOnly(const std::string& label) const;
    struct Head {
        std::vector<const ZipEntry*> entries; ///< new ones
        std::uint64_t leading = 0;            ///< items of the archive before them
    };
    ZipEntry* findMainPart(ZipEntry& relationships);
    Head findHead();
    ZipChanges collectChanges();
    ZipChanges chooseChanges();
    std::unique_ptr<Target> makeTarget();
    void throwIfChanged() const;

    ZipLocation location_;
    const unsigned threads_;
    ItemOrigin::Opening opening_;         ///< without an area for a package in bytes
    std::optional<Destination> own_;      ///< nothing for a package in bytes
    std::optional<Destination> output_;   ///< elsewhere
    bool isOutputSet_ = false;            ///< it is written even when nothing was changed
    std::unique_ptr<FileBytes> replaced_; ///< what a created package replaces
    ReadLimits limits_;
    std::unique_ptr<PackageBytes> bytes_;   ///< null in a created package, like the archive
    std::unique_ptr<ArchiveBytes> taken_;   ///< of them, those of the archive; null: all
    std::unique_ptr<ZipArchive> archive_;   ///< destroyed before the bytes
    OpenItems items_;                       ///< its readers are destroyed before the archive
    std::optional<ZipChanges> itemChanges_; ///< instead of those to parts
    std::vector<std::uint64_t> deleted_;    ///< indexes in the archive
};

} // namespace opc::storage
