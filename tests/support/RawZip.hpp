// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Bytes.hpp"

#include <zlib.h>

#include <algorithm>
#include <optional>
#include <stdexcept>

/// ZIP files byte by byte (APPNOTE §4.3): made with any fault wanted, and taken apart without the library under test.
namespace opc::test {

struct RawItem {
    std::string name;
    std::string content{};
    int method = Z_DEFLATED; ///< 0 is stored; the content of an unknown method is stored too
    unsigned flags = 0;
    std::optional<std::uint32_t> crc{};  ///< another one than is right
    std::optional<std::uint32_t> size{}; ///< another one than is right
    std::string extra{};
    std::string comment{};
    bool descriptor = false;                 ///< checksum and sizes follow the content
    std::optional<std::string> localExtra{}; ///< for the local header, when it is another one there
    std::string before{};                    ///< bytes in front of the item, which belong to none
    std::string behind{};                    ///< bytes behind the compressed content, which count as such
    bool isMarked = true;                    ///< as UTF-8, where the name needs that
};

inline const Bytef* zlibBytes(const std::string& text) {
    return reinterpret_cast<const Bytef*>(text.data());
}

inline std::string deflate(const std::string& content) {
    uLongf size = compressBound(content.size());
    Bytes result(size);
    compress(result.data(), &size, zlibBytes(content), content.size());
    return toText(result).substr(2, size - 6); // without what zlib puts around it
}

inline std::uint32_t checksum(const std::string& text) {
    return static_cast<std::uint32_t>(crc32_z(0, zlibBytes(text), text.size()));
}

/// Whether a name, which is in UTF-8 or in a code page, has to be marked as UTF-8.
inline bool needsMark(const std::string& name) {
    const auto other =
        std::find_if(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) > 127; });
    return other != name.end() && static_cast<unsigned char>(*other) >= 0xC2 &&
           static_cast<unsigned char>(*other) < 0xF5;
}

/// Appends local header and content. @return the record for the directory.
inline std::string appendItem(std::string& file, const RawItem& item) {
    const std::string payload = (item.method == Z_DEFLATED ? deflate(item.content) : item.content) + item.behind;
    const std::string sums = number(item.crc.value_or(checksum(item.content)), 4) + number(payload.size(), 4) +
                             number(item.size ? *item.size : item.content.size(), 4);
    const unsigned mark = item.isMarked && needsMark(item.name) ? 0x800 : 0;
    const std::string head = number(20, 2) + number(item.flags | mark | (item.descriptor ? 8U : 0U), 2) +
                             number(static_cast<unsigned>(item.method), 2) + number(0x50216000, 4); // in January 2020
    const std::string nameSize = number(item.name.size(), 2);
    const std::string localExtra = item.localExtra.value_or(item.extra);
    file += item.before;
    const std::size_t place = file.size();
    file += "PK\3\4" + head + (item.descriptor ? std::string(12, '\0') : sums) + nameSize;
    file += number(localExtra.size(), 2) + item.name + localExtra + payload + (item.descriptor ? "PK\7\10" + sums : "");
    return "PK\1\2" + number(20, 2) + head + sums + nameSize + number(item.extra.size(), 2) +
           number(item.comment.size(), 2) + std::string(8, '\0') + number(place, 4) + item.name + item.extra +
           item.comment;
}

/// @param file what stands in front; places count from its start.
inline std::string rawZip(const std::vector<RawItem>& items, const std::string& comment = {}, std::string file = {}) {
    std::string directory;
    for (const RawItem& item : items)
        directory += appendItem(file, item);
    const std::string ends = number(directory.size(), 4) + number(file.size(), 4) + number(comment.size(), 2);
    const std::string count = number(items.size(), 2);
    return file + directory + "PK\5\6" + number(0, 4) + count + count + ends + comment;
}

inline Bytes makeZip(const std::vector<RawItem>& items, const std::string& comment = {}) {
    return toBytes(rawZip(items, comment));
}

/// What the central directory says of an item, and its compressed bytes.
struct RawEntry {
    std::string name;
    unsigned flags;
    unsigned method;
    unsigned modified; ///< date and time
    unsigned crc;
    unsigned size;
    std::string extra;
    std::string comment;
    std::string payload;

    bool operator==(const RawEntry&) const = default;
};

class RawZipReader {
public:
    explicit RawZipReader(const Bytes& bytes) : file_(toText(bytes)) {
        const std::size_t end = file_.rfind("PK\5\6");
        if (end == std::string::npos)
            throw std::runtime_error("no ZIP file");
        comment = file_.substr(end + 22);
        std::size_t place = value(end + 16, 4);
        std::size_t left = value(end + 10);
        if (end >= 20 && file_.compare(end - 20, 4, "PK\6\7") == 0) { // ZIP64: another end record counts
            const std::size_t end64 = value(end - 12, 8);
            left = value(end64 + 32, 8);
            place = value(end64 + 48, 8);
        }
        for (; left > 0; --left)
            place = read(place);
    }

    std::vector<RawEntry> entries;
    std::string comment;

    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const RawEntry& entry : entries)
            result.push_back(entry.name);
        return result;
    }

    const RawEntry& at(const std::string& name) const {
        for (const RawEntry& entry : entries)
            if (entry.name == name)
                return entry;
        throw std::runtime_error("no item " + name);
    }

private:
    std::size_t value(std::size_t place, std::size_t size = 2) const {
        return size == 0 ? 0 : static_cast<unsigned char>(file_.at(place)) | value(place + 1, size - 1) << 8;
    }

    /// A field of a record of the directory: when it is full, the next number of the ZIP64 field, which is the first of
    /// the extra fields (APPNOTE §4.5.3).
    std::size_t field(std::size_t place, std::size_t& long64) const {
        const std::size_t number = value(place, 4);
        if (number != 0xFFFFFFFF)
            return number;
        long64 += 8;
        return value(long64 - 8, 8);
    }

    /// @return the place of the next record.
    std::size_t read(std::size_t at) {
        const std::size_t extra = at + 46 + value(at + 28);
        const std::size_t text = extra + value(at + 30);
        const std::size_t next = text + value(at + 32);
        std::size_t long64 = extra + 4;
        const std::size_t size = field(at + 24, long64);
        const std::size_t compressed = field(at + 20, long64);
        const std::size_t local = field(at + 42, long64);
        const std::size_t content = local + 30 + value(local + 26) + value(local + 28);
        const auto number = [&](std::size_t place, std::size_t bytes) {
            return static_cast<unsigned>(value(place, bytes));
        };
        entries.push_back({file_.substr(at + 46, extra - at - 46), number(at + 8, 2), number(at + 10, 2),
                           number(at + 12, 4), number(at + 16, 4), static_cast<unsigned>(size),
                           file_.substr(extra, text - extra), file_.substr(text, next - text),
                           file_.substr(content, compressed)});
        return next;
    }

    std::string file_;
};

} // namespace opc::test
