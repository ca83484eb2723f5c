// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/FileDescriptor.hpp"
#include "storage/FileIdentity.hpp"
#include "storage/ItemReader.hpp"
#include "storage/items/ZipFaults.hpp"

#include <opc/core/Limits.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

/// A regular file somewhere below a folder, as it was when the folder was listed.
struct DirectoryFile {
    std::string name; ///< the path from the folder on, with slashes: a valid item name, UTF-8
    FileIdentity identity;
    std::uint64_t size; ///< bytes
};

/// All regular files below a folder, hidden ones included.
///
/// No symbolic link is followed below the folder, neither when it is listed nor when a file is read; so nothing outside
/// of it is read, whatever other programs do to it meanwhile. No descriptor but that of the folder stays open.
/// Any number of threads may use it at the same time; what it returns, one thread each.
class DirectoryFiles {
public:
    /// Lists the folder.
    /// @param folder may be a symbolic link to a folder itself; its path starts the messages.
    /// @param limits those on the number of items, folders included, and on the length of their names. All names
    ///        together are bound to 32 MiB, or 128 bytes for each item that the limit allows if that is more.
    /// @param faults symbolic links, devices, pipes and sockets (`RuleId::ZipFileKind`), and names that are not UTF-8
    ///        (`RuleId::ItemNameSyntax`), which are left out when the faults go to a sink.
    /// @throws opc::Exception file_too_large for a limit; device_or_resource_busy for a folder that was moved while it
    ///         was read; what the system reports; what the faults throw.
    DirectoryFiles(const std::filesystem::path& folder, const Limits& limits, const ZipFaults& faults);

    /// In the order of the bytes of the names.
    const std::vector<DirectoryFile>& all() const { return files_; }

    /// Starts to read a file from its first byte on. At the end the file is closed. The reader may outlive the files.
    /// @param file one of `all()`.
    /// @param label starts the messages, also those of the reader.
    /// @throws opc::Exception device_or_resource_busy, here and by the reader up to its end, when the file is not the
    ///         one that was listed, with the same size and time of modification; what the system reports.
    std::unique_ptr<ItemReader> read(const DirectoryFile& file, const std::string& label) const;

private:
    FileDescriptor root_;
    std::vector<DirectoryFile> files_;
};

} // namespace opc::storage
