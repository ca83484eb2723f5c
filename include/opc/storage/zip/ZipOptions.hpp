// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace opc::storage {

/// How a ZIP package works; a value, the same for every open.
struct ZipOptions {
    Limits limits{}; ///< on what is read; the two for XML count for the content types stream

    /// Bytes of memory that all new contents may take together until they are saved. What is written beyond goes,
    /// compressed, to a temporary file without a name. Of no meaning for a package in bytes.
    std::uint64_t memory = 8ULL * 1024 * 1024;

    /// Where that file is; empty: the folder that TMPDIR names, else /var/tmp.
    std::filesystem::path temporaryFolder{};

    /// Lets those who change one file in place come one after another: `open` in read-write mode, or in create-only
    /// mode over a file that is there, waits for the lock of the system (`flock`) on the file itself, which is held
    /// until the package is closed; when the time is over, it fails with device_or_resource_busy. Nothing: no lock is
    /// waited for, and a save that comes second is refused. Of no meaning for a package in bytes, when
    /// `ZipPackage::setOutput` named another file before, and where the system has no such locks.
    std::optional<std::chrono::milliseconds> lockTimeout{};

    /// Whether `open` refuses a file that other readers could take for another package, with bad_message; for files
    /// whose content somebody vouches for. Of contents, only the content types and the relationships are read: damage
    /// in others shows when they are read. Refused are:
    /// - an item whose local header and central directory disagree about name, method, checksum, sizes or flags, or
    ///   whose data descriptor (APPNOTE §4.3.9) is missing or says something else;
    /// - two items of one name, or whose names some reader takes for one: differences in case, in empty or dot
    ///   segments, backslashes, slashes at either end, blanks around and dots behind a segment, escapes, compatible and
    ///   ignorable characters and normalization forms of Unicode, and the encoding of a name that is not marked as
    ///   UTF-8 do not count;
    /// - a name that an extra field replaces; two ZIP64 fields of one item; links and devices;
    /// - parts in pieces, which few readers put together;
    /// - two entries of the content types stream for one name, compared in the same way;
    /// - an item below another one that is not a folder ("a.xml/b"): a reader may take "a.xml" for the folder;
    /// - a content types stream or a relationships part that cannot be read, is not XML 1.0, or has another encoding
    ///   than it declares;
    /// - anything in front of the first item, such as a document of another format or a program that unpacks the
    ///   file, and anything but zeros between items: who reads from the front would find what the directory does not
    ///   know;
    /// - anything between the central directory and the end record or behind its comment, an end record in the
    ///   comment, two end records that disagree, several disks: who looks for the directory from the end could find
    ///   another.
    ///
    /// Not refused is what real producers do, and what no reader goes by: other times, versions, extra fields or
    /// compression level in the local header, zeros in place of what a data descriptor tells, zeros that align the next
    /// item, and items of folders. Two archives in a row are refused without this, too.
    bool consistent = false;
};

} // namespace opc::storage
