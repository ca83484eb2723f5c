// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipSource.hpp"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace opc::storage {

namespace {

constexpr std::size_t MINIMUM_AHEAD = 4 * 1024;
constexpr std::size_t MAXIMUM_AHEAD = 64 * 1024;

} // namespace

ZipSource::ZipSource(const Bytes& input) : input_(input) {
    zip_error_init(&error_);
}

zip_source_t* ZipSource::makeSource() {
    zip_source_t* source = zip_source_function_create(onCommand, this, nullptr);
    if (!source)
        throw std::bad_alloc();
    return source;
}

void ZipSource::rethrow() {
    if (thrown_)
        std::rethrow_exception(std::exchange(thrown_, nullptr));
}

zip_int64_t ZipSource::onCommand(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command) noexcept {
    ZipSource& source = *static_cast<ZipSource*>(self);
    try {
        return source.perform(data, size, command);
    } catch (...) {
        source.thrown_ = std::current_exception();
        zip_error_set(&source.error_, ZIP_ER_READ, EIO);
        return -1;
    }
}

zip_int64_t ZipSource::perform(void* data, zip_uint64_t size, zip_source_cmd_t command) {
    switch (command) {
    case ZIP_SOURCE_OPEN:
        readPosition_ = 0;
        return 0;
    case ZIP_SOURCE_READ:
        return read(data, size);
    case ZIP_SOURCE_SEEK:
        return seek(data, size);
    case ZIP_SOURCE_TELL:
        return static_cast<zip_int64_t>(readPosition_);
    case ZIP_SOURCE_STAT:
        return describe(data, size);
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&error_, data, size);
    case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_SEEKABLE;
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_FREE:
        return 0;
    default:
        zip_error_set(&error_, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
}

zip_int64_t ZipSource::read(void* data, zip_uint64_t size) {
    auto* buffer = static_cast<unsigned char*>(data);
    std::size_t count = 0;
    if (refillAhead(size)) {
        const std::size_t skipped = readPosition_ - aheadStart_;
        count = std::min<std::size_t>(size, ahead_.size() - skipped);
        std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(skipped), count, buffer);
    } else {
        count = input_.readAt(readPosition_, buffer, size);
    }
    readPosition_ += count;
    lastEnd_ = readPosition_;
    return static_cast<zip_int64_t>(count);
}

/// libzip reads in small pieces. For consecutive reads, the amount that is read ahead grows.
/// @return false when the bytes at the offset are not in the buffer and are better read directly.
bool ZipSource::refillAhead(zip_uint64_t size) {
    if (readPosition_ >= aheadStart_ && readPosition_ < aheadStart_ + ahead_.size())
        return true;
    if (size >= MAXIMUM_AHEAD || readPosition_ != lastEnd_) {
        aheadSize_ = 0;
        return false;
    }
    aheadSize_ = std::clamp(aheadSize_ * 2, MINIMUM_AHEAD, MAXIMUM_AHEAD);
    ahead_.resize(aheadSize_);
    aheadStart_ = readPosition_;
    try {
        ahead_.resize(input_.readAt(readPosition_, ahead_.data(), aheadSize_));
    } catch (...) {
        ahead_.clear();
        throw;
    }
    return !ahead_.empty();
}

zip_int64_t ZipSource::seek(void* data, zip_uint64_t size) {
    const zip_int64_t offset = zip_source_seek_compute_offset(readPosition_, input_.size(), data, size, &error_);
    if (offset < 0)
        return -1;
    readPosition_ = static_cast<zip_uint64_t>(offset);
    return 0;
}

zip_int64_t ZipSource::describe(void* data, zip_uint64_t size) {
    auto* status = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, size, &error_);
    if (!status)
        return -1;
    zip_stat_init(status);
    status->size = input_.size();
    status->valid = ZIP_STAT_SIZE;
    return sizeof(*status);
}

} // namespace opc::storage
