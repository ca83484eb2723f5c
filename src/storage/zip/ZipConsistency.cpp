// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipConsistency.hpp"

#include "core/FoldedNames.hpp"
#include "storage/Failure.hpp"

#include <zlib.h>

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace opc::storage {

using namespace zipformat;

namespace {

/// More than most local headers take behind their names, so that one read is enough for them.
constexpr std::size_t USUAL_EXTRA_SIZE = 512;
constexpr std::size_t BLOCK_SIZE = 64 * 1024;

/// In front of the first item of a file that could have become several (APPNOTE §8.5).
constexpr std::uint32_t SINGLE_DISK_MARKER = 0x30304B50;

/// How hard the compressor tried says nothing to a reader (APPNOTE §4.4.4).
constexpr unsigned COMPRESSION_LEVEL = 3U << 1;

/// The type of a file in what Unix programs keep of it (the upper half of the external attributes).
constexpr std::uint64_t FILE_TYPE = 0xF000;
constexpr std::uint64_t REGULAR_FILE = 0x8000;
constexpr std::uint64_t FOLDER = 0x4000;

struct LocalHeader {
    ByteVector bytes;

    std::size_t nameSize() const { return number(bytes, 26, 2); }
    ByteSpan name() const { return ByteSpan(bytes).subspan(LOCAL_HEADER_SIZE, nameSize()); }
    ByteSpan extra() const { return ByteSpan(bytes).subspan(LOCAL_HEADER_SIZE + nameSize()); }
    unsigned flags() const { return static_cast<unsigned>(number(bytes, 6, 2)); }
};

std::string_view viewOf(ByteSpan text) {
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

/// Whether a Unicode path field (APPNOTE §4.6.9) renames the item. One for another name is out of date, and void.
bool isRenamed(ByteSpan extra, ByteSpan name) {
    const std::uint64_t sum = ::crc32(0, name.data(), static_cast<uInt>(name.size()));
    bool renamed = false;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        renamed |= header == UNICODE_PATH_FIELD && field.size() >= 9 && number(field, 5, 4) == sum &&
                   viewOf(field.subspan(9)) != viewOf(name);
    });
    return renamed;
}

/// The length of the data descriptor (APPNOTE §4.3.9) at the start of these bytes: its signature may be left out, and
/// its sizes are of ZIP64 or not. 0 when none of the forms tells what the directory does.
std::size_t findDescriptor(ByteSpan bytes, const DirectoryRecord& record) {
    const std::size_t signature = bytes.size() >= 4 && number(bytes, 0, 4) == DESCRIPTOR ? 4 : 0;
    for (const std::size_t start : {signature, std::size_t(0)}) {
        for (const std::size_t width : {8U, 4U}) {
            const std::size_t size = start + 4 + 2 * width;
            if (bytes.size() >= size && number(bytes, start, 4) == record.checksum &&
                number(bytes, start + 4, width) == record.compressedSize &&
                number(bytes, start + 4 + width, width) == record.size) {
                return size;
            }
        }
    }
    return 0;
}

class ConsistencyCheck {
public:
    ConsistencyCheck(const Bytes& file, const ZipDirectory& directory, const std::string& label)
        : file_(file), directory_(directory), label_(label) {}

    void run() {
        checkEnd();
        checkNames();
        checkItems();
    }

private:
    [[noreturn]] void failAt(const DirectoryRecord& record, const std::string& what) const {
        fail(Errc::bad_message, label_ + ": " + inQuotes(viewOf(record.name())) + ": " + what);
    }

    [[noreturn]] void failAtEnd(const std::string& what) const {
        fail(Errc::bad_message, label_ + ": the end of the ZIP structure is ambiguous: " + what);
    }

    /// Some readers find the directory by what stands right in front of the end record, others by its own words.
    void checkEnd() const {
        const ByteVector end = read(directory_.endRecord(), END_RECORD_SIZE);
        if (file_.size() - directory_.endRecord() - END_RECORD_SIZE != number(end, 20, 2)) {
            failAtEnd("something other than its comment follows the end record");
        }
        constexpr std::string_view signature = "PK\5\6";
        if (viewOf(directory_.comment()).find(signature) != std::string_view::npos) {
            failAtEnd("there is an end record in the comment");
        }
        const std::uint64_t records = find64(end);
        if (directory_.start() + directory_.size() != records) {
            failAtEnd("the end record does not follow the central directory");
        }
        if (!isOneDisk(ByteSpan(end).subspan(4), 2)) {
            failAtEnd("the end record tells of other disks");
        }
    }

    /// @param fields the disk of the end record, the one where the directory starts, the records on the disk and all.
    static bool isOneDisk(ByteSpan fields, std::size_t size) {
        const std::size_t disk = std::min<std::size_t>(size, 4);
        const auto isNoOther = [&](std::uint64_t value) { return value == 0 || (size == 2 && value == FULL_16); };
        return isNoOther(number(fields, 0, disk)) && isNoOther(number(fields, disk, disk)) &&
               number(fields, 2 * disk, size) == number(fields, 2 * disk + size, size);
    }

    /// @return the place of the first record behind the directory.
    std::uint64_t find64(ByteSpan end) const {
        const std::uint64_t place = directory_.endRecord();
        if (place < END_LOCATOR_64_SIZE) {
            return place;
        }
        const ByteVector locator = read(place - END_LOCATOR_64_SIZE, END_LOCATOR_64_SIZE);
        if (number(locator, 0, 4) != END_LOCATOR_64) {
            return place;
        }
        const std::uint64_t place64 = number(locator, 8, 8);
        // Readers look right in front of the locator, too, so there is no room for more in the record.
        constexpr std::uint64_t room = END_RECORD_64_SIZE + END_LOCATOR_64_SIZE;
        const ByteVector end64 = place < room ? ByteVector(END_RECORD_64_SIZE) : read(place - room, END_RECORD_64_SIZE);
        // The size that the record tells leaves out its first 12 bytes (APPNOTE §4.3.14.1).
        if (number(end64, 0, 4) != END_RECORD_64 || number(end64, 4, 8) != END_RECORD_64_SIZE - 12 ||
            place64 != place - room) {
            failAtEnd("the end record of ZIP64 is not where it should be");
        }
        if (number(locator, 4, 4) != 0 || !isOneDisk(ByteSpan(end64).subspan(16), 8)) {
            failAtEnd("the end record of ZIP64 tells of other disks");
        }
        const bool agrees = isSameOrFull(number(end, 10, 2), FULL_16, number(end64, 32, 8)) &&
                            isSameOrFull(number(end, 12, 4), FULL_32, number(end64, 40, 8)) &&
                            isSameOrFull(number(end, 16, 4), FULL_32, number(end64, 48, 8));
        if (!agrees) {
            failAtEnd("the end records do not agree");
        }
        return place64;
    }

    static bool isSameOrFull(std::uint64_t value, std::uint64_t full, std::uint64_t value64) {
        return value == full || value == value64;
    }

    void checkNames() const {
        std::vector<std::string_view> names;
        names.reserve(directory_.records().size());
        for (const DirectoryRecord& record : directory_.records()) {
            names.push_back(viewOf(record.name()));
        }
        std::sort(names.begin(), names.end());
        const auto twice = std::adjacent_find(names.begin(), names.end());
        if (twice != names.end()) {
            fail(Errc::bad_message, label_ + ": there are two items " + inQuotes(*twice));
        }
    }

    void checkItems() const {
        const std::vector<const DirectoryRecord*>& order = directory_.inFileOrder();
        if (!order.empty()) {
            checkStart(*order.front());
        }
        for (std::size_t i = 0; i < order.size(); ++i) {
            const std::uint64_t next = i + 1 < order.size() ? order[i + 1]->localHeader : directory_.start();
            checkItem(*order[i], next);
        }
    }

    /// What is in front of the first item may be a program that unpacks the file, but not an item.
    void checkStart(const DirectoryRecord& first) const {
        const ByteVector start = read(0, std::min<std::uint64_t>(first.localHeader, 8));
        const bool marked =
            start.size() == 8 && (number(start, 0, 4) == SINGLE_DISK_MARKER || number(start, 0, 4) == DESCRIPTOR);
        const ByteSpan item = ByteSpan(start).subspan(marked ? 4 : 0);
        if (item.size() >= 4 && number(item, 0, 4) == LOCAL_HEADER) {
            fail(Errc::bad_message, label_ + ": the file starts with an item that the central directory does not have");
        }
    }

    /// @param next the place of what comes next.
    void checkItem(const DirectoryRecord& record, std::uint64_t next) const {
        checkRecord(record);
        const LocalHeader header = readLocalHeader(record);
        checkHeader(record, header);
        const std::uint64_t content = record.localHeader + header.bytes.size();
        if (next < content || next - content < record.compressedSize) {
            failAt(record, "the content overlaps what comes next in the file");
        }
        std::uint64_t end = content + record.compressedSize;
        if (header.flags() & HAS_DESCRIPTOR) {
            constexpr std::uint64_t longest = 24;
            const std::size_t size = findDescriptor(read(end, std::min(next - end, longest)), record);
            if (size == 0) {
                failAt(record, "no data descriptor that agrees with the central directory follows the content");
            }
            end += size;
        }
        checkPadding(record, end, next);
    }

    LocalHeader readLocalHeader(const DirectoryRecord& record) const {
        LocalHeader header;
        const std::uint64_t usual = LOCAL_HEADER_SIZE + record.name().size() + USUAL_EXTRA_SIZE;
        const std::uint64_t rest = file_.size() - std::min(file_.size(), record.localHeader);
        header.bytes = read(record.localHeader, std::min(usual, rest));
        if (header.bytes.size() < LOCAL_HEADER_SIZE || number(header.bytes, 0, 4) != LOCAL_HEADER) {
            failAt(record, "there is no local header where the central directory says");
        }
        const std::uint64_t size = LOCAL_HEADER_SIZE + header.nameSize() + number(header.bytes, 28, 2);
        if (size > rest) {
            failAt(record, "the local header is longer than the file");
        }
        if (size > header.bytes.size()) {
            header.bytes = read(record.localHeader, size);
        }
        header.bytes.resize(size);
        return header;
    }

    void checkRecord(const DirectoryRecord& record) const {
        const std::uint64_t type = number(record.bytes, 40, 2) & FILE_TYPE;
        if (type != 0 && type != REGULAR_FILE && type != FOLDER) {
            failAt(record, "the item is a link or a device");
        }
        if (number(record.bytes, 10, 2) == STORED && record.size != record.compressedSize) {
            failAt(record, "the item is stored, but its compressed size is another one than its size");
        }
        if (number(record.bytes, 34, 2) != 0) {
            failAt(record, "the item is on another disk");
        }
    }

    void checkHeader(const DirectoryRecord& record, const LocalHeader& header) const {
        if (viewOf(header.name()) != viewOf(record.name()) || isRenamed(header.extra(), header.name())) {
            failAt(record, disagreement("name"));
        }
        const unsigned differing = header.flags() ^ record.flags;
        if (differing & ~COMPRESSION_LEVEL & ~(isASCII(record.name()) ? IS_UTF8 : 0U)) {
            failAt(record, disagreement("flags"));
        }
        if (number(header.bytes, 8, 2) != number(record.bytes, 10, 2)) {
            failAt(record, disagreement("compression method"));
        }
        if (countFields(header.extra(), ZIP64_FIELD) > 1 || countFields(record.extra(), ZIP64_FIELD) > 1) {
            failAt(record, "there are two extra fields of ZIP64");
        }
        checkNumbers(record, header);
    }

    void checkNumbers(const DirectoryRecord& record, const LocalHeader& header) const {
        const std::uint64_t checksum = number(header.bytes, 14, 4);
        std::uint64_t compressedSize = number(header.bytes, 18, 4);
        std::uint64_t size = number(header.bytes, 22, 4);
        ByteSpan wide = findNumbers64(header.extra());
        if (!widen(size, wide) || !widen(compressedSize, wide)) {
            failAt(record, "the local header lacks the sizes of ZIP64");
        }
        const struct {
            const char* name;
            std::uint64_t local;
            std::uint64_t central;
        } numbers[] = {
            {"checksum", checksum, record.checksum},
            {"compressed size", compressedSize, record.compressedSize},
            {"size", size, record.size},
        };
        for (const auto& [name, local, central] : numbers) {
            const bool comesLater = local == 0 && header.flags() & HAS_DESCRIPTOR;
            if (local != central && !comesLater) {
                failAt(record, disagreement(name));
            }
        }
    }

    static std::string disagreement(const char* what) {
        return std::string("the local header tells another ") + what + " than the central directory";
    }

    /// Zeros that bring the next item to a round place are no data.
    void checkPadding(const DirectoryRecord& record, std::uint64_t from, std::uint64_t to) const {
        while (from < to) {
            const ByteVector block = read(from, std::min<std::uint64_t>(to - from, BLOCK_SIZE));
            if (std::any_of(block.begin(), block.end(), [](unsigned char byte) { return byte != 0; })) {
                failAt(record, "bytes that belong to no item follow the content");
            }
            from += block.size();
        }
    }

    ByteVector read(std::uint64_t place, std::uint64_t size) const {
        ByteVector bytes(size);
        if (file_.readAt(place, bytes.data(), bytes.size()) != bytes.size()) {
            fail(Errc::bad_message, label_ + ": the file ends too early");
        }
        return bytes;
    }

    const Bytes& file_;
    const ZipDirectory& directory_;
    const std::string& label_;
};

/// A name for who goes down the folders to the first empty segment, and finds the last segment there.
std::string withoutHiddenSegments(const std::string& name) {
    const std::size_t empty = name.starts_with('/') ? 0 : name.find("//");
    return empty == std::string::npos ? name : name.substr(0, empty) + name.substr(name.rfind('/'));
}

} // namespace

void throwIfInconsistent(const Bytes& file, const ZipDirectory& directory, const std::string& label) {
    ConsistencyCheck(file, directory, label).run();
}

void throwIfNamesMeet(const ZipItems& items, const ZipArchive& archive, const std::string& label) {
    std::unordered_map<std::string, std::pair<std::string, const void*>> folded;
    const auto add = [&](const std::string& name, const void* item) {
        for (const std::string& text : {detail::foldName(name), detail::foldName(withoutHiddenSegments(name))}) {
            const auto [place, isNew] = folded.try_emplace(text, name, item);
            if (!isNew && place->second.second != item) {
                fail(Errc::bad_message, label + ": " + inQuotes(name) + ": readers could take the item for " +
                                            inQuotes(place->second.first));
            }
        }
    };
    const auto addStored = [&](std::uint64_t index) {
        const DirectoryRecord& record = archive.getDirectory().records()[index];
        add(archive.item(index).name, &record);
        if (!isASCII(record.name())) {
            add(archive.strictName(index), &record);
        }
    };
    for (const ZipEntry& entry : items.all()) {
        if (entry.pieces.empty()) {
            addStored(*entry.index);
        } else {
            add(entry.name, &entry);
            std::for_each(entry.pieces.begin(), entry.pieces.end(), addStored);
        }
    }
}

} // namespace opc::storage
