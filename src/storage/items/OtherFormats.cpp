// SPDX-License-Identifier: Apache-2.0
#include "storage/items/OtherFormats.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ZipFormat.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace opc::storage {

using zipformat::ByteSpan;
using zipformat::ByteVector;
using zipformat::number;
using zipformat::viewOf;

namespace {

constexpr std::string_view COMPOUND_FILE = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::size_t COMPOUND_HEADER_SIZE = 512;
constexpr std::size_t COMPOUND_ENTRY_SIZE = 128;
constexpr std::size_t TAR_HEADER_SIZE = 512;
/// Behind the type of the first volume descriptor (ECMA-119 §8.1).
constexpr std::uint64_t ISO_9660_MARK = 16 * 2048 + 1;
/// Of a larger directory, only so many sectors are searched.
constexpr std::size_t MAXIMUM_SECTORS = 256;

struct Format {
    std::string_view mark;
    const char* description;
};

/// By the name of a stream in the root of a compound file.
constexpr Format COMPOUND_FORMATS[] = {
    {"EncryptedPackage", "an encrypted Office document"},
    {"WordDocument", "a Word document in the old binary format"},
    {"Workbook", "an Excel workbook in the old binary format"},
    {"Book", "an Excel workbook in the old binary format"},
    {"PowerPoint Document", "a PowerPoint presentation in the old binary format"},
    {"VisioDocument", "a Visio drawing in the old binary format"},
};

/// By the first bytes.
constexpr Format FILE_FORMATS[] = {
    {"%PDF-", "a PDF document"},
    {"{\\rtf", "an RTF document"},
    {"<?xml", "an XML document"},
    {"\xEF\xBB\xBF<?xml", "an XML document"},
    {"<!DOCTYPE html", "an HTML page"},
    {"<!doctype html", "an HTML page"},
    {"<html", "an HTML page"},
    {"\x1F\x8B", "a gzip file"},
    {"7z\xBC\xAF\x27\x1C", "a 7-Zip archive"},
    {"Rar!\x1A\x07", "a RAR archive"},
    {"\x89PNG\r\n", "a PNG image"},
    {"\xFF\xD8\xFF", "a JPEG image"},
};

/// By the name of an item.
constexpr Format ZIP_FORMATS[] = {
    {"AndroidManifest.xml", "an Android package (APK)"},
    {"META-INF/MANIFEST.MF", "a Java archive (JAR)"},
};

ByteVector readFrom(const Bytes& file, std::uint64_t offset, std::size_t size) {
    ByteVector bytes(size);
    bytes.resize(offset < file.size() ? file.readAt(offset, bytes.data(), size) : 0);
    return bytes;
}

/// The description of the first format whose signature matches; empty for none.
template <std::size_t COUNT, class IsThere>
std::string find(const Format (&formats)[COUNT], const IsThere& isThere) {
    const auto found = std::ranges::find_if(formats, isThere, &Format::mark);
    return found == std::end(formats) ? "" : found->description;
}

/// The number of octal digits at the start of a text; none where there is something else.
std::optional<long> readOctal(std::string_view text) {
    const bool isNumber = text.empty() || (text.front() >= '0' && text.front() <= '7');
    long value = 0;
    for (std::size_t i = 0; i < text.size() && text[i] >= '0' && text[i] <= '7'; ++i)
        value = value * 8 + (text[i] - '0');
    return isNumber ? std::optional(value) : std::nullopt;
}

std::string_view behind(std::string_view text, std::string_view skipped) {
    return text.substr(std::min(text.find_first_not_of(skipped), text.size()));
}

/// The numbers that one or the other reader takes a field of tar for: octal digits behind blanks and zeros, or before a
/// zero, and 0 without any; with a sign, "0o" and underscores; a number of base 256.
std::vector<std::optional<long>> numbersIn(std::string_view field) {
    std::string text(behind(field.substr(0, field.find('\0')), " \t\n\v\f\r\x1c\x1d\x1e\x1f+-"));
    const bool isNegative = field.find('-') < field.find_first_of("01234567");
    text.erase(0, text.starts_with("0o") || text.starts_with("0O") ? 2 : 0);
    std::erase(text, '_');
    const std::optional<long> before = readOctal(text);
    std::vector<std::optional<long>> numbers{readOctal(behind(field, std::string_view(" \0", 2))), before,
                                             isNegative && before ? std::optional(-*before) : std::nullopt};
    const auto first = static_cast<unsigned char>(field.front());
    if (first != 0x80 && first != 0xFF)
        return numbers;
    long value = first == 0xFF ? -1 : 0;
    for (const char c : field.substr(1))
        value = value * 256 + static_cast<unsigned char>(c);
    numbers.emplace_back(value);
    return numbers;
}

/// Whether the file starts with a header of tar: all that every reader asks for is its checksum, the sum of its bytes,
/// signed or unsigned, where the checksum counts as blanks (POSIX.1 pax §ustar).
bool isTar(ByteSpan header) {
    constexpr std::size_t offset = 148, size = 8;
    if (header.size() != TAR_HEADER_SIZE)
        return false;
    long plain = size * ' ';
    long withSigns = plain;
    for (std::size_t i = 0; i < header.size(); ++i)
        if (i < offset || i >= offset + size) {
            plain += header[i];
            withSigns += static_cast<signed char>(header[i]);
        }
    const auto numbers = numbersIn(viewOf(header.subspan(offset, size)));
    return std::any_of(numbers.begin(), numbers.end(),
                       [&](const std::optional<long>& each) { return each == plain || each == withSigns; });
}

/// The directory of a compound file, as far as it can be found by the header alone.
class CompoundDirectory {
public:
    CompoundDirectory(const Bytes& file, ByteSpan header)
        : file_(file), header_(header), sectorSize_(number(header, 30, 2) == 12 ? 4096 : 512) {
        std::uint64_t sector = number(header_, 48, 4);
        for (std::size_t i = 0; i < MAXIMUM_SECTORS && sector < END_OF_CHAIN; ++i) {
            const ByteVector bytes = readSector(sector);
            entries_.insert(entries_.end(), bytes.begin(), bytes.end());
            sector = bytes.size() == sectorSize_ ? findNext(sector) : END_OF_CHAIN;
        }
    }

    /// Whether the root storage has an entry of a name.
    bool hasInRoot(std::string_view name) const {
        std::vector<std::uint64_t> pending{numberOf(0, 76)};
        for (std::size_t i = 0; i < pending.size() && i < count(); ++i) {
            if (pending[i] >= count())
                continue;
            if (hasName(pending[i], name))
                return true;
            pending.insert(pending.end(), {numberOf(pending[i], 68), numberOf(pending[i], 72)});
        }
        return false;
    }

private:
    static constexpr std::uint64_t END_OF_CHAIN = 0xFFFFFFFA; ///< greater numbers are not sectors

    ByteVector readSector(std::uint64_t sector) const {
        return readFrom(file_, (sector + 1) * sectorSize_, sectorSize_);
    }

    std::uint64_t findNext(std::uint64_t sector) const {
        const std::uint64_t perSector = sectorSize_ / 4;
        const std::uint64_t offset = 76 + sector / perSector * 4;
        if (offset + 4 > header_.size())
            return END_OF_CHAIN;
        const ByteVector table = readSector(number(header_, offset, 4));
        return table.size() == sectorSize_ ? number(table, sector % perSector * 4, 4) : END_OF_CHAIN;
    }

    std::uint64_t count() const { return entries_.size() / COMPOUND_ENTRY_SIZE; }

    std::uint64_t numberOf(std::uint64_t entry, std::size_t offset) const {
        return entry < count() ? number(entries_, entry * COMPOUND_ENTRY_SIZE + offset, 4) : END_OF_CHAIN;
    }

    /// Names are UTF-16 with a zero at the end.
    bool hasName(std::uint64_t entry, std::string_view name) const {
        const ByteSpan bytes = ByteSpan(entries_).subspan(entry * COMPOUND_ENTRY_SIZE, COMPOUND_ENTRY_SIZE);
        if (number(bytes, 64, 2) != 2 * (name.size() + 1))
            return false;
        for (std::size_t i = 0; i < name.size(); ++i)
            if (number(bytes, 2 * i, 2) != static_cast<unsigned char>(name[i]))
                return false;
        return true;
    }

    const Bytes& file_;
    ByteSpan header_;
    std::size_t sectorSize_;
    ByteVector entries_;
};

} // namespace

std::string explainCompoundFile(const Bytes& file) {
    const ByteVector header = readFrom(file, 0, COMPOUND_HEADER_SIZE);
    if (!viewOf(header).starts_with(COMPOUND_FILE))
        return {};
    std::string content;
    if (header.size() == COMPOUND_HEADER_SIZE) {
        const CompoundDirectory directory(file, header);
        content = find(COMPOUND_FORMATS, [&](std::string_view name) { return directory.hasInRoot(name); });
    }
    return "an OLE2 compound file (" + (content.empty() ? "an encrypted or an old Office document" : content) +
           "), not a package";
}

std::string explainOtherFile(const Bytes& file) {
    const ByteVector start = readFrom(file, 0, 16);
    if (start.empty())
        return "an empty file, not a package";
    if (viewOf(start).starts_with("PK\x03\x04"))
        return "a ZIP file whose end is missing";
    const std::string kind = find(FILE_FORMATS, [&](std::string_view mark) { return viewOf(start).starts_with(mark); });
    return kind.empty() ? "not a ZIP file" : kind + ", not a package";
}

std::string explainPolyglot(const Bytes& file) {
    if (isTar(readFrom(file, 0, TAR_HEADER_SIZE)))
        return "a tar archive";
    return viewOf(readFrom(file, ISO_9660_MARK, 5)) == "CD001" ? "an ISO 9660 image" : "";
}

std::string findOtherZip(const std::function<bool(std::string_view)>& hasItem, std::string_view mediaType) {
    std::string kind = find(ZIP_FORMATS, hasItem);
    if (mediaType.starts_with("application/vnd.oasis.opendocument."))
        kind = "an OpenDocument file (" + inQuotes(mediaType) + ')';
    else if (!mediaType.empty())
        kind = "a ZIP file of the type " + inQuotes(mediaType);
    return kind;
}

} // namespace opc::storage
