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
/// A file with more of what looks like a directory is not looked through to its end.
constexpr int MAXIMUM_ATTEMPTS = 16;

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

ZipDirectory ZipDirectory::find(const Bytes& file, const std::function<bool(const ZipDirectory&)>& isWanted,
                                const std::string& label) {
    ByteVector tail(std::min(file.size(), TAIL_SIZE));
    file.readAt(file.size() - tail.size(), tail.data(), tail.size());
    std::optional<ZipDirectory> found;
    int attempts = 0;
    for (std::size_t place = tail.size(); place-- > 0 && attempts < MAXIMUM_ATTEMPTS;) {
        for (const End& end : readEnds(file, tail, place)) {
            ZipDirectory directory;
            ++attempts;
            if (!directory.read(file, end) || !isWanted(directory) || (found && found->start_ == directory.start_)) {
                continue;
            }
            if (found) {
                fail(Errc::bad_message, label + ": the ZIP structure is ambiguous: there are two directories");
            }
            const std::size_t rest = tail.size() - place - END_RECORD_SIZE;
            const ByteSpan comment = ByteSpan(tail).subspan(place + END_RECORD_SIZE);
            append(directory.comment_, comment.first(std::min(rest, lengthAt(tail, place + 20))));
            found = std::move(directory);
            found->endRecord_ = file.size() - tail.size() + place;
        }
    }
    if (!found) {
        fail(Errc::bad_message, label + ": the ZIP structure is ambiguous");
    }
    return std::move(*found);
}

/// What the end record at a place of the file's tail says, and the one of ZIP64 before it.
std::vector<ZipDirectory::End> ZipDirectory::readEnds(const Bytes& file, ByteSpan tail, std::size_t place) {
    std::vector<End> ends;
    if (tail.size() - place < END_RECORD_SIZE || number(tail, place, 4) != END_RECORD) {
        return ends;
    }
    if (place >= END_LOCATOR_64_SIZE && number(tail, place - END_LOCATOR_64_SIZE, 4) == END_LOCATOR_64) {
        std::array<unsigned char, END_RECORD_64_SIZE> end{};
        const std::uint64_t at = number(tail, place - END_LOCATOR_64_SIZE + 8, 8);
        if (at < file.size() && file.readAt(at, end.data(), end.size()) == end.size() &&
            number(end, 0, 4) == END_RECORD_64) {
            ends.push_back({number(end, 32, 8), number(end, 48, 8), number(end, 40, 8)});
        }
    }
    ends.push_back({number(tail, place + 10, 2), number(tail, place + 16, 4), number(tail, place + 12, 4)});
    std::erase_if(ends, [&](const End& end) { return end.start > file.size() || end.size > file.size() - end.start; });
    return ends;
}

bool ZipDirectory::read(const Bytes& file, const End& end) {
    start_ = end.start;
    bytes_.resize(end.size);
    if (end.count > end.size / DIRECTORY_RECORD_SIZE ||
        file.readAt(end.start, bytes_.data(), bytes_.size()) != bytes_.size()) {
        return false;
    }
    std::size_t place = 0;
    records_.reserve(end.count);
    places_.reserve(end.count);
    for (std::uint64_t i = 0; i < end.count; ++i) {
        if (!readRecord(place)) {
            return false;
        }
        places_.push_back(records_.back().localHeader);
    }
    if (!std::is_sorted(places_.begin(), places_.end())) {
        std::sort(places_.begin(), places_.end());
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

std::vector<const DirectoryRecord*> ZipDirectory::inFileOrder() const {
    std::vector<const DirectoryRecord*> order;
    order.reserve(records_.size());
    for (const DirectoryRecord& record : records_) {
        order.push_back(&record);
    }
    const auto isBefore = [](const auto* a, const auto* b) { return a->localHeader < b->localHeader; };
    if (!std::is_sorted(order.begin(), order.end(), isBefore)) {
        std::stable_sort(order.begin(), order.end(), isBefore);
    }
    return order;
}

/// Counted is what an item takes at least: how long its local header is, is not known yet. Reading the item finds out.
void ZipDirectory::throwIfOverlapping(const std::string& label) const {
    const std::vector<const DirectoryRecord*> order = inFileOrder();
    for (std::size_t i = 1; i < order.size(); ++i) {
        const DirectoryRecord& record = *order[i - 1];
        const std::uint64_t room = order[i]->localHeader - record.localHeader;
        if (room < LOCAL_HEADER_SIZE || room - LOCAL_HEADER_SIZE < record.compressedSize) {
            fail(Errc::bad_message,
                 label + ": the items " + shown(record) + " and " + shown(*order[i]) + " overlap in the file");
        }
    }
}

std::uint64_t ZipDirectory::findNext(std::uint64_t localHeader) const {
    const auto next = std::upper_bound(places_.begin(), places_.end(), localHeader);
    return next == places_.end() ? start_ : *next;
}

} // namespace opc::storage
