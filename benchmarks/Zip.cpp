// SPDX-License-Identifier: Apache-2.0
#include "Zip.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace opc::benchmarks {

namespace {

namespace fs = std::filesystem;

/// What the library uses for `CompressionType::Normal`.
constexpr zip_uint32_t level = 6;

[[noreturn]] void failWith(zip_error_t* error) {
    throw std::runtime_error(std::string("libzip: ") + zip_error_strerror(error));
}

void check(bool good, zip_t* zip) {
    if (!good)
        failWith(zip_get_error(zip));
}

void sync(const fs::path& path, int flags) {
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC);
    if (descriptor < 0 || ::fsync(descriptor) != 0 || ::close(descriptor) != 0)
        throw std::system_error(errno, std::generic_category(), path.string());
}

} // namespace

Zip openZip(const fs::path& file, int flags) {
    int code = 0;
    Zip zip(zip_open(file.c_str(), flags, &code));
    if (!zip) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        failWith(&error);
    }
    return zip;
}

std::string nameOf(zip_t* zip, zip_uint64_t index) {
    const char* name = zip_get_name(zip, index, 0);
    check(name != nullptr, zip);
    return name;
}

std::vector<unsigned char> readItem(zip_t* zip, zip_uint64_t index) {
    zip_stat_t status;
    check(zip_stat_index(zip, index, 0, &status) == 0, zip);
    std::vector<unsigned char> bytes(status.size);
    const std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> file(zip_fopen_index(zip, index, 0), zip_fclose);
    check(file != nullptr, zip);
    if (zip_fread(file.get(), bytes.data(), bytes.size()) != static_cast<zip_int64_t>(bytes.size()))
        failWith(zip_file_get_error(file.get()));
    return bytes;
}

std::vector<Item> readItems(const fs::path& file) {
    const Zip zip = openZip(file, ZIP_RDONLY);
    const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(zip.get(), 0));
    std::vector<Item> items;
    for (zip_uint64_t index = 0; index < count; ++index)
        items.push_back({nameOf(zip.get(), index), readItem(zip.get(), index)});
    return items;
}

void addItem(zip_t* zip, const std::string& name, zip_source_t* source, zip_int32_t method) {
    const zip_int64_t index = source == nullptr ? -1 : zip_file_add(zip, name.c_str(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0)
        zip_source_free(source);
    check(index >= 0, zip);
    check(zip_set_file_compression(zip, static_cast<zip_uint64_t>(index), method, level) == 0, zip);
}

void addItem(zip_t* zip, const Item& item) {
    addItem(zip, item.name, zip_source_buffer(zip, item.bytes.data(), item.bytes.size(), 0), ZIP_CM_DEFLATE);
}

void closeZip(Zip zip) {
    check(zip_close(zip.get()) == 0, zip.get());
    static_cast<void>(zip.release());
}

void replaceDurably(const fs::path& finished, const fs::path& file) {
    sync(finished, O_RDONLY);
    fs::rename(finished, file);
    sync(file.parent_path(), O_RDONLY | O_DIRECTORY);
}

void writeItems(const fs::path& file, const std::vector<Item>& items) {
    const fs::path temporary = file.string() + ".new";
    Zip zip = openZip(temporary, ZIP_CREATE | ZIP_TRUNCATE);
    for (const Item& item : items)
        addItem(zip.get(), item);
    closeZip(std::move(zip));
    replaceDurably(temporary, file);
}

} // namespace opc::benchmarks
