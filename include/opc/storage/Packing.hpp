// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>

#include <cstdint>
#include <filesystem>
#include <vector>

namespace opc::storage {

/// How a folder is packed; a value.
struct PackingOptions {
    Limits limits{};         ///< on what is in the folder, and on the new package, so that it can be read again
    bool otherItems = false; ///< files that are no parts become items as well; otherwise they are refused
    bool replaces = false;   ///< a file that exists is replaced

    /// Bytes of memory for the content of one file. A larger one is held, compressed, in a temporary file without a
    /// name until it is written.
    std::uint64_t memory = 8ULL * 1024 * 1024;

    /// The folder of that file; empty: the one that TMPDIR names, else /var/tmp.
    std::filesystem::path temporaryFolder{};
};

/// What was packed.
struct PackingResult {
    std::uint64_t items = 0; ///< of the package
    std::uint64_t size = 0;  ///< bytes of all of them
};

/// Makes a package of the files below a folder, hidden ones included, which `extract` takes apart again. Each becomes
/// an item with its path as name, byte for byte, deflated, of the time 1980-01-01 00:00: the same files give the same
/// package. The content types stream comes first, then the relationships of the package and the main document that
/// they name, then all others in the order of the bytes of their names. The pieces of a part (ECMA-376-2 §7.2.4) become
/// one item. Folders are no items.
///
/// The files are read as by `DirectoryPackage`, and held to the state in which they were listed. The new file is saved
/// as by `ZipPackage`: it is there when it is complete, and an old one stays until then. The memory is constant.
///
/// @param file is not in the folder.
/// @throws opc::Exception as `DirectoryPackage::open` for a folder that is not a package, with anything in it that is
///         neither a regular file nor a folder; not_supported for a file that would be no part, unless
///         `PackingOptions::otherItems` is set; file_exists for a file that exists, unless `PackingOptions::replaces`
///         is set; invalid_argument for one in the folder, or one that is not a regular file; file_too_large for a
///         limit; device_or_resource_busy when another program changes the folder or creates the file meanwhile; what
///         the system reports.
OPCRAFT_API PackingResult pack(const std::filesystem::path& folder, const std::filesystem::path& file,
                               const PackingOptions& options = {});

/// The same into memory.
/// @param bytes are replaced by the package.
OPCRAFT_API PackingResult pack(const std::filesystem::path& folder, std::vector<unsigned char>& bytes,
                               const PackingOptions& options = {});

} // namespace opc::storage
