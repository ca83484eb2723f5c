// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/IPhysicalRenaming.hpp>
#include <opc/storage/ItemPackage.hpp>
#include <opc/storage/zip/ZipItem.hpp>
#include <opc/storage/zip/ZipOptions.hpp>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

/// A physical package in a ZIP file, or in the bytes of one (ECMA-376-2 §7.3).
///
/// An item whose name maps to no part name, or that has no content type in the content types stream, is not a
/// part; it stays in the file as it is (`getOtherItems`). Interleaved items (ECMA-376-2 §7.2.4) are read as one part
/// and stay as they are until it is rewritten, as one item; a piece of an incomplete row is not a part. Items that are
/// not changed keep their compressed bytes and their order; an item that is rewritten keeps its name and position and
/// is deflated. A created package starts with the content types stream, the relationships of the package and the main
/// document that they name, so that programs that check the first items recognize its kind; in a package that starts so
/// far, these items are added there when they are new, and all other new ones at the end. The same
/// calls produce the same bytes: what is written has the time 1980-01-01 00:00.
///
/// A save writes a temporary file in the folder of the target, syncs it, renames it over the target (through a
/// symbolic link, with the mode of the old file) and syncs the folder: whatever fails, the file is
/// the old one or the new one, and no temporary file stays; one that a killed process left is removed by the next
/// save. A read-write package without changes writes nothing.
///
/// No update of another program is lost: a save replaces the file that was opened, or in create-only mode existed at
/// the open, and for `setOutput` existed when it was named. When the path leads to another file at the time of the
/// rename, or the file has another size or modification time, the save is refused (device_or_resource_busy); when
/// it leads to none, the file is created. With `ZipOptions::lockTimeout` savers wait for each other instead.
///
/// Parts of any size are read and written in constant memory (`ZipOptions::memory`); ZIP64 is used where sizes or
/// counts need it, and nowhere else.
///
/// Owns all objects that it returns; not copyable. Used by one thread at a time. Starts threads of its own only as
/// `ZipOptions::threads` says; none is left when a function returns.
///
/// The rules of `IPhysicalPackage` hold. Messages name the file and the item. Codes compare with the generic
/// conditions:
/// - bad_message: not a ZIP file, no or two content types streams, two items of the same part, items that overlap
///   (`openTolerantly` tells which of them are not refused there);
///   what `ZipOptions::consistent` refuses; damaged content (a wrong checksum or length), when it is read;
/// - file_too_large: a limit of `ZipOptions::limits` is reached, at open, when content is read, when a part is created
///   whose name or that of its relationships part is too long, or by a save;
/// - not_supported: an encrypted item or an unknown compression method, when it is read;
/// - operation_not_permitted: a change in a read-only package, a read or a deletion in a created one;
/// - invalid_argument: a part name that would not map back from its item name, an output that is not a regular file;
/// - file_exists: the name of an existing part or other item, or of a folder of an item that is not a part, or a name
///   below such an item that is not a folder;
///   no_such_file_or_directory: a missing part;
/// - device_or_resource_busy: another program wrote to the file or replaced it since it was opened, when it is saved;
///   another process is changing it for all of `ZipOptions::lockTimeout`, at open;
/// - bad_file_descriptor: a use while closed, a second open, a read from a stream that is not open;
/// - the code of the system for its failures: no_such_file_or_directory (at open the file, at a save the folder),
///   permission_denied (at open also for a file that read-write mode may not write), no_space_on_device, …. Content
///   that could not be kept until the save makes every save fail, until it is rewritten or its part is deleted.
class OPCRAFT_API ZipPackage final : public ItemPackage, public interfaces::IPhysicalRenaming {
public:
    /// A package in a file. Nothing is touched before `open`.
    explicit ZipPackage(std::filesystem::path file, ZipOptions options = {});

    /// A package in the bytes of a ZIP file. Not owned: the vector outlives the package, is read while the package
    /// is open and must not be changed then; a save replaces its content.
    explicit ZipPackage(std::vector<unsigned char>& bytes, ZipOptions options = {});

    ~ZipPackage() override;

    ZipPackage(const ZipPackage&) = delete;
    ZipPackage& operator=(const ZipPackage&) = delete;

    /// Redirects the next save of a package that is open in read-write or create-only mode to another file, which
    /// is written even when nothing was changed; the file that was opened is not changed, unless it is named itself.
    /// Applies until the package is closed. Also possible after a close that failed. Called before the open, which may
    /// then be for read-write of a file that may not be written, it applies to that one.
    /// @throws opc::Exception operation_not_permitted in a read-only package; before the open, the open throws it.
    void setOutput(const std::filesystem::path& file);

    // The order of the store is that of the central directory.
    std::vector<ZipItem> getItems() const override;
    interfaces::IPhysicalInputStream* getItemInputStream(const std::string& name) override;
    interfaces::IPhysicalInputStream* getItemInputStreamAt(std::size_t position) override;

    /// What the sink is told is not refused then:
    /// - items of the same part: the one that `ZipOptions::take` names is the part, and to delete it deletes all of
    ///   them; without one, none is a part, and neither are their relationships;
    /// - a piece of a part that is there twice: there is no such part;
    /// - several content types streams: the one that `ZipOptions::take` names is read; without one, none is, and none
    ///   can be written (file_exists);
    /// - no content types stream in a file of no other known format: of the items, only relationships parts are parts,
    ///   as always without a type;
    /// - bytes before the archive that its offsets do not count;
    /// - several archives in a row, with up to 64 KiB between them, where `ZipOptions::take` names one.
    /// An item that is left out is kept as it is, and `getItems` says why. A content types stream that is there but
    /// cannot be read makes no parts either; what is wrong with it is told to those who parse it. Of the last two, what
    /// the file has beside the archive cannot be kept: a save with a change is refused (operation_not_permitted) unless
    /// `changeItems` drops it. Refused all the same are other formats, files without a central directory, and items
    /// that overlap; with `ZipOptions::consistent`, all that `open` refuses.
    void openTolerantly(const interfaces::OpenMode& mode, FindingSink& sink) override;

    /// All that `ZipOptions::consistent` would refuse, and what is against the format in item names and records. It is
    /// about the file that was opened: changes made since do not count, and in create-only mode there is nothing to
    /// tell. Each item tells the first fault of its record, its local header and its place. An item that is a part is
    /// told by its part name.
    void findAmbiguities(FindingSink& sink, bool readsContents) override;

    /// The positions are those in the central directory. Reading an item here counts for the limits, also when the part
    /// was read.
    std::vector<Item> getStoredItems() const override;
    interfaces::IPhysicalInputStream* getStoredItemInputStream(std::size_t position) override;

    /// An item with new content is deflated, and has the time 1980-01-01 00:00; any other one keeps its compressed
    /// bytes, times, attributes and comment. A new name is written to both headers, as UTF-8 where it is not ASCII, and
    /// an extra field with the old one (APPNOTE §4.6.9) is left out. With `dropsSurroundings`, so are the bytes before
    /// the first item, and a comment of the archive that has an end record in it; what lies between and behind is left
    /// out by every save.
    void changeItems(std::vector<Change> changes, bool dropsSurroundings) override;

    /// Items whose names map to no part name are included: other programs may map them.
    bool hasOtherItems(const std::u16string& extension) const override;

    // As `ZipOptions::threads` says. Parts that were written since the open, and parts in pieces, are passed over.
    bool isParallel() const override;
    void readParts(const std::vector<interfaces::IPhysicalPart*>& parts, const Take& take) override;
    bool countAsRead(interfaces::IPhysicalPart& part) override;

    std::unique_ptr<detail::ContentTypeTable> takeContentTypes() override;

    bool hasContentTypeStream() const override;
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override;
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override;
    std::vector<interfaces::IPhysicalPart*> getParts() override;
    void open(const interfaces::OpenMode& mode) override;
    void close(bool discard) override;
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          const interfaces::IPhysicalPartInfo& info) override;
    void deletePart(const std::u16string& name) override;
    /// The item keeps its position, compressed bytes, times, attributes and comment, and gets the new name in both
    /// headers. A part in pieces that was not written since the open is to be copied, and so is one of several items
    /// for one part.
    interfaces::IPhysicalPart* renamePart(const std::u16string& name, const std::u16string& newName) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace opc::storage
