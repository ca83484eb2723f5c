// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/OpenZipPackage.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ContentTypesReader.hpp"
#include "storage/zip/ItemNames.hpp"
#include "storage/zip/Targets.hpp"

#include <opc/core/Exception.hpp>

#include <array>
#include <iterator>
#include <utility>

namespace opc::storage {

using interfaces::CompressionType;
using interfaces::OpenMode;

namespace {

/// A working directory that changes later shall not send a save to another file.
std::filesystem::path absolutePath(const std::filesystem::path& file, const std::string& label) {
    std::error_code error;
    std::filesystem::path result = std::filesystem::absolute(file, error);
    if (error) {
        failWithErrno(error.value(), label);
    }
    return result;
}

void copy(const Bytes& source, Target& target) {
    std::array<unsigned char, 65536> buffer;
    std::uint64_t done = 0;
    while (const std::size_t count = source.readAt(done, buffer.data(), buffer.size())) {
        target.writeAt(done, buffer.data(), count);
        done += count;
    }
}

} // namespace

OpenZipPackage::OpenZipPackage(const ZipPlace& place, OpenMode mode) : place_(place), mode_(mode) {
    if (!place_.bytes) {
        place_.file = absolutePath(place.file, place_.label);
    }
    if (mode_ == OpenMode::CreateOnly) {
        return;
    }
    std::unique_ptr<PackageBytes> bytes;
    if (place_.bytes) {
        bytes = std::make_unique<VectorBytes>(*place_.bytes);
    } else {
        bytes = std::make_unique<FileBytes>(place_.file, place_.label);
    }
    if (mode_ == OpenMode::ReadWrite && !place_.bytes) {
        throwIfNotWritable(place_.file, place_.label);
    }
    archive_ = std::make_unique<ZipArchive>(std::move(bytes), place_.label);
    readItems();
    readContentTypes();
}

void OpenZipPackage::readItems() {
    const std::uint64_t count = archive_->count();
    for (std::uint64_t index = 0; index < count; ++index) {
        const ZipArchive::Item item = archive_->item(index);
        ZipEntry entry{.name = item.name, .label = labelOf(item.name), .index = index};
        entry.size = item.size;
        entry.compressedSize = item.compressedSize;
        if (isContentTypesItem(item.name)) {
            if (items_.contentTypes()) {
                fail(Errc::bad_message, place_.label + ": there are two content types streams, " +
                                            inQuotes(items_.contentTypes()->name) + " and " + inQuotes(item.name));
            }
            entry.kind = ZipItemKind::ContentTypes;
        } else {
            entry.partName = toPartName(item.name).value_or(u"");
        }
        items_.add(std::move(entry));
    }
    if (!items_.contentTypes()) {
        fail(Errc::bad_message, place_.label + ": this is no package: there is no item \"[Content_Types].xml\"");
    }
}

void OpenZipPackage::readContentTypes() {
    std::optional<ContentTypes> types;
    const ZipEntry& stream = *items_.contentTypes();
    try {
        const auto reader = archive_->read(*stream.index, stream.label);
        types = storage::readContentTypes(*reader);
    } catch (const Exception&) {
        // Whoever reads the stream meets the same failure; here it says that nothing is known of the types.
    }
    findParts(items_, types ? &*types : nullptr, place_.label);
    for (ZipEntry& entry : items_.all()) {
        StoredItem::Facts facts{entry.partName, entry.contentType, entry.label, mode_};
        entry.bytes = std::make_unique<StoredItem>(
            std::move(facts), [this, &entry] { return archive_->read(*entry.index, entry.label); });
    }
}

void OpenZipPackage::setOutput(const std::filesystem::path& file) {
    throwIfReadOnly(place_.label);
    output_ = absolutePath(file, place_.label);
}

std::vector<ZipItem> OpenZipPackage::getItems() const {
    std::vector<ZipItem> result;
    for (const ZipEntry& entry : items_.all()) {
        const auto& content = entry.bytes->getContent();
        if (!content && !entry.index) {
            continue;
        }
        ZipItem item{entry.name, {}, entry.kind, entry.size, entry.compressedSize};
        if (entry.kind == ZipItemKind::Part) {
            item.partName = entry.partName;
        }
        if (content) {
            item.size = item.compressedSize = content->size();
        }
        result.push_back(std::move(item));
    }
    return result;
}

interfaces::IPhysicalInputStream* OpenZipPackage::getItemInputStream(const std::string& name) {
    throwIfCreateOnly(labelOf(name));
    ZipEntry* entry = items_.findItem(name);
    if (!entry) {
        fail(Errc::no_such_file_or_directory, labelOf(name) + ": there is no such item");
    }
    return entry->bytes->getInputStream();
}

interfaces::IPhysicalInputStream* OpenZipPackage::getContentTypeInputStream() {
    throwIfCreateOnly(place_.label);
    return items_.contentTypes()->bytes->getInputStream();
}

interfaces::IPhysicalOutputStream* OpenZipPackage::getContentTypeOutputStream() {
    throwIfReadOnly(place_.label);
    ZipEntry* entry = items_.contentTypes();
    if (!entry) {
        const std::string name = "[Content_Types].xml";
        entry = &addNew({.name = name, .label = labelOf(name), .kind = ZipItemKind::ContentTypes});
    }
    return entry->bytes->getOutputStream();
}

std::vector<interfaces::IPhysicalPart*> OpenZipPackage::getParts() {
    std::vector<interfaces::IPhysicalPart*> parts;
    for (ZipEntry& entry : items_.all()) {
        if (entry.kind == ZipItemKind::Part) {
            parts.push_back(entry.bytes.get());
        }
    }
    return parts;
}

interfaces::IPhysicalPart* OpenZipPackage::createPart(const std::u16string& name, const std::u16string& contentType,
                                                      CompressionType compression) {
    const std::string shownName = detail::toUTF8String(name, false);
    throwIfReadOnly(labelOf(shownName));
    const std::optional<std::string> itemName = toItemName(name);
    if (!itemName) {
        fail(Errc::invalid_argument, labelOf(shownName) + ": no item of a ZIP file can be a part of this name");
    }
    if (const ZipEntry* taken = items_.findPlace(name)) {
        fail(Errc::file_exists, labelOf(shownName) + ": the item " + inQuotes(taken->name) + " exists already");
    }
    ZipEntry entry{.name = *itemName, .label = labelOf(*itemName), .partName = name, .contentType = contentType};
    entry.kind = ZipItemKind::Part;
    entry.compression = compression;
    return addNew(std::move(entry)).bytes.get();
}

/// A created package starts with the content types and the relationships of the package, for readers of streams.
ZipEntry& OpenZipPackage::addNew(ZipEntry entry) {
    StoredItem::Facts facts{entry.partName, entry.contentType, entry.label, mode_};
    // A part exists once it is created, a content types stream once it is written.
    const bool exists = entry.kind == ZipItemKind::Part;
    entry.bytes = std::make_unique<StoredItem>(std::move(facts), exists ? std::make_shared<const Content>() : nullptr);
    ZipItems::Entries& all = items_.all();
    std::optional<ZipItems::Entries::iterator> before;
    if (mode_ == OpenMode::CreateOnly && entry.kind == ZipItemKind::ContentTypes) {
        before = all.begin();
    } else if (mode_ == OpenMode::CreateOnly && entry.partName == u"/_rels/.rels") {
        before = items_.contentTypes() ? std::next(all.begin()) : all.begin();
    }
    return items_.add(std::move(entry), before);
}

void OpenZipPackage::deletePart(const std::u16string& name) {
    const std::string label = labelOf(detail::toUTF8String(name, false));
    throwIfReadOnly(label);
    throwIfCreateOnly(label);
    ZipEntry* part = items_.findPart(name);
    if (!part) {
        fail(Errc::no_such_file_or_directory, label + ": there is no such part");
    }
    if (part->index) {
        deleted_.push_back(*part->index);
    }
    items_.removePart(*part);
}

ZipChanges OpenZipPackage::collectChanges() const {
    ZipChanges changes;
    changes.deleted = deleted_;
    for (const ZipEntry& entry : items_.all()) {
        const auto& content = entry.bytes->getContent();
        if (content && entry.index) {
            changes.replaced.push_back({*entry.index, content, entry.label});
        } else if (content) {
            changes.added.push_back({entry.name, content, entry.compression, entry.label});
        }
    }
    return changes;
}

std::unique_ptr<Target> OpenZipPackage::makeTarget() const {
    if (output_) {
        return std::make_unique<FileTarget>(*output_, output_->string());
    }
    if (place_.bytes) {
        return std::make_unique<VectorTarget>(*place_.bytes);
    }
    return std::make_unique<FileTarget>(place_.file, place_.label);
}

void OpenZipPackage::save() const {
    if (mode_ == OpenMode::ReadOnly) {
        return;
    }
    const ZipChanges changes = collectChanges();
    const bool changed = !changes.empty() || mode_ == OpenMode::CreateOnly;
    if (!changed && !output_) {
        return;
    }
    if (archive_) {
        archive_->getBytes().throwIfChanged();
    }
    const std::unique_ptr<Target> target = makeTarget();
    if (changed) {
        writeZip(archive_ ? &archive_->getBytes() : nullptr, changes, *target, place_.label);
    } else {
        copy(archive_->getBytes(), *target);
    }
    target->commit();
}

std::string OpenZipPackage::labelOf(std::string_view itemName) const {
    return place_.label + ": " + inQuotes(itemName);
}

void OpenZipPackage::throwIfReadOnly(const std::string& label) const {
    if (mode_ == OpenMode::ReadOnly) {
        fail(Errc::operation_not_permitted, label + ": the package is open for reading only");
    }
}

void OpenZipPackage::throwIfCreateOnly(const std::string& label) const {
    if (mode_ == OpenMode::CreateOnly) {
        fail(Errc::operation_not_permitted, label + ": the package is being created and cannot be read");
    }
}

} // namespace opc::storage
