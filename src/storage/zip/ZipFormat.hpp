// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

/// The records of a ZIP file (APPNOTE §4.3), and how their numbers are written.
namespace opc::storage::zipformat {

using ByteVector = std::vector<unsigned char>;
using ByteSpan = std::span<const unsigned char>;

/// The optional signature of a data descriptor (§4.3.9.3).
constexpr std::uint32_t DESCRIPTOR = 0x08074B50;

/// Replaces a number that is too large for its field and is in a ZIP64 field.
constexpr std::uint64_t FULL_16 = 0xFFFF;
constexpr std::uint64_t FULL_32 = 0xFFFFFFFF;

constexpr std::uint16_t PLAIN_VERSION = 20; ///< needed to extract what is deflated or in a folder
constexpr std::uint16_t ZIP64_VERSION = 45; ///< needed to extract what uses ZIP64

constexpr std::uint16_t STORED = 0;
constexpr std::uint16_t DEFLATED = 8;

/// General purpose bits (APPNOTE §4.4.4).
constexpr unsigned HAS_DESCRIPTOR = 1U << 3;
constexpr unsigned IS_UTF8 = 1U << 11;
constexpr unsigned DEFLATE_LEVEL = 3U << 1; ///< the effort of the compressor, which readers ignore
/// Of what is read like any other item; the others tell of encryption, patches and what is reserved.
constexpr unsigned HARMLESS_FLAGS = DEFLATE_LEVEL | HAS_DESCRIPTOR | IS_UTF8;

/// Of encrypted items: as such, strongly, with a header that hides what it says.
constexpr unsigned ENCRYPTION_FLAGS = 1U << 0 | 1U << 6 | 1U << 13;

/// Headers of extra fields.
constexpr unsigned ZIP64_FIELD = 0x0001;
constexpr unsigned NTFS_TIMES_FIELD = 0x000A;
constexpr unsigned UNIX_TIMES_FIELD = 0x5455;
constexpr unsigned UNICODE_PATH_FIELD = 0x7075;
constexpr unsigned OLD_UNIX_FIELD = 0x5855;
constexpr unsigned SHORT_UNIX_IDS_FIELD = 0x7855;
constexpr unsigned UNIX_IDS_FIELD = 0x7875;
constexpr unsigned AES_FIELD = 0x9901;
constexpr unsigned ASI_UNIX_FIELD = 0x756E;   ///< its mode of Unix says what kind of file it is
constexpr unsigned ATTRIBUTES_FIELD = 0x6C78; ///< a copy of what the directory says of an item
/// Of Macintosh programs, for what some readers decode (MacBinary): two of Info-ZIP, and those of ZipIt.
constexpr unsigned MACINTOSH_FIELDS[] = {0x07C8, 0x334D, 0x2605, 0x2705, 0x2805};
constexpr unsigned NO_FIELD = 0x10000; ///< stands for bytes that do not form a field

/// A little-endian number of so many bytes.
inline std::uint64_t number(ByteSpan bytes, std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | bytes[offset + i];
    return value;
}

inline void put(ByteVector& bytes, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        bytes.push_back(static_cast<unsigned char>(value >> 8 * i));
}

/// A number in a field; one that is too large is written as the largest, and is in a ZIP64 field.
template <class Field>
constexpr Field toField(std::uint64_t value) {
    return static_cast<Field>(std::min<std::uint64_t>(value, std::numeric_limits<Field>::max()));
}

// Each record lists its fields once, in their order; reading and writing use that list. Their types are as wide as
// the fields.

/// The fields that both headers of an item have (APPNOTE §4.4).
struct ItemFields {
    std::uint16_t versionNeeded = 0;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint16_t time = 0;
    std::uint16_t date = 0;
    std::uint32_t checksum = 0;
    std::uint32_t compressedSize = 0;
    std::uint32_t size = 0;
    std::uint16_t nameSize = 0;
    std::uint16_t extraSize = 0;

    static constexpr auto list(auto& self) {
        return std::tie(self.versionNeeded, self.flags, self.method, self.time, self.date, self.checksum,
                        self.compressedSize, self.size, self.nameSize, self.extraSize);
    }
};

/// The local header, before the content of an item (§4.3.7); name and extra fields follow.
struct LocalHeader : ItemFields {
    static constexpr std::uint32_t SIGNATURE = 0x04034B50;
    std::uint32_t signature = SIGNATURE;

    static constexpr auto list(auto& self) { return std::tuple_cat(std::tie(self.signature), ItemFields::list(self)); }
};

/// The central directory header of an item (§4.3.12); name, extra fields and comment follow.
struct CentralHeader : ItemFields {
    static constexpr std::uint32_t SIGNATURE = 0x02014B50;
    std::uint32_t signature = SIGNATURE;
    std::uint16_t madeBy = 0;
    std::uint16_t commentSize = 0;
    std::uint16_t disk = 0;
    std::uint16_t internalAttributes = 0;
    std::uint32_t externalAttributes = 0;
    std::uint32_t localHeader = 0; ///< offset in the file

    static constexpr auto list(auto& self) {
        return std::tuple_cat(
            std::tie(self.signature, self.madeBy), ItemFields::list(self),
            std::tie(self.commentSize, self.disk, self.internalAttributes, self.externalAttributes, self.localHeader));
    }
};

/// The end record, after the central directory (§4.3.16); the comment of the archive follows.
struct EndRecord {
    static constexpr std::uint32_t SIGNATURE = 0x06054B50;
    std::uint32_t signature = SIGNATURE;
    std::uint16_t disk = 0;
    std::uint16_t directoryDisk = 0;
    std::uint16_t diskEntries = 0;
    std::uint16_t entries = 0;
    std::uint32_t directorySize = 0;
    std::uint32_t directoryOffset = 0;
    std::uint16_t commentSize = 0;

    static constexpr auto list(auto& self) {
        return std::tie(self.signature, self.disk, self.directoryDisk, self.diskEntries, self.entries,
                        self.directorySize, self.directoryOffset, self.commentSize);
    }
};

/// The ZIP64 end record, before its locator, where a number of the end record is too large (§4.3.14).
struct EndRecord64 {
    static constexpr std::uint32_t SIGNATURE = 0x06064B50;
    static constexpr std::uint64_t PLAIN_SIZE = 44; ///< `size` of a record without further data
    std::uint32_t signature = SIGNATURE;
    std::uint64_t size = PLAIN_SIZE; ///< of what follows this field
    std::uint16_t madeBy = 0;
    std::uint16_t versionNeeded = 0;
    std::uint32_t disk = 0;
    std::uint32_t directoryDisk = 0;
    std::uint64_t diskEntries = 0;
    std::uint64_t entries = 0;
    std::uint64_t directorySize = 0;
    std::uint64_t directoryOffset = 0;

    static constexpr auto list(auto& self) {
        return std::tie(self.signature, self.size, self.madeBy, self.versionNeeded, self.disk, self.directoryDisk,
                        self.diskEntries, self.entries, self.directorySize, self.directoryOffset);
    }
};

/// The ZIP64 locator, before the end record (§4.3.15).
struct EndLocator64 {
    static constexpr std::uint32_t SIGNATURE = 0x07064B50;
    std::uint32_t signature = SIGNATURE;
    std::uint32_t endRecordDisk = 0;
    std::uint64_t endRecordOffset = 0;
    std::uint32_t disks = 1;

    static constexpr auto list(auto& self) {
        return std::tie(self.signature, self.endRecordDisk, self.endRecordOffset, self.disks);
    }
};

/// Bytes of the fields of a record.
template <class Record>
constexpr std::size_t SIZE = [] {
    const Record record;
    return std::apply([](const auto&... fields) { return (sizeof(fields) + ...); }, Record::list(record));
}();

/// Whether a record starts here, by its signature.
template <class Record>
bool isRecord(ByteSpan bytes) {
    return bytes.size() >= SIZE<Record> && number(bytes, 0, 4) == Record::SIGNATURE;
}

/// The fields of a record, whatever its signature; all zero where there are not enough bytes.
template <class Record>
Record readRecord(ByteSpan bytes) {
    Record record;
    const auto read = [&bytes](auto& field) {
        const std::size_t size = std::min(sizeof(field), bytes.size());
        field = static_cast<std::remove_reference_t<decltype(field)>>(number(bytes, 0, size));
        bytes = bytes.subspan(size);
    };
    std::apply([&](auto&... fields) { (read(fields), ...); }, Record::list(record));
    return record;
}

template <class Record>
void putRecord(ByteVector& bytes, const Record& record) {
    std::apply([&](const auto&... fields) { (put(bytes, fields, sizeof(fields)), ...); }, Record::list(record));
}

inline std::string_view viewOf(ByteSpan text) {
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

inline bool isASCII(ByteSpan text) {
    return std::all_of(
        text.begin(), text.end(), [](unsigned char byte) { return byte < 0x80; });
}

inline void append(ByteVector& bytes, ByteSpan more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// The extra fields in order, each with its header; bytes that do not form a field are one field at the end, with
/// `NO_FIELD`.
template <class Action>
void forEachExtraField(ByteSpan extra, Action action) {
    while (!extra.empty()) {
        const std::size_t size = extra.size() < 4 ? extra.size() : 4 + number(extra, 2, 2);
        const bool isField = extra.size() >= 4 && size <= extra.size();
        const ByteSpan field = isField ? extra.first(size) : extra;
        action(isField ? static_cast<unsigned>(number(extra, 0, 2)) : NO_FIELD, field);
        extra = extra.subspan(field.size());
    }
}

inline std::size_t countFields(ByteSpan extra, unsigned header) {
    std::size_t count = 0;
    forEachExtraField(extra, [&](unsigned found, ByteSpan) { count += found == header ? 1 : 0; });
    return count;
}

/// The numbers in the first ZIP64 field; empty without one.
inline ByteSpan findNumbers64(ByteSpan extra) {
    ByteSpan numbers;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        if (header == ZIP64_FIELD && numbers.empty())
            numbers = field.subspan(4);
    });
    return numbers;
}

/// Takes the next number from a ZIP64 field where the record's own is the largest (APPNOTE §4.5.3).
/// @return false when it is missing.
inline bool widen(std::uint64_t& value, ByteSpan& numbers) {
    if (value != FULL_32)
        return true;
    if (numbers.size() < 8)
        return false;
    value = number(numbers, 0, 8);
    numbers = numbers.subspan(8);
    return true;
}

} // namespace opc::storage::zipformat
