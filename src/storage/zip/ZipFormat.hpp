// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// The records of a ZIP file (APPNOTE §4.3): where their fields are, and how numbers are written.
namespace opc::storage::zipformat {

using ByteVector = std::vector<unsigned char>;
using ByteSpan = std::span<const unsigned char>;

constexpr std::uint32_t LOCAL_HEADER = 0x04034B50;
constexpr std::uint32_t DIRECTORY_RECORD = 0x02014B50;
constexpr std::uint32_t END_RECORD = 0x06054B50;
constexpr std::uint32_t END_RECORD_64 = 0x06064B50;
constexpr std::uint32_t END_LOCATOR_64 = 0x07064B50;
constexpr std::uint32_t DESCRIPTOR = 0x08074B50;

/// Bytes of the parts that are always there.
constexpr std::size_t LOCAL_HEADER_SIZE = 30;
constexpr std::size_t DIRECTORY_RECORD_SIZE = 46;
constexpr std::size_t END_RECORD_SIZE = 22;
constexpr std::size_t END_RECORD_64_SIZE = 56;
constexpr std::size_t END_LOCATOR_64_SIZE = 20;

/// In place of a number that is too large for its field and stands in a ZIP64 field.
constexpr std::uint64_t FULL_16 = 0xFFFF;
constexpr std::uint64_t FULL_32 = 0xFFFFFFFF;

constexpr unsigned PLAIN_VERSION = 20; ///< needed to extract what is deflated or in a folder
constexpr unsigned ZIP64_VERSION = 45; ///< needed to extract what uses ZIP64

constexpr unsigned STORED = 0;
constexpr unsigned DEFLATED = 8;

/// General purpose bits (APPNOTE §4.4.4).
constexpr unsigned HAS_DESCRIPTOR = 1U << 3;
constexpr unsigned IS_UTF8 = 1U << 11;

/// Headers of extra fields.
constexpr unsigned ZIP64_FIELD = 0x0001;
constexpr unsigned NTFS_TIMES_FIELD = 0x000A;
constexpr unsigned UNIX_TIMES_FIELD = 0x5455;
constexpr unsigned UNICODE_PATH_FIELD = 0x7075;
constexpr unsigned OLD_UNIX_FIELD = 0x5855;
constexpr unsigned AES_FIELD = 0x9901;

/// A number of so many bytes, the lowest first.
inline std::uint64_t number(ByteSpan bytes, std::size_t place, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
        value = value << 8 | bytes[place + i];
    }
    return value;
}

inline void put(ByteVector& bytes, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<unsigned char>(value >> 8 * i));
    }
}

inline void set(std::span<unsigned char> bytes, std::size_t place, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes[place + i] = static_cast<unsigned char>(value >> 8 * i);
    }
}

inline bool isASCII(ByteSpan text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char byte) { return byte < 0x80; });
}

inline void append(ByteVector& bytes, ByteSpan more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// One after another the extra fields, each whole; bytes that make no field are one field at the end.
template <class Action>
void forEachExtraField(ByteSpan extra, Action action) {
    while (!extra.empty()) {
        const std::size_t size = extra.size() < 4 ? extra.size() : 4 + number(extra, 2, 2);
        const bool isField = extra.size() >= 4 && size <= extra.size();
        const ByteSpan field = isField ? extra.first(size) : extra;
        action(isField ? static_cast<unsigned>(number(extra, 0, 2)) : 0x10000U, field);
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
        if (header == ZIP64_FIELD && numbers.empty()) {
            numbers = field.subspan(4);
        }
    });
    return numbers;
}

/// Takes the next number out of a ZIP64 field where the record's own is full (APPNOTE §4.5.3).
/// @return false when it is not there.
inline bool widen(std::uint64_t& value, ByteSpan& numbers) {
    if (value != FULL_32) {
        return true;
    }
    if (numbers.size() < 8) {
        return false;
    }
    value = number(numbers, 0, 8);
    numbers = numbers.subspan(8);
    return true;
}

} // namespace opc::storage::zipformat
