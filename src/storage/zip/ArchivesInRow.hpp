// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"

#include <cstdint>
#include <vector>

namespace opc::storage {

/// One of the archives in a file, which need not start where the file starts.
struct FoundArchive {
    std::uint64_t origin = 0; ///< the place from which its offsets count
    std::uint64_t start = 0;  ///< of its first item
    std::uint64_t end = 0;    ///< of the file, or where the next archive starts
    bool hasRival = false;    ///< whether a directory is also where one is for offsets that count from the file's start
};

/// Finds the archives in a file, in their order, as readers do that search for the last end record and take what ends
/// there for the directory, wherever its offsets count from. Each is searched in front of the one behind it.
/// @return none when there is no such directory; at most one more than `MAXIMUM_ARCHIVES`.
std::vector<FoundArchive> findArchives(const Bytes& file);

constexpr std::size_t MAXIMUM_ARCHIVES = 16;

/// The bytes of one of the archives in a file, by its own offsets. What is in front of its first item is zeros.
class ArchiveBytes final : public Bytes {
public:
    /// @param file outlives this object.
    ArchiveBytes(const Bytes& file, const FoundArchive& archive) : file_(file), archive_(archive) {}

    std::uint64_t size() const override { return archive_.end - archive_.origin; }
    std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const override;
    std::optional<FilePiece> findInFile(std::uint64_t offset, std::uint64_t size) const override;

private:
    const Bytes& file_;
    FoundArchive archive_;
};

} // namespace opc::storage
