// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipWriter.hpp"

#include "storage/Compression.hpp"
#include "storage/zip/FileBytes.hpp"
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipErrors.hpp"
#include "storage/zip/ZipSource.hpp"

#include <zip.h>

#include <array>
#include <list>

namespace opc::storage {

using interfaces::CompressionType;

namespace {

/// 1980-01-01 00:00:00 in the date form of ZIP: the same calls give the same bytes.
constexpr zip_uint16_t FIXED_DATE = 1 << 5 | 1;
constexpr zip_uint16_t FIXED_TIME = 0;

/// Extra fields that hold times: NTFS, extended timestamp, old Unix.
constexpr std::array<zip_uint16_t, 3> TIME_FIELDS = {0x000A, 0x5455, 0x5855};

class Writer {
public:
    Writer(const Bytes* original, Target& target, const std::string& label)
        : label_(label), archive_(original, &target),
          zip_(openZip(archive_, original ? 0 : ZIP_CREATE | ZIP_TRUNCATE, label)) {}

    void remove(std::uint64_t index) { check(zip_delete(zip_.get(), index), label_); }

    void replace(const ZipChanges::Replaced& item) {
        zip_source_t* source = sourceOf(*item.content);
        const int result = zip_file_replace(zip_.get(), item.index, source, 0);
        if (result != 0) {
            zip_source_free(source);
        }
        check(result, item.label);
        if (!item.newName.empty()) {
            check(zip_file_rename(zip_.get(), item.index, item.newName.c_str(), ZIP_FL_ENC_UTF_8), item.label);
        }
        check(zip_file_set_encryption(zip_.get(), item.index, ZIP_EM_NONE, nullptr), item.label);
        for (const zip_uint16_t field : TIME_FIELDS) {
            zip_file_extra_field_delete_by_id(zip_.get(), item.index, field, ZIP_EXTRA_FIELD_ALL,
                                              ZIP_FL_LOCAL | ZIP_FL_CENTRAL);
        }
        finish(item.index, CompressionType::Normal, item.label);
    }

    void add(const ZipChanges::Added& item) {
        zip_source_t* source = sourceOf(*item.content);
        const zip_int64_t index = zip_file_add(zip_.get(), item.name.c_str(), source, ZIP_FL_ENC_UTF_8);
        if (index < 0) {
            zip_source_free(source);
        }
        check(index < 0 ? -1 : 0, item.label);
        finish(static_cast<zip_uint64_t>(index), item.compression, item.label);
    }

    void close() {
        if (zip_close(zip_.get()) == 0) {
            static_cast<void>(zip_.release());
            return;
        }
        archive_.rethrow();
        for (ZipSource& content : contents_) {
            content.rethrow();
        }
        failWithZipError(*zip_get_error(zip_.get()), label_);
    }

private:
    /// What went to the spill area is taken over as it lies there.
    zip_source_t* sourceOf(const Content& content) {
        std::optional<DeflatedForm> deflated;
        if (SpilledContent* spilled = content.spilled()) {
            spilled->synchronize();
            if (spilled->isDeflated()) {
                deflated = DeflatedForm{spilled->plainSize(), spilled->checksum()};
            }
            return contents_.emplace_back(*spilled, deflated).makeSource();
        }
        const Bytes& bytes = bytes_.emplace_back(content.inMemory());
        return contents_.emplace_back(bytes, deflated).makeSource();
    }

    /// Where the method is the one of a replaced item, libzip takes its own idea of the level.
    void finish(std::uint64_t index, CompressionType type, const std::string& label) {
        const int level = compressionLevel(type);
        const zip_int32_t method = level == 0 ? ZIP_CM_STORE : ZIP_CM_DEFLATE;
        check(zip_set_file_compression(zip_.get(), index, method, static_cast<zip_uint32_t>(level)), label);
        check(zip_file_set_dostime(zip_.get(), index, FIXED_TIME, FIXED_DATE, 0), label);
    }

    void check(int result, const std::string& label) const {
        if (result != 0) {
            failWithZipError(*zip_get_error(zip_.get()), label);
        }
    }

    const std::string& label_;
    ZipSource archive_;
    std::list<VectorBytes> bytes_;
    std::list<ZipSource> contents_;
    ZipHandle zip_;
};

/// libzip removes an archive that holds no items; ours is then an end record alone (APPNOTE §4.3.16).
void writeEmptyZip(Target& target) {
    constexpr std::array<unsigned char, 22> endRecord = {'P', 'K', 5, 6};
    target.writeAt(0, endRecord.data(), endRecord.size());
}

} // namespace

void writeZip(const Bytes* original, const ZipChanges& changes, Target& target, const std::string& label) {
    if (!original && changes.added.empty()) {
        writeEmptyZip(target);
        return;
    }
    Writer writer(original, target, label);
    for (const std::uint64_t index : changes.deleted) {
        writer.remove(index);
    }
    for (const ZipChanges::Replaced& item : changes.replaced) {
        writer.replace(item);
    }
    for (const ZipChanges::Added& item : changes.added) {
        writer.add(item);
    }
    writer.close();
}

} // namespace opc::storage
