// SPDX-License-Identifier: Apache-2.0
#include <opc/storage/directory/DirectoryPackage.hpp>

#include "storage/Failure.hpp"
#include "storage/Threads.hpp"
#include "storage/directory/DirectoryFiles.hpp"
#include "storage/items/OpenItems.hpp"

#include <opc/core/PlainContentTypes.hpp>
#include <opc/core/interfaces/OpenMode.hpp>

#include <limits>
#include <optional>
#include <utility>

namespace opc::storage {

using interfaces::OpenMode;

namespace {

constexpr std::size_t BLOCK_SIZE = 64UL * 1024;

/// The files of a folder as items.
class DirectoryArchive final : public ItemArchive {
public:
    explicit DirectoryArchive(DirectoryFiles files) : files_(std::move(files)) {}

    std::uint64_t count() const override { return files_.all().size(); }
    Item item(std::uint64_t index) const override {
        const DirectoryFile& file = files_.all()[index];
        return {file.name, file.size, file.size};
    }
    std::uint64_t storedSize() const override { return std::numeric_limits<std::uint64_t>::max(); }
    std::string_view storedName(std::uint64_t index) const override { return files_.all()[index].name; }
    std::unique_ptr<ItemReader> read(std::uint64_t index, const std::string& itemLabel) const override {
        return files_.read(files_.all()[index], itemLabel);
    }
    void readWhole(std::uint64_t index, const TakeBytes& take) const override {
        const auto reader = read(index, {});
        std::vector<unsigned char> buffer(BLOCK_SIZE);
        while (const std::size_t count = reader->read(buffer.data(), buffer.size()))
            take(buffer.data(), count);
    }

private:
    DirectoryFiles files_;
};

/// A folder from its open to its close.
class OpenDirectory {
public:
    /// @param sink null: what is wrong is thrown. Used by the constructor only.
    OpenDirectory(const std::filesystem::path& folder, const DirectoryOptions& options, FindingSink* sink)
        : OpenDirectory(folder, options,
                        // What the option refuses is refused always.
                        ZipFaults(folder.string(), options.consistent ? nullptr : sink, true)) {}

    OpenItems& items() { return items_; }

    void findAmbiguities(FindingSink& sink, bool readsContents) {
        PartFindings findings(items_, sink);
        items_.findAmbiguities(ZipFaults(label_, &findings, false), readsContents);
        if (readsContents)
            readContents();
    }

    [[noreturn]] void refuse(const std::u16string& partName = {}) const {
        const std::string label = partName.empty() ? label_ : items_.labelOf(detail::toUTF8String(partName, false));
        fail(Errc::operation_not_permitted, label + ": the package is open for reading only");
    }

private:
    OpenDirectory(const std::filesystem::path& folder, const DirectoryOptions& options, const ZipFaults& faults)
        : label_(folder.string()), limits_(options.limits, options.bytesRead, options.cancelled),
          archive_(DirectoryFiles(folder, options.limits, faults)),
          items_(
              {label_, "a folder", "the content of ", options.consistent, options.take, countThreads(options.threads)},
              opening_, limits_) {
        items_.readNames(archive_, faults);
        if (options.consistent)
            readContents();
        items_.readContentTypes(faults);
    }

    /// A file that cannot be read, or of which there is too much, is told by whoever reads it first.
    void readContents() {
        std::vector<unsigned char> buffer(BLOCK_SIZE);
        for (ZipEntry& entry : items_.all()) {
            const auto reader = entry.readOriginal();
            while (reader->read(buffer.data(), buffer.size()) > 0) {
            }
        }
    }

    std::string label_;
    const ItemOrigin::Opening opening_{OpenMode::ReadOnly};
    ReadLimits limits_;
    DirectoryArchive archive_;
    OpenItems items_;
};

} // namespace

class DirectoryPackage::Impl {
public:
    Impl(std::filesystem::path where, DirectoryOptions how)
        : folder(std::move(where)), label(folder.string()), options(how) {}

    const std::filesystem::path folder;
    const std::string label;
    const DirectoryOptions options;
    std::optional<OpenDirectory> current;

    void open(OpenMode mode, FindingSink* sink) {
        if (current)
            fail(Errc::bad_file_descriptor, label + ": the package is already open");
        if (mode != OpenMode::ReadOnly)
            fail(Errc::operation_not_permitted, label + ": a package in a folder can only be read");
        current.emplace(folder, options, sink);
    }

    OpenDirectory& opened() {
        if (!current)
            fail(Errc::bad_file_descriptor, label + ": the package is not open");
        return *current;
    }

    OpenItems& items() { return opened().items(); }
};

DirectoryPackage::DirectoryPackage(std::filesystem::path folder, DirectoryOptions options)
    : impl_(std::make_unique<Impl>(std::move(folder), options)) {}

DirectoryPackage::~DirectoryPackage() = default;

std::vector<ZipItem> DirectoryPackage::getItems() const {
    return impl_->items().list();
}

interfaces::IPhysicalInputStream* DirectoryPackage::getItemInputStream(const std::string& name) {
    return impl_->items().get(name).getInputStream();
}

interfaces::IPhysicalInputStream* DirectoryPackage::getItemInputStreamAt(std::size_t position) {
    return impl_->items().getAt(position).getInputStream();
}

bool DirectoryPackage::hasOtherItems(const std::u16string& extension) const {
    return impl_->items().hasOthers(extension);
}

std::unique_ptr<detail::ContentTypeTable> DirectoryPackage::takeContentTypes() {
    return impl_->items().takeContentTypes();
}

void DirectoryPackage::openTolerantly(const OpenMode& mode, FindingSink& sink) {
    impl_->open(mode, &sink);
}

void DirectoryPackage::findAmbiguities(FindingSink& sink, bool readsContents) {
    impl_->opened().findAmbiguities(sink, readsContents);
}

std::vector<DirectoryPackage::Item> DirectoryPackage::getStoredItems() const {
    return impl_->items().getStored();
}

interfaces::IPhysicalInputStream* DirectoryPackage::getStoredItemInputStream(std::size_t position) {
    return impl_->items().getStoredAt(position).getInputStream();
}

void DirectoryPackage::changeItems(std::vector<Change> /*changes*/, bool /*dropsSurroundings*/) {
    impl_->opened().refuse();
}

bool DirectoryPackage::isParallel() const {
    return impl_->items().isParallel();
}

void DirectoryPackage::readParts(const std::vector<interfaces::IPhysicalPart*>& parts, const Take& take) {
    impl_->items().readParts(parts, take);
}

bool DirectoryPackage::countAsRead(interfaces::IPhysicalPart& part) {
    return impl_->items().countAsRead(part);
}

bool DirectoryPackage::hasContentTypeStream() const {
    return true;
}

interfaces::IPhysicalInputStream* DirectoryPackage::getContentTypeInputStream() {
    return impl_->items().getContentTypes().getInputStream();
}

interfaces::IPhysicalOutputStream* DirectoryPackage::getContentTypeOutputStream() {
    impl_->opened().refuse();
}

std::vector<interfaces::IPhysicalPart*> DirectoryPackage::getParts() {
    return impl_->items().getParts();
}

void DirectoryPackage::open(const OpenMode& mode) {
    impl_->open(mode, nullptr);
}

void DirectoryPackage::close(bool /*discard*/) {
    impl_->opened();
    impl_->current.reset();
}

interfaces::IPhysicalPart* DirectoryPackage::createPart(const std::u16string& name,
                                                        const std::u16string& /*contentType*/,
                                                        const interfaces::IPhysicalPartInfo& /*info*/) {
    impl_->opened().refuse(name);
}

void DirectoryPackage::deletePart(const std::u16string& name) {
    impl_->opened().refuse(name);
}

} // namespace opc::storage
