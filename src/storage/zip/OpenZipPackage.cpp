// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/OpenZipPackage.hpp"

#include "storage/Failure.hpp"
#include "storage/Threads.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/MainPart.hpp"
#include "storage/zip/ContentChecks.hpp"
#include "storage/zip/ItemChanges.hpp"
#include "storage/zip/ZipConsistency.hpp"

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

/// Ends a save as soon as the caller wants that.
class CancellableTarget final : public Target {
public:
    CancellableTarget(std::unique_ptr<Target> target, const ReadLimits& limits)
        : target_(std::move(target)), limits_(limits) {}

    void write(const unsigned char* data, std::size_t size) override {
        limits_.throwIfCancelled();
        target_->write(data, size);
    }
    std::uint64_t writeFrom(const FilePiece& piece) override {
        limits_.throwIfCancelled();
        constexpr std::uint64_t most = 256ULL * 1024 * 1024; // what is not interrupted
        return target_->writeFrom({piece.file, piece.offset, std::min(piece.size, most)});
    }
    void commit() override {
        limits_.throwIfCancelled();
        target_->commit();
    }

private:
    std::unique_ptr<Target> target_;
    const ReadLimits& limits_;
};

} // namespace

OpenZipPackage::OpenZipPackage(const ZipLocation& location, OpenMode mode,
                               const std::optional<std::filesystem::path>& output, FindingSink* sink)
    : location_(location), threads_(countThreads(location.options.threads)), opening_{mode},
      limits_(location.options.limits, location.options.bytesRead, location.options.cancelled),
      items_({location.label, "a ZIP file", "", location.options.consistent, location.options.take, threads_}, opening_,
             limits_) {
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
        // What the option refuses is refused always.
        const ZipFaults faults(location_.label, location_.options.consistent ? nullptr : sink, true);
        openArchive(faults);
        items_.readNames(*archive_, faults);
        if (location_.options.consistent)
            contentChecks().checkContents(faults);
        items_.readContentTypes(faults);
    }
}

void OpenZipPackage::findAmbiguities(FindingSink& sink, bool readsContents) {
    if (!archive_)
        return;
    PartFindings findings(items_, sink);
    const ZipFaults faults(location_.label, &findings, false);
    checkConsistency(*archive_, faults);
    items_.findAmbiguities(faults, readsContents);
    if (readsContents)
        contentChecks().checkContents(faults);
}

ContentChecks OpenZipPackage::contentChecks() {
    return {items_, *archive_, limits_, threads_};
}

void OpenZipPackage::setOutput(const std::filesystem::path& file) {
    throwIfReadOnly();
    const std::filesystem::path path = absolutePath(file, location_.label);
    isOutputSet_ = true;
    output_.reset();
    if (!own_ || !leadToOnePlace(path, own_->file))
        output_.emplace(path, file.string());
}

interfaces::IPhysicalInputStream* OpenZipPackage::getItemInputStream(const std::string& name) {
    throwIfCreateOnly(items_.labelOf(name));
    return items_.get(name).getInputStream();
}

interfaces::IPhysicalInputStream* OpenZipPackage::getItemInputStreamAt(std::size_t position) {
    throwIfCreateOnly(location_.label);
    return items_.getAt(position).getInputStream();
}

interfaces::IPhysicalInputStream* OpenZipPackage::getContentTypeInputStream() {
    throwIfCreateOnly(location_.label);
    return items_.getContentTypes().getInputStream();
}

interfaces::IPhysicalOutputStream* OpenZipPackage::getContentTypeOutputStream() {
    throwIfReadOnly();
    if (items_.hasTwoContentTypes())
        fail(Errc::file_exists,
             items_.labelOf(CONTENT_TYPES_ITEM) + ": a duplicate content types stream exists already");
    items_.forgetContentTypes();
    ZipEntry* entry = items_.contentTypes();
    if (!entry) {
        entry = &items_.add(items_.all().begin(), items_, std::string(CONTENT_TYPES_ITEM), std::u16string());
        items_.setContentTypes(*entry);
    }
    return entry->bytes.getOutputStream();
}

interfaces::IPhysicalInputStream* OpenZipPackage::getStoredItemInputStream(std::size_t position) {
    throwIfCreateOnly(location_.label);
    return items_.getStoredAt(position).getInputStream();
}

void OpenZipPackage::changeItems(const std::vector<interfaces::IPhysicalItems::Change>& changes,
                                 bool dropsSurroundings) {
    throwIfReadOnly();
    throwIfCreateOnly(location_.label);
    ZipChanges result = toZipChanges(changes, *archive_, limits_, location_.label);
    result.dropsSurroundings = dropsSurroundings;
    itemChanges_ = std::move(result);
}

/// The name of the item of a new part.
/// @param renamed the item that gets this name; null for a new one.
std::string OpenZipPackage::itemNameFor(const std::u16string& name, const ZipEntry* renamed) {
    std::optional<std::string> itemName = toItemName(name);
    if (!itemName)
        fail(Errc::invalid_argument, labelOf(name) + ": no item of a ZIP file can be a part of this name");
    throwIfTaken(name, *itemName, renamed);
    limits_.checkName(*itemName, location_.label);
    if (!detail::isRelationshipsPartName(name))
        limits_.checkRelationshipsName(detail::getRelationshipsPartName(name), location_.label);
    return std::move(*itemName);
}

interfaces::IPhysicalPart* OpenZipPackage::createPart(const std::u16string& name, const std::u16string& contentType,
                                                      CompressionType compression) {
    throwIfReadOnly(name);
    std::string itemName = itemNameFor(name);
    auto type = std::make_shared<const std::u16string>(contentType);
    auto content = std::make_shared<const Content>(); // a part exists once it is created
    ZipEntry& entry = items_.add(items_.all().end(), items_, std::move(itemName), name, compression);
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
    const bool isOneOfSeveral = part->isOneOfSeveral;
    removeItem(*part);
    for (ZipEntry* other = isOneOfSeveral ? items_.findByPartName(name) : nullptr; other;
         other = items_.findByPartName(name))
        removeItem(*other);
}

interfaces::IPhysicalPart* OpenZipPackage::renamePart(const std::u16string& name, const std::u16string& newName) {
    throwIfReadOnly(name);
    throwIfCreateOnly(labelOf(name));
    ZipEntry* part = items_.findPart(name);
    if (!part)
        fail(Errc::no_such_file_or_directory, labelOf(name) + ": no such part");
    const auto& content = part->bytes.getContent();
    if (part->isOneOfSeveral || (!part->pieces().empty() && !content))
        return nullptr;
    std::string itemName = itemNameFor(newName, part);
    auto type = std::make_shared<const std::u16string>(part->bytes.getContentType());
    const auto place = std::find_if(items_.all().begin(), items_.all().end(),
                                    [part](const ZipEntry& entry) { return &entry == part; });
    std::vector<std::uint64_t> pieces = part->pieces();
    ZipEntry& renamed = items_.add(place, items_, std::move(itemName), newName, part->bytes.compression());
    renamed.kind = ZipItemKind::Part;
    renamed.index = part->index;
    renamed.isRenamed = part->isRenamed || renamed.name != part->name;
    renamed.setPieces(std::move(pieces));
    renamed.size = part->size;
    renamed.compressedSize = part->compressedSize;
    renamed.count = part->count;
    renamed.bytes.setContentType(std::move(type));
    renamed.bytes.setContent(content);
    items_.remove(*part);
    return &renamed.bytes;
}

/// An item of the name of a part.
void OpenZipPackage::removeItem(ZipEntry& item) {
    if (item.index) {
        const std::vector<std::uint64_t> whole{*item.index};
        const auto& indexes = item.pieces().empty() ? whole : item.pieces();
        deleted_.insert(deleted_.end(), indexes.begin(), indexes.end());
    }
    items_.remove(item);
}

/// The name may be that of an item, or meet that of one that is not a part when it is unpacked.
void OpenZipPackage::throwIfTaken(std::u16string_view name, std::string_view itemName, const ZipEntry* renamed) {
    const ZipEntry* taken = items_.findByPartName(name);
    if (!taken || taken == renamed)
        taken = items_.findMeeting(itemName);
    if (taken)
        fail(Errc::file_exists,
             labelOf(name) + ": the item " + inQuotes(taken->name) + " exists already" +
                 (taken->name.find('\\') == std::string::npos ? "" : ", with a backslash in its name"));
}

ZipEntry* OpenZipPackage::findMainPart(ZipEntry& relationships) {
    try {
        const auto& content = relationships.bytes.getContent();
        const auto reader = content ? readContent(content) : relationships.readOriginal();
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
        if (content && !entry.pieces().empty()) {
            // From now on a single item, at the position and with the name of the whole.
            changes.replaced.push_back({*entry.index, content, entry.getLabel(), entry.name});
            changes.deleted.insert(changes.deleted.end(), std::next(entry.pieces().begin()), entry.pieces().end());
        } else if (entry.index && (content || entry.isRenamed)) {
            changes.replaced.push_back(
                {*entry.index, content, entry.getLabel(), entry.isRenamed ? entry.name : std::string()});
        } else if (isNew(entry) && std::find(head.entries.begin(), head.entries.end(), &entry) == head.entries.end()) {
            changes.added.push_back(toAdded(entry));
        }
    }
    return changes;
}

/// @throws opc::Exception operation_not_permitted when something would be lost.
ZipChanges OpenZipPackage::chooseChanges() {
    ZipChanges changes = collectChanges();
    if (itemChanges_ && !changes.empty())
        fail(Errc::operation_not_permitted, location_.label + ": parts were changed beside the items below them");
    if (itemChanges_)
        changes = *itemChanges_;
    if (taken_ && !changes.empty() && !changes.dropsSurroundings)
        fail(Errc::operation_not_permitted,
             location_.label + ": what the file has beside the archive that was taken would be lost");
    return changes;
}

std::unique_ptr<Target> OpenZipPackage::makeTarget() {
    std::unique_ptr<Target> target;
    if (location_.bytes && !output_)
        target = std::make_unique<VectorTarget>(*location_.bytes);
    else
        target = std::make_unique<FileTarget>(output_ ? *output_ : *own_);
    return std::make_unique<CancellableTarget>(std::move(target), limits_);
}

void OpenZipPackage::save() {
    if (opening_.mode == OpenMode::ReadOnly)
        return;
    const ZipChanges changes = chooseChanges();
    const bool changed = !changes.empty() || opening_.mode == OpenMode::CreateOnly;
    if (!changed && !isOutputSet_)
        return;
    throwIfChanged();
    throwIfBeyondLimits(changes);
    const std::unique_ptr<Target> target = makeTarget();
    if (changed)
        writeZip(archive_.get(), changes, limits_, *target);
    else
        copyBytes(*bytes_, 0, bytes_->size(), *target);
    throwIfChanged(); // while it was copied
    target->commit();
}

/// What is saved can be opened again.
void OpenZipPackage::throwIfBeyondLimits(const ZipChanges& changes) const {
    const std::uint64_t before = archive_ ? archive_->count() : 0;
    limits_.checkItems(before - changes.deleted.size() + changes.first.size() + changes.added.size(), location_.label);
}

void OpenZipPackage::throwIfChanged() const {
    if (bytes_)
        bytes_->throwIfChanged();
}

std::string OpenZipPackage::labelOf(std::u16string_view partName) const {
    return items_.labelOf(detail::toUTF8String(partName, false));
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
