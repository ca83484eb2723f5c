// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipArchive.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ZipErrors.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <tuple>
#include <utility>
#include <vector>

namespace opc::storage {

namespace {

/// What one call of libzip is asked for at most: it counts in signed numbers.
constexpr std::size_t MAXIMUM_READ = 1U << 30;

/// The part of a local header of fixed length, which ends with the lengths of the rest (APPNOTE §4.3.7).
constexpr std::size_t LOCAL_HEADER_SIZE = 30;

struct FileCloser {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};

class ZipItemReader final : public ItemReader {
public:
    ZipItemReader(zip_t* zip, std::uint64_t index, std::uint64_t size, ZipSource& source, std::string label)
        : source_(source), label_(std::move(label)), left_(size), file_(zip_fopen_index(zip, index, 0)) {
        if (!file_) {
            source_.rethrow();
            failWithZipError(*zip_get_error(zip), label_);
        }
    }

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        if (size == 0) {
            return 0;
        }
        const zip_int64_t count = zip_fread(file_.get(), buffer, std::min(size, MAXIMUM_READ));
        if (count < 0) {
            source_.rethrow();
            failWithZipError(*zip_file_get_error(file_.get()), label_);
        }
        countDown(static_cast<std::uint64_t>(count));
        return static_cast<std::size_t>(count);
    }

private:
    /// libzip checks the checksum at the end, but not that the content is as long as the directory says.
    void countDown(std::uint64_t count) {
        if (count > left_ || (count == 0 && left_ > 0)) {
            fail(Errc::bad_message, label_ + ": the content is damaged: it is not as long as the directory says");
        }
        left_ -= count;
    }

    ZipSource& source_;
    std::string label_;
    std::uint64_t left_; ///< bytes still to come
    std::unique_ptr<zip_file_t, FileCloser> file_;
};

} // namespace

ZipHandle openZip(ZipSource& source, int flags, const std::string& label) {
    zip_source_t* raw = source.makeSource();
    zip_error_t error;
    zip_error_init(&error);
    ZipHandle zip(zip_open_from_source(raw, flags, &error));
    if (!zip) {
        zip_source_free(raw);
        source.rethrow();
        failWithZipError(error, label);
    }
    return zip;
}

ZipArchive::ZipArchive(std::unique_ptr<PackageBytes> bytes, std::string label)
    : label_(std::move(label)), bytes_(std::move(bytes)) {
    if (bytes_->size() == 0) {
        fail(Errc::bad_message, label_ + ": this is no ZIP file: it is empty");
    }
    source_ = std::make_unique<ZipSource>(bytes_.get(), nullptr);
    zip_ = openZip(*source_, ZIP_RDONLY, label_);
}

std::uint64_t ZipArchive::count() const {
    return static_cast<std::uint64_t>(std::max<zip_int64_t>(0, zip_get_num_entries(zip_.get(), 0)));
}

ZipArchive::Item ZipArchive::item(std::uint64_t index) const {
    zip_stat_t status;
    if (zip_stat_index(zip_.get(), index, 0, &status) != 0) {
        failWithZipError(*zip_get_error(zip_.get()), label_);
    }
    return {status.name ? status.name : "", status.size, status.comp_size};
}

std::unique_ptr<ItemReader> ZipArchive::read(std::uint64_t index, const std::string& itemLabel) const {
    return std::make_unique<ZipItemReader>(zip_.get(), index, item(index).size, *source_, itemLabel);
}

/// libzip does not tell where an item is, but it seeks there when it opens one.
std::optional<ZipArchive::Extent> ZipArchive::findExtent(std::uint64_t index) const {
    source_->forgetSeeks();
    const std::unique_ptr<zip_file_t, FileCloser> file(zip_fopen_index(zip_.get(), index, ZIP_FL_COMPRESSED));
    if (!file) {
        source_->rethrow();
        return std::nullopt; // who reads the item finds out why
    }
    if (!source_->firstSeek()) {
        return std::nullopt; // nothing is read of an empty item
    }
    const std::uint64_t start = *source_->firstSeek();
    std::array<unsigned char, LOCAL_HEADER_SIZE> header{};
    bytes_->readAt(start, header.data(), header.size());
    const std::uint64_t content =
        start + LOCAL_HEADER_SIZE + header[26] + (header[27] << 8) + header[28] + (header[29] << 8);
    const std::uint64_t rest = bytes_->size() - std::min(bytes_->size(), content);
    return Extent{start, content + std::min(rest, item(index).compressedSize), index};
}

void ZipArchive::throwIfOverlapping() const {
    std::vector<Extent> extents;
    for (std::uint64_t index = 0; index < count(); ++index) {
        if (const auto extent = findExtent(index)) {
            extents.push_back(*extent);
        }
    }
    std::sort(extents.begin(), extents.end(),
              [](const Extent& a, const Extent& b) { return std::tie(a.start, a.index) < std::tie(b.start, b.index); });
    const auto found = std::adjacent_find(extents.begin(), extents.end(),
                                          [](const Extent& a, const Extent& b) { return a.end > b.start; });
    if (found != extents.end()) {
        fail(Errc::bad_message, label_ + ": the items " + inQuotes(item(found->index).name) + " and " +
                                    inQuotes(item(std::next(found)->index).name) + " overlap in the file");
    }
}

} // namespace opc::storage
