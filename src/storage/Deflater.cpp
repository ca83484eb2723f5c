// SPDX-License-Identifier: Apache-2.0
#include "storage/Deflater.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>

namespace opc::storage {

namespace {

/// zlib counts in 32 bits.
constexpr std::size_t MAXIMUM_INPUT = 1U << 30;
constexpr int MINIMUM_WINDOW_BITS = 9;
constexpr int MAXIMUM_WINDOW_BITS = 15;
constexpr int MAXIMUM_MEMORY_LEVEL = 8;
/// The window of zlib also holds the lookahead.
constexpr std::uint64_t LOOK_AHEAD = 262;

/// The smallest window that holds the whole input.
int windowBitsFor(std::uint64_t size) {
    int bits = MINIMUM_WINDOW_BITS;
    while (bits < MAXIMUM_WINDOW_BITS && (std::uint64_t(1) << bits) - LOOK_AHEAD < size)
        ++bits;
    return bits;
}

/// The smallest memory level at which the whole input is one block and the hash table has a slot for every position.
int memoryLevelFor(std::uint64_t size) {
    int level = 1;
    while (level < MAXIMUM_MEMORY_LEVEL && std::uint64_t(64) << level < size)
        ++level;
    return level;
}

int flushFor(Deflater::Ending ending) {
    switch (ending) {
    case Deflater::Ending::Synchronize:
        return Z_SYNC_FLUSH;
    case Deflater::Ending::Finish:
        return Z_FINISH;
    case Deflater::Ending::Open:
        break;
    }
    return Z_NO_FLUSH;
}

} // namespace

struct Deflater::State {
    State(int itsLevel, std::uint64_t size)
        : level(itsLevel), windowBits(windowBitsFor(size)), memoryLevel(memoryLevelFor(size)) {}

    bool suits(int otherLevel, std::uint64_t size) const {
        return level == otherLevel && windowBits == windowBitsFor(size) && memoryLevel == memoryLevelFor(size);
    }

    const int level;
    const int windowBits;
    const int memoryLevel;
    z_stream stream = {};
    std::array<unsigned char, 16 * 1024> buffer; // not initialized
};

Deflater::Deflater(int level, std::uint64_t size) : state_(std::make_unique<State>(level, size)) {
    // Negative bits: without header and checksum.
    if (deflateInit2(&state_->stream, level, Z_DEFLATED, -state_->windowBits, state_->memoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
}

Deflater::~Deflater() {
    deflateEnd(&state_->stream);
}

bool Deflater::restart(int level, std::uint64_t size) {
    return state_->suits(level, size) && deflateReset(&state_->stream) == Z_OK;
}

void Deflater::deflate(const unsigned char* data, std::size_t size, Ending ending, std::vector<unsigned char>& out) {
    for (; size > MAXIMUM_INPUT; size -= MAXIMUM_INPUT, data += MAXIMUM_INPUT)
        deflateChunk(data, MAXIMUM_INPUT, Z_NO_FLUSH, out);
    deflateChunk(data, size, flushFor(ending), out);
}

void Deflater::deflateChunk(const unsigned char* data, std::size_t size, int flush, std::vector<unsigned char>& out) {
    z_stream& stream = state_->stream;
    stream.next_in = const_cast<unsigned char*>(data);
    stream.avail_in = static_cast<uInt>(size);
    do {
        stream.next_out = state_->buffer.data();
        stream.avail_out = static_cast<uInt>(state_->buffer.size());
        ::deflate(&stream, flush);
        out.insert(out.end(), state_->buffer.data(), stream.next_out);
    } while (stream.avail_out == 0);
}

} // namespace opc::storage
