// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"

#include <zip.h>

#include <exception>
#include <vector>

namespace opc::storage {

/// A source of bytes for libzip. Outlives the objects that libzip creates for it.
class ZipSource {
public:
    explicit ZipSource(const Bytes& input);
    ~ZipSource() { zip_error_fini(&error_); }

    ZipSource(const ZipSource&) = delete;
    ZipSource& operator=(const ZipSource&) = delete;

    /// A libzip source over this object, to be passed on or freed by the caller.
    /// @throws std::bad_alloc
    zip_source_t* makeSource();

    /// Rethrows, once, the exception of a read that libzip called.
    void rethrow();

private:
    static zip_int64_t onCommand(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command) noexcept;
    zip_int64_t perform(void* data, zip_uint64_t size, zip_source_cmd_t command);
    zip_int64_t read(void* data, zip_uint64_t size);
    bool refillAhead(zip_uint64_t size);
    zip_int64_t seek(void* data, zip_uint64_t size);
    zip_int64_t describe(void* data, zip_uint64_t size);

    const Bytes& input_;
    std::vector<unsigned char> ahead_; ///< read ahead
    std::size_t aheadSize_ = 0;        ///< to read next time
    zip_uint64_t aheadStart_ = 0;
    zip_uint64_t lastEnd_ = 0; ///< where the last read ended
    zip_uint64_t readPosition_ = 0;
    zip_error_t error_ = {};
    std::exception_ptr thrown_;
};

} // namespace opc::storage
