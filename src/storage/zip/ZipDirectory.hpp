// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/zip/ZipFormat.hpp"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::storage {

/// What the central directory of a ZIP file says of one item.
struct DirectoryRecord {
    zipformat::ByteSpan bytes; ///< the whole record; owned by the directory
    unsigned flags;
    std::uint32_t checksum;
    std::uint64_t compressedSize;
    std::uint64_t size;
    std::uint64_t localHeader; ///< place in the file

    zipformat::ByteSpan name() const;
    zipformat::ByteSpan extra() const;
    zipformat::ByteSpan comment() const;
};

/// The central directory of a ZIP file as it stands there (APPNOTE §4.3.12), to take over what is not changed.
class ZipDirectory {
public:
    /// Finds the directory of the last end record; what is in the comment of the archive is no end record.
    /// @param isWanted tells whether another reader found the same one.
    /// @throws opc::Exception bad_message when it did not, or when an earlier end record outside the content of the
    /// items
    ///         leads to a directory, too: who reads the file could not be sure.
    static ZipDirectory find(const Bytes& file, const std::function<bool(const ZipDirectory&)>& isWanted,
                             const std::string& label);

    ZipDirectory() = default;
    ZipDirectory(ZipDirectory&&) = default;
    ZipDirectory& operator=(ZipDirectory&&) = default;

    const std::vector<DirectoryRecord>& records() const { return records_; }
    const std::vector<const DirectoryRecord*>& inFileOrder() const { return order_; }
    std::uint64_t start() const { return start_; } ///< place in the file
    std::uint64_t size() const { return bytes_.size(); }
    std::uint64_t endRecord() const { return endRecord_; } ///< place in the file
    zipformat::ByteSpan comment() const { return comment_; }

    /// Refuses a file in which two items share bytes, so that a short file could stand for endless content.
    /// @throws opc::Exception bad_message
    void throwIfOverlapping(const std::string& label) const;

    /// Whether so many bytes are in the content of an item.
    bool isContent(const Bytes& file, std::uint64_t place, std::uint64_t size) const;

    /// The place of the first thing behind a local header.
    std::uint64_t findNext(std::uint64_t localHeader) const;

private:
    friend class EndSearch;

    using Order = std::vector<const DirectoryRecord*>;

    struct End {
        std::uint64_t count;
        std::uint64_t start;
        std::uint64_t size;
    };

    /// Whether a directory starts there.
    static bool isAt(const Bytes& file, const End& end);

    /// @return false when it is no directory.
    bool read(const Bytes& file, const End& end);
    bool readRecord(std::size_t& place);
    Order::const_iterator findBehind(std::uint64_t place) const;

    std::uint64_t start_ = 0;
    std::uint64_t endRecord_ = 0;
    zipformat::ByteVector bytes_;
    zipformat::ByteVector comment_;
    std::vector<DirectoryRecord> records_;
    Order order_; ///< of the local headers
};

} // namespace opc::storage
