// SPDX-License-Identifier: Apache-2.0
// How a package is opened: its bytes, the archive and its items.
#include "storage/zip/OpenZipPackage.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ContentChecks.hpp"
#include "storage/zip/ContentTypesReader.hpp"
#include "storage/zip/ItemNames.hpp"
#include "storage/zip/MeetingNames.hpp"
#include "storage/zip/OtherFormats.hpp"
#include "storage/zip/Pieces.hpp"
#include "storage/zip/ZipConsistency.hpp"
#include "storage/zip/ZipNameRules.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace opc::storage {

using interfaces::OpenMode;
using Take = ZipOptions::Take;

namespace {

constexpr const char* DUPLICATE_TYPES = "a duplicate content types stream";

/// @return nothing when there are more bytes than so many.
std::optional<std::vector<unsigned char>> readWhole(ItemReader& item, std::uint64_t maximumSize) {
    std::vector<unsigned char> bytes;
    std::array<unsigned char, 16384> buffer;
    while (const std::size_t count = item.read(buffer.data(), buffer.size())) {
        if (count > maximumSize - bytes.size())
            return std::nullopt;
        bytes.insert(bytes.end(), buffer.data(), buffer.data() + count);
    }
    return bytes;
}

/// What two pieces with the same number break.
RuleId findRuleOfPieces(const std::string& name, const std::string& other) {
    if (name == other)
        return RuleId::NoDuplicateItem;
    return caselessCompare(toString(name, false), toString(other, false)) == 0 ? RuleId::NoEquivalentPieces
                                                                               : RuleId::NoDuplicatePieceNumber;
}

} // namespace

/// The file that a created package will replace is not read, and is not locked where it cannot be read.
void OpenZipPackage::openReplaced() {
    if (!own_ || !own_->known || output_)
        return;
    try {
        replaced_ = std::make_unique<FileBytes>(location_.file, location_.label);
        takeForOwn(*replaced_);
    } catch (const Exception& e) {
        if (e.code() == make_error_condition(Errc::device_or_resource_busy))
            throw;
        replaced_.reset();
        own_.emplace(location_.file, location_.label);
    }
}

void OpenZipPackage::takeForOwn(FileBytes& file) {
    const bool isInPlace = opening_.mode != OpenMode::ReadOnly && !output_;
    if (isInPlace && location_.options.lockTimeout)
        file.lock(*location_.options.lockTimeout);
    own_->known = file.identity();
    own_->unlocked = file.getUnlocked();
}

std::unique_ptr<PackageBytes> OpenZipPackage::openBytes() {
    if (location_.bytes)
        return std::make_unique<VectorBytes>(*location_.bytes);
    auto bytes = std::make_unique<FileBytes>(location_.file, location_.label);
    if (opening_.mode == OpenMode::ReadWrite && !output_)
        throwIfNotWritable(location_.file, location_.label);
    takeForOwn(*bytes);
    return bytes;
}

void OpenZipPackage::openArchive(const ZipFaults& faults) {
    bytes_ = openBytes();
    try {
        archive_ = std::make_unique<ZipArchive>(*bytes_, location_.label);
    } catch (const Exception& e) {
        if (e.code() != make_error_condition(Errc::bad_message) || !chooseArchive(faults))
            throw;
    }
    limits_.checkItems(archive_->count(), location_.label);
    if (location_.options.consistent)
        checkConsistency(*archive_, faults);
}

/// For a file that is not one archive from its start on.
/// @return false when no archive is found there that starts elsewhere.
bool OpenZipPackage::chooseArchive(const ZipFaults& faults) {
    const std::vector<FoundArchive> archives = findArchives(*bytes_);
    if (archives.empty() || (archives.size() == 1 && archives.front().origin == 0) ||
        !explainCompoundFile(*bytes_).empty())
        return false;
    const Take take = location_.options.take;
    const FoundArchive& chosen = take == Take::First ? archives.front() : archives.back();
    const bool isOne = archives.size() == 1;
    const std::string what =
        isOne ? "the offsets of the archive do not count the " + std::to_string(chosen.origin) + " bytes before it"
              : std::to_string(archives.size()) + " archives in a row";
    const std::string said = "the ZIP structure is ambiguous: " + what;
    if (archives.size() > MAXIMUM_ARCHIVES || (take == Take::Neither && (!isOne || chosen.hasRival)))
        fail(Errc::bad_message, location_.label + ": " + said);
    const std::string which = isOne                 ? ""
                              : take == Take::First ? ", of which the first one is read"
                                                    : ", of which the last one is read";
    faults.add({RuleId::ZipEndRecord, {}, what + which, said});
    taken_ = std::make_unique<ArchiveBytes>(*bytes_, chosen);
    archive_ = std::make_unique<ZipArchive>(*taken_, location_.label);
    return true;
}

void OpenZipPackage::readItems(const ZipFaults& faults) {
    PieceGroups groups;
    std::vector<ZipArchive::Item> items;
    items.reserve(archive_->count());
    for (std::uint64_t index = 0; index < archive_->count(); ++index) {
        items.push_back(archive_->item(index));
        const std::string& name = items.back().name;
        limits_.checkName(name, location_.label);
        const auto piece = parsePieceName(name);
        if (const auto other = piece ? groups.add(*piece, index) : std::nullopt)
            faults.add({findRuleOfPieces(name, items[*other].name), name,
                        "a piece with the number of the item " + inQuotes(items[*other].name),
                        "duplicate item " + inQuotes(name)});
    }
    addItems(std::move(items), groups, faults);
    findContentTypes(faults);
    if (location_.options.consistent) {
        checkMeetingNames(items_, *archive_, faults);
        contentChecks().checkContents(faults);
    }
}

void OpenZipPackage::addItems(std::vector<ZipArchive::Item> items, const PieceGroups& groups, const ZipFaults& faults) {
    for (std::uint64_t index = 0; index < items.size(); ++index) {
        const auto piece = parsePieceName(items[index].name);
        if (!piece || !groups.isComplete(piece->prefix)) {
            const bool isDuplicate = piece && groups.hasDuplicate(piece->prefix);
            ZipEntry& entry = addItem(index, std::move(items[index]), {}, faults);
            if (isDuplicate)
                entry.reason = "a piece of a part that has a duplicate piece";
        } else if (piece->number == 0) {
            addInterleavedPart(*piece, items, groups, faults);
        }
    }
}

void OpenZipPackage::addInterleavedPart(const PieceName& first, const std::vector<ZipArchive::Item>& items,
                                        const PieceGroups& groups, const ZipFaults& faults) {
    if (location_.options.consistent)
        faults.add({RuleId::InterleavedPart, std::string(first.prefix), IN_PIECES});
    ZipArchive::Item whole{std::string(first.prefix)};
    std::vector<std::uint64_t> pieces = groups.getPieces(first.prefix);
    for (const std::uint64_t each : pieces) {
        whole.size += items[each].size;
        whole.compressedSize += items[each].compressedSize;
    }
    const std::uint64_t index = pieces.front();
    addItem(index, std::move(whole), std::move(pieces), faults);
}

ContentChecks OpenZipPackage::contentChecks() {
    return {items_, *archive_, limits_, threads_};
}

/// A file of another format is refused always.
void OpenZipPackage::findContentTypes(const ZipFaults& faults) {
    if (hasTwoContentTypes_)
        items_.leaveOutContentTypes(DUPLICATE_TYPES);
    else if (!items_.contentTypes()) {
        const auto hasItem = [this](std::string_view name) { return items_.findItem(name) != nullptr; };
        const std::string kind = findOtherZip(hasItem, readMediaType());
        const std::string what = "no item \"[Content_Types].xml\"";
        const std::string said = (kind.empty() ? "a ZIP file" : kind) + ", not a package: " + what;
        if (!kind.empty())
            fail(Errc::bad_message, location_.label + ": " + said);
        faults.add({RuleId::ContentTypesMissing, {}, what, said});
    }
}

/// The start of the item by which other formats declare their media type; empty when none can be read.
std::string OpenZipPackage::readMediaType() {
    std::string text(100, '\0');
    try {
        ZipEntry* entry = items_.findItem("mimetype");
        text.resize(entry ? readOriginal(*entry)->read(reinterpret_cast<unsigned char*>(text.data()), text.size()) : 0);
    } catch (const Exception&) {
        text.clear();
    }
    return text.substr(0, text.find_first_of("\r\n"));
}

/// @param pieces of an interleaved item; a lone piece is not a part (ECMA-376-2 §7.2.4).
ZipEntry& OpenZipPackage::addItem(std::uint64_t index, ZipArchive::Item&& item, std::vector<std::uint64_t> pieces,
                                  const ZipFaults& faults) {
    const bool isContentTypes = isContentTypesItem(item.name);
    const bool isAnother = isContentTypes && items_.contentTypes();
    if (isAnother) {
        const std::string first = inQuotes(items_.contentTypes()->name);
        faults.add({RuleId::ContentTypesMissing, item.name, "duplicate content types stream, beside " + first,
                    "duplicate content types stream: " + first + " and " + inQuotes(item.name)});
        hasTwoContentTypes_ = location_.options.take == Take::Neither;
        items_.contentTypes()->isOneOfSeveral = true;
        if (location_.options.take == Take::Last)
            items_.leaveOutContentTypes(DUPLICATE_TYPES);
    }
    std::optional<std::u16string> partName;
    if (!isContentTypes && !parsePieceName(item.name))
        partName = toPartName(item.name);
    ZipEntry& entry = items_.add(items_.all().end(), *this, opening_, std::move(item.name),
                                 std::move(partName).value_or(std::u16string()));
    entry.isOneOfSeveral = isAnother;
    if (isContentTypes && !items_.contentTypes())
        items_.setContentTypes(entry);
    else if (isContentTypes)
        entry.reason = DUPLICATE_TYPES;
    entry.index = index;
    entry.pieces = std::move(pieces);
    setSizes(entry, item);
    return entry;
}

void OpenZipPackage::setSizes(ZipEntry& entry, const ZipArchive::Item& item) {
    entry.size = item.size;
    entry.compressedSize = item.compressedSize;
    // The number in the directory is not trusted: there are at most as many bytes as the file has.
    entry.count.compressedSize = std::min(entry.compressedSize, bytes_->size());
}

std::unique_ptr<ItemReader> OpenZipPackage::readOriginal(ZipEntry& entry) {
    std::unique_ptr<ItemReader> reader;
    if (entry.pieces.empty())
        reader = archive_->read(*entry.index, entry.getLabel());
    else
        reader = archive_->read(entry.pieces, entry.getLabel());
    return limits_.watch(std::move(reader), entry.count, entry);
}

std::optional<ContentTypes> OpenZipPackage::readPlainContentTypes(ZipEntry& stream) {
    const auto bytes = readWhole(*readOriginal(stream), limits_.get().xmlSize);
    auto table = bytes ? detail::readPlainContentTypes(*bytes, limits_.get()) : std::nullopt;
    return table ? std::optional<ContentTypes>(std::move(*table)) : std::nullopt;
}

/// @return nothing when the stream cannot be read; without a stream, no entries.
std::optional<ContentTypes> OpenZipPackage::readContentTypes(bool& isPlain) {
    std::optional<ContentTypes> types;
    ZipEntry* const stream = items_.contentTypes();
    isPlain = !stream;
    if (!stream)
        return ContentTypes({});
    try {
        types = readPlainContentTypes(*stream);
        isPlain = types.has_value();
        if (!isPlain)
            types = storage::readContentTypes(*readOriginal(*stream), limits_.get().xmlSize);
    } catch (const Exception&) {
        // The model meets the same failure when it reads the stream; here no content type is known.
    }
    return types;
}

void OpenZipPackage::readContentTypes(const ZipFaults& faults) {
    bool isPlain = false;
    std::optional<ContentTypes> types = readContentTypes(isPlain);
    if (location_.options.consistent)
        contentChecks().checkContentTypes(types ? &*types : nullptr, faults);
    if (!types && faults.isTolerant())
        types.emplace(detail::ContentTypeTable{}); // an item without a type is not a part
    items_.findParts(types ? &*types : nullptr, location_.options.take, faults);
    if (isPlain && faults.isTolerant()) {
        contentTypes_ = std::make_unique<detail::ContentTypeTable>(types->table());
        types_ = std::make_shared<const ContentTypes>(std::move(*types));
    } else if (isPlain) {
        contentTypes_ = std::make_unique<detail::ContentTypeTable>(std::move(*types).release());
    }
}

} // namespace opc::storage
