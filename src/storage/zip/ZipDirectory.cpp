// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipDirectory.hpp"

#include "storage/Failure.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace opc::storage {

using namespace zipformat;

namespace {

/// The end record is followed by nothing but its comment.
constexpr std::uint64_t TAIL_SIZE = FULL_16 + SIZE<EndRecord> + SIZE<EndLocator64>;
/// The most directories that are read; a file with more is refused.
constexpr int MAXIMUM_DIRECTORIES = 16;

} // namespace

ByteSpan DirectoryRecord::name() const {
    return bytes.subspan(SIZE<CentralHeader>, header.nameSize);
}

ByteSpan DirectoryRecord::extra() const {
    return bytes.subspan(SIZE<CentralHeader> + header.nameSize, header.extraSize);
}

ByteSpan DirectoryRecord::comment() const {
    return bytes.last(header.commentSize);
}

std::optional<LocalHeader> readLocalHeader(const Bytes& file, std::uint64_t offset) {
    std::array<unsigned char, SIZE<LocalHeader>> bytes{};
    const bool isWhole = file.readAt(offset, bytes.data(), bytes.size()) == bytes.size();
    return isWhole ? std::optional(zipformat::readRecord<LocalHeader>(bytes)) : std::nullopt;
}

std::size_t findDescriptor(ByteSpan bytes, const DirectoryRecord& record, std::size_t width) {
    const std::size_t signature = bytes.size() >= 4 && number(bytes, 0, 4) == DESCRIPTOR ? 4 : 0;
    for (const std::size_t start : {signature, std::size_t(0)}) {
        const std::size_t size = start + 4 + 2 * width;
        if (bytes.size() >= size && number(bytes, start, 4) == record.header.checksum &&
            number(bytes, start + 4, width) == record.compressedSize &&
            number(bytes, start + 4 + width, width) == record.size)
            return size;
    }
    return 0;
}

/// Searches for the end record of a file, backwards from its end as all readers do.
class EndSearch {
public:
    EndSearch(const Bytes& file, const std::function<bool(const ZipDirectory&)>& isWanted, const std::string& label)
        : file_(file), isWanted_(isWanted), label_(label), tail_(std::min(file.size(), TAIL_SIZE)),
          start_(file.size() - tail_.size()) {
        file.readAt(start_, tail_.data(), tail_.size());
    }

    /// The last end record counts, or the one whose comment it is in. An earlier one is another archive's, unless it is
    /// in the content of an item.
    ZipDirectory run() {
        for (const std::size_t position : findSignatures())
            if (isRecord<EndRecord>(tailFrom(position)))
                compare(position);
        if (isTwofold_)
            failAsAmbiguous("more than one central directory");
        if (!found_ || !isWanted_(*found_))
            failAsAmbiguous("the last end record points to no central directory, or readers find another one");
        return std::move(*found_);
    }

private:
    ByteSpan tailFrom(std::size_t position) const { return ByteSpan(tail_).subspan(position); }

    /// Where the signature of an end record is in the tail, from the last one to the first.
    std::vector<std::size_t> findSignatures() const {
        constexpr std::string_view signature = "PK\5\6";
        const std::string_view tail = viewOf(tail_);
        std::vector<std::size_t> positions;
        for (std::size_t at = tail.find(signature); at != tail.npos; at = tail.find(signature, at + 1))
            positions.push_back(at);
        std::reverse(positions.begin(), positions.end());
        return positions;
    }

    /// The comment of an end record, as far as the file has it.
    ByteSpan commentOf(std::size_t position) const {
        const ByteSpan rest = tailFrom(position + SIZE<EndRecord>);
        return rest.first(std::min<std::size_t>(rest.size(), endAt(position).commentSize));
    }

    EndRecord endAt(std::size_t position) const { return readRecord<EndRecord>(tailFrom(position)); }

    /// Whether the comment of an end record is the end of the file.
    bool hasWholeRest(std::size_t position) const {
        return tail_.size() - position - SIZE<EndRecord> == endAt(position).commentSize;
    }

    void compare(std::size_t position) {
        const bool isLast = !std::exchange(hasLast_, true);
        const bool isContent = found_ && found_->isContent(file_, start_ + position, SIZE<EndRecord>);
        if (isContent && !hasWholeRest(position))
            return;
        std::vector<ZipDirectory> directories = read(position);
        if (directories.empty() || (!isLast && directories.front().records().empty()))
            return;
        if (!isLast && (isContent || !hasWholeRest(position)))
            failAsAmbiguous(found_ ? "more than one central directory"
                                   : "the last end record points to no central directory");
        isTwofold_ = directories.size() > 1;
        take(std::move(directories.front()), position);
    }

    void take(ZipDirectory&& directory, std::size_t position) {
        append(directory.comment_, commentOf(position));
        directory.endRecord_ = start_ + position;
        found_ = std::move(directory);
    }

    /// The directory of an end record: at its offset, or directly before the record, where readers find it, too.
    std::vector<ZipDirectory> read(std::size_t position) {
        std::vector<ZipDirectory> found;
        for (const ZipDirectory::End& end : readEnds(position)) {
            const bool isKnown = !found.empty() && found.back().start_ == end.start;
            if (isKnown || !ZipDirectory::isAt(file_, end))
                continue;
            if (++directories_ > MAXIMUM_DIRECTORIES)
                failAsAmbiguous("too many central directories");
            ZipDirectory directory;
            if (directory.read(file_, end))
                found.push_back(std::move(directory));
        }
        return found;
    }

    /// The fields of the end record, or of the one of ZIP64 before it.
    std::vector<ZipDirectory::End> readEnds(std::size_t position) const {
        std::vector<ZipDirectory::End> ends;
        const std::size_t locator = position - SIZE<EndLocator64>;
        if (position >= SIZE<EndLocator64> && isRecord<EndLocator64>(tailFrom(locator))) {
            const std::uint64_t offset = readRecord<EndLocator64>(tailFrom(locator)).endRecordOffset;
            std::array<unsigned char, SIZE<EndRecord64>> end{};
            if (offset < file_.size() && file_.readAt(offset, end.data(), end.size()) == end.size() &&
                isRecord<EndRecord64>(end))
                add(ends, readRecord<EndRecord64>(end), offset);
        }
        add(ends, endAt(position), start_ + position);
        return ends;
    }

    /// @param offset of the end record.
    template <class Record>
    void add(std::vector<ZipDirectory::End>& ends, const Record& record, std::uint64_t offset) const {
        const ZipDirectory::End end{record.entries, record.directoryOffset, record.directorySize};
        if (end.start <= file_.size() && end.size <= file_.size() - end.start)
            ends.push_back(end);
        if (end.count > 0 && end.size <= offset)
            ends.push_back({end.count, offset - end.size, end.size});
    }

    [[noreturn]] void failAsAmbiguous(const char* why) const {
        fail(Errc::bad_message, label_ + ": the ZIP structure is ambiguous: " + why);
    }

    const Bytes& file_;
    const std::function<bool(const ZipDirectory&)>& isWanted_;
    const std::string& label_;
    ByteVector tail_;
    std::uint64_t start_; ///< of the tail
    std::optional<ZipDirectory> found_;
    bool hasLast_ = false;   ///< whether an end record was found
    bool isTwofold_ = false; ///< whether two directories were found
    int directories_ = 0;
};

ZipDirectory ZipDirectory::find(const Bytes& file, const std::function<bool(const ZipDirectory&)>& isWanted,
                                const std::string& label) {
    return EndSearch(file, isWanted, label).run();
}

bool ZipDirectory::isAt(const Bytes& file, const End& end) {
    std::array<unsigned char, SIZE<CentralHeader>> header{};
    return end.count <= end.size / header.size() &&
           (end.count == 0 ||
            (file.readAt(end.start, header.data(), header.size()) == header.size() && isRecord<CentralHeader>(header)));
}

bool ZipDirectory::read(const Bytes& file, const End& end) {
    start_ = end.start;
    bytes_.resize(end.size);
    if (file.readAt(end.start, bytes_.data(), bytes_.size()) != bytes_.size())
        return false;
    std::size_t offset = 0;
    records_.reserve(end.count);
    order_.reserve(end.count);
    for (std::uint64_t i = 0; i < end.count; ++i) {
        if (!readRecord(offset))
            return false;
        order_.push_back(&records_.back());
    }
    const auto isBefore = [](const auto* a, const auto* b) { return a->localHeader < b->localHeader; };
    if (!std::is_sorted(order_.begin(), order_.end(), isBefore))
        std::stable_sort(order_.begin(), order_.end(), isBefore);
    return true;
}

bool ZipDirectory::readRecord(std::size_t& offset) {
    const ByteSpan rest = ByteSpan(bytes_).subspan(offset);
    if (!isRecord<CentralHeader>(rest))
        return false;
    const auto header = zipformat::readRecord<CentralHeader>(rest);
    const std::size_t size = SIZE<CentralHeader> + header.nameSize + header.extraSize + header.commentSize;
    if (size > rest.size())
        return false;
    DirectoryRecord record{rest.first(size), header, header.compressedSize, header.size, header.localHeader};
    ByteSpan wide = findNumbers64(record.extra());
    if (!widen(record.size, wide) || !widen(record.compressedSize, wide) || !widen(record.localHeader, wide))
        return false;
    records_.push_back(record);
    offset += size;
    return true;
}

/// Counts the minimum size of an item: the length of its local header is known only when the item is read.
void ZipDirectory::throwIfOverlapping(const std::string& label) const {
    for (std::size_t i = 1; i < order_.size(); ++i) {
        const DirectoryRecord& record = *order_[i - 1];
        const std::uint64_t room = order_[i]->localHeader - record.localHeader;
        if (room < SIZE<LocalHeader> || room - SIZE<LocalHeader> < record.compressedSize) {
            fail(Errc::bad_message, label + ": the items " + inQuotes(viewOf(record.name())) + " and " +
                                        inQuotes(viewOf(order_[i]->name())) + " overlap in the file");
        }
    }
}

/// The first item, in the order of the file, that starts after an offset.
ZipDirectory::Order::const_iterator ZipDirectory::findBehind(std::uint64_t offset) const {
    return std::upper_bound(
        order_.begin(), order_.end(), offset,
        [](std::uint64_t value, const auto* record) { return value < record->localHeader; });
}

bool ZipDirectory::isContent(const Bytes& file, std::uint64_t offset, std::uint64_t size) const {
    const auto behind = findBehind(offset);
    if (behind == order_.begin())
        return false;
    const DirectoryRecord& record = **std::prev(behind);
    const auto header = readLocalHeader(file, record.localHeader);
    if (!header)
        return false;
    const std::uint64_t headerSize = sizeOf(*header);
    const std::uint64_t from = offset - record.localHeader;
    return from >= headerSize && size <= record.compressedSize && from - headerSize <= record.compressedSize - size;
}

std::uint64_t ZipDirectory::findNext(std::uint64_t localHeader) const {
    const auto next = findBehind(localHeader);
    return next == order_.end() ? start_ : (*next)->localHeader;
}

} // namespace opc::storage
