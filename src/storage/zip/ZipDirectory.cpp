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
constexpr std::uint64_t TAIL_SIZE = FULL_16 + END_RECORD_SIZE + END_LOCATOR_64_SIZE;
/// A file with more directories is refused before each of them has been read.
constexpr int MAXIMUM_DIRECTORIES = 16;

std::size_t lengthAt(ByteSpan record, std::size_t place) {
    return number(record, place, 2);
}

std::string shown(const DirectoryRecord& record) {
    const ByteSpan name = record.name();
    return inQuotes({reinterpret_cast<const char*>(name.data()), name.size()});
}

} // namespace

ByteSpan DirectoryRecord::name() const {
    return bytes.subspan(DIRECTORY_RECORD_SIZE, lengthAt(bytes, 28));
}

ByteSpan DirectoryRecord::extra() const {
    return bytes.subspan(DIRECTORY_RECORD_SIZE + lengthAt(bytes, 28), lengthAt(bytes, 30));
}

ByteSpan DirectoryRecord::comment() const {
    return bytes.last(lengthAt(bytes, 32));
}

/// Looks for the end record of a file, from its end as all readers do.
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
        for (std::size_t place = tail_.size(); place-- > 0;) {
            if (isEnd(place)) {
                compare(place);
            }
        }
        if (isTwofold_) {
            failAsAmbiguous("there are two directories");
        }
        if (!found_ || !isWanted_(*found_)) {
            failAsAmbiguous("the last end record leads to no directory, or readers find another one");
        }
        return std::move(*found_);
    }

private:
    bool isEnd(std::size_t place) const {
        return tail_.size() - place >= END_RECORD_SIZE && number(tail_, place, 4) == END_RECORD;
    }

    /// Whether the comment of an end record is the end of the file.
    bool hasWholeRest(std::size_t place) const {
        return tail_.size() - place - END_RECORD_SIZE == lengthAt(tail_, place + 20);
    }

    void compare(std::size_t place) {
        const bool isLast = !std::exchange(hasLast_, true);
        const bool isContent = found_ && found_->isContent(file_, start_ + place, END_RECORD_SIZE);
        if (isContent && !hasWholeRest(place)) {
            return;
        }
        std::vector<ZipDirectory> directories = read(place);
        if (directories.empty() || (!isLast && directories.front().records().empty())) {
            return;
        }
        if (!isLast && (isContent || !hasWholeRest(place))) {
            failAsAmbiguous(found_ ? "there are two directories" : "the last end record leads to no directory");
        }
        isTwofold_ = directories.size() > 1;
        take(std::move(directories.front()), place);
    }

    void take(ZipDirectory&& directory, std::size_t place) {
        const std::size_t rest = tail_.size() - place - END_RECORD_SIZE;
        const ByteSpan comment = ByteSpan(tail_).subspan(place + END_RECORD_SIZE);
        append(directory.comment_, comment.first(std::min(rest, lengthAt(tail_, place + 20))));
        directory.endRecord_ = start_ + place;
        found_ = std::move(directory);
    }

    /// The directory of an end record: where it says, or right in front of it, as readers find it behind other data.
    std::vector<ZipDirectory> read(std::size_t place) {
        std::vector<ZipDirectory> found;
        for (const ZipDirectory::End& end : readEnds(place)) {
            const bool isKnown = !found.empty() && found.back().start_ == end.start;
            if (isKnown || !ZipDirectory::isAt(file_, end)) {
                continue;
            }
            if (++directories_ > MAXIMUM_DIRECTORIES) {
                failAsAmbiguous("there are too many directories");
            }
            ZipDirectory directory;
            if (directory.read(file_, end)) {
                found.push_back(std::move(directory));
            }
        }
        return found;
    }

    /// What the end record says, and the one of ZIP64 before it.
    std::vector<ZipDirectory::End> readEnds(std::size_t place) const {
        std::vector<ZipDirectory::End> ends;
        if (place >= END_LOCATOR_64_SIZE && number(tail_, place - END_LOCATOR_64_SIZE, 4) == END_LOCATOR_64) {
            std::array<unsigned char, END_RECORD_64_SIZE> end{};
            const std::uint64_t at = number(tail_, place - END_LOCATOR_64_SIZE + 8, 8);
            if (at < file_.size() && file_.readAt(at, end.data(), end.size()) == end.size() &&
                number(end, 0, 4) == END_RECORD_64) {
                add(ends, {number(end, 32, 8), number(end, 48, 8), number(end, 40, 8)}, at);
            }
        }
        const auto plain = [&](std::size_t field, std::size_t size) { return number(tail_, place + field, size); };
        add(ends, {plain(10, 2), plain(16, 4), plain(12, 4)}, start_ + place);
        return ends;
    }

    /// @param record the place of the record that says so.
    void add(std::vector<ZipDirectory::End>& ends, ZipDirectory::End end, std::uint64_t record) const {
        if (end.start <= file_.size() && end.size <= file_.size() - end.start) {
            ends.push_back(end);
        }
        if (end.count > 0 && end.size <= record) {
            ends.push_back({end.count, record - end.size, end.size});
        }
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
    bool hasLast_ = false;   ///< whether an end record was met
    bool isTwofold_ = false; ///< whether what was found leads to two directories
    int directories_ = 0;
};

ZipDirectory ZipDirectory::find(const Bytes& file, const std::function<bool(const ZipDirectory&)>& isWanted,
                                const std::string& label) {
    return EndSearch(file, isWanted, label).run();
}

bool ZipDirectory::isAt(const Bytes& file, const End& end) {
    std::array<unsigned char, 4> signature{};
    return end.count <= end.size / DIRECTORY_RECORD_SIZE &&
           (end.count == 0 || (file.readAt(end.start, signature.data(), signature.size()) == signature.size() &&
                               number(signature, 0, 4) == DIRECTORY_RECORD));
}

bool ZipDirectory::read(const Bytes& file, const End& end) {
    start_ = end.start;
    bytes_.resize(end.size);
    if (file.readAt(end.start, bytes_.data(), bytes_.size()) != bytes_.size()) {
        return false;
    }
    std::size_t place = 0;
    records_.reserve(end.count);
    order_.reserve(end.count);
    for (std::uint64_t i = 0; i < end.count; ++i) {
        if (!readRecord(place)) {
            return false;
        }
        order_.push_back(&records_.back());
    }
    const auto isBefore = [](const auto* a, const auto* b) { return a->localHeader < b->localHeader; };
    if (!std::is_sorted(order_.begin(), order_.end(), isBefore)) {
        std::stable_sort(order_.begin(), order_.end(), isBefore);
    }
    return true;
}

bool ZipDirectory::readRecord(std::size_t& place) {
    const ByteSpan rest = ByteSpan(bytes_).subspan(place);
    if (rest.size() < DIRECTORY_RECORD_SIZE || number(rest, 0, 4) != DIRECTORY_RECORD) {
        return false;
    }
    const std::size_t size = DIRECTORY_RECORD_SIZE + lengthAt(rest, 28) + lengthAt(rest, 30) + lengthAt(rest, 32);
    if (size > rest.size()) {
        return false;
    }
    DirectoryRecord record{rest.first(size),
                           static_cast<unsigned>(number(rest, 8, 2)),
                           static_cast<std::uint32_t>(number(rest, 16, 4)),
                           number(rest, 20, 4),
                           number(rest, 24, 4),
                           number(rest, 42, 4)};
    ByteSpan wide = findNumbers64(record.extra());
    if (!widen(record.size, wide) || !widen(record.compressedSize, wide) || !widen(record.localHeader, wide)) {
        return false;
    }
    records_.push_back(record);
    place += size;
    return true;
}

/// Counted is what an item takes at least: how long its local header is, is not known yet. Reading the item finds out.
void ZipDirectory::throwIfOverlapping(const std::string& label) const {
    for (std::size_t i = 1; i < order_.size(); ++i) {
        const DirectoryRecord& record = *order_[i - 1];
        const std::uint64_t room = order_[i]->localHeader - record.localHeader;
        if (room < LOCAL_HEADER_SIZE || room - LOCAL_HEADER_SIZE < record.compressedSize) {
            fail(Errc::bad_message,
                 label + ": the items " + shown(record) + " and " + shown(*order_[i]) + " overlap in the file");
        }
    }
}

/// The first item, in the order of the file, that starts behind a place.
ZipDirectory::Order::const_iterator ZipDirectory::findBehind(std::uint64_t place) const {
    return std::upper_bound(order_.begin(), order_.end(), place,
                            [](std::uint64_t value, const auto* record) { return value < record->localHeader; });
}

bool ZipDirectory::isContent(const Bytes& file, std::uint64_t place, std::uint64_t size) const {
    const auto behind = findBehind(place);
    std::array<unsigned char, LOCAL_HEADER_SIZE> header{};
    if (behind == order_.begin()) {
        return false;
    }
    const DirectoryRecord& record = **std::prev(behind);
    if (file.readAt(record.localHeader, header.data(), header.size()) != header.size()) {
        return false;
    }
    const std::uint64_t headerSize = header.size() + lengthAt(header, 26) + lengthAt(header, 28);
    const std::uint64_t from = place - record.localHeader;
    return from >= headerSize && size <= record.compressedSize && from - headerSize <= record.compressedSize - size;
}

std::uint64_t ZipDirectory::findNext(std::uint64_t localHeader) const {
    const auto next = findBehind(localHeader);
    return next == order_.end() ? start_ : (*next)->localHeader;
}

} // namespace opc::storage
