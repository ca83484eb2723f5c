// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"

#include <zip.h>

#include <exception>
#include <vector>

namespace opc::storage {

/// Lets libzip read our bytes. Outlives what libzip makes of it.
class ZipSource {
public:
    explicit ZipSource(const Bytes& input);
    ~ZipSource() { zip_error_fini(&error_); }

    ZipSource(const ZipSource&) = delete;
    ZipSource& operator=(const ZipSource&) = delete;

    /// A libzip source over this object, for the caller to hand on or free.
    /// @throws std::bad_alloc
    zip_source_t* makeSource();

    /// Rethrows what a read threw while libzip was on the stack, once.
    void rethrow();

private:
    static zip_int64_t onCommand(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command) noexcept;
    zip_int64_t perform(void* data, zip_uint64_t size, zip_source_cmd_t command);
    zip_int64_t read(void* data, zip_uint64_t size);
    bool refillAhead(zip_uint64_t size);
    zip_int64_t seek(void* data, zip_uint64_t size);
    zip_int64_t describe(void* data, zip_uint64_t size);

    const Bytes& input_;
    std::vector<unsigned char> ahead_; ///< read before it was asked for
    std::size_t aheadSize_ = 0;        ///< to read next time
    zip_uint64_t aheadStart_ = 0;
    zip_uint64_t lastEnd_ = 0; ///< where the last read ended
    zip_uint64_t readPosition_ = 0;
    zip_error_t error_ = {};
    std::exception_ptr thrown_;
};

} // namespace opc::storage
