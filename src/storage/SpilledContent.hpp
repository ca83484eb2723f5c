// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/Deflater.hpp"
#include "storage/ItemReader.hpp"
#include "storage/SpillArea.hpp"

#include <opc/core/interfaces/CompressionType.hpp>

#include <exception>
#include <memory>
#include <vector>

namespace opc::storage {

/// Content in the spill area in the form in which it is written to a ZIP file, so that it is compressed once. As
/// `Bytes` it is that form, complete at any time: a deflate stream with its end (RFC 1951), or the plain bytes.
class SpilledContent final : public Bytes {
public:
    SpilledContent(std::shared_ptr<SpillArea> area, interfaces::CompressionType compression);
    ~SpilledContent() override;

    SpilledContent(const SpilledContent&) = delete;
    SpilledContent& operator=(const SpilledContent&) = delete;

    /// Appends; when this or one of the next two fails, the content is lost, and all three keep throwing the error.
    void append(const unsigned char* data, std::size_t size);

    /// Frees the resources for appending.
    void finish();

    /// Flushes all that was appended to the stored form.
    void synchronize();

    bool isDeflated() const { return level_ != 0; }
    std::uint64_t plainSize() const { return plainSize_; }
    std::uint32_t checksum() const { return checksum_; } ///< CRC-32

    std::uint64_t size() const override;
    std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const override;
    std::optional<FilePiece> findInFile(std::uint64_t offset, std::uint64_t size) const override;

private:
    friend class InflatingReader;

    struct Extent {
        std::uint64_t start; ///< in the stored form
        std::uint64_t offset;
        std::uint64_t size;
    };
    template <class Action>
    void change(Action action);
    void appendChunk(const unsigned char* data, std::size_t size);
    void writePending();
    void write(const unsigned char* data, std::size_t size);
    std::uint64_t bodySize() const { return written_ + pending_.size(); }

    std::shared_ptr<SpillArea> area_;
    int level_;
    std::vector<Extent> extents_;
    std::uint64_t written_ = 0; ///< bytes of all extents
    std::uint64_t plainSize_ = 0;
    std::uint32_t checksum_ = 0;
    std::exception_ptr failure_;
    std::vector<unsigned char> pending_; ///< the end of the stored form, after the extents
    std::unique_ptr<Deflater> deflater_; ///< null once finished, and for plain bytes
    bool isSynchronized_ = true;
};

/// Reads the plain bytes of content, also while it grows.
std::unique_ptr<ItemReader> readPlain(SpilledContent& content);

} // namespace opc::storage
