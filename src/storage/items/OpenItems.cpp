// SPDX-License-Identifier: Apache-2.0
#include "storage/items/OpenItems.hpp"

#include "storage/Failure.hpp"
#include "storage/items/ContentTypeChecks.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/MeetingNames.hpp"
#include "storage/items/OtherFormats.hpp"
#include "storage/items/Pieces.hpp"
#include "storage/items/ReadAhead.hpp"
#include "storage/items/ZipNameRules.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace opc::storage {

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

void OpenItems::readNames(const ItemArchive& archive, const ZipFaults& faults) {
    archive_ = &archive;
    PieceGroups groups;
    std::vector<ItemArchive::Item> items;
    items.reserve(archive_->count());
    for (std::uint64_t index = 0; index < archive_->count(); ++index) {
        items.push_back(archive_->item(index));
        const std::string& name = items.back().name;
        limits_.checkName(name, how_.label);
        const auto piece = parsePieceName(name);
        if (const auto other = piece ? groups.add(*piece, index) : std::nullopt)
            faults.add({findRuleOfPieces(name, items[*other].name), name,
                        "a piece with the number of the item " + inQuotes(items[*other].name),
                        "duplicate item " + inQuotes(name)});
    }
    addItems(std::move(items), groups, faults);
    findContentTypes(faults);
    if (how_.consistent)
        checkMeetingNames(*this, *archive_, faults);
}

void OpenItems::addItems(std::vector<ItemArchive::Item> items, const PieceGroups& groups, const ZipFaults& faults) {
    for (std::uint64_t index = 0; index < items.size(); ++index) {
        const auto piece = parsePieceName(items[index].name);
        if (!piece || !groups.isComplete(piece->prefix)) {
            const bool isDuplicate = piece && groups.hasDuplicate(piece->prefix);
            ZipEntry& entry = addItem(index, std::move(items[index]), {}, faults);
            if (isDuplicate)
                entry.setReason("a piece of a part that has a duplicate piece");
        } else if (piece->number == 0) {
            addInterleavedPart(*piece, items, groups, faults);
        }
    }
}

void OpenItems::addInterleavedPart(const PieceName& first, const std::vector<ItemArchive::Item>& items,
                                   const PieceGroups& groups, const ZipFaults& faults) {
    if (how_.consistent)
        faults.add({RuleId::InterleavedPart, std::string(first.prefix), IN_PIECES});
    ItemArchive::Item whole{std::string(first.prefix)};
    std::vector<std::uint64_t> pieces = groups.getPieces(first.prefix);
    for (const std::uint64_t each : pieces) {
        whole.size += items[each].size;
        whole.compressedSize += items[each].compressedSize;
    }
    const std::uint64_t index = pieces.front();
    addItem(index, std::move(whole), std::move(pieces), faults);
}

/// A file of another format is refused always.
void OpenItems::findContentTypes(const ZipFaults& faults) {
    if (hasTwoContentTypes_)
        leaveOutContentTypes(DUPLICATE_TYPES);
    else if (!contentTypes()) {
        const auto hasItem = [this](std::string_view name) { return findItem(name) != nullptr; };
        const std::string kind = findOtherZip(hasItem, readMediaType());
        const std::string what = "no item \"[Content_Types].xml\"";
        const std::string said = (kind.empty() ? how_.kind : how_.ofKind + kind) + ", not a package: " + what;
        if (!kind.empty())
            fail(Errc::bad_message, how_.label + ": " + said);
        faults.add({RuleId::ContentTypesMissing, {}, what, said});
    }
}

/// The start of the item by which other formats declare their media type; empty when none can be read.
std::string OpenItems::readMediaType() {
    std::string text(100, '\0');
    try {
        ZipEntry* entry = findItem("mimetype");
        text.resize(entry ? readOriginal(*entry)->read(reinterpret_cast<unsigned char*>(text.data()), text.size()) : 0);
    } catch (const Exception&) {
        text.clear();
    }
    return text.substr(0, text.find_first_of("\r\n"));
}

/// @param pieces of an interleaved item; a lone piece is not a part (ECMA-376-2 §7.2.4).
ZipEntry& OpenItems::addItem(std::uint64_t index, ItemArchive::Item&& item, std::vector<std::uint64_t> pieces,
                             const ZipFaults& faults) {
    const bool isContentTypes = isContentTypesItem(item.name);
    const bool isAnother = isContentTypes && contentTypes();
    if (isAnother) {
        const std::string first = inQuotes(contentTypes()->name);
        faults.add({RuleId::ContentTypesMissing, item.name, "duplicate content types stream, beside " + first,
                    "duplicate content types stream: " + first + " and " + inQuotes(item.name)});
        hasTwoContentTypes_ = how_.take == Take::Neither;
        contentTypes()->isOneOfSeveral = true;
        if (how_.take == Take::Last)
            leaveOutContentTypes(DUPLICATE_TYPES);
    }
    std::optional<std::u16string> partName;
    if (!isContentTypes && !parsePieceName(item.name))
        partName = toPartName(item.name);
    ZipEntry& entry = add(all().end(), *this, std::move(item.name), std::move(partName).value_or(std::u16string()));
    entry.isOneOfSeveral = isAnother;
    if (isContentTypes && !contentTypes())
        setContentTypes(entry);
    else if (isContentTypes)
        entry.setReason(DUPLICATE_TYPES);
    entry.index = index;
    entry.setPieces(std::move(pieces));
    setSizes(entry, item);
    return entry;
}

void OpenItems::setSizes(ZipEntry& entry, const ItemArchive::Item& item) const {
    entry.size = item.size;
    entry.compressedSize = item.compressedSize;
    // The number in the directory is not trusted: there are at most as many bytes as the file has.
    entry.count.compressedSize = std::min(entry.compressedSize, archive_->storedSize());
}

std::unique_ptr<ItemReader> OpenItems::readOriginal(ZipEntry& entry) {
    std::unique_ptr<ItemReader> reader;
    if (entry.pieces().empty())
        reader = archive_->read(*entry.index, entry.getLabel());
    else
        reader = archive_->readAll(entry.pieces(), entry.getLabel());
    return limits_.watch(std::move(reader), entry.count, entry);
}

std::optional<ContentTypes> OpenItems::readPlainContentTypes(ZipEntry& stream) {
    const auto bytes = readWhole(*readOriginal(stream), limits_.get().xmlSize);
    auto table = bytes ? detail::readPlainContentTypes(*bytes, limits_.get()) : std::nullopt;
    return table ? std::optional<ContentTypes>(std::move(*table)) : std::nullopt;
}

/// @return nothing when the stream cannot be read; without a stream, no entries.
std::optional<ContentTypes> OpenItems::readContentTypes(bool& isPlain) {
    std::optional<ContentTypes> types;
    ZipEntry* const stream = contentTypes();
    isPlain = !stream;
    if (!stream)
        return ContentTypes({});
    try {
        types = readPlainContentTypes(*stream);
        isPlain = types.has_value();
        if (!isPlain)
            types = storage::readContentTypes(*readOriginal(*stream), limits_.get().xmlSize);
    } catch (const Exception& e) {
        // The model meets what is wrong with the stream when it reads it; here no content type is known then.
        if (e.code() && !isOfContent(e) && e.code() != make_error_condition(Errc::file_too_large))
            throw;
    }
    return types;
}

void OpenItems::readContentTypes(const ZipFaults& faults) {
    bool isPlain = false;
    std::optional<ContentTypes> types = readContentTypes(isPlain);
    if (how_.consistent)
        ContentTypeChecks(*this, limits_).check(types ? &*types : nullptr, faults);
    if (!types && faults.isTolerant())
        types.emplace(detail::ContentTypeTable{}); // an item without a type is not a part
    findParts(types ? &*types : nullptr, how_.take, faults);
    if (isPlain && faults.isTolerant()) {
        table_ = std::make_unique<detail::ContentTypeTable>(types->table());
        types_ = std::make_shared<const ContentTypes>(std::move(*types));
    } else if (isPlain) {
        table_ = std::make_unique<detail::ContentTypeTable>(std::move(*types).release());
    }
}

std::vector<ZipItem> OpenItems::list() const {
    std::vector<ZipItem> result;
    for (const ZipEntry& entry : all()) {
        const auto& content = entry.bytes.getContent();
        if (!content && !entry.index)
            continue;
        ZipItem item{entry.name, {}, entry.kind, entry.pieces().size(), entry.size, entry.compressedSize};
        if (entry.kind == ZipItemKind::Part)
            item.partName = entry.partName();
        else if (entry.kind == ZipItemKind::Other)
            item.reason = explainOther(entry);
        if (content) {
            item.size = item.compressedSize = content->size();
            item.pieces = 0;
        }
        result.push_back(std::move(item));
    }
    return result;
}

StoredItem& OpenItems::get(const std::string& name) {
    ZipEntry* entry = findItem(name);
    if (!entry)
        fail(Errc::no_such_file_or_directory, labelOf(name) + ": no such item");
    return entry->bytes;
}

StoredItem& OpenItems::getAt(std::size_t position) {
    for (ZipEntry& entry : all())
        if ((entry.index || entry.bytes.getContent()) && position-- == 0)
            return entry.bytes;
    fail(Errc::no_such_file_or_directory, how_.label + ": no item at this position");
}

StoredItem& OpenItems::getContentTypes() {
    if (!contentTypes())
        fail(Errc::no_such_file_or_directory, labelOf(CONTENT_TYPES_ITEM) + ": no such item");
    return contentTypes()->bytes;
}

std::vector<interfaces::IPhysicalPart*> OpenItems::getParts() {
    std::vector<interfaces::IPhysicalPart*> parts;
    for (ZipEntry& entry : all())
        if (entry.kind == ZipItemKind::Part)
            parts.push_back(&entry.bytes);
    return parts;
}

std::vector<interfaces::IPhysicalItems::Item> OpenItems::getStored() const {
    std::vector<interfaces::IPhysicalItems::Item> items;
    for (std::uint64_t index = 0; archive_ && index < archive_->count(); ++index) {
        ItemArchive::Item item = archive_->item(index);
        items.push_back({std::move(item.name), item.size});
    }
    return items;
}

StoredItem& OpenItems::getStoredAt(std::size_t position) {
    if (position >= archive_->count())
        fail(Errc::no_such_file_or_directory, how_.label + ": no item at this position");
    const auto known = stored_.find(position);
    if (known != stored_.end())
        return known->second.bytes;
    ItemArchive::Item item = archive_->item(position);
    ZipEntry& entry = stored_.try_emplace(position, *this, std::move(item.name), std::u16string()).first->second;
    entry.index = position;
    setSizes(entry, item);
    return entry.bytes;
}

void OpenItems::readParts(const std::vector<interfaces::IPhysicalPart*>& parts,
                          const interfaces::IPhysicalParallelReading::Take& take) const {
    std::vector<const ZipEntry*> entries;
    entries.reserve(parts.size());
    for (interfaces::IPhysicalPart* part : parts)
        entries.push_back(findUnchanged(*part));
    if (archive_)
        readAhead(std::move(entries), *archive_, limits_, how_.threads, take);
}

bool OpenItems::countAsRead(interfaces::IPhysicalPart& part) {
    ZipEntry* entry = findUnchanged(part);
    return entry && limits_.tryToCount(entry->size, entry->count);
}

/// The entry of a part whose content is one item of the file; null for others.
ZipEntry* OpenItems::findUnchanged(interfaces::IPhysicalPart& part) const {
    const auto* item = dynamic_cast<const StoredItem*>(&part);
    auto* entry = item ? dynamic_cast<ZipEntry*>(&item->getOrigin()) : nullptr;
    const bool isItem = entry && &entry->owner == this && entry->index && entry->pieces().empty();
    return isItem && !entry->bytes.getContent() ? entry : nullptr;
}

void OpenItems::findAmbiguities(const ZipFaults& faults, bool readsContents) {
    checkMeetingNames(*this, *archive_, faults);
    std::optional<ContentTypes> read;
    bool isPlain = false;
    if (!types_)
        read = readContentTypes(isPlain);
    const ContentTypes* const types = types_ ? types_.get() : read ? &*read : nullptr;
    ContentTypeChecks(*this, limits_).check(types, faults, readsContents);
    checkItemNames(*this, *archive_, contentTypes() ? types : nullptr, faults);
}

std::string OpenItems::labelOf(std::string_view itemName) const {
    return how_.label + ": " + inQuotes(itemName);
}

void PartFindings::found(const Finding& finding) {
    Finding named = finding;
    const ZipEntry* entry = items_.findItem(finding.place.item);
    if (entry && entry->kind == ZipItemKind::Part)
        named.place.item = detail::toUTF8String(entry->partName(), false);
    if (finding.rule != RuleId::NoDuplicateItem || !entry || (entry->reason().empty() && !entry->isOneOfSeveral))
        sink_.found(named);
}

} // namespace opc::storage
