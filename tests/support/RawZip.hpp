// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zlib.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

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
    unsigned time = 0x6000;
    unsigned date = 0x5021;                  ///< the first of January 2020
    bool descriptor = false;                 ///< checksum and sizes follow the content
    std::optional<std::string> localExtra{}; ///< for the local header, when it is another one there
    std::string before{};                    ///< bytes in front of the item, which belong to none
};

inline std::string deflate(const std::string& content) {
    z_stream stream = {};
    deflateInit2(&stream, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    std::string result(deflateBound(&stream, content.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    ::deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

class RawZipWriter {
public:
    std::vector<unsigned char> make(const std::vector<RawItem>& items, const std::string& comment = {}) {
        std::string central;
        for (const RawItem& item : items)
            central += add(item);
        const std::size_t start = file_.size();
        file_ += central;
        file_ += number(0x06054B50, 4) + number(0, 4) + number(items.size(), 2) + number(items.size(), 2);
        file_ += number(central.size(), 4) + number(start, 4) + number(comment.size(), 2) + comment;
        return {file_.begin(), file_.end()};
    }

    /// A number of so many bytes, the lowest first.
    static std::string number(std::uint64_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i)
            text += static_cast<char>(value >> 8 * i & 0xFF);
        return text;
    }

private:
    /// Appends local header and content. @return the entry of the central directory.
    std::string add(const RawItem& item) {
        const std::string payload = item.method == Z_DEFLATED ? deflate(item.content) : item.content;
        const auto* text = reinterpret_cast<const Bytef*>(item.content.data());
        const std::uint64_t crc = item.crc.value_or(::crc32(0, text, static_cast<uInt>(item.content.size())));
        const std::uint64_t size = item.size.value_or(static_cast<std::uint32_t>(item.content.size()));
        const std::string sums = number(crc, 4) + number(payload.size(), 4) + number(size, 4);
        const std::string head = number(20, 2) + number(item.flags | (item.descriptor ? 8U : 0U), 2) +
                                 number(static_cast<unsigned>(item.method), 2) + number(item.time, 2) +
                                 number(item.date, 2);
        const std::string nameSize = number(item.name.size(), 2);
        const std::string& localExtra = item.localExtra ? *item.localExtra : item.extra;
        file_ += item.before;
        const std::size_t offset = file_.size();
        file_ += number(0x04034B50, 4) + head + (item.descriptor ? std::string(12, '\0') : sums) + nameSize;
        file_ += number(localExtra.size(), 2) + item.name + localExtra + payload;
        if (item.descriptor)
            file_ += number(0x08074B50, 4) + sums;
        return number(0x02014B50, 4) + number(20, 2) + head + sums + nameSize + number(item.extra.size(), 2) +
               number(item.comment.size(), 2) + number(0, 2) + number(0, 2) + number(0, 4) + number(offset, 4) +
               item.name + item.extra + item.comment;
    }

    std::string file_;
};

inline std::vector<unsigned char> makeZip(const std::vector<RawItem>& items, const std::string& comment = {}) {
    return RawZipWriter().make(items, comment);
}

/// What the central directory says of an item, and its compressed bytes.
struct RawEntry {
    std::string name;
    unsigned flags = 0;
    unsigned method = 0;
    unsigned time = 0;
    unsigned date = 0;
    std::uint32_t crc = 0;
    std::uint64_t size = 0;
    std::string extra{};
    std::string comment{};
    std::string payload{};
};

class RawZipReader {
public:
    explicit RawZipReader(const std::vector<unsigned char>& bytes) : file_(bytes.begin(), bytes.end()) {
        const std::size_t end = file_.rfind("PK\5\6");
        if (end == std::string::npos)
            throw std::runtime_error("no ZIP file");
        comment = file_.substr(end + 22, number(end + 20, 2));
        std::size_t at = number(end + 16, 4);
        std::size_t left = number(end + 10, 2);
        if (end >= 20 && file_.compare(end - 20, 4, "PK\6\7") == 0) { // ZIP64: another end record counts
            const std::size_t end64 = longNumber(end - 20 + 8);
            left = longNumber(end64 + 32);
            at = longNumber(end64 + 48);
        }
        for (; left > 0; --left)
            at = read(at);
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
    std::uint32_t number(std::size_t at, int bytes) const {
        std::uint32_t value = 0;
        for (int i = bytes - 1; i >= 0; --i)
            value = value << 8 | static_cast<unsigned char>(file_.at(at + static_cast<std::size_t>(i)));
        return value;
    }

    std::uint64_t longNumber(std::size_t at) const {
        return static_cast<std::uint64_t>(number(at + 4, 4)) << 32 | number(at, 4);
    }

    /// A field of a central directory entry; when it is full, the next one in the ZIP64 extra field (APPNOTE §4.5.3).
    std::uint64_t field(std::size_t at, const std::string& extra, std::size_t& used) const {
        const std::uint32_t value = number(at, 4);
        if (value != 0xFFFFFFFF)
            return value;
        for (std::size_t i = 0; i + 4 <= extra.size();) {
            const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(extra.at(k)); };
            if (byte(i) == 1 && byte(i + 1) == 0) {
                std::uint64_t number64 = 0;
                for (std::size_t k = 8; k-- > 0;)
                    number64 = number64 << 8 | byte(i + 4 + used + k);
                used += 8;
                return number64;
            }
            i += 4 + byte(i + 2) + 256U * byte(i + 3);
        }
        throw std::runtime_error("no ZIP64 extra field");
    }

    std::size_t read(std::size_t at) {
        const std::size_t nameSize = number(at + 28, 2);
        const std::size_t extraSize = number(at + 30, 2);
        const std::size_t commentSize = number(at + 32, 2);
        RawEntry entry{file_.substr(at + 46, nameSize),
                       number(at + 8, 2),
                       number(at + 10, 2),
                       number(at + 12, 2),
                       number(at + 14, 2),
                       number(at + 16, 4)};
        entry.extra = file_.substr(at + 46 + nameSize, extraSize);
        entry.comment = file_.substr(at + 46 + nameSize + extraSize, commentSize);
        std::size_t used = 0;
        entry.size = field(at + 24, entry.extra, used);
        const std::uint64_t compressed = field(at + 20, entry.extra, used);
        const std::uint64_t local = field(at + 42, entry.extra, used);
        const std::uint64_t content = local + 30 + number(local + 26, 2) + number(local + 28, 2);
        entry.payload = file_.substr(content, compressed);
        entries.push_back(std::move(entry));
        return at + 46 + nameSize + extraSize + commentSize;
    }

    std::string file_;
};

} // namespace opc::test
