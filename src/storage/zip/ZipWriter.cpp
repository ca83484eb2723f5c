// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipWriter.hpp"

#include "storage/Compression.hpp"
#include "storage/Deflater.hpp"
#include "storage/Failure.hpp"
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipFormat.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace opc::storage {

using interfaces::CompressionType;
using namespace zipformat;

namespace {

/// 1980-01-01 00:00:00 in the form of ZIP: the same calls give the same bytes.
constexpr unsigned FIXED_DATE = 1 << 5 | 1;
constexpr unsigned FIXED_TIME = 0;

/// Unix, by the version of APPNOTE that knows ZIP64.
constexpr unsigned MADE_BY = 3 << 8 | ZIP64_VERSION;
/// A regular file that everybody may read, in the upper half as Unix keeps it.
constexpr std::uint64_t FILE_ATTRIBUTES = std::uint64_t(0100644) << 16;

constexpr std::size_t BLOCK_SIZE = 256 * 1024;

ByteSpan spanOf(const std::string& text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// What stays of the extra fields of an item whose content is new: what tells of times, sizes or encryption is not true
/// any more.
ByteVector keptFields(ByteSpan extra) {
    constexpr std::array<unsigned, 5> dropped = {ZIP64_FIELD, NTFS_TIMES_FIELD, UNIX_TIMES_FIELD, OLD_UNIX_FIELD,
                                                 AES_FIELD};
    ByteVector kept;
    forEachExtraField(extra, [&](unsigned header, ByteSpan field) {
        if (std::find(dropped.begin(), dropped.end(), header) == dropped.end()) {
            append(kept, field);
        }
    });
    return kept;
}

/// An extra field of ZIP64 with these numbers; nothing without numbers.
ByteVector zip64Field(const std::vector<std::uint64_t>& numbers) {
    ByteVector field;
    if (!numbers.empty()) {
        put(field, ZIP64_FIELD, 2);
        put(field, numbers.size() * 8, 2);
    }
    for (const std::uint64_t value : numbers) {
        put(field, value, 8);
    }
    return field;
}

std::size_t checkedLength(std::size_t length, const std::string& label) {
    if (length > FULL_16) {
        fail(Errc::value_too_large, label + ": a name or an extra field is too long for a ZIP file");
    }
    return length;
}

/// The bytes of an item as they go into the file.
struct Payload {
    unsigned method = STORED;
    std::uint32_t checksum = 0;
    std::uint64_t plainSize = 0;
    std::uint64_t size = 0;
    ByteVector deflated{};                ///< what was compressed just now
    const unsigned char* bytes = nullptr; ///< null: in the spilled content
    const SpilledContent* spilled = nullptr;
};

Payload makePayload(const Content& content, CompressionType type) {
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
        Deflater(level, plain.size()).deflate(plain.data(), plain.size(), Deflater::Ending::Finish, payload.deflated);
        payload.bytes = payload.deflated.data();
        payload.size = payload.deflated.size();
    }
    return payload;
}

/// What the headers of a new item say beside its content.
struct Facts {
    unsigned flags = 0;
    unsigned madeBy = MADE_BY;
    std::uint64_t internalAttributes = 0;
    std::uint64_t externalAttributes = FILE_ATTRIBUTES;
    ByteSpan name{};
    ByteVector localExtra{};
    ByteVector extra{};
    ByteSpan comment{};
};

class Writer {
public:
    Writer(const ZipArchive* original, Target& target) : original_(original), target_(target) {}

    void keepStart() {
        if (!original_->getDirectory().records().empty()) {
            const auto& records = original_->getDirectory().records();
            const auto first = std::min_element(records.begin(), records.end(), [](const auto& a, const auto& b) {
                return a.localHeader < b.localHeader;
            });
            copy(original_->getBytes(), 0, first->localHeader);
        }
    }

    /// Takes an item over, with its headers, and what may follow its content.
    void keep(const DirectoryRecord& record) {
        const Bytes& file = original_->getBytes();
        LocalHeader header = readLocalHeader(record);
        const std::uint64_t start = position_;
        const std::uint64_t content = header.size() + number(header, 26, 2) + number(header, 28, 2);
        const std::uint64_t size = content + record.compressedSize + descriptorSize(record, content);
        if (start >= FULL_32) {
            set(header, 4, std::max<std::uint64_t>(number(header, 4, 2), ZIP64_VERSION), 2);
        }
        put(header);
        copy(file, record.localHeader + header.size(), size - header.size());
        if (position_ - start != size) {
            failToKeep(record);
        }
        keepRecord(record, start);
    }

    void replace(const DirectoryRecord& record, const ZipChanges::Replaced& item) {
        Facts facts;
        facts.name = item.newName.empty() ? record.name() : spanOf(item.newName);
        facts.flags = record.flags & IS_UTF8;
        if (!item.newName.empty() && !isASCII(facts.name)) {
            facts.flags = IS_UTF8;
        }
        facts.madeBy = static_cast<unsigned>(number(record.bytes, 4, 2));
        facts.internalAttributes = number(record.bytes, 36, 2);
        facts.externalAttributes = number(record.bytes, 38, 4);
        facts.localExtra = keptFields(localExtra(record));
        facts.extra = keptFields(record.extra());
        facts.comment = record.comment();
        write(facts, makePayload(*item.content, CompressionType::Normal), item.label);
    }

    void add(const ZipChanges::Added& item) {
        Facts facts;
        facts.name = spanOf(item.name);
        facts.flags = isASCII(facts.name) ? 0 : IS_UTF8;
        write(facts, makePayload(*item.content, item.compression), item.label);
    }

    void finish() {
        const ByteSpan comment = original_ ? original_->getDirectory().comment() : ByteSpan();
        const std::uint64_t start = position_;
        put(directory_);
        const std::uint64_t size = position_ - start;
        ByteVector end;
        if (count_ >= FULL_16 || size >= FULL_32 || start >= FULL_32) {
            putEnd64(end, start, size);
        }
        zipformat::put(end, END_RECORD, 4);
        zipformat::put(end, 0, 4);
        zipformat::put(end, std::min(count_, FULL_16), 2);
        zipformat::put(end, std::min(count_, FULL_16), 2);
        zipformat::put(end, std::min(size, FULL_32), 4);
        zipformat::put(end, std::min(start, FULL_32), 4);
        zipformat::put(end, comment.size(), 2);
        append(end, comment);
        put(end);
        flush();
    }

private:
    using LocalHeader = std::array<unsigned char, LOCAL_HEADER_SIZE>;

    [[noreturn]] static void failToKeep(const DirectoryRecord& record) {
        const ByteSpan name = record.name();
        fail(Errc::bad_message, "the item " + inQuotes({reinterpret_cast<const char*>(name.data()), name.size()}) +
                                    " is damaged, and cannot be taken over: it is not where the directory says");
    }

    LocalHeader readLocalHeader(const DirectoryRecord& record) const {
        LocalHeader header{};
        const std::size_t count = original_->getBytes().readAt(record.localHeader, header.data(), header.size());
        if (count != header.size() || number(header, 0, 4) != LOCAL_HEADER) {
            failToKeep(record);
        }
        return header;
    }

    /// The size of what a bit announces behind the content: checksum and sizes, in one of four forms (APPNOTE §4.3.9).
    std::uint64_t descriptorSize(const DirectoryRecord& record, std::uint64_t content) const {
        if (!(record.flags & HAS_DESCRIPTOR)) {
            return 0;
        }
        std::array<unsigned char, 24> found{};
        original_->getBytes().readAt(record.localHeader + content + record.compressedSize, found.data(), found.size());
        for (const std::size_t signature : {std::size_t(4), std::size_t(0)}) {
            for (const std::size_t width : {std::size_t(8), std::size_t(4)}) {
                if ((signature == 0 || number(found, 0, 4) == DESCRIPTOR) &&
                    number(found, signature, 4) == record.checksum &&
                    number(found, signature + 4, width) == record.compressedSize &&
                    number(found, signature + 4 + width, width) == record.size) {
                    return signature + 4 + 2 * width;
                }
            }
        }
        return 0;
    }

    ByteVector localExtra(const DirectoryRecord& record) const {
        const LocalHeader header = readLocalHeader(record);
        ByteVector extra(number(header, 28, 2));
        const std::uint64_t place = record.localHeader + header.size() + number(header, 26, 2);
        extra.resize(original_->getBytes().readAt(place, extra.data(), extra.size()));
        return extra;
    }

    /// The record of an item that is somewhere else now.
    void keepRecord(const DirectoryRecord& record, std::uint64_t start) {
        std::vector<std::uint64_t> numbers;
        for (const auto& [value, place] : {std::pair(record.size, 24), std::pair(record.compressedSize, 20)}) {
            if (number(record.bytes, static_cast<std::size_t>(place), 4) == FULL_32) {
                numbers.push_back(value);
            }
        }
        if (start >= FULL_32) {
            numbers.push_back(start);
        }
        ByteVector extra = zip64Field(numbers);
        forEachExtraField(record.extra(), [&](unsigned header, ByteSpan field) {
            if (header != ZIP64_FIELD) {
                append(extra, field);
            }
        });
        ByteVector bytes;
        append(bytes, record.bytes.first(DIRECTORY_RECORD_SIZE));
        if (start >= FULL_32) {
            set(bytes, 6, std::max<std::uint64_t>(number(bytes, 6, 2), ZIP64_VERSION), 2);
        }
        set(bytes, 30, checkedLength(extra.size(), "a ZIP item"), 2);
        set(bytes, 42, std::min(start, FULL_32), 4);
        append(directory_, bytes);
        append(directory_, record.name());
        append(directory_, extra);
        append(directory_, record.comment());
        ++count_;
    }

    void write(const Facts& facts, const Payload& payload, const std::string& label) {
        const std::uint64_t start = position_;
        std::vector<std::uint64_t> numbers;
        if (isLarge(payload)) {
            numbers = {payload.plainSize, payload.size};
        }
        const ByteVector localExtra = joined(zip64Field(numbers), facts.localExtra, label);
        if (start >= FULL_32) {
            numbers.push_back(start);
        }
        const ByteVector extra = joined(zip64Field(numbers), facts.extra, label);
        const ByteVector common = commonFields(facts, payload, numbers.empty() ? PLAIN_VERSION : ZIP64_VERSION, label);
        putLocalHeader(facts, common, localExtra);
        putPayload(payload);
        addRecord(facts, common, extra, start);
    }

    static bool isLarge(const Payload& payload) { return payload.plainSize >= FULL_32 || payload.size >= FULL_32; }

    static ByteVector joined(ByteVector fields, const ByteVector& more, const std::string& label) {
        append(fields, more);
        checkedLength(fields.size(), label);
        return fields;
    }

    /// What stands in both headers of an item.
    static ByteVector commonFields(const Facts& facts, const Payload& payload, unsigned version,
                                   const std::string& label) {
        ByteVector common;
        zipformat::put(common, version, 2);
        zipformat::put(common, facts.flags, 2);
        zipformat::put(common, payload.method, 2);
        zipformat::put(common, FIXED_TIME, 2);
        zipformat::put(common, FIXED_DATE, 2);
        zipformat::put(common, payload.checksum, 4);
        zipformat::put(common, isLarge(payload) ? FULL_32 : payload.size, 4);
        zipformat::put(common, isLarge(payload) ? FULL_32 : payload.plainSize, 4);
        zipformat::put(common, checkedLength(facts.name.size(), label), 2);
        return common;
    }

    void putLocalHeader(const Facts& facts, const ByteVector& common, const ByteVector& extra) {
        ByteVector header;
        zipformat::put(header, LOCAL_HEADER, 4);
        append(header, common);
        zipformat::put(header, extra.size(), 2);
        append(header, facts.name);
        append(header, extra);
        put(header);
    }

    void addRecord(const Facts& facts, const ByteVector& common, const ByteVector& extra, std::uint64_t start) {
        zipformat::put(directory_, DIRECTORY_RECORD, 4);
        zipformat::put(directory_, facts.madeBy, 2);
        append(directory_, common);
        zipformat::put(directory_, extra.size(), 2);
        zipformat::put(directory_, facts.comment.size(), 2);
        zipformat::put(directory_, 0, 2); // the number of the disk
        zipformat::put(directory_, facts.internalAttributes, 2);
        zipformat::put(directory_, facts.externalAttributes, 4);
        zipformat::put(directory_, std::min(start, FULL_32), 4);
        append(directory_, facts.name);
        append(directory_, extra);
        append(directory_, facts.comment);
        ++count_;
    }

    void putPayload(const Payload& payload) {
        if (payload.spilled) {
            copy(*payload.spilled, 0, payload.size);
        } else {
            put({payload.bytes, static_cast<std::size_t>(payload.size)});
        }
    }

    void putEnd64(ByteVector& end, std::uint64_t start, std::uint64_t size) const {
        zipformat::put(end, END_RECORD_64, 4);
        zipformat::put(end, END_RECORD_64_SIZE - 12, 8);
        zipformat::put(end, MADE_BY, 2);
        zipformat::put(end, ZIP64_VERSION, 2);
        zipformat::put(end, 0, 8);
        zipformat::put(end, count_, 8);
        zipformat::put(end, count_, 8);
        zipformat::put(end, size, 8);
        zipformat::put(end, start, 8);
        zipformat::put(end, END_LOCATOR_64, 4);
        zipformat::put(end, 0, 4);
        zipformat::put(end, position_, 8);
        zipformat::put(end, 1, 4);
    }

    /// Small pieces are gathered.
    void put(ByteSpan bytes) {
        if (buffer_.size() + bytes.size() > BLOCK_SIZE) {
            flush();
        }
        if (bytes.size() > BLOCK_SIZE) {
            target_.write(bytes.data(), bytes.size());
        } else {
            append(buffer_, bytes);
        }
        position_ += bytes.size();
    }

    void flush() {
        target_.write(buffer_.data(), buffer_.size());
        buffer_.clear();
    }

    void copy(const Bytes& source, std::uint64_t start, std::uint64_t size) {
        if (size > BLOCK_SIZE) {
            flush();
            position_ += copyBytes(source, start, size, target_);
            return;
        }
        if (buffer_.size() + size > BLOCK_SIZE) {
            flush();
        }
        const std::size_t filled = buffer_.size();
        buffer_.resize(filled + size);
        const std::size_t count = source.readAt(start, buffer_.data() + filled, size);
        buffer_.resize(filled + count);
        position_ += count;
    }

    const ZipArchive* original_;
    Target& target_;
    ByteVector buffer_;
    ByteVector directory_;
    std::uint64_t position_ = 0;
    std::uint64_t count_ = 0;
};

} // namespace

std::uint64_t copyBytes(const Bytes& source, std::uint64_t start, std::uint64_t size, Target& target) {
    ByteVector buffer(std::min<std::uint64_t>(size, BLOCK_SIZE));
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
        if (count == 0) {
            break;
        }
        target.write(buffer.data(), count);
        done += count;
    }
    return done;
}

void writeZip(const ZipArchive* original, const ZipChanges& changes, Target& target) {
    Writer writer(original, target);
    const auto addAll = [&writer](const std::vector<ZipChanges::Added>& items) {
        for (const ZipChanges::Added& item : items) {
            writer.add(item);
        }
    };
    const std::set<std::uint64_t> deleted(changes.deleted.begin(), changes.deleted.end());
    std::map<std::uint64_t, const ZipChanges::Replaced*> replaced;
    for (const ZipChanges::Replaced& item : changes.replaced) {
        replaced.emplace(item.index, &item);
    }
    if (original) {
        writer.keepStart();
    }
    const std::uint64_t count = original ? original->getDirectory().records().size() : 0;
    for (std::uint64_t index = 0; index < count; ++index) {
        if (index == changes.leading) {
            addAll(changes.first);
        }
        const DirectoryRecord& record = original->getDirectory().records()[index];
        const auto change = replaced.find(index);
        if (change != replaced.end()) {
            writer.replace(record, *change->second);
        } else if (!deleted.contains(index)) {
            writer.keep(record);
        }
    }
    if (changes.leading >= count) {
        addAll(changes.first);
    }
    addAll(changes.added);
    writer.finish();
}

} // namespace opc::storage
