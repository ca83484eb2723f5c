// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipArchive.hpp"

#include "storage/Failure.hpp"
#include "storage/items/OtherFormats.hpp"
#include "storage/zip/ZipErrors.hpp"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace opc::storage {

namespace {

/// The most bytes for one call of libzip, which counts in signed numbers.
constexpr std::size_t MAXIMUM_READ = 1U << 30;

constexpr std::size_t STORED_BLOCK = 64 * 1024;

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
        if (size == 0)
            return 0;
        const zip_int64_t count = zip_fread(file_.get(), buffer, std::min(size, MAXIMUM_READ));
        if (count < 0) {
            source_.rethrow();
            failWithZipError(*zip_file_get_error(file_.get()), label_);
        }
        countDown(static_cast<std::uint64_t>(count));
        return static_cast<std::size_t>(count);
    }

private:
    /// libzip checks the checksum at the end, but not that the length of the content is that in the directory.
    void countDown(std::uint64_t count) {
        if (count > left_ || (count == 0 && left_ > 0))
            fail(Errc::bad_message,
                 label_ + ": the content is damaged: its length is not that in the central directory");
        left_ -= count;
    }

    ZipSource& source_;
    std::string label_;
    std::uint64_t left_; ///< bytes that remain
    std::unique_ptr<zip_file_t, FileCloser> file_;
};

void readStored(const Bytes& file, const DirectoryRecord& record, std::uint64_t content, const TakeBytes& take,
                const std::string& label) {
    if (record.header.method != zipformat::STORED || record.size != record.compressedSize)
        fail(Errc::not_supported, label);
    zipformat::ByteVector block(std::min<std::uint64_t>(record.size, STORED_BLOCK));
    uLong checksum = 0;
    for (std::uint64_t done = 0; done < record.size;) {
        const std::size_t count = std::min<std::uint64_t>(record.size - done, block.size());
        if (file.readAt(content + done, block.data(), count) != count)
            fail(Errc::bad_message, label);
        checksum = ::crc32_z(checksum, block.data(), count);
        take(block.data(), count);
        done += count;
    }
    if (checksum != record.header.checksum)
        fail(Errc::bad_message, label);
}

/// Whether libzip calls an item so: by the name in the directory, or by the one that a Unicode path field (APPNOTE
/// §4.6.9) replaces it with.
bool isCalled(const DirectoryRecord& record, std::string_view name) {
    bool found = zipformat::viewOf(record.name()).starts_with(name);
    zipformat::forEachExtraField(record.extra(), [&](unsigned header, zipformat::ByteSpan field) {
        const bool isName = header == zipformat::UNICODE_PATH_FIELD && field.size() >= 9;
        found |= isName && zipformat::viewOf(field.subspan(9)) == name;
    });
    return found;
}

ZipHandle openZip(ZipSource& source, const Bytes& bytes, const std::string& label) {
    zip_source_t* raw = source.makeSource();
    zip_error_t error;
    zip_error_init(&error);
    errno = 0;
    ZipHandle zip(zip_open_from_source(raw, ZIP_RDONLY, &error));
    const bool isOutOfMemory = errno == ENOMEM; // after which libzip says that it found no end record
    if (!zip) {
        zip_source_free(raw);
        source.rethrow();
        if (isOutOfMemory)
            throw std::bad_alloc();
        if (zip_error_code_zip(&error) == ZIP_ER_NOZIP)
            fail(Errc::bad_message, label + ": " + explainOtherFile(bytes));
        failWithZipError(error, label);
    }
    return zip;
}

} // namespace

ZipArchive::ZipArchive(const Bytes& bytes, std::string label) : label_(std::move(label)), bytes_(bytes) {
    std::string reason = explainCompoundFile(bytes_);
    if (bytes_.size() == 0)
        reason = explainOtherFile(bytes_);
    if (!reason.empty())
        fail(Errc::bad_message, label_ + ": " + reason);
    source_ = std::make_unique<ZipSource>(bytes_);
    zip_ = openZip(*source_, bytes_, label_);
    directory_ = ZipDirectory::find(
        bytes_, [this](const ZipDirectory& found) { return hasSameItems(found); }, label_);
    directory_.throwIfOverlapping(label_);
}

std::uint64_t ZipArchive::count() const {
    return static_cast<std::uint64_t>(std::max<zip_int64_t>(0, zip_get_num_entries(zip_.get(), 0)));
}

ZipArchive::Item ZipArchive::item(std::uint64_t index) const {
    const char* name = zip_get_name(zip_.get(), index, 0);
    if (!name)
        failWithZipError(*zip_get_error(zip_.get()), label_);
    const DirectoryRecord& record = directory_.records()[index];
    return {name, record.size, record.compressedSize};
}

std::string ZipArchive::comment(std::uint64_t index) const {
    zip_uint32_t size = 0;
    const char* text = zip_file_get_comment(zip_.get(), index, &size, 0);
    return text ? std::string(text, size) : std::string();
}

std::unique_ptr<ItemReader> ZipArchive::read(std::uint64_t index, const std::string& itemLabel) const {
    auto reader =
        std::make_unique<ZipItemReader>(zip_.get(), index, directory_.records()[index].size, *source_, itemLabel);
    throwIfOverlapping(index, itemLabel);
    return reader;
}

void ZipArchive::readWhole(std::uint64_t index, const TakeBytes& take) const {
    const DirectoryRecord& record = directory_.records()[index];
    const auto header = readLocalHeader(bytes_, record.localHeader);
    if (!header || header->signature != zipformat::LocalHeader::SIGNATURE ||
        (record.header.flags & ~zipformat::HARMLESS_FLAGS) != 0)
        fail(Errc::not_supported, label_);
    throwIfOverlapping(index, label_);
    const std::uint64_t content = record.localHeader + sizeOf(*header);
    if (record.header.method == zipformat::DEFLATED)
        throwIfStreamEndsElsewhere(bytes_, record, content, take, label_);
    else
        readStored(bytes_, record, content, take, label_);
}

/// libzip does not report the offset of the directory that it read, so the items are compared.
bool ZipArchive::hasSameItems(const ZipDirectory& directory) const {
    const auto& records = directory.records();
    if (records.size() != count())
        return false;
    for (std::uint64_t index = 0; index < records.size(); ++index) {
        const DirectoryRecord& record = records[index];
        zip_stat_t status;
        const char* name = zip_get_name(zip_.get(), index, ZIP_FL_ENC_RAW);
        if (!name || zip_stat_index(zip_.get(), index, 0, &status) != 0 || status.size != record.size ||
            status.comp_size != record.compressedSize || status.crc != record.header.checksum ||
            !isCalled(record, name))
            return false;
    }
    return true;
}

/// The lengths of local headers were not known to the check at open.
void ZipArchive::throwIfOverlapping(std::uint64_t index, const std::string& itemLabel) const {
    const DirectoryRecord& record = directory_.records()[index];
    const std::uint64_t headerSize =
        sizeOf(readLocalHeader(bytes_, record.localHeader).value_or(zipformat::LocalHeader()));
    const std::uint64_t room = directory_.findNext(record.localHeader) - record.localHeader;
    if (record.compressedSize > 0 && (room < headerSize || room - headerSize < record.compressedSize))
        fail(Errc::bad_message, itemLabel + ": the content overlaps what comes next in the file");
}

} // namespace opc::storage
