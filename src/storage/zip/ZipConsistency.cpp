// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipConsistency.hpp"

#include "storage/Failure.hpp"

#include <opc/core/FoldedNames.hpp>

#include <zlib.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::storage {

using namespace zipformat;

namespace {

constexpr std::size_t BLOCK_SIZE = 64 * 1024;

/// The marker before the first item of an archive that could have been split (APPNOTE §8.5).
constexpr std::uint32_t SINGLE_DISK_MARKER = 0x30304B50;

/// The bits for the effort of the compressor, which readers ignore (APPNOTE §4.4.4).
constexpr unsigned COMPRESSION_LEVEL = 3U << 1;

/// The type of a file in what Unix programs keep of it (the upper half of the external attributes).
constexpr unsigned FILE_TYPE = 0xF000;
constexpr unsigned REGULAR_FILE = 0x8000;
constexpr unsigned FOLDER = 0x4000;

/// A local header with what follows it.
struct ItemHeader : LocalHeader {
    ByteVector rest{};

    ByteSpan name() const { return ByteSpan(rest).first(nameSize); }
    ByteSpan extra() const { return ByteSpan(rest).subspan(nameSize); }
};

/// Whether a Unicode path field (APPNOTE §4.6.9) renames the item. One for another name is outdated and ignored.
bool isRenamed(ByteSpan extra, ByteSpan name) {
    const std::uint64_t sum = ::crc32(0, name.data(), static_cast<uInt>(name.size()));
    bool renamed = false;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        renamed |= header == UNICODE_PATH_FIELD && field.size() >= 9 && number(field, 5, 4) == sum &&
                   viewOf(field.subspan(9)) != viewOf(name);
    });
    return renamed;
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

    /// Some readers find the directory directly before the end record, others by the offset in the record.
    void checkEnd() const {
        const auto end = readRecord<EndRecord>(read(directory_.endRecord(), SIZE<EndRecord>));
        if (file_.size() - directory_.endRecord() - SIZE<EndRecord> != end.commentSize)
            failAtEnd("something other than its comment follows the end record");
        constexpr std::string_view signature = "PK\5\6";
        if (viewOf(directory_.comment()).find(signature) != std::string_view::npos)
            failAtEnd("there is an end record in the comment");
        if (directory_.start() + directory_.size() != findBehindDirectory(end))
            failAtEnd("the end record does not follow the central directory");
        if (!isOneDisk(end))
            failAtEnd("the end record refers to other disks");
    }

    template <class End>
    static bool isOneDisk(const End& end) {
        const auto isNoOther = [](auto disk) { return disk == 0 || (sizeof disk == 2 && disk == FULL_16); };
        return isNoOther(end.disk) && isNoOther(end.directoryDisk) && end.diskEntries == end.entries;
    }

    /// @return the offset of the first record after the directory.
    std::uint64_t findBehindDirectory(const EndRecord& end) const {
        const std::uint64_t offset = directory_.endRecord();
        if (offset < SIZE<EndLocator64>)
            return offset;
        const ByteVector bytes = read(offset - SIZE<EndLocator64>, SIZE<EndLocator64>);
        if (!isRecord<EndLocator64>(bytes))
            return offset;
        const auto locator = readRecord<EndLocator64>(bytes);
        checkEnd64(end, locator, read64(offset, locator));
        return locator.endRecordOffset;
    }

    /// Readers also look directly before the locator, so the record must not be longer.
    EndRecord64 read64(std::uint64_t endRecord, const EndLocator64& locator) const {
        constexpr std::uint64_t room = SIZE<EndRecord64> + SIZE<EndLocator64>;
        const ByteVector bytes = endRecord < room ? ByteVector() : read(endRecord - room, SIZE<EndRecord64>);
        const auto end64 = readRecord<EndRecord64>(bytes);
        if (!isRecord<EndRecord64>(bytes) || end64.size != EndRecord64::PLAIN_SIZE ||
            locator.endRecordOffset != endRecord - room)
            failAtEnd("the end record of ZIP64 is not where it should be");
        return end64;
    }

    void checkEnd64(const EndRecord& end, const EndLocator64& locator, const EndRecord64& end64) const {
        if (locator.endRecordDisk != 0 || !isOneDisk(end64))
            failAtEnd("the end record of ZIP64 refers to other disks");
        const bool agrees = isSameOrFull(end.entries, FULL_16, end64.entries) &&
                            isSameOrFull(end.directorySize, FULL_32, end64.directorySize) &&
                            isSameOrFull(end.directoryOffset, FULL_32, end64.directoryOffset);
        if (!agrees)
            failAtEnd("the end records do not agree");
    }

    static bool isSameOrFull(std::uint64_t value, std::uint64_t full, std::uint64_t value64) {
        return value == full || value == value64;
    }

    void checkNames() const {
        std::vector<std::string_view> names;
        names.reserve(directory_.records().size());
        for (const DirectoryRecord& record : directory_.records())
            names.push_back(viewOf(record.name()));
        std::sort(names.begin(), names.end());
        const auto twice = std::adjacent_find(names.begin(), names.end());
        if (twice != names.end())
            fail(Errc::bad_message, label_ + ": duplicate item " + inQuotes(*twice));
    }

    void checkItems() const {
        const std::vector<const DirectoryRecord*>& order = directory_.inFileOrder();
        if (!order.empty())
            checkStart(*order.front());
        for (std::size_t i = 0; i < order.size(); ++i) {
            const std::uint64_t next = i + 1 < order.size() ? order[i + 1]->localHeader : directory_.start();
            checkItem(*order[i], next);
        }
    }

    /// Programs recognize a format by the start of a file, so it starts with the first item. Before that, only the
    /// marker of an archive that could have been split is allowed (APPNOTE §8.5.4).
    void checkStart(const DirectoryRecord& first) const {
        const ByteVector start = read(0, std::min<std::uint64_t>(first.localHeader, 4));
        const std::uint64_t marker = start.size() == 4 ? number(start, 0, 4) : 0;
        const bool isMarked = first.localHeader == 4 && (marker == SINGLE_DISK_MARKER || marker == DESCRIPTOR);
        if (first.localHeader != 0 && !isMarked) {
            fail(Errc::bad_message, label_ + ": " + std::to_string(first.localHeader) +
                                        " bytes before the first item, which other programs may read instead");
        }
    }

    /// @param next the offset of what comes next.
    void checkItem(const DirectoryRecord& record, std::uint64_t next) const {
        checkRecord(record);
        const ItemHeader header = readHeader(record);
        checkHeader(record, header);
        const std::uint64_t content = record.localHeader + sizeOf(header);
        if (next < content || next - content < record.compressedSize)
            failAt(record, "the content overlaps what comes next in the file");
        std::uint64_t end = content + record.compressedSize;
        if (header.flags & HAS_DESCRIPTOR) {
            const std::uint64_t room = std::min<std::uint64_t>(next - end, MAXIMUM_DESCRIPTOR_SIZE);
            const std::size_t size = findDescriptor(read(end, room), record);
            if (size == 0)
                failAt(record, "no data descriptor that agrees with the central directory follows the content");
            end += size;
        }
        checkPadding(record, end, next);
    }

    ItemHeader readHeader(const DirectoryRecord& record) const {
        const auto fixed = readLocalHeader(file_, record.localHeader);
        if (!fixed || fixed->signature != LocalHeader::SIGNATURE)
            failAt(record, "no local header at the offset in the central directory");
        if (sizeOf(*fixed) > file_.size() - record.localHeader)
            failAt(record, "the local header is longer than the file");
        const std::uint64_t rest = record.localHeader + SIZE<LocalHeader>;
        return {*fixed, read(rest, sizeOf(*fixed) - SIZE<LocalHeader>)};
    }

    void checkRecord(const DirectoryRecord& record) const {
        const unsigned type = record.header.externalAttributes >> 16 & FILE_TYPE;
        if (type != 0 && type != REGULAR_FILE && type != FOLDER)
            failAt(record, "the item is a link or a device");
        if (record.header.method == STORED && record.size != record.compressedSize)
            failAt(record, "the item is stored, but its compressed size differs from its size");
        if (record.header.disk != 0)
            failAt(record, "the item is on another disk");
    }

    void checkHeader(const DirectoryRecord& record, const ItemHeader& header) const {
        if (viewOf(header.name()) != viewOf(record.name()) || isRenamed(header.extra(), header.name()))
            failAt(record, disagreement("name"));
        const unsigned differing = header.flags ^ record.header.flags;
        if (differing & ~COMPRESSION_LEVEL & ~(isASCII(record.name()) ? IS_UTF8 : 0U))
            failAt(record, disagreement("flags"));
        if (header.method != record.header.method)
            failAt(record, disagreement("compression method"));
        if (countFields(header.extra(), ZIP64_FIELD) > 1 || countFields(record.extra(), ZIP64_FIELD) > 1)
            failAt(record, "duplicate ZIP64 extra field");
        checkNumbers(record, header);
    }

    void checkNumbers(const DirectoryRecord& record, const ItemHeader& header) const {
        std::uint64_t compressedSize = header.compressedSize;
        std::uint64_t size = header.size;
        ByteSpan wide = findNumbers64(header.extra());
        if (!widen(size, wide) || !widen(compressedSize, wide))
            failAt(record, "the local header lacks the sizes of ZIP64");
        const struct {
            const char* name;
            std::uint64_t local;
            std::uint64_t central;
        } numbers[] = {
            {"checksum", header.checksum, record.header.checksum},
            {"compressed size", compressedSize, record.compressedSize},
            {"size", size, record.size},
        };
        for (const auto& [name, local, central] : numbers) {
            const bool comesLater = local == 0 && header.flags & HAS_DESCRIPTOR;
            if (local != central && !comesLater)
                failAt(record, disagreement(name));
        }
    }

    static std::string disagreement(const char* what) {
        return std::string("the local header and the central directory disagree about the ") + what;
    }

    /// Zeros that align the next item are not data.
    void checkPadding(const DirectoryRecord& record, std::uint64_t from, std::uint64_t to) const {
        while (from < to) {
            const ByteVector block = read(from, std::min<std::uint64_t>(to - from, BLOCK_SIZE));
            if (std::any_of(block.begin(), block.end(), [](unsigned char byte) { return byte != 0; }))
                failAt(record, "bytes that belong to no item follow the content");
            from += block.size();
        }
    }

    ByteVector read(std::uint64_t offset, std::uint64_t size) const {
        ByteVector bytes(size);
        if (file_.readAt(offset, bytes.data(), bytes.size()) != bytes.size())
            fail(Errc::bad_message, label_ + ": the file ends too early");
        return bytes;
    }

    const Bytes& file_;
    const ZipDirectory& directory_;
    const std::string& label_;
};

/// The name for a reader that descends the folders up to the first empty segment and puts the last segment there.
std::string withoutHiddenSegments(const std::string& name) {
    const std::size_t empty = name.starts_with('/') ? 0 : name.find("//");
    return empty == std::string::npos ? name : name.substr(0, empty) + name.substr(name.rfind('/'));
}

} // namespace

void throwIfInconsistent(const Bytes& file, const ZipDirectory& directory, const std::string& label) {
    ConsistencyCheck(file, directory, label).run();
}

namespace {

using FoldedNames = std::map<std::string, std::pair<std::string, const void*>>;

/// A reader that creates folders for names cannot create an item where there is a folder.
void throwIfBelowItems(const FoldedNames& folded, const std::string& label) {
    for (const auto& [text, entry] : folded) {
        const std::string folder = text + '/';
        auto below = folded.lower_bound(folder);
        while (below != folded.end() && below->first.starts_with(folder) && below->second.second == entry.second)
            ++below;
        const bool isFolder = entry.first.ends_with('/') || entry.first.ends_with('\\');
        if (!isFolder && below != folded.end() && below->first.starts_with(folder)) {
            fail(Errc::bad_message, label + ": " + inQuotes(below->second.first) + ": readers could take " +
                                        inQuotes(entry.first) + " for the folder of this item");
        }
    }
}

} // namespace

void throwIfNamesMeet(const ZipItems& items, const ZipArchive& archive, const std::string& label) {
    FoldedNames folded;
    const auto add = [&](const std::string& name, const void* item) {
        for (const std::string& text : {detail::foldName(name), detail::foldName(withoutHiddenSegments(name))}) {
            const auto [known, isNew] = folded.try_emplace(text, name, item);
            if (!isNew && known->second.second != item)
                fail(Errc::bad_message, label + ": " + inQuotes(name) + ": readers could take the item for " +
                                            inQuotes(known->second.first));
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
    throwIfBelowItems(folded, label);
}

} // namespace opc::storage
