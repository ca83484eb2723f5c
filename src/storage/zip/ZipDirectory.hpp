// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/zip/ZipFormat.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::storage {

/// The central directory record of one item of a ZIP file.
struct DirectoryRecord {
    zipformat::ByteSpan bytes; ///< the whole record; owned by the directory
    zipformat::CentralHeader header;
    std::uint64_t compressedSize; ///< these three from the ZIP64 field where the header cannot hold them
    std::uint64_t size;
    std::uint64_t localHeader; ///< offset in the file

    zipformat::ByteSpan name() const;
    zipformat::ByteSpan extra() const;
    zipformat::ByteSpan comment() const;
};

/// The local header at an offset, whatever its signature; nothing when the file is too short.
std::optional<zipformat::LocalHeader> readLocalHeader(const Bytes& file, std::uint64_t offset);

/// The bytes from the start of a local header to the content.
constexpr std::uint64_t sizeOf(const zipformat::LocalHeader& header) {
    return zipformat::SIZE<zipformat::LocalHeader> + header.nameSize + header.extraSize;
}

/// The size of the data descriptor (APPNOTE §4.3.9) at the start of these bytes: its signature is optional. 0 when it
/// does not agree with the directory.
/// @param width bytes of each of its sizes: 4, or 8 for those of ZIP64.
std::size_t findDescriptor(zipformat::ByteSpan bytes, const DirectoryRecord& record, std::size_t width);

constexpr std::size_t MAXIMUM_DESCRIPTOR_SIZE = 24;

/// The central directory of a ZIP file as it is stored (APPNOTE §4.3.12), to copy what is not changed.
class ZipDirectory {
public:
    /// Finds the directory of the last end record; the comment of the archive is not searched.
    /// @param isWanted whether another reader found the same one.
    /// @throws opc::Exception bad_message when it did not, or when an earlier end record outside the content of the
    ///         items leads to a directory, too, so that the file is ambiguous.
    static ZipDirectory find(const Bytes& file, const std::function<bool(const ZipDirectory&)>& isWanted,
                             const std::string& label);

    ZipDirectory() = default;
    ZipDirectory(ZipDirectory&&) = default;
    ZipDirectory& operator=(ZipDirectory&&) = default;

    const std::vector<DirectoryRecord>& records() const { return records_; }
    const std::vector<const DirectoryRecord*>& inFileOrder() const { return order_; }
    std::uint64_t start() const { return start_; } ///< offset in the file
    std::uint64_t size() const { return bytes_.size(); }
    std::uint64_t endRecord() const { return endRecord_; } ///< offset in the file
    zipformat::ByteSpan comment() const { return comment_; }

    /// Refuses a file in which two items share bytes, so that a short file could have huge content.
    /// @throws opc::Exception bad_message
    void throwIfOverlapping(const std::string& label) const;

    /// Whether so many bytes from an offset on are in the content of an item.
    bool isContent(const Bytes& file, std::uint64_t offset, std::uint64_t size) const;

    /// The offset of what follows a local header and the content: the next item, or the directory.
    std::uint64_t findNext(std::uint64_t localHeader) const;

private:
    friend class ArchiveSearch;
    friend class EndSearch;

    using Order = std::vector<const DirectoryRecord*>;

    struct End {
        std::uint64_t count;
        std::uint64_t start;
        std::uint64_t size;
    };

    /// Whether a directory starts there.
    static bool isAt(const Bytes& file, const End& end);

    /// @return false when it is not a directory.
    bool read(const Bytes& file, const End& end);
    bool readRecord(std::size_t& offset);
    Order::const_iterator findBehind(std::uint64_t offset) const;

    std::uint64_t start_ = 0;
    std::uint64_t endRecord_ = 0;
    zipformat::ByteVector bytes_;
    zipformat::ByteVector comment_;
    std::vector<DirectoryRecord> records_;
    Order order_; ///< of the local headers
};

} // namespace opc::storage
