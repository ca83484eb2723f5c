// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipErrors.hpp"

#include "storage/Failure.hpp"

#include <zip.h>
#include <zlib.h>

#include <array>
#include <new>

namespace opc::storage {

namespace {

struct Meaning {
    int zipCode;
    Errc code;
    const char* text;
};

constexpr auto MEANINGS = std::to_array<Meaning>({
    {ZIP_ER_INCONS, Errc::bad_message, "the ZIP structure is damaged"},
    {ZIP_ER_INVAL, Errc::bad_message, "the ZIP structure is damaged"},
    {ZIP_ER_CRC, Errc::bad_message, "the content is damaged: its checksum is wrong"},
    {ZIP_ER_ZLIB, Errc::bad_message, "the compressed content is damaged"},
    {ZIP_ER_COMPRESSED_DATA, Errc::bad_message, "the compressed content is damaged"},
    {ZIP_ER_EOF, Errc::bad_message, "the file ends too early"},
    {ZIP_ER_SEEK, Errc::bad_message, "the ZIP structure points outside of the file"},
    {ZIP_ER_MULTIDISK, Errc::not_supported, "ZIP files of several pieces are not supported"},
    {ZIP_ER_COMPNOTSUPP, Errc::not_supported, "the compression method is not supported"},
    {ZIP_ER_ENCRNOTSUPP, Errc::not_supported, "the content is encrypted"},
    {ZIP_ER_NOPASSWD, Errc::not_supported, "the content is encrypted"},
    {ZIP_ER_WRONGPASSWD, Errc::not_supported, "the content is encrypted"},
});

} // namespace

void failWithZipError(const zip_error& error, const std::string& label) {
    const int zipCode = zip_error_code_zip(&error);
    if (zipCode == ZIP_ER_MEMORY || (zipCode == ZIP_ER_ZLIB && zip_error_code_system(&error) == Z_MEM_ERROR))
        throw std::bad_alloc();
    if (zip_error_system_type(&error) == ZIP_ET_SYS && zip_error_code_system(&error) > 0)
        failWithErrno(zip_error_code_system(&error), label);
    for (const Meaning& meaning : MEANINGS)
        if (meaning.zipCode == zipCode)
            fail(meaning.code, label + ": " + meaning.text);
    zip_error_t copy = error;
    copy.str = nullptr;
    const std::string text = zip_error_strerror(&copy);
    zip_error_fini(&copy);
    fail(Errc::bad_message, label + ": " + text);
}

} // namespace opc::storage
