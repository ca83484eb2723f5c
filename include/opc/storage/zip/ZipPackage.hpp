// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/storage/zip/ZipItem.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

/// A physical package in a ZIP file, or in the bytes of one (ECMA-376-2 §7.3).
///
/// An item whose name maps to no part name, or that the content types stream gives no content type, is no
/// part; it stays in the file as it is (`getOtherItems`). Items that are not changed keep their compressed
/// bytes and their order. The same calls give the same bytes: times are fixed.
///
/// A save writes a temporary file in the folder of the target, syncs it, renames it over the target (through a
/// symbolic link, with the mode of the file that was there) and syncs the folder: whatever fails, the file is
/// the old one or the new one. A read-write package without changes writes nothing.
///
/// Owns everything it hands out; not copyable. Used by one thread at a time.
///
/// The rules of `IPhysicalPackage` hold. Messages name the file and the item. Codes compare with the generic
/// conditions: bad_message for what is no ZIP or damaged (a wrong CRC included) and for two items that are the
/// same part, not_supported for an encrypted item or an unknown compression (when it is read),
/// no_such_file_or_directory for a missing file (at open only), operation_not_permitted for a
/// change in a read-only package or a read in a created one, invalid_argument for a part name that would not map
/// back from its item name, file_exists for a part name or item name that is taken, bad_file_descriptor for a use
/// while closed, and the system's own (permission_denied, no_space_on_device, …) for what the system refuses.
class OPCRAFT_API ZipPackage final : public interfaces::IPhysicalPackage {
public:
    /// A package in a file. Nothing is touched before `open`.
    explicit ZipPackage(std::filesystem::path file);

    /// A package in the bytes of a ZIP file. Not owned: the vector outlives the package, is read while the package
    /// is open and must not be changed then; a save replaces its content.
    explicit ZipPackage(std::vector<unsigned char>& bytes);

    ~ZipPackage() override;

    ZipPackage(const ZipPackage&) = delete;
    ZipPackage& operator=(const ZipPackage&) = delete;

    /// Lets the next save of a package that is open in read-write or create-only mode go to another file, which
    /// is written even when nothing was changed; the file that was opened stays as it is. Holds until the package
    /// is closed. Also the way out after a close that failed.
    /// @throws opc::Exception bad_file_descriptor when the package is closed, operation_not_permitted when it is
    ///         read-only.
    void setOutput(std::filesystem::path file);

    /// Every item in the order of the file, new ones behind, deleted ones left out.
    /// @throws opc::Exception bad_file_descriptor when the package is closed.
    std::vector<ZipItem> getItems() const;

    /// The names of the items that are no parts, in the order of the file.
    /// @throws opc::Exception bad_file_descriptor when the package is closed.
    std::vector<std::string> getOtherItems() const;

    /// Reads an item of any kind by its exact item name. The stream is the package's own: the same one at every
    /// call for an item, valid until the package is closed.
    /// @throws opc::Exception no_such_file_or_directory when there is no such item, bad_file_descriptor when the
    ///         package is closed, operation_not_permitted when it was opened for create only.
    interfaces::IPhysicalInputStream* getItemInputStream(const std::string& name);

    bool hasContentTypeStream() const override;
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override;
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override;
    std::vector<interfaces::IPhysicalPart*> getParts() override;
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
