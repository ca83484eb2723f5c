// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>
#include <opc/storage/zip/ZipItem.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace opc::storage {

class ItemPackage;

/// What is extracted, and over what; a value.
struct ExtractionOptions {
    bool otherItems = false; ///< items that are not parts, and items of folders, as well; ignored with `positions`
    bool replaces = false;   ///< the folder may have files already, and those of the same names are replaced
    std::optional<std::vector<std::size_t>> positions{}; ///< of items as in `ItemPackage::getItems`; nothing: all
    std::uint64_t maximumFolders = Limits().items;       ///< a few long names could make many folders
};

/// Is told what becomes of each item, in the order of the package, on the thread that called `extract`.
class OPCRAFT_API ExtractionSink {
public:
    virtual ~ExtractionSink();

    /// A file has the content of the item, or for the item of a folder there is a folder.
    virtual void extracted(const ZipItem& item) = 0;

    /// Nothing was made of the item. The error names the item. Its code is
    /// - invalid_argument: no file can have the name;
    /// - file_exists: something is in the way, or several items would be one file;
    /// - as of the package for content that cannot be read.
    virtual void leftOut(const ZipItem& item, const Exception& error) = 0;
};

/// Writes items of a package to files below a folder. A file is named as its item is, byte for byte: nothing is
/// decoded, and no name is changed. Of a part in pieces (ECMA-376-2 §7.2.4) the whole content becomes one file, with
/// the name that precedes "/[0].piece". Files and folders have the permissions that the umask leaves. A file that
/// exists is not made empty at any time: when a new one is complete it takes the place, with the mode and, where the
/// system allows it, the owner of the old one. A process that is killed leaves the files that are complete, or the
/// start of one where the file system has no files without names; nothing waits until the disk has them.
///
/// All is done below the folder, whatever the package or other programs do: no symbolic link is followed there.
/// An item is left out and told to the sink, and the others are extracted, when
/// - its name has an empty, "." or ".." segment, a segment of more than 255 bytes or more than 4095 bytes in all, or a
///   character U+0000; or the file system refuses it;
/// - several items have its name (of which a part or the content types stream is extracted, if there is just one), or
///   an item has the name of a folder that it is in;
/// - the file system does not tell its name from another one, as by case;
/// - a file has its name and `ExtractionOptions::replaces` is false, or something else has: a link, a device, a folder;
/// - its content is damaged, or beyond a limit.
/// Backslashes and colons are characters as others are.
///
/// Parts are inflated on several threads, as `ZipOptions::threads` says of a ZIP file; the memory is constant.
///
/// @param package open for reading, and not changed since.
/// @param folder is created when it is missing; may be a symbolic link to a folder.
/// @throws opc::Exception directory_not_empty, and nothing is written, when the folder is not empty and
///         `ExtractionOptions::replaces` is false; not_a_directory; bad_file_descriptor when the package is closed;
///         no_such_file_or_directory for a position that is too large, or a missing parent folder; file_too_large when
///         the items need more folders than `ExtractionOptions::maximumFolders`; what the system reports when something
///         cannot be written: the item is left out then, the ones told before stay.
OPCRAFT_API void extract(ItemPackage& package, const std::filesystem::path& folder, const ExtractionOptions& options,
                         ExtractionSink& sink);

} // namespace opc::storage
