// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>
#include <opc/storage/ItemPackage.hpp>
#include <opc/storage/zip/ZipOptions.hpp>

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

/// How a package in a folder works; a value, the same for every open.
struct DirectoryOptions {
    /// On what is read; the two for XML apply to the content types stream. Folders count as items, and all names
    /// together have at most 32 MiB, or 128 bytes for each item that the limit allows if that is more.
    Limits limits{};

    /// Whether `open` refuses a folder of which ZIP files could be made that readers read as different packages: of
    /// what `ZipOptions::consistent` refuses, all that is not about the records of a ZIP file. Every file is read once,
    /// within `limits`.
    bool consistent = false;

    /// What `DirectoryPackage::openTolerantly` takes of files for one part name and of content types streams, by the
    /// order of the names. Has no effect on `open`, and none with `consistent`.
    ZipOptions::Take take = ZipOptions::Take::Neither;

    /// The most threads that digest the parts that a signature covers at the same time, as `ZipOptions::threads`.
    unsigned threads = 1;

    /// As `ZipOptions::bytesRead`.
    std::atomic<std::uint64_t>* bytesRead = nullptr;

    /// As `ZipOptions::cancelled`.
    const std::atomic<bool>* cancelled = nullptr;
};

/// A package that was unpacked into a folder, for reading. Every regular file below the folder, hidden ones included,
/// is an item; its path from the folder on, with slashes, is the item name (ECMA-376-2 §7.3.4), without any decoding.
/// The order of the items is that of the bytes of their names. Folders are no items.
///
/// The same items are parts as in a ZIP file (`ZipPackage`). Nothing outside of the folder is read: no symbolic link
/// below the folder is followed, whatever other programs do meanwhile, and one that is there is refused, as are
/// devices, named pipes and sockets. The path of the folder itself may lead through links. No file stays open but the
/// folder, and those whose streams are between open and their end.
///
/// The package is what it was at the open: a file that is replaced or written to before all of it was read is an error,
/// found by its number, size and time of modification. So a signature is verified of one state, as far as the clock of
/// the file system tells states apart.
///
/// Owns all objects that it returns; not copyable. Used by one thread at a time. Starts threads of its own only as
/// `DirectoryOptions::threads` says; none is left when a function returns.
///
/// The rules of `IPhysicalPackage` hold. Messages name the folder and the item. Codes compare with the generic
/// conditions:
/// - bad_message: something other than a regular file or a folder, a name that is not UTF-8, no or two content types
///   streams, two files for the same part (`openTolerantly` tells all of these to its sink, leaves out what they are
///   about, and goes on); what `DirectoryOptions::consistent` refuses;
/// - file_too_large: a limit of `DirectoryOptions::limits` is reached, at open or when content is read;
/// - operation_not_permitted: an open for writing or creating, a change;
/// - device_or_resource_busy: a file or folder was replaced, or written to, since the open, or while it was listed;
/// - no_such_file_or_directory: a missing part or item;
/// - bad_file_descriptor: a use while closed, a second open, a read from a stream that is not open;
/// - the code of the system for its failures: no_such_file_or_directory, not_a_directory, permission_denied, ….
class OPCRAFT_API DirectoryPackage final : public ItemPackage {
public:
    /// Nothing is touched before `open`.
    explicit DirectoryPackage(std::filesystem::path folder, DirectoryOptions options = {});
    ~DirectoryPackage() override;

    DirectoryPackage(const DirectoryPackage&) = delete;
    DirectoryPackage& operator=(const DirectoryPackage&) = delete;

    std::vector<ZipItem> getItems() const override;
    interfaces::IPhysicalInputStream* getItemInputStream(const std::string& name) override;
    interfaces::IPhysicalInputStream* getItemInputStreamAt(std::size_t position) override;

    bool hasOtherItems(const std::u16string& extension) const override;
    std::unique_ptr<detail::ContentTypeTable> takeContentTypes() override;

    /// What the sink is told is left out then: what is not a regular file, files whose names are not UTF-8; and as by
    /// `ZipPackage::openTolerantly` files of the same part, duplicate pieces and content types streams, unless
    /// `DirectoryOptions::take` names one. Without a content types stream only relationships parts are parts.
    void openTolerantly(const interfaces::OpenMode& mode, FindingSink& sink) override;

    /// Names that meet, names that ZIP items do not have, content types and XML on which readers differ.
    void findAmbiguities(FindingSink& sink, bool readsContents) override;

    std::vector<Item> getStoredItems() const override;
    interfaces::IPhysicalInputStream* getStoredItemInputStream(std::size_t position) override;
    /// @throws opc::Exception operation_not_permitted always, when the package is open.
    void changeItems(std::vector<Change> changes, bool dropsSurroundings) override;

    // Parts in pieces are passed over.
    bool isParallel() const override;
    void readParts(const std::vector<interfaces::IPhysicalPart*>& parts, const Take& take) override;
    bool countAsRead(interfaces::IPhysicalPart& part) override;

    bool hasContentTypeStream() const override;
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override;
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override;
    std::vector<interfaces::IPhysicalPart*> getParts() override;
    /// @throws opc::Exception operation_not_permitted for another mode than read-only.
    void open(const interfaces::OpenMode& mode) override;
    void close(bool discard) override;
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          const interfaces::IPhysicalPartInfo& info) override;
    void deletePart(const std::u16string& name) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace opc::storage
