// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zip.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace opc::benchmarks {

/// A long row of bytes, the same in every run: one block over and over, which is longer than what a compressor looks
/// back to. Only the block is in memory.
class HugeContent {
public:
    enum class Kind {
        Text,  ///< words and numbers, which deflate to about a third
        Noise, ///< random bytes, which do not deflate
    };

    HugeContent(Kind kind, std::uint64_t size);

    std::uint64_t size() const { return size_; }

    /// Calls `take(data, size)` for all bytes in turn, in pieces as a program writes them.
    template <class Take>
    void forEachPiece(Take take) const {
        constexpr std::uint64_t pieceSize = 64 * 1024;
        static_assert(blockSize % pieceSize == 0);
        for (std::uint64_t done = 0; done < size_; done += pieceSize)
            take(block_.data() + done % blockSize, std::min(pieceSize, size_ - done));
    }

    /// A libzip source of the bytes; this object outlives it.
    zip_source_t* makeSource(zip_t* zip);

private:
    static constexpr std::uint64_t blockSize = 1024 * 1024;

    static zip_int64_t onCommand(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command);
    zip_int64_t read(unsigned char* buffer, zip_uint64_t size);

    std::uint64_t size_;
    std::uint64_t position_ = 0;
    std::vector<unsigned char> block_;
};

} // namespace opc::benchmarks
