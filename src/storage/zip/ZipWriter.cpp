// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipWriter.hpp"

#include "storage/Compression.hpp"
#include "storage/Deflater.hpp"
#include "storage/Failure.hpp"
#include "storage/items/ReadLimits.hpp"
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipFormat.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <set>

namespace opc::storage {

using interfaces::CompressionType;
using namespace zipformat;

namespace {

/// 1980-01-01 00:00:00 in the form of ZIP: the same calls give the same bytes.
constexpr std::uint16_t FIXED_DATE = 1 << 5 | 1;
constexpr std::uint16_t FIXED_TIME = 0;

/// Unix, by the version of APPNOTE that knows ZIP64.
constexpr std::uint16_t MADE_BY = 3 << 8 | ZIP64_VERSION;
/// A regular file that everybody may read, in the upper half as Unix keeps it.
constexpr std::uint32_t FILE_ATTRIBUTES = std::uint32_t(0100644) << 16;

constexpr std::size_t WRITTEN_BLOCK_SIZE = 256 * 1024;

ByteSpan spanOf(const std::string& text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// What is new of an item that stays.
struct Renewal {
    bool name = false;
    bool content = false;
};

/// The extra fields that are kept: of an item with new content, those about times, sizes or encryption are not valid
/// any longer.
ByteVector keptFields(ByteSpan extra, Renewal renewal) {
    constexpr std::array<unsigned, 5> ofContent = {ZIP64_FIELD, NTFS_TIMES_FIELD, UNIX_TIMES_FIELD, OLD_UNIX_FIELD,
                                                   AES_FIELD};
    ByteVector kept;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        const bool isOfContent = std::find(ofContent.begin(), ofContent.end(), header) != ofContent.end();
        if (!(renewal.name && header == UNICODE_PATH_FIELD) && !(renewal.content && isOfContent))
            append(kept, field);
    });
    return kept;
}

/// The flag for UTF-8 stays with an ASCII name: it also tells the encoding of the comment.
std::uint16_t flagsWithName(unsigned flags, ByteSpan name) {
    return static_cast<std::uint16_t>(isASCII(name) ? flags : flags | IS_UTF8);
}

/// An extra field of ZIP64 with these numbers; nothing without numbers.
ByteVector zip64Field(const std::vector<std::uint64_t>& numbers) {
    ByteVector field;
    if (!numbers.empty()) {
        put(field, ZIP64_FIELD, 2);
        put(field, numbers.size() * 8, 2);
    }
    for (const std::uint64_t value : numbers)
        put(field, value, 8);
    return field;
}

std::uint16_t checkedLength(std::size_t length, const std::string& label) {
    if (length > FULL_16)
        fail(Errc::value_too_large, label + ": a name or an extra field is too long for a ZIP file");
    return static_cast<std::uint16_t>(length);
}

/// The bytes of an item as they are written to the file.
struct Payload {
    std::uint16_t method = STORED;
    std::uint32_t checksum = 0;
    std::uint64_t plainSize = 0;
    std::uint64_t size = 0;
    ByteVector deflated{};                ///< content that is compressed at the save
    const unsigned char* bytes = nullptr; ///< null: in the spilled content
    const SpilledContent* spilled = nullptr;
};

/// @param deflater the one of the item before; null for none.
Payload makePayload(const Content& content, CompressionType type, std::unique_ptr<Deflater>& deflater) {
    Payload payload;
    payload.plainSize = content.size();
    if (SpilledContent* spilled = content.spilled()) {
        spilled->synchronize();
        payload.method = spilled->isDeflated() ? DEFLATED : STORED;
        payload.checksum = spilled->checksum();
        payload.size = spilled->size();
        payload.spilled = spilled;
        return payload;
    }
    const auto& plain = content.inMemory();
    payload.checksum = static_cast<std::uint32_t>(crc32_z(0, plain.data(), plain.size()));
    payload.bytes = plain.data();
    payload.size = plain.size();
    const int level = compressionLevel(type);
    if (level != 0 && !plain.empty()) {
        payload.method = DEFLATED;
        if (!deflater || !deflater->restart(level, plain.size()))
            deflater = std::make_unique<Deflater>(level, plain.size());
        deflater->deflate(plain.data(), plain.size(), Deflater::Ending::Finish, payload.deflated);
        payload.bytes = payload.deflated.data();
        payload.size = payload.deflated.size();
    }
    return payload;
}

/// The headers of a new item.
struct Facts {
    CentralHeader header{};
    ByteSpan name{};
    ByteVector localExtra{};
    ByteVector extra{};
    ByteVector comment{};
};

void raiseVersion(ItemFields& fields, std::uint16_t version) {
    fields.versionNeeded = std::max(fields.versionNeeded, version);
}

class Writer {
public:
    Writer(const ZipArchive* original, const ReadLimits& limits, Target& target)
        : original_(original), limits_(limits), target_(target) {}

    void keepStart() {
        if (!original_->getDirectory().records().empty()) {
            const auto& records = original_->getDirectory().records();
            const auto first = std::min_element(records.begin(), records.end(), [](const auto& a, const auto& b) {
                return a.localHeader < b.localHeader;
            });
            copy(original_->getBytes(), 0, first->localHeader);
        }
    }

    /// Copies an item with its headers and its data descriptor, if there is one.
    void keep(const DirectoryRecord& record) {
        const Bytes& file = original_->getBytes();
        LocalHeader header = readLocalHeader(record);
        const std::uint64_t start = position_;
        const std::uint64_t size = sizeOf(header) + sizeBehind(record, header);
        if (start >= FULL_32)
            raiseVersion(header, ZIP64_VERSION);
        ByteVector bytes;
        putRecord(bytes, header);
        put(bytes);
        copy(file, record.localHeader + bytes.size(), size - bytes.size());
        if (position_ - start != size)
            failToKeep(record);
        keepRecord(record, start,
                   {record.header.flags, record.name(), withoutNumbers64(record.extra()), record.comment()});
    }

    /// Copies what follows the local header of an item.
    void rename(std::uint64_t index, const ZipChanges::Replaced& item) {
        const DirectoryRecord& record = original_->getDirectory().records()[index];
        const LocalHeader old = readLocalHeader(record);
        const ByteSpan name = spanOf(item.newName);
        LocalHeader header = old;
        header.flags = flagsWithName(old.flags, name);
        header.nameSize = checkedLength(name.size(), item.label);
        const std::uint64_t start = position_;
        if (start >= FULL_32)
            raiseVersion(header, ZIP64_VERSION);
        putLocalHeader(header, name, keptFields(localExtra(record), {.name = true}));
        const std::uint64_t content = position_;
        const std::uint64_t size = sizeBehind(record, old);
        copy(original_->getBytes(), record.localHeader + sizeOf(old), size);
        if (position_ - content != size)
            failToKeep(record);
        const ByteVector comment = commentWith(index, name);
        keepRecord(record, start,
                   {flagsWithName(record.header.flags, name), name,
                    keptFields(withoutNumbers64(record.extra()), {.name = true}), comment});
    }

    void replace(std::uint64_t index, const ZipChanges::Replaced& item) {
        const DirectoryRecord& record = original_->getDirectory().records()[index];
        const Renewal renewal{!item.newName.empty(), true};
        Facts facts;
        facts.name = renewal.name ? spanOf(item.newName) : record.name();
        facts.header.flags = record.header.flags & IS_UTF8;
        if (renewal.name)
            facts.header.flags = flagsWithName(facts.header.flags, facts.name);
        facts.header.madeBy = record.header.madeBy;
        facts.header.internalAttributes = record.header.internalAttributes;
        facts.header.externalAttributes = record.header.externalAttributes;
        facts.localExtra = keptFields(localExtra(record), renewal);
        facts.extra = keptFields(record.extra(), renewal);
        facts.comment = commentWith(index, renewal.name ? facts.name : ByteSpan());
        write(facts, makePayload(*item.content, CompressionType::Normal, deflater_), item.label);
    }

    void add(const ZipChanges::Added& item) {
        Facts facts;
        facts.name = spanOf(item.name);
        facts.header.flags = isASCII(facts.name) ? 0 : IS_UTF8;
        facts.header.madeBy = MADE_BY;
        facts.header.externalAttributes = FILE_ATTRIBUTES;
        const std::shared_ptr<const Content> content = item.content ? item.content : item.load();
        write(facts, makePayload(*content, item.compression, deflater_), item.label);
    }

    void finish(ByteSpan comment) {
        const std::uint64_t start = position_;
        put(directory_);
        const std::uint64_t size = position_ - start;
        ByteVector bytes;
        if (count_ >= FULL_16 || size >= FULL_32 || start >= FULL_32)
            putEnd64(bytes, start, size);
        EndRecord end;
        end.diskEntries = end.entries = toField<std::uint16_t>(count_);
        end.directorySize = toField<std::uint32_t>(size);
        end.directoryOffset = toField<std::uint32_t>(start);
        end.commentSize = toField<std::uint16_t>(comment.size());
        putRecord(bytes, end);
        append(bytes, comment);
        put(bytes);
        flush();
    }

private:
    [[noreturn]] static void failToKeep(const DirectoryRecord& record) {
        fail(Errc::bad_message,
             "the item " + inQuotes(viewOf(record.name())) +
                 " is damaged and cannot be copied: it is not at the offset in the central directory");
    }

    LocalHeader readLocalHeader(const DirectoryRecord& record) const {
        const auto header = storage::readLocalHeader(original_->getBytes(), record.localHeader);
        if (!header || header->signature != LocalHeader::SIGNATURE)
            failToKeep(record);
        return *header;
    }

    /// How many bytes there are from the end of the local header of an item to what comes next in the file.
    std::uint64_t roomBehind(const DirectoryRecord& record, const LocalHeader& header) const {
        const std::uint64_t room = original_->getDirectory().findNext(record.localHeader) - record.localHeader;
        return room - std::min<std::uint64_t>(room, sizeOf(header));
    }

    /// The size of the content and of the data descriptor after it, if there is one: either header may tell of one, and
    /// some readers go by the local one. Where one of the headers is damaged, all up to what comes next is kept, which
    /// may be content that can still be saved.
    std::uint64_t sizeBehind(const DirectoryRecord& record, const LocalHeader& header) const {
        std::uint64_t size = record.compressedSize;
        bool isSound = header.nameSize == record.header.nameSize;
        if ((header.flags | record.header.flags) & HAS_DESCRIPTOR) {
            std::array<unsigned char, MAXIMUM_DESCRIPTOR_SIZE> found{};
            original_->getBytes().readAt(record.localHeader + sizeOf(header) + size, found.data(), found.size());
            const std::size_t descriptor = std::max(findDescriptor(found, record, 4), findDescriptor(found, record, 8));
            isSound &= descriptor != 0;
            size += descriptor;
        } else {
            isSound &= header.compressedSize == FULL_32 || header.compressedSize == size;
        }
        return isSound ? size : std::max(size, roomBehind(record, header));
    }

    /// The comment of an item with another name, after which it can be in UTF-8.
    ByteVector commentWith(std::uint64_t index, ByteSpan name) const {
        const DirectoryRecord& record = original_->getDirectory().records()[index];
        ByteVector comment;
        const bool isOfOtherCode = !isASCII(name) && !isASCII(record.comment()) && !(record.header.flags & IS_UTF8);
        append(comment, isOfOtherCode ? spanOf(original_->comment(index)) : record.comment());
        return comment;
    }

    static ByteVector withoutNumbers64(ByteSpan extra) {
        ByteVector kept;
        forEachExtraField(extra, [&](unsigned id, ByteSpan field) {
            if (id != ZIP64_FIELD)
                append(kept, field);
        });
        return kept;
    }

    /// Nothing where its length is damaged, so that the item would reach into what comes next.
    ByteVector localExtra(const DirectoryRecord& record) const {
        const LocalHeader header = readLocalHeader(record);
        if (roomBehind(record, header) < record.compressedSize)
            return {};
        ByteVector extra(header.extraSize);
        const std::uint64_t offset = record.localHeader + sizeOf(header) - extra.size();
        extra.resize(original_->getBytes().readAt(offset, extra.data(), extra.size()));
        return extra;
    }

    /// What a record of the directory says of an item beside its numbers.
    struct Words {
        std::uint16_t flags;
        ByteSpan name;
        ByteVector extra; ///< without ZIP64
        ByteSpan comment;
    };

    /// The record of an item with a new offset, on the only disk.
    void keepRecord(const DirectoryRecord& record, std::uint64_t start, const Words& words) {
        CentralHeader header = record.header;
        std::vector<std::uint64_t> numbers;
        if (header.size == FULL_32)
            numbers.push_back(record.size);
        if (header.compressedSize == FULL_32)
            numbers.push_back(record.compressedSize);
        if (start >= FULL_32) {
            numbers.push_back(start);
            raiseVersion(header, ZIP64_VERSION);
        }
        const ByteVector extra = joined(zip64Field(numbers), words.extra, "a ZIP item");
        header.flags = words.flags;
        header.disk = 0; // with FULL_16 the number would have to be in the ZIP64 field
        header.nameSize = static_cast<std::uint16_t>(words.name.size());
        header.extraSize = static_cast<std::uint16_t>(extra.size());
        header.commentSize = checkedLength(words.comment.size(), "a ZIP item");
        header.localHeader = toField<std::uint32_t>(start);
        addRecord(header, words.name, extra, words.comment);
    }

    void addRecord(const CentralHeader& header, ByteSpan name, ByteSpan extra, ByteSpan comment) {
        putRecord(directory_, header);
        append(directory_, name);
        append(directory_, extra);
        append(directory_, comment);
        ++count_;
    }

    void write(Facts& facts, const Payload& payload, const std::string& label) {
        limits_.checkContent(payload.plainSize, payload.size, label);
        CentralHeader& header = facts.header;
        const std::uint64_t start = position_;
        std::vector<std::uint64_t> numbers;
        if (isLarge(payload))
            numbers = {payload.plainSize, payload.size};
        const ByteVector localExtra = joined(zip64Field(numbers), facts.localExtra, label);
        if (start >= FULL_32)
            numbers.push_back(start);
        const ByteVector extra = joined(zip64Field(numbers), facts.extra, label);
        raiseVersion(header, numbers.empty() ? PLAIN_VERSION : ZIP64_VERSION);
        setContent(header, payload);
        header.nameSize = checkedLength(facts.name.size(), label);
        putLocalHeader(header, facts.name, localExtra);
        putPayload(payload);
        header.extraSize = static_cast<std::uint16_t>(extra.size());
        header.commentSize = checkedLength(facts.comment.size(), label);
        header.localHeader = toField<std::uint32_t>(start);
        addRecord(header, facts.name, extra, facts.comment);
    }

    static bool isLarge(const Payload& payload) { return payload.plainSize >= FULL_32 || payload.size >= FULL_32; }

    static ByteVector joined(ByteVector fields, const ByteVector& more, const std::string& label) {
        append(fields, more);
        checkedLength(fields.size(), label);
        return fields;
    }

    static void setContent(ItemFields& fields, const Payload& payload) {
        fields.method = payload.method;
        fields.time = FIXED_TIME;
        fields.date = FIXED_DATE;
        fields.checksum = payload.checksum;
        // The ZIP64 field has both sizes or none.
        fields.compressedSize = toField<std::uint32_t>(isLarge(payload) ? FULL_32 : payload.size);
        fields.size = toField<std::uint32_t>(isLarge(payload) ? FULL_32 : payload.plainSize);
    }

    void putLocalHeader(const ItemFields& fields, ByteSpan name, const ByteVector& extra) {
        LocalHeader header{fields};
        header.extraSize = static_cast<std::uint16_t>(extra.size());
        ByteVector bytes;
        putRecord(bytes, header);
        append(bytes, name);
        append(bytes, extra);
        put(bytes);
    }

    void putPayload(const Payload& payload) {
        if (payload.spilled)
            copy(*payload.spilled, 0, payload.size);
        else
            put({payload.bytes, static_cast<std::size_t>(payload.size)});
    }

    void putEnd64(ByteVector& bytes, std::uint64_t start, std::uint64_t size) const {
        EndRecord64 end;
        end.madeBy = MADE_BY;
        end.versionNeeded = ZIP64_VERSION;
        end.diskEntries = end.entries = count_;
        end.directorySize = size;
        end.directoryOffset = start;
        putRecord(bytes, end);
        EndLocator64 locator;
        locator.endRecordOffset = position_;
        putRecord(bytes, locator);
    }

    /// Small pieces are buffered.
    void put(ByteSpan bytes) {
        if (buffer_.size() + bytes.size() > WRITTEN_BLOCK_SIZE)
            flush();
        if (bytes.size() > WRITTEN_BLOCK_SIZE)
            target_.write(bytes.data(), bytes.size());
        else
            append(buffer_, bytes);
        position_ += bytes.size();
    }

    void flush() {
        target_.write(buffer_.data(), buffer_.size());
        buffer_.clear();
    }

    void copy(const Bytes& source, std::uint64_t start, std::uint64_t size) {
        if (size > WRITTEN_BLOCK_SIZE) {
            flush();
            position_ += copyBytes(source, start, size, target_);
            return;
        }
        if (buffer_.size() + size > WRITTEN_BLOCK_SIZE)
            flush();
        const std::size_t filled = buffer_.size();
        buffer_.resize(filled + size);
        const std::size_t count = source.readAt(start, buffer_.data() + filled, size);
        buffer_.resize(filled + count);
        position_ += count;
    }

    const ZipArchive* original_;
    const ReadLimits& limits_;
    Target& target_;
    std::unique_ptr<Deflater> deflater_; ///< of the item before
    ByteVector buffer_;
    ByteVector directory_;
    std::uint64_t position_ = 0;
    std::uint64_t count_ = 0;
};

} // namespace

std::uint64_t copyBytes(const Bytes& source, std::uint64_t start, std::uint64_t size, Target& target) {
    ByteVector buffer(std::min<std::uint64_t>(size, WRITTEN_BLOCK_SIZE));
    std::uint64_t done = 0;
    bool isFile = true;
    while (done < size) {
        const auto piece = isFile ? source.findInFile(start + done, size - done) : std::nullopt;
        if (const std::uint64_t copied = piece ? target.writeFrom(*piece) : 0) {
            done += copied;
            continue;
        }
        isFile = false;
        const std::size_t wanted = std::min<std::uint64_t>(size - done, buffer.size());
        const std::size_t count = source.readAt(start + done, buffer.data(), wanted);
        if (count == 0)
            break;
        target.write(buffer.data(), count);
        done += count;
    }
    return done;
}

void writeZip(const ZipArchive* original, const ZipChanges& changes, const ReadLimits& limits, Target& target) {
    Writer writer(original, limits, target);
    ByteSpan comment = original ? original->getDirectory().comment() : ByteSpan();
    if (changes.dropsSurroundings && viewOf(comment).find("PK\5\6") != std::string_view::npos)
        comment = {};
    const auto addAll = [&writer](const std::vector<ZipChanges::Added>& items) {
        for (const ZipChanges::Added& item : items)
            writer.add(item);
    };
    const std::set<std::uint64_t> deleted(changes.deleted.begin(), changes.deleted.end());
    std::map<std::uint64_t, const ZipChanges::Replaced*> replaced;
    for (const ZipChanges::Replaced& item : changes.replaced)
        replaced.emplace(item.index, &item);
    if (original && !changes.dropsSurroundings)
        writer.keepStart();
    const std::uint64_t count = original ? original->getDirectory().records().size() : 0;
    for (std::uint64_t index = 0; index < count; ++index) {
        if (index == changes.leading)
            addAll(changes.first);
        const DirectoryRecord& record = original->getDirectory().records()[index];
        const auto change = replaced.find(index);
        if (change != replaced.end())
            change->second->content ? writer.replace(index, *change->second) : writer.rename(index, *change->second);
        else if (!deleted.contains(index))
            writer.keep(record);
    }
    if (changes.leading >= count)
        addAll(changes.first);
    addAll(changes.added);
    writer.finish(comment);
}

} // namespace opc::storage
