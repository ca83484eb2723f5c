// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace opc::storage {

/// How a ZIP package works; a value, the same for every open.
struct ZipOptions {
    Limits limits{}; ///< on what is read; the two for XML apply to the content types stream

    /// Bytes of memory that all new contents may take together until they are saved. What exceeds it is moved,
    /// compressed, to a temporary file without a name. Ignored for a package in bytes.
    std::uint64_t memory = 8ULL * 1024 * 1024;

    /// The folder of that file; empty: the one that TMPDIR names, else /var/tmp.
    std::filesystem::path temporaryFolder{};

    /// The most threads that read at the same time, that of the caller included; 0: as many as the system can run.
    /// More than one are used from 4 MiB of content on, to digest the parts that a signature covers and to read all
    /// items for `consistent`: each inflates items on its own, in about 200 KiB of memory. What comes out is the same,
    /// errors and their order included. No thread is left when a function returns.
    unsigned threads = 1;

    /// Serializes processes that change one file in place: `open` in read-write mode, or in create-only
    /// mode over an existing file, waits for the lock of the system (`flock`) on the file itself, which is held
    /// until the package is closed; at the timeout it fails with device_or_resource_busy. Nothing: there is no
    /// lock, and the second of two saves is refused. Ignored for a package in bytes, when
    /// `ZipPackage::setOutput` named another file before, and where the system has no such locks.
    std::optional<std::chrono::milliseconds> lockTimeout{};

    /// Whether `open` refuses a file that other readers could read as another package, with bad_message; for files
    /// whose content is signed, for example. Every item is read once, within `limits`. Refused are:
    /// - an item whose local header and central directory disagree about name, method, checksum, sizes or flags, or
    ///   whose data descriptor (APPNOTE §4.3.9) is missing, disagrees, lacks its signature, or has sizes of another
    ///   width than the local header tells; a stored item with a data descriptor, whose end a reader from the front
    ///   cannot find, and a compressed one with the signature of a data descriptor and that of another item in it;
    /// - duplicate items, also by names that some reader confuses: differences in case, in empty or dot
    ///   segments, backslashes, slashes at either end, blanks around and dots and versions (";1") after a segment,
    ///   drives and other colons, escapes, control characters, compatible and ignorable characters and normalization
    ///   forms of Unicode are ignored;
    /// - a name that an extra field replaces; extra fields that are cut off; two ZIP64 fields of one item, and in the
    ///   central directory one with numbers that need no 64 bits (APPNOTE §4.5.3);
    /// - links and devices, folders without a slash at the end of their name, and labels of volumes, by the attributes
    ///   or an extra field;
    /// - a damaged content, and a compressed stream that does not end exactly where its item ends;
    /// - methods other than stored and deflated, flags for encryption and patches and reserved flags, and versions
    ///   needed to extract above 4.5 (APPNOTE §4.4.3 to §4.4.5);
    /// - names that are neither ASCII nor UTF-8 and marked as such, which readers decode in different ways;
    /// - parts in pieces, which few readers support;
    /// - duplicate entries of the content types stream, compared in the same way, and a stream with a name in another
    ///   case than "[Content_Types].xml";
    /// - an item below another one that is not a folder ("a.xml/b"): a reader may create "a.xml" as a folder;
    /// - a content types stream or a relationships part that cannot be read, is not XML 1.0, or has another encoding
    ///   than it declares;
    /// - anything before the first item, such as a document of another format or a program that unpacks the
    ///   file, and anything between items, also zeros: other readers would find items that the directory does not
    ///   list, or stop there;
    /// - anything between the central directory and the end record or after its comment, the signature of an end
    ///   record in the comment or the directory, two end records that disagree, one that refers to an end record of
    ///   ZIP64 that is not there, the signature of its locator elsewhere near the end, several disks: a reader that
    ///   searches from the end could find another.
    ///
    /// Not refused is what real producers do and readers ignore: other times, versions, extra fields or,
    /// of a deflated item, compression level in the local header, zeros for the numbers of a data descriptor,
    /// and items of folders. Two archives in a row are refused without this, too.
    bool consistent = false;

    /// Which of several things that would be the same one is read.
    enum class Take {
        Neither,
        First, ///< in the order of the file
        Last,  ///< as most programs do
    };

    /// What `ZipPackage::openTolerantly` takes of items for one part name, of content types streams and of archives in
    /// a row. Has no effect on `open`, and none with `consistent`.
    Take take = Take::Neither;

    /// Receives the bytes of items that were read so far, on any thread, so that a program can show how far its work
    /// is: what is read twice counts twice. Not owned; outlives the package. Null: nobody wants to know.
    std::atomic<std::uint64_t>* bytesRead = nullptr;

    /// Ends what goes on once it is true, from any thread: whatever reads or saves fails with operation_canceled, and
    /// the file stays as it is. Not owned; outlives the package. Null: nobody ends it.
    const std::atomic<bool>* cancelled = nullptr;
};

} // namespace opc::storage
