// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"

#include <zip.h>

#include <exception>
#include <optional>
#include <vector>

namespace opc::storage {

/// What libzip has to know of an item that it takes over as it is stored.
struct DeflatedForm {
    std::uint64_t plainSize;
    std::uint32_t checksum; ///< CRC-32 of the plain bytes
};

/// Lets libzip read our bytes and write to our target. Outlives what libzip makes of it.
class ZipSource {
public:
    /// @param input what is read; null for an archive that does not exist yet.
    /// @param output what is written to; null for reading only.
    ZipSource(const Bytes* input, Target* output);

    /// An item for an archive that is being written.
    /// @param deflated what a deflate stream stands for; nothing: the input is plain.
    ZipSource(const Bytes& input, std::optional<DeflatedForm> deflated);
    ~ZipSource() { zip_error_fini(&error_); }

    ZipSource(const ZipSource&) = delete;
    ZipSource& operator=(const ZipSource&) = delete;

    /// A libzip source over this object, for the caller to hand on or free.
    /// @throws std::bad_alloc
    zip_source_t* makeSource();

    /// Forgets the seeks that were made.
    void forgetSeeks() { firstSeek_.reset(); }

    /// Where the first seek since then went.
    std::optional<std::uint64_t> firstSeek() const { return firstSeek_; }

    /// Rethrows what a read or a write threw while libzip was on the stack, once.
    void rethrow();

private:
    static zip_int64_t onCommand(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command) noexcept;
    zip_int64_t perform(void* data, zip_uint64_t size, zip_source_cmd_t command);
    zip_int64_t read(void* data, zip_uint64_t size);
    bool refillAhead(zip_uint64_t size);
    zip_int64_t write(const void* data, zip_uint64_t size);
    zip_int64_t seek(zip_uint64_t& position, zip_uint64_t end, void* data, zip_uint64_t size);
    zip_int64_t describe(void* data, zip_uint64_t size);
    zip_int64_t supported() const;

    const Bytes* input_;
    Target* output_;
    std::optional<DeflatedForm> deflated_;
    std::optional<std::uint64_t> firstSeek_;
    std::vector<unsigned char> ahead_; ///< read before it was asked for
    std::size_t aheadSize_ = 0;        ///< to read next time
    zip_uint64_t aheadStart_ = 0;
    zip_uint64_t lastEnd_ = 0; ///< where the last read ended
    zip_uint64_t readPosition_ = 0;
    zip_uint64_t writePosition_ = 0;
    zip_uint64_t written_ = 0;
    zip_error_t error_ = {};
    std::exception_ptr thrown_;
};

} // namespace opc::storage
