// SPDX-License-Identifier: Apache-2.0
#include "storage/SpilledContent.hpp"

#include "storage/Compression.hpp"
#include "storage/Failure.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace opc::storage {

namespace {

/// Deflated bytes are buffered up to this size before they are written.
constexpr std::size_t WRITE_SIZE = 256 * 1024;
constexpr std::size_t READ_SIZE = 64 * 1024;
/// The size of a block.
constexpr std::size_t MAXIMUM_CHUNK = 1024 * 1024;
/// Negative: a raw deflate stream, as in a ZIP file.
constexpr int WINDOW_BITS = -15;

/// The end of a deflate stream: a last block of fixed codes with nothing but its end (RFC 1951 §3.2.6).
constexpr std::array<unsigned char, 2> STREAM_END = {3, 0};

/// @return the bytes copied; fewer than requested at the end only.
template <class Source>
std::size_t copyFrom(const Source& source, std::uint64_t offset, unsigned char* buffer, std::size_t size) {
    const std::size_t count = offset < source.size() ? std::min<std::uint64_t>(size, source.size() - offset) : 0;
    std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(count == 0 ? 0 : offset), count, buffer);
    return count;
}

} // namespace

SpilledContent::SpilledContent(std::shared_ptr<SpillArea> area, interfaces::CompressionType compression)
    : area_(std::move(area)), level_(compressionLevel(compression)) {
    if (isDeflated())
        deflater_ = std::make_unique<Deflater>(level_);
}

SpilledContent::~SpilledContent() {
    for (const Extent& extent : extents_)
        area_->discard(extent.offset, extent.size);
}

/// After a failure half-way the stream cannot be continued.
template <class Action>
void SpilledContent::change(Action action) {
    if (failure_)
        std::rethrow_exception(failure_);
    try {
        action();
    } catch (...) {
        failure_ = std::current_exception();
        throw;
    }
}

void SpilledContent::append(const unsigned char* data, std::size_t size) {
    change([&] {
        for (std::size_t done = 0; done < size; done += MAXIMUM_CHUNK)
            appendChunk(data + done, std::min(size - done, MAXIMUM_CHUNK));
    });
}

void SpilledContent::appendChunk(const unsigned char* data, std::size_t size) {
    if (isDeflated()) {
        deflater_->deflate(data, size, Deflater::Ending::Open, pending_);
        isSynchronized_ = false;
    } else if (pending_.empty() && size >= READ_SIZE) {
        write(data, size);
    } else {
        pending_.insert(pending_.end(), data, data + size);
    }
    checksum_ = static_cast<std::uint32_t>(crc32_z(checksum_, data, size));
    plainSize_ += size;
    if (pending_.size() >= WRITE_SIZE)
        writePending();
}

void SpilledContent::synchronize() {
    change([&] {
        if (!isSynchronized_) {
            deflater_->deflate(nullptr, 0, Deflater::Ending::Synchronize, pending_);
            isSynchronized_ = true;
        }
    });
}

void SpilledContent::finish() {
    synchronize();
    change([&] { writePending(); });
    deflater_.reset();
    pending_.shrink_to_fit();
}

void SpilledContent::writePending() {
    if (pending_.empty())
        return;
    write(pending_.data(), pending_.size());
    pending_.clear();
}

void SpilledContent::write(const unsigned char* data, std::size_t size) {
    const bool isFirst = extents_.empty();
    extents_.reserve(extents_.size() + 1);
    const std::uint64_t offset = area_->write(data, size);
    if (!isFirst && extents_.back().offset + extents_.back().size == offset)
        extents_.back().size += size;
    else
        extents_.push_back({written_, offset, size});
    written_ += size;
}

std::uint64_t SpilledContent::size() const {
    return bodySize() + (isDeflated() ? STREAM_END.size() : 0);
}

std::size_t SpilledContent::readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const {
    std::size_t done = 0;
    while (done < size) {
        const auto piece = findInFile(offset + done, size - done);
        if (!piece)
            break;
        if (area_->read(piece->offset, buffer + done, piece->size) != piece->size)
            fail(Errc::io_error, "the temporary file was cut short");
        done += piece->size;
    }
    if (done < size)
        done += copyFrom(pending_, offset + done - written_, buffer + done, size - done);
    if (done < size && isDeflated())
        done += copyFrom(STREAM_END, offset + done - bodySize(), buffer + done, size - done);
    return done;
}

std::optional<FilePiece> SpilledContent::findInFile(std::uint64_t offset, std::uint64_t size) const {
    if (offset >= written_)
        return std::nullopt;
    const auto next = std::upper_bound(extents_.begin(), extents_.end(), offset,
                                       [](std::uint64_t value, const Extent& extent) { return value < extent.start; });
    const Extent& extent = *std::prev(next);
    const std::uint64_t skipped = offset - extent.start;
    return FilePiece{area_->getFile(), extent.offset + skipped, std::min(size, extent.size - skipped)};
}

/// Reads bytes that are stored uncompressed.
class PlainReader final : public ItemReader {
public:
    explicit PlainReader(const SpilledContent& content) : content_(content) {}

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        const std::size_t count = content_.readAt(position_, buffer, size);
        position_ += count;
        return count;
    }

private:
    const SpilledContent& content_;
    std::uint64_t position_ = 0;
};

class InflatingReader final : public ItemReader {
public:
    explicit InflatingReader(SpilledContent& content) : content_(content), input_(READ_SIZE) {
        if (inflateInit2(&stream_, WINDOW_BITS) != Z_OK)
            throw std::bad_alloc();
    }
    ~InflatingReader() override { inflateEnd(&stream_); }
    InflatingReader(const InflatingReader&) = delete;
    InflatingReader& operator=(const InflatingReader&) = delete;

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        if (read_ == content_.plainSize())
            return 0;
        const auto room = static_cast<uInt>(std::min(size, MAXIMUM_CHUNK));
        stream_.next_out = buffer;
        stream_.avail_out = room;
        // zlib may hold output back, so the input is refilled only after a call without output.
        for (inflateSome(); stream_.avail_out == room; inflateSome())
            refill();
        read_ += room - stream_.avail_out;
        return room - stream_.avail_out;
    }

private:
    void inflateSome() {
        const int result = inflate(&stream_, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_BUF_ERROR)
            fail(Errc::io_error, "the temporary file was changed");
    }

    void refill() {
        if (position_ == content_.bodySize())
            content_.synchronize();
        const std::uint64_t left = content_.bodySize() - position_;
        if (left == 0)
            fail(Errc::io_error, "the temporary file was changed");
        const std::size_t count =
            content_.readAt(position_, input_.data(), std::min<std::uint64_t>(input_.size(), left));
        position_ += count;
        stream_.next_in = input_.data();
        stream_.avail_in = static_cast<uInt>(count);
    }

    SpilledContent& content_;
    std::vector<unsigned char> input_;
    z_stream stream_ = {};
    std::uint64_t position_ = 0; ///< in the stored form
    std::uint64_t read_ = 0;
};

std::unique_ptr<ItemReader> readPlain(SpilledContent& content) {
    if (content.isDeflated())
        return std::make_unique<InflatingReader>(content);
    return std::make_unique<PlainReader>(content);
}

} // namespace opc::storage
