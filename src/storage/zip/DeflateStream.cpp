// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/DeflateStream.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ZipDirectory.hpp"

#include <zlib.h>

#include <algorithm>
#include <new>

namespace opc::storage {

namespace {

constexpr std::size_t BLOCK_SIZE = 64 * 1024;

/// Counts what comes out of a raw deflate stream.
class Inflation {
public:
    Inflation() : output_(BLOCK_SIZE) {
        if (::inflateInit2(&stream_, -MAX_WBITS) != Z_OK)
            throw std::bad_alloc();
    }
    ~Inflation() { ::inflateEnd(&stream_); }

    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;

    bool isDone() const { return state_ == Z_STREAM_END; }
    std::uint64_t size() const { return size_; }

    /// Takes the next compressed bytes, as many as the stream has.
    /// @return how many are left.
    std::size_t inflate(unsigned char* bytes, std::size_t count, const TakeBytes& take) {
        stream_.next_in = bytes;
        stream_.avail_in = static_cast<uInt>(count);
        do {
            stream_.next_out = output_.data();
            stream_.avail_out = static_cast<uInt>(output_.size());
            state_ = ::inflate(&stream_, Z_NO_FLUSH);
            const std::size_t size = output_.size() - stream_.avail_out;
            size_ += size;
            if (size > 0)
                take(output_.data(), size);
        } while (state_ == Z_OK && (stream_.avail_in > 0 || stream_.avail_out == 0));
        return stream_.avail_in;
    }

    /// Whether more bytes could go on with it.
    bool isSound() const { return state_ == Z_OK || state_ == Z_BUF_ERROR || isDone(); }

private:
    z_stream stream_{};
    zipformat::ByteVector output_;
    int state_ = Z_OK;
    std::uint64_t size_ = 0;
};

} // namespace

void throwIfStreamEndsElsewhere(const Bytes& file, const DirectoryRecord& record, std::uint64_t content,
                                const TakeBytes& take, const std::string& label) {
    Inflation inflation;
    uLong checksum = 0;
    const TakeBytes takeOutput = [&](const unsigned char* data, std::size_t size) {
        checksum = ::crc32_z(checksum, data, size);
        take(data, size);
        if (inflation.size() > record.size)
            fail(Errc::bad_message, label + ": the content is longer than the directory says");
    };
    zipformat::ByteVector bytes(std::min<std::uint64_t>(record.compressedSize, BLOCK_SIZE));
    std::uint64_t position = 0;
    while (position < record.compressedSize && inflation.isSound() && !inflation.isDone()) {
        const std::size_t count = std::min<std::uint64_t>(record.compressedSize - position, bytes.size());
        if (file.readAt(content + position, bytes.data(), count) != count)
            fail(Errc::bad_message, label + ": the file ends too early");
        position += count - inflation.inflate(bytes.data(), count, takeOutput);
    }
    if (!inflation.isDone())
        fail(Errc::bad_message, label + ": the compressed content is damaged");
    if (position != record.compressedSize)
        fail(Errc::bad_message, label + ": the compressed content ends before the item does");
    if (inflation.size() != record.size)
        fail(Errc::bad_message, label + ": the content is shorter than the directory says");
    if (checksum != record.header.checksum)
        fail(Errc::bad_message, label + ": the content is damaged: its checksum is wrong");
}

} // namespace opc::storage
