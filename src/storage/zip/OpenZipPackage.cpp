// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/OpenZipPackage.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ContentChecks.hpp"
#include "storage/zip/ContentTypesReader.hpp"
#include "storage/zip/ItemNames.hpp"
#include "storage/zip/MainPart.hpp"
#include "storage/zip/OtherFormats.hpp"
#include "storage/zip/Pieces.hpp"
#include "storage/zip/ReadAhead.hpp"
#include "storage/zip/Threads.hpp"
#include "storage/zip/ZipConsistency.hpp"
#include "storage/zip/ZipNameRules.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Findings.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace opc::storage {

using interfaces::CompressionType;
using interfaces::OpenMode;

namespace {

/// A later change of the working directory must not redirect a save to another file.
std::filesystem::path absolutePath(const std::filesystem::path& file, const std::string& label) {
    std::error_code error;
    std::filesystem::path result = std::filesystem::absolute(file, error);
    if (error)
        failWithErrno(error.value(), label);
    return result;
}

bool leadToOnePlace(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code error;
    const std::filesystem::path end = std::filesystem::weakly_canonical(a, error);
    return !error && end == std::filesystem::weakly_canonical(b, error) && !error;
}

bool isNew(const ZipEntry& entry) {
    return !entry.index && entry.bytes.getContent();
}

ZipChanges::Added toAdded(const ZipEntry& entry) {
    return {entry.name, entry.bytes.getContent(), entry.bytes.compression(), entry.getLabel()};
}

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

/// Hands findings on, with the name of the part where there is one, and without what the open told already.
class PartFindings final : public FindingSink {
public:
    PartFindings(ZipItems& items, FindingSink& sink) : items_(items), sink_(sink) {}

    void found(const Finding& finding) override {
        Finding named = finding;
        const ZipEntry* entry = items_.findItem(finding.place.item);
        if (entry && entry->kind == ZipItemKind::Part)
            named.place.item = detail::toUTF8String(entry->partName(), false);
        if (finding.rule != RuleId::NoDuplicateItem || !entry || entry->reason.empty())
            sink_.found(named);
    }

private:
    ZipItems& items_;
    FindingSink& sink_;
};

} // namespace

OpenZipPackage::OpenZipPackage(const ZipLocation& location, OpenMode mode,
                               const std::optional<std::filesystem::path>& output, FindingSink* sink)
    : location_(location), threads_(countThreads(location.options.threads)), opening_{mode},
      limits_(location.options.limits) {
    if (!location_.bytes) {
        location_.file = absolutePath(location.file, location_.label);
        own_.emplace(location_.file, location_.label);
        opening_.area =
            std::make_shared<SpillArea>(location_.label, location_.options.memory, location_.options.temporaryFolder);
    }
    if (output)
        setOutput(*output);
    if (opening_.mode == OpenMode::CreateOnly) {
        openReplaced();
    } else {
        openArchive();
        // What the option refuses is refused always.
        const ZipFaults faults(location_.label, location_.options.consistent ? nullptr : sink, true);
        readItems(faults);
        readContentTypes(faults);
    }
}

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

void OpenZipPackage::openArchive() {
    archive_ = std::make_unique<ZipArchive>(openBytes(), location_.label);
    limits_.checkItems(archive_->count(), location_.label);
    if (location_.options.consistent)
        checkConsistency(*archive_, ZipFaults(location_.label, nullptr, true));
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
        items_.leaveOutContentTypes("a duplicate content types stream");
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
        hasTwoContentTypes_ = true;
    }
    std::optional<std::u16string> partName;
    if (!isContentTypes && !parsePieceName(item.name))
        partName = toPartName(item.name);
    ZipEntry& entry = items_.add(items_.all().end(), *this, opening_, std::move(item.name),
                                 std::move(partName).value_or(std::u16string()));
    if (isAnother)
        entry.reason = "a duplicate content types stream";
    else if (isContentTypes)
        items_.setContentTypes(entry);
    entry.index = index;
    entry.pieces = std::move(pieces);
    entry.size = item.size;
    entry.compressedSize = item.compressedSize;
    // The number in the directory is not trusted: there are at most as many bytes as the file has.
    entry.count.compressedSize = std::min(entry.compressedSize, archive_->getBytes().size());
    return entry;
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
        contentChecks().checkContentTypes(types, faults);
    if (!types && faults.isTolerant())
        types.emplace(detail::ContentTypeTable{}); // an item without a type is not a part
    items_.findParts(types ? &*types : nullptr, faults);
    if (isPlain)
        contentTypes_ = std::make_unique<detail::ContentTypeTable>(std::move(*types).release());
}

void OpenZipPackage::findAmbiguities(FindingSink& sink, bool readsContents) {
    if (!archive_)
        return;
    PartFindings findings(items_, sink);
    const ZipFaults faults(location_.label, &findings, false);
    checkConsistency(*archive_, faults);
    checkMeetingNames(items_, *archive_, faults);
    bool isPlain = false;
    const std::optional<ContentTypes> types = readContentTypes(isPlain);
    contentChecks().checkContentTypes(types, faults, readsContents);
    checkItemNames(items_, *archive_, types && items_.contentTypes() ? &*types : nullptr, faults);
    if (readsContents)
        contentChecks().checkContents(faults);
}

void OpenZipPackage::setOutput(const std::filesystem::path& file) {
    throwIfReadOnly();
    const std::filesystem::path path = absolutePath(file, location_.label);
    isOutputSet_ = true;
    output_.reset();
    if (!own_ || !leadToOnePlace(path, own_->file))
        output_.emplace(path, file.string());
}

std::vector<ZipItem> OpenZipPackage::getItems() const {
    std::vector<ZipItem> result;
    for (const ZipEntry& entry : items_.all()) {
        const auto& content = entry.bytes.getContent();
        if (!content && !entry.index)
            continue;
        ZipItem item{entry.name, {}, entry.kind, entry.pieces.size(), entry.size, entry.compressedSize};
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

interfaces::IPhysicalInputStream* OpenZipPackage::getItemInputStream(const std::string& name) {
    throwIfCreateOnly(labelOf(name));
    ZipEntry* entry = items_.findItem(name);
    if (!entry)
        fail(Errc::no_such_file_or_directory, labelOf(name) + ": no such item");
    return entry->bytes.getInputStream();
}

interfaces::IPhysicalInputStream* OpenZipPackage::getItemInputStreamAt(std::size_t position) {
    throwIfCreateOnly(location_.label);
    for (ZipEntry& entry : items_.all())
        if ((entry.index || entry.bytes.getContent()) && position-- == 0)
            return entry.bytes.getInputStream();
    fail(Errc::no_such_file_or_directory, location_.label + ": no item at this position");
}

interfaces::IPhysicalInputStream* OpenZipPackage::getContentTypeInputStream() {
    throwIfCreateOnly(location_.label);
    if (!items_.contentTypes())
        fail(Errc::no_such_file_or_directory, labelOf(CONTENT_TYPES_ITEM) + ": no such item");
    return items_.contentTypes()->bytes.getInputStream();
}

interfaces::IPhysicalOutputStream* OpenZipPackage::getContentTypeOutputStream() {
    throwIfReadOnly();
    if (hasTwoContentTypes_)
        fail(Errc::file_exists, labelOf(CONTENT_TYPES_ITEM) + ": a duplicate content types stream exists already");
    contentTypes_.reset();
    ZipEntry* entry = items_.contentTypes();
    if (!entry) {
        entry = &items_.add(items_.all().begin(), *this, opening_, std::string(CONTENT_TYPES_ITEM), std::u16string());
        items_.setContentTypes(*entry);
    }
    return entry->bytes.getOutputStream();
}

std::vector<interfaces::IPhysicalPart*> OpenZipPackage::getParts() {
    std::vector<interfaces::IPhysicalPart*> parts;
    for (ZipEntry& entry : items_.all())
        if (entry.kind == ZipItemKind::Part)
            parts.push_back(&entry.bytes);
    return parts;
}

void OpenZipPackage::readParts(const std::vector<interfaces::IPhysicalPart*>& parts,
                               const interfaces::IPhysicalParallelReading::Take& take) const {
    std::vector<const ZipEntry*> entries;
    entries.reserve(parts.size());
    for (interfaces::IPhysicalPart* part : parts)
        entries.push_back(findUnchanged(*part));
    readAhead(std::move(entries), *archive_, limits_, threads_, take);
}

bool OpenZipPackage::countAsRead(interfaces::IPhysicalPart& part) {
    ZipEntry* entry = findUnchanged(part);
    return entry && limits_.tryToCount(entry->size, entry->count);
}

/// The entry of a part whose content is one item of the file; null for others.
ZipEntry* OpenZipPackage::findUnchanged(interfaces::IPhysicalPart& part) const {
    const auto* item = dynamic_cast<const StoredItem*>(&part);
    auto* entry = item ? dynamic_cast<ZipEntry*>(&item->getOrigin()) : nullptr;
    const bool isItem = entry && &entry->owner == this && entry->index && entry->pieces.empty();
    return isItem && !entry->bytes.getContent() ? entry : nullptr;
}

interfaces::IPhysicalPart* OpenZipPackage::createPart(const std::u16string& name, const std::u16string& contentType,
                                                      CompressionType compression) {
    throwIfReadOnly(name);
    std::optional<std::string> itemName = toItemName(name);
    if (!itemName)
        fail(Errc::invalid_argument, labelOf(name) + ": no item of a ZIP file can be a part of this name");
    throwIfTaken(name, *itemName);
    limits_.checkName(*itemName, location_.label);
    if (!detail::isRelationshipsPartName(name))
        limits_.checkRelationshipsName(detail::getRelationshipsPartName(name), location_.label);
    auto type = std::make_shared<const std::u16string>(contentType);
    auto content = std::make_shared<const Content>(); // a part exists once it is created
    ZipEntry& entry = items_.add(items_.all().end(), *this, opening_, std::move(*itemName), name, compression);
    entry.kind = ZipItemKind::Part;
    entry.bytes.setContentType(std::move(type));
    entry.bytes.setContent(std::move(content));
    return &entry.bytes;
}

void OpenZipPackage::deletePart(const std::u16string& name) {
    throwIfReadOnly(name);
    throwIfCreateOnly(labelOf(name));
    ZipEntry* part = items_.findPart(name);
    if (!part)
        fail(Errc::no_such_file_or_directory, labelOf(name) + ": no such part");
    if (part->index) {
        const std::vector<std::uint64_t> whole{*part->index};
        const auto& indexes = part->pieces.empty() ? whole : part->pieces;
        deleted_.insert(deleted_.end(), indexes.begin(), indexes.end());
    }
    items_.removePart(*part);
}

/// The name may be that of an item, or meet that of one that is not a part when it is unpacked.
void OpenZipPackage::throwIfTaken(std::u16string_view name, std::string_view itemName) {
    const ZipEntry* taken = items_.findByPartName(name);
    if (!taken)
        taken = items_.findMeeting(itemName);
    if (taken)
        fail(Errc::file_exists, labelOf(name) + ": the item " + inQuotes(taken->name) + " exists already");
}

ZipEntry* OpenZipPackage::findMainPart(ZipEntry& relationships) {
    try {
        const auto& content = relationships.bytes.getContent();
        const auto reader = content ? readContent(content) : readOriginal(relationships);
        return items_.findPart(storage::findMainPart(*reader, limits_.get().xmlSize));
    } catch (const Exception&) {
        return nullptr; // no reason to refuse a save: the model reports the same failure
    }
}

/// The items by which the kind of a package is recognized, in the order in which they start a file. New ones come
/// first, unless the file starts with other items.
OpenZipPackage::Head OpenZipPackage::findHead() {
    Head head;
    ZipEntry* relationships = items_.findPart(u"/_rels/.rels");
    for (const ZipEntry& entry : items_.all()) {
        if (entry.index != head.leading || (&entry != items_.contentTypes() && &entry != relationships))
            break;
        ++head.leading;
    }
    const bool startsOtherwise = archive_ && head.leading == 0;
    if (startsOtherwise || std::none_of(items_.all().begin(), items_.all().end(), isNew))
        return head;
    ZipEntry* mainPart = relationships ? findMainPart(*relationships) : nullptr;
    for (const ZipEntry* entry : {items_.contentTypes(), relationships, mainPart})
        if (entry && isNew(*entry))
            head.entries.push_back(entry);
    return head;
}

ZipChanges OpenZipPackage::collectChanges() {
    const Head head = findHead();
    ZipChanges changes;
    changes.deleted = deleted_;
    changes.leading = head.leading;
    for (const ZipEntry* entry : head.entries)
        changes.first.push_back(toAdded(*entry));
    for (const ZipEntry& entry : items_.all()) {
        const auto& content = entry.bytes.getContent();
        if (content && !entry.pieces.empty()) {
            // From now on a single item, at the position and with the name of the whole.
            changes.replaced.push_back({*entry.index, content, entry.getLabel(), entry.name});
            changes.deleted.insert(changes.deleted.end(), std::next(entry.pieces.begin()), entry.pieces.end());
        } else if (content && entry.index) {
            changes.replaced.push_back({*entry.index, content, entry.getLabel()});
        } else if (isNew(entry) && std::find(head.entries.begin(), head.entries.end(), &entry) == head.entries.end()) {
            changes.added.push_back(toAdded(entry));
        }
    }
    return changes;
}

std::unique_ptr<Target> OpenZipPackage::makeTarget() {
    if (output_)
        return std::make_unique<FileTarget>(*output_);
    if (own_)
        return std::make_unique<FileTarget>(*own_);
    return std::make_unique<VectorTarget>(*location_.bytes);
}

void OpenZipPackage::save() {
    if (opening_.mode == OpenMode::ReadOnly)
        return;
    const ZipChanges changes = collectChanges();
    const bool changed = !changes.empty() || opening_.mode == OpenMode::CreateOnly;
    if (!changed && !isOutputSet_)
        return;
    throwIfChanged();
    throwIfBeyondLimits(changes);
    const std::unique_ptr<Target> target = makeTarget();
    if (changed)
        writeZip(archive_.get(), changes, limits_, *target);
    else
        copyBytes(archive_->getBytes(), 0, archive_->getBytes().size(), *target);
    throwIfChanged(); // while it was copied
    target->commit();
}

/// What is saved can be opened again.
void OpenZipPackage::throwIfBeyondLimits(const ZipChanges& changes) const {
    const std::uint64_t before = archive_ ? archive_->count() : 0;
    limits_.checkItems(before - changes.deleted.size() + changes.first.size() + changes.added.size(), location_.label);
}

void OpenZipPackage::throwIfChanged() const {
    if (archive_)
        archive_->getBytes().throwIfChanged();
}

std::string OpenZipPackage::labelOf(std::string_view itemName) const {
    return location_.label + ": " + inQuotes(itemName);
}

std::string OpenZipPackage::labelOf(std::u16string_view partName) const {
    return labelOf(detail::toUTF8String(partName, false));
}

/// @param partName of the part concerned; empty for the package.
void OpenZipPackage::throwIfReadOnly(std::u16string_view partName) const {
    if (opening_.mode == OpenMode::ReadOnly) {
        const std::string label = partName.empty() ? location_.label : labelOf(partName);
        fail(Errc::operation_not_permitted, label + ": the package is open for reading only");
    }
}

void OpenZipPackage::throwIfCreateOnly(const std::string& label) const {
    if (opening_.mode == OpenMode::CreateOnly)
        fail(Errc::operation_not_permitted, label + ": the package is being created and cannot be read");
}

} // namespace opc::storage
