// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ArchivesInRow.hpp"

#include "storage/zip/ZipDirectory.hpp"

#include <algorithm>
#include <array>

namespace opc::storage {

using namespace zipformat;

/// Searches for an archive that ends in front of an offset.
class ArchiveSearch {
public:
    explicit ArchiveSearch(const Bytes& file) : file_(file) {}

    /// @return nothing when the last end record does not follow a directory with items.
    std::optional<FoundArchive> findBefore(std::uint64_t limit) const {
        const auto position = findLastEnd(limit);
        if (!position)
            return std::nullopt;
        const auto end = *readAt<EndRecord>(*position);
        if (const auto end64 = read64(*position))
            return findWith(*end64, *position - SIZE<EndLocator64> - SIZE<EndRecord64>, limit);
        return findWith(end, *position, limit);
    }

private:
    /// The last end record with its signature in the bytes that a comment of the archive can take.
    std::optional<std::uint64_t> findLastEnd(std::uint64_t limit) const {
        constexpr std::string_view signature = "PK\5\6";
        if (limit < SIZE<EndRecord>)
            return std::nullopt;
        ByteVector tail(std::min<std::uint64_t>(limit, FULL_16 + SIZE<EndRecord>));
        const std::uint64_t start = limit - tail.size();
        tail.resize(file_.readAt(start, tail.data(), tail.size()));
        const std::size_t found = viewOf(tail).rfind(signature, limit - start - SIZE<EndRecord>);
        return found == std::string_view::npos ? std::nullopt : std::optional(start + found);
    }

    template <class Record>
    std::optional<Record> readAt(std::uint64_t offset) const {
        std::array<unsigned char, SIZE<Record>> bytes{};
        const bool isWhole = file_.readAt(offset, bytes.data(), bytes.size()) == bytes.size();
        return isWhole && isRecord<Record>(bytes) ? std::optional(readRecord<Record>(bytes)) : std::nullopt;
    }

    /// The end record of ZIP64, directly in front of its locator.
    std::optional<EndRecord64> read64(std::uint64_t endRecord) const {
        constexpr std::uint64_t room = SIZE<EndRecord64> + SIZE<EndLocator64>;
        if (endRecord < room || !readAt<EndLocator64>(endRecord - SIZE<EndLocator64>))
            return std::nullopt;
        return readAt<EndRecord64>(endRecord - room);
    }

    /// @param behind the offset behind the directory.
    template <class End>
    std::optional<FoundArchive> findWith(const End& end, std::uint64_t behind, std::uint64_t limit) const {
        const std::uint64_t size = end.directorySize;
        if (end.entries == 0 || size > behind || end.directoryOffset > behind - size)
            return std::nullopt;
        const std::uint64_t start = behind - size;
        ZipDirectory directory;
        if (!ZipDirectory::isAt(file_, {end.entries, start, size}) ||
            !directory.read(file_, {end.entries, start, size}))
            return std::nullopt;
        const std::uint64_t room = end.directoryOffset; // for items
        FoundArchive found{start - room, 0, limit};
        if (directory.inFileOrder().back()->localHeader >= room)
            return std::nullopt;
        found.start = found.origin + directory.inFileOrder().front()->localHeader;
        if (!readAt<LocalHeader>(found.start))
            return std::nullopt;
        found.hasRival = found.origin > 0 && readAt<CentralHeader>(end.directoryOffset).has_value();
        return found;
    }

    const Bytes& file_;
};

std::vector<FoundArchive> findArchives(const Bytes& file) {
    const ArchiveSearch search(file);
    std::vector<FoundArchive> found;
    auto next = search.findBefore(file.size());
    while (next && found.size() <= MAXIMUM_ARCHIVES) {
        found.push_back(*next);
        next = search.findBefore(next->start);
    }
    std::reverse(found.begin(), found.end());
    return found;
}

std::size_t ArchiveBytes::readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const {
    if (offset >= this->size())
        return 0;
    const std::size_t count = std::min<std::uint64_t>(size, this->size() - offset);
    const std::uint64_t hidden = archive_.start - archive_.origin;
    const std::size_t zeros = offset < hidden ? std::min<std::uint64_t>(count, hidden - offset) : 0;
    std::fill_n(buffer, zeros, static_cast<unsigned char>(0));
    return zeros + file_.readAt(archive_.origin + offset + zeros, buffer + zeros, count - zeros);
}

std::optional<FilePiece> ArchiveBytes::findInFile(std::uint64_t offset, std::uint64_t size) const {
    const std::uint64_t start = archive_.origin + offset;
    return start < archive_.start ? std::nullopt : file_.findInFile(start, size);
}

} // namespace opc::storage
