// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipConsistency.hpp"

#include "storage/Failure.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/OtherFormats.hpp"

#include <algorithm>
#include <bit>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::storage {

using namespace zipformat;

namespace {

/// The type of a file in what Unix programs keep of it (the upper half of the external attributes).
constexpr unsigned FILE_TYPE = 0xF000;
constexpr unsigned REGULAR_FILE = 0x8000;
constexpr unsigned FOLDER = 0x4000;

/// Attributes of DOS, in the lower half.
constexpr unsigned DOS_NO_FILE = 0x08 | 0x10; ///< the label of a volume, or a folder
constexpr unsigned AMIGA = 1;                 ///< as the system that an item was made by (APPNOTE §4.4.2.2)
constexpr unsigned START_OF_SIGNATURES = 0x4B50;

bool isFolderName(ByteSpan name) {
    return viewOf(name).ends_with('/');
}

/// @param mode as Unix keeps it.
bool isLinkOrDevice(unsigned mode, bool isFolder) {
    const unsigned type = mode & FILE_TYPE;
    return type != 0 && type != REGULAR_FILE && !(type == FOLDER && isFolder);
}

/// Whether an extra field makes something else of an item than a file with its content.
bool isLinkByField(ByteSpan extra, bool isFolder) {
    bool found = false;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        const bool hasMode = header == ASI_UNIX_FIELD && field.size() >= 10;
        found |= header == ATTRIBUTES_FIELD || (hasMode && isLinkOrDevice(number(field, 8, 2), isFolder));
        found |= header == AES_FIELD; // the item is not encrypted, but some readers decode it
        found |= std::ranges::find(MACINTOSH_FIELDS, header) != std::end(MACINTOSH_FIELDS);
    });
    return found;
}

/// How many bytes at the end of the extra fields form none. Zeros align the content, and count as none.
std::size_t countStrayBytes(ByteSpan extra) {
    std::size_t count = 0;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        if (header == NO_FIELD && std::any_of(field.begin(), field.end(), [](unsigned char byte) { return byte != 0; }))
            count = field.size();
    });
    return count;
}

/// The length that some readers take a field to have, whatever it says; none for other fields.
std::optional<std::size_t> usualLength(unsigned header, ByteSpan data, bool isLocal) {
    switch (header) {
    case UNIX_TIMES_FIELD: // the directory tells the first time only
        return data.empty() ? 0 : data.size() == 5 ? 5 : 1 + 4 * static_cast<std::size_t>(std::popcount(data[0] & 7U));
    case UNIX_IDS_FIELD:
        return data.size() < 3 + (data.size() > 1 ? data[1] : 0U) ? 0 : 3 + data[1] + data[2 + data[1]];
    case SHORT_UNIX_IDS_FIELD:
        return isLocal ? 4 : data.size() == 4 ? 4 : 0;
    case OLD_UNIX_FIELD:
        return data.size() == 8 ? 8 : 12;
    case NTFS_TIMES_FIELD:
        return 32;
    case ZIP64_FIELD: // that of the directory is held to its numbers
        return !isLocal || data.size() == 24 || data.size() == 28 ? data.size() : 16;
    default:
        return std::nullopt;
    }
}

/// Whether a field is longer or shorter than what it holds, or is there twice: some readers skip what it should hold.
bool hasUnusualFields(ByteSpan extra, bool isLocal) {
    bool found = false;
    std::set<unsigned> known;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        if (header == NO_FIELD)
            return;
        const ByteSpan data = field.subspan(4);
        const auto length = usualLength(header, data, isLocal);
        found |= length && (*length != data.size() || !known.insert(header).second);
    });
    return found;
}

/// A local header with what follows it.
struct ItemHeader : LocalHeader {
    ByteVector rest{};

    ByteSpan name() const { return ByteSpan(rest).first(nameSize); }
    ByteSpan extra() const { return ByteSpan(rest).subspan(nameSize); }
};

/// Whether a Unicode path field (APPNOTE §4.6.9) gives the item another name. One whose checksum is that of another
/// name is outdated, but programs compute the checksum of more than one spelling. Some readers take what follows the
/// field for a part of the name, or read behind the end of a short one.
bool isRenamed(ByteSpan extra, ByteSpan name) {
    bool renamed = false;
    std::size_t end = 0;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        end += field.size();
        renamed |= header == UNICODE_PATH_FIELD &&
                   (field.size() < 9 || viewOf(field.subspan(9)) != viewOf(name) || end != extra.size());
    });
    return renamed;
}

/// The place of the next signature of a record from one on; `npos` for none.
std::size_t findSignature(std::string_view text, std::size_t from) {
    constexpr std::string_view ends[] = {"\1\2", "\3\4", "\5\6", "\6\6", "\6\7", "\7\10"};
    std::size_t at = text.find("PK", from);
    while (at != text.npos && std::ranges::find(ends, text.substr(at + 2, 2)) == std::end(ends))
        at = text.find("PK", at + 1);
    return at;
}

/// What is wrong with an item; ends the step of the check that finds it.
struct RecordFault {
    RuleId rule;
    std::string what;
};

class ConsistencyCheck {
public:
    ConsistencyCheck(const ZipArchive& archive, const ZipFaults& faults)
        : archive_(archive), file_(archive.getBytes()), directory_(archive.getDirectory()), faults_(faults) {}

    void run() {
        checkEnd();
        checkNames();
        checkItems();
    }

private:
    [[noreturn]] static void failAt(RuleId rule, std::string what) { throw RecordFault{rule, std::move(what)}; }

    std::string nameOf(const DirectoryRecord& record) const {
        return archive_.item(static_cast<std::uint64_t>(&record - directory_.records().data())).name;
    }

    /// A step of the check of an item.
    template <class Step>
    void attempt(const DirectoryRecord& record, const Step& step) const {
        try {
            step();
        } catch (const RecordFault& fault) {
            faults_.add({fault.rule, nameOf(record), fault.what, inQuotes(viewOf(record.name())) + ": " + fault.what});
        }
    }

    void addAtEnd(const std::string& what, RuleId rule = RuleId::ZipEndRecord) const {
        faults_.add({rule, {}, what, "the end of the ZIP structure is ambiguous: " + what, what});
    }

    /// Some readers find the directory directly before the end record, others by the offset in the record.
    void checkEnd() const {
        const auto end = readRecord<EndRecord>(read(directory_.endRecord(), SIZE<EndRecord>));
        if (file_.size() - directory_.endRecord() - SIZE<EndRecord> != end.commentSize)
            addAtEnd("something other than its comment follows the end record", RuleId::ZipHiddenData);
        if (directory_.start() + directory_.size() != findBehindDirectory(end))
            addAtEnd("the end record does not follow the central directory");
        if (!isOneDisk(end))
            addAtEnd("the end record refers to other disks");
        checkTail();
        checkSignatures();
    }

    /// Some readers search for the signatures of records, from the end or from the start, instead of following them,
    /// and find one that the fields of a record, its texts and what stands behind them make together.
    void checkSignatures() const {
        const ByteVector bytes = read(directory_.start(), file_.size() - directory_.start());
        const std::string_view text = viewOf(bytes);
        const auto& records = directory_.records();
        auto record = records.begin();
        std::uint64_t start = 0; // of that record, in the text
        for (std::size_t at = findSignature(text, 0); at != text.npos; at = findSignature(text, at + 1)) {
            while (record != records.end() && start < at)
                start += (record++)->bytes.size();
            if (at >= directory_.size() ? isEndStructure(at - directory_.size()) : start == at)
                continue;
            if (at < directory_.size())
                attempt(*std::prev(record),
                        [] { failAt(RuleId::ZipEndRecord, "the record has the signature of another record"); });
            else
                addAtEnd("the end record or its comment has the signature of another record");
        }
    }

    /// @param offset from the end of the directory on.
    bool isEndStructure(std::uint64_t offset) const {
        const std::uint64_t end = directory_.endRecord() - directory_.start() - directory_.size();
        constexpr std::uint64_t size64 = SIZE<EndRecord64> + SIZE<EndLocator64>;
        return offset == end || (end == size64 && (offset == 0 || offset == SIZE<EndRecord64>));
    }

    /// Some readers take the last locator of ZIP64 wherever it is, in the content of an item, too.
    void checkTail() const {
        const std::uint64_t size = std::min<std::uint64_t>(file_.size(), FULL_16 + SIZE<EndRecord>);
        const ByteVector tail = read(file_.size() - size, size);
        const std::size_t last = viewOf(tail).rfind("PK\6\7");
        if (last != std::string_view::npos && file_.size() - size + last + SIZE<EndLocator64> != directory_.endRecord())
            addAtEnd("a locator of ZIP64 lies before the central directory");
    }

    template <class End>
    static bool isOneDisk(const End& end) {
        const auto isNoOther = [](auto disk) { return disk == 0 || (sizeof disk == 2 && disk == FULL_16); };
        return isNoOther(end.disk) && isNoOther(end.directoryDisk) && end.diskEntries == end.entries;
    }

    /// @return the offset of the first record after the directory.
    std::uint64_t findBehindDirectory(const EndRecord& end) const {
        const std::uint64_t offset = directory_.endRecord();
        const ByteVector bytes = read(offset - std::min<std::uint64_t>(offset, SIZE<EndLocator64>), SIZE<EndLocator64>);
        if (!isRecord<EndLocator64>(bytes)) {
            if (end.entries == FULL_16 || end.directorySize == FULL_32 || end.directoryOffset == FULL_32)
                addAtEnd("the end record refers to one of ZIP64, which is not there");
            return offset;
        }
        const auto locator = readRecord<EndLocator64>(bytes);
        if (const auto end64 = read64(offset, locator))
            checkEnd64(end, locator, *end64);
        return locator.endRecordOffset;
    }

    /// Readers also look directly before the locator, so the record must not be longer.
    /// @return nothing when it is not there.
    std::optional<EndRecord64> read64(std::uint64_t endRecord, const EndLocator64& locator) const {
        constexpr std::uint64_t room = SIZE<EndRecord64> + SIZE<EndLocator64>;
        const ByteVector bytes = endRecord < room ? ByteVector() : read(endRecord - room, SIZE<EndRecord64>);
        const auto end64 = readRecord<EndRecord64>(bytes);
        if (!isRecord<EndRecord64>(bytes) || end64.size != EndRecord64::PLAIN_SIZE ||
            locator.endRecordOffset != endRecord - room) {
            addAtEnd("the end record of ZIP64 is not where it should be");
            return std::nullopt;
        }
        return end64;
    }

    void checkEnd64(const EndRecord& end, const EndLocator64& locator, const EndRecord64& end64) const {
        if (locator.endRecordDisk != 0 || locator.disks > 1 || !isOneDisk(end64))
            addAtEnd("the end record of ZIP64 refers to other disks");
        const bool agrees = isSameOrFull(end.entries, FULL_16, end64.entries) &&
                            isSameOrFull(end.directorySize, FULL_32, end64.directorySize) &&
                            isSameOrFull(end.directoryOffset, FULL_32, end64.directoryOffset);
        if (!agrees)
            addAtEnd("the end records do not agree");
        const std::string unneeded = "the end record of ZIP64 has no number that needs it";
        if (end64.entries < FULL_16 && end64.directorySize < FULL_32 && end64.directoryOffset < FULL_32)
            faults_.note({RuleId::Zip64WhenNeeded, {}, unneeded, {}, unneeded});
    }

    static bool isSameOrFull(std::uint64_t value, std::uint64_t full, std::uint64_t value64) {
        return value == full || value == value64;
    }

    /// Each item after the first of its name.
    void checkNames() const {
        std::vector<const DirectoryRecord*> records;
        records.reserve(directory_.records().size());
        for (const DirectoryRecord& record : directory_.records())
            records.push_back(&record);
        const auto nameOfRecord = [](const DirectoryRecord* record) { return viewOf(record->name()); };
        std::ranges::stable_sort(records, {}, nameOfRecord);
        for (std::size_t i = 1; i < records.size(); ++i)
            if (nameOfRecord(records[i]) == nameOfRecord(records[i - 1]))
                faults_.add({RuleId::NoDuplicateItem, nameOf(*records[i]), "duplicate item",
                             "duplicate item " + inQuotes(nameOfRecord(records[i]))});
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

    /// Programs recognize a format by the start of a file, so it starts with the first item. Some that read from the
    /// front find no item after the marker of an archive that could have been split (APPNOTE §8.5.4).
    void checkStart(const DirectoryRecord& first) const {
        if (first.localHeader != 0) {
            const std::string what = std::to_string(first.localHeader) +
                                     " bytes before the first item, which other programs may read instead";
            faults_.add({RuleId::ZipHiddenData, {}, what, what, "start"});
        }
        const std::string other = explainPolyglot(file_);
        if (!other.empty()) {
            const std::string what = "this is " + other + ", too, which other programs may read instead";
            faults_.add({RuleId::ZipOtherFormat, {}, what, what, other});
        }
    }

    /// @param next the offset of what comes next.
    void checkItem(const DirectoryRecord& record, std::uint64_t next) const {
        attempt(record, [&] { checkRecord(record); });
        std::optional<ItemHeader> header;
        attempt(record, [&] {
            header = readHeader(record);
            checkHeader(record, *header);
        });
        if (header)
            attempt(record, [&] { checkExtent(record, *header, next); });
    }

    void checkExtent(const DirectoryRecord& record, const ItemHeader& header, std::uint64_t next) const {
        const std::uint64_t content = record.localHeader + sizeOf(header);
        if (next < content || next - content < record.compressedSize)
            failAt(RuleId::ZipOverlap, "the content overlaps what comes next in the file");
        std::uint64_t end = content + record.compressedSize;
        if (header.flags & HAS_DESCRIPTOR && hasFalseEnd(content, end))
            failAt(RuleId::ZipDescriptor,
                   "readers from the front could find the end of the item and another one in it");
        if (header.flags & HAS_DESCRIPTOR)
            end += sizeOfDescriptor(record, header,
                                    read(end, std::min<std::uint64_t>(next - end, MAXIMUM_DESCRIPTOR_SIZE)));
        if (end != next) // zeros, too: who reads from the front stops there
            failAt(RuleId::ZipHiddenData, "bytes that belong to no item follow the content");
    }

    /// Whether so many compressed bytes have what some readers from the front take for the end of an item whose size
    /// the local header does not tell, and behind that what they take for the next item.
    bool hasFalseEnd(std::uint64_t offset, std::uint64_t end) const {
        constexpr std::uint64_t blockSize = 64UL * 1024;
        constexpr std::uint64_t overlap = 3;
        bool hasEnd = false;
        for (; offset + overlap < end; offset += blockSize) {
            const ByteVector block = read(offset, std::min(end - offset, blockSize + overlap));
            const std::string_view text = viewOf(block);
            for (std::size_t at = text.find("PK"); at != text.npos; at = text.find("PK", at + 1)) {
                const std::string_view signature = text.substr(at + 2, 2);
                if (hasEnd && signature == "\3\4")
                    return true;
                hasEnd |= signature == "\7\10" || signature == "\1\2";
            }
        }
        return false;
    }

    /// Its sizes have 8 bytes where the local header has a ZIP64 field (APPNOTE §4.3.9.2). Real producers also write 8
    /// bytes without that field, with the version of ZIP64. A reader that takes 4 bytes for 8 notices it by the size,
    /// unless the item is empty.
    static std::size_t sizeOfDescriptor(const DirectoryRecord& record, const ItemHeader& header, ByteSpan bytes) {
        const std::size_t narrow = findDescriptor(bytes, record, 4);
        const std::size_t wide = findDescriptor(bytes, record, 8);
        if (record.header.checksum == DESCRIPTOR)
            failAt(RuleId::ZipDescriptor, "the checksum in the data descriptor reads as its signature");
        if (!narrow && !wide)
            failAt(RuleId::HeadersAgree,
                   "no data descriptor that agrees with the central directory follows the content");
        if (narrow && wide)
            failAt(RuleId::ZipDescriptor,
                   "the data descriptor agrees with the central directory by sizes of 4 and of 8 bytes");
        if (wide && (record.size & 0xFFFF) == START_OF_SIGNATURES)
            failAt(RuleId::ZipDescriptor, "the size in the data descriptor reads as the signature of a record");
        const bool hasField = countFields(header.extra(), ZIP64_FIELD) > 0;
        const bool isTold = header.checksum != 0 || header.compressedSize != 0 || header.size != 0;
        if (hasField ? narrow > 0 : wide > 0 && (header.versionNeeded < ZIP64_VERSION || isTold)) {
            failAt(RuleId::ZipDescriptor, std::string("the data descriptor has sizes of ") + (wide ? "8" : "4") +
                                              " bytes, but the local header has " + (hasField ? "a" : "no") +
                                              " ZIP64 extra field");
        }
        if (number(bytes, 0, 4) != DESCRIPTOR) // for which some readers search
            failAt(RuleId::ZipDescriptor, "the data descriptor has no signature");
        return narrow + wide;
    }

    ItemHeader readHeader(const DirectoryRecord& record) const {
        const auto fixed = readLocalHeader(file_, record.localHeader);
        if (!fixed || fixed->signature != LocalHeader::SIGNATURE)
            failAt(RuleId::HeadersAgree, "no local header at the offset in the central directory");
        if (sizeOf(*fixed) > file_.size() - record.localHeader)
            failAt(RuleId::HeadersAgree, "the local header is longer than the file");
        const std::uint64_t rest = record.localHeader + SIZE<LocalHeader>;
        return {*fixed, read(rest, sizeOf(*fixed) - SIZE<LocalHeader>)};
    }

    static void checkRecord(const DirectoryRecord& record) {
        const CentralHeader& header = record.header;
        const bool isFolder = isFolderName(record.name());
        if (isLinkOrDevice(header.externalAttributes >> 16, isFolder))
            failAt(RuleId::ZipFileKind, "the item is a link, a device or a folder by its attributes");
        if (header.externalAttributes & DOS_NO_FILE && !isFolder)
            failAt(RuleId::ZipFileKind, "the item is a folder or a volume label by its attributes");
        if (isFolder && record.size != 0)
            failAt(RuleId::ZipFileKind, "the item is a folder by its name, and has content");
        if (header.madeBy >> 8 == AMIGA)
            failAt(RuleId::ZipFileKind,
                   "the item was made on an Amiga, by whose attributes some readers take it for a folder");
        if (header.flags & ~HARMLESS_FLAGS)
            failAt(header.flags & ENCRYPTION_FLAGS ? RuleId::NoEncryption : RuleId::CompressionMethod,
                   "the flags tell of encryption, patched data or something unknown");
        if (header.method != STORED && header.method != DEFLATED)
            failAt(RuleId::CompressionMethod, "the compression method is " + std::to_string(header.method) +
                                                  ", which some readers do not support");
        if (header.method == STORED && record.size != record.compressedSize)
            failAt(RuleId::ZipDamaged, "the item is stored, but its compressed size differs from its size");
        if (header.method == STORED && header.flags & HAS_DESCRIPTOR)
            failAt(RuleId::ZipDescriptor,
                   "the item is stored and has a data descriptor, which readers from the front cannot find");
        if (header.disk != 0)
            failAt(RuleId::ZipEndRecord, "the item is on another disk");
        const bool isMarked = header.flags & IS_UTF8;
        if (!isASCII(record.name()) && !(isMarked && isUTF8(viewOf(record.name()))))
            failAt(RuleId::ItemNameSyntax, std::string("the name is not ") + (isMarked ? "" : "marked as ") +
                                               "UTF-8, and some readers take it for another one");
    }

    void checkHeader(const DirectoryRecord& record, const ItemHeader& header) const {
        if (viewOf(header.name()) != viewOf(record.name()))
            failAt(RuleId::HeadersAgree, disagreement("name"));
        if (isRenamed(header.extra(), header.name()) || isRenamed(record.extra(), record.name()))
            failAt(RuleId::ZipExtraField, disagreement("name"));
        const unsigned differing = header.flags ^ record.header.flags;
        const unsigned level = header.method == DEFLATED ? DEFLATE_LEVEL : 0; // of others, some readers compare it
        if (differing & ~level & ~(isASCII(record.name()) ? IS_UTF8 : 0U))
            failAt(RuleId::HeadersAgree, disagreement("flags"));
        if (header.method != record.header.method)
            failAt(RuleId::HeadersAgree, disagreement("compression method"));
        for (const unsigned version : {header.versionNeeded, record.header.versionNeeded})
            if (version > ZIP64_VERSION)
                failAt(RuleId::CompressionMethod, "the version needed to extract is " + std::to_string(version) +
                                                      ", which some readers do not support");
        for (const bool isLocal : {true, false})
            checkExtraFields(record, isLocal ? header.extra() : record.extra(), isLocal);
        checkNumbers64(record);
        checkNumbers(record, header);
        const bool isSmall = header.size != FULL_32 && header.compressedSize != FULL_32;
        if (isSmall && !(header.flags & HAS_DESCRIPTOR) && countFields(header.extra(), ZIP64_FIELD) > 0)
            faults_.note({RuleId::Zip64WhenNeeded, nameOf(record),
                          "the ZIP64 extra field in the local header has no number that needs it"});
    }

    static void checkExtraFields(const DirectoryRecord& record, ByteSpan extra, bool isLocal) {
        if (isLinkByField(extra, isFolderName(record.name())))
            failAt(RuleId::ZipFileKind,
                   "an extra field could make something else of the item, such as a link or a folder");
        if (countFields(extra, ZIP64_FIELD) > 1)
            failAt(RuleId::ZipExtraField, "duplicate ZIP64 extra field");
        if (hasUnusualFields(extra, isLocal))
            failAt(RuleId::ZipExtraField, "an extra field has not the length of what it holds, or is there twice");
        if (const std::size_t stray = countStrayBytes(extra))
            failAt(RuleId::ZipExtraField,
                   "the last bytes of the extra fields, " + std::to_string(stray) + ", form no field");
    }

    /// In the directory, a ZIP64 field has only the numbers that 32 bits cannot hold (APPNOTE §4.5.3).
    static void checkNumbers64(const DirectoryRecord& record) {
        std::size_t needed = 0;
        for (const std::uint64_t value : {record.size, record.compressedSize, record.localHeader})
            needed += value >= FULL_32 ? 8 : 0;
        const std::size_t size = findNumbers64(record.extra()).size();
        if (size != needed || (needed == 0 && countFields(record.extra(), ZIP64_FIELD) > 0)) {
            failAt(RuleId::Zip64WhenNeeded, "the ZIP64 extra field in the central directory has " +
                                                std::to_string(size) + " bytes of numbers, of which " +
                                                std::to_string(needed) + " are needed");
        }
    }

    static void checkNumbers(const DirectoryRecord& record, const ItemHeader& header) {
        std::uint64_t compressedSize = header.compressedSize;
        std::uint64_t size = header.size;
        ByteSpan wide = findNumbers64(header.extra());
        // A ZIP64 field of a local header has both sizes (APPNOTE §4.5.3).
        const bool hasOne = (header.compressedSize == FULL_32) != (header.size == FULL_32);
        if (hasOne || !widen(size, wide) || !widen(compressedSize, wide))
            failAt(RuleId::HeadersAgree, "the local header lacks the sizes of ZIP64");
        const struct {
            const char* name;
            std::uint64_t local;
            std::uint64_t central;
        } numbers[] = {
            {"checksum", header.checksum, record.header.checksum},
            {"compressed size", compressedSize, record.compressedSize},
            {"size", size, record.size},
        };
        // Some readers take a single zero for the number.
        const bool areZero = header.checksum == 0 && compressedSize == 0 && size == 0;
        const bool comesLater = areZero && header.flags & HAS_DESCRIPTOR;
        for (const auto& [name, local, central] : numbers)
            if (local != central && !comesLater)
                failAt(RuleId::HeadersAgree, disagreement(name));
    }

    static std::string disagreement(const char* what) {
        return std::string("the local header and the central directory disagree about the ") + what;
    }

    ByteVector read(std::uint64_t offset, std::uint64_t size) const {
        ByteVector bytes(size);
        if (file_.readAt(offset, bytes.data(), bytes.size()) != bytes.size())
            fail(Errc::bad_message, archive_.getLabel() + ": the file ends too early");
        return bytes;
    }

    const ZipArchive& archive_;
    const Bytes& file_;
    const ZipDirectory& directory_;
    const ZipFaults& faults_;
};

} // namespace

void checkConsistency(const ZipArchive& archive, const ZipFaults& faults) {
    ConsistencyCheck(archive, faults).run();
}

} // namespace opc::storage
