// SPDX-License-Identifier: Apache-2.0
#include <opc/storage/zip/ZipPackage.hpp>

#include "storage/zip/OpenZipPackage.hpp"

#include "storage/Failure.hpp"

#include <opc/core/interfaces/IPhysicalPartInfo.hpp>

#include <optional>
#include <utility>

namespace opc::storage {

using interfaces::OpenMode;

class ZipPackage::Impl {
public:
    explicit Impl(ZipLocation where) : location(std::move(where)) {}

    ZipLocation location;
    std::optional<std::filesystem::path> output; ///< for the next open
    std::optional<OpenZipPackage> current;

    void open(OpenMode mode, FindingSink* sink) {
        if (current)
            fail(Errc::bad_file_descriptor, location.label + ": the package is already open");
        current.emplace(location, mode, output, sink);
    }

    OpenZipPackage& opened() {
        if (!current)
            fail(Errc::bad_file_descriptor, location.label + ": the package is not open");
        return *current;
    }
};

ZipPackage::ZipPackage(std::filesystem::path file, ZipOptions options)
    : impl_(std::make_unique<Impl>(ZipLocation{file.string(), std::move(file), nullptr, std::move(options)})) {}

ZipPackage::ZipPackage(std::vector<unsigned char>& bytes, ZipOptions options)
    : impl_(std::make_unique<Impl>(ZipLocation{"ZIP package in memory", {}, &bytes, std::move(options)})) {}

ZipPackage::~ZipPackage() = default;

void ZipPackage::setOutput(const std::filesystem::path& file) {
    if (impl_->current)
        impl_->current->setOutput(file);
    else
        impl_->output = file;
}

std::vector<ZipItem> ZipPackage::getItems() const {
    return impl_->opened().getItems();
}

interfaces::IPhysicalInputStream* ZipPackage::getItemInputStream(const std::string& name) {
    return impl_->opened().getItemInputStream(name);
}

interfaces::IPhysicalInputStream* ZipPackage::getItemInputStreamAt(std::size_t position) {
    return impl_->opened().getItemInputStreamAt(position);
}

bool ZipPackage::hasOtherItems(const std::u16string& extension) const {
    return impl_->opened().hasOtherItems(extension);
}

bool ZipPackage::isParallel() const {
    return impl_->opened().isParallel();
}

void ZipPackage::readParts(const std::vector<interfaces::IPhysicalPart*>& parts, const Take& take) {
    impl_->opened().readParts(parts, take);
}

bool ZipPackage::countAsRead(interfaces::IPhysicalPart& part) {
    return impl_->opened().countAsRead(part);
}

std::unique_ptr<detail::ContentTypeTable> ZipPackage::takeContentTypes() {
    return impl_->opened().takeContentTypes();
}

bool ZipPackage::hasContentTypeStream() const {
    return true;
}

interfaces::IPhysicalInputStream* ZipPackage::getContentTypeInputStream() {
    return impl_->opened().getContentTypeInputStream();
}

interfaces::IPhysicalOutputStream* ZipPackage::getContentTypeOutputStream() {
    return impl_->opened().getContentTypeOutputStream();
}

std::vector<interfaces::IPhysicalPart*> ZipPackage::getParts() {
    return impl_->opened().getParts();
}

void ZipPackage::open(const OpenMode& mode) {
    impl_->open(mode, nullptr);
}

void ZipPackage::openTolerantly(const OpenMode& mode, FindingSink& sink) {
    impl_->open(mode, &sink);
}

void ZipPackage::findAmbiguities(FindingSink& sink, bool readsContents) {
    impl_->opened().findAmbiguities(sink, readsContents);
}

std::vector<ZipPackage::Item> ZipPackage::getStoredItems() const {
    return impl_->opened().getStoredItems();
}

interfaces::IPhysicalInputStream* ZipPackage::getStoredItemInputStream(std::size_t position) {
    return impl_->opened().getStoredItemInputStream(position);
}

void ZipPackage::changeItems(std::vector<Change> changes, bool dropsSurroundings) {
    impl_->opened().changeItems(std::move(changes), dropsSurroundings);
}

void ZipPackage::close(bool discard) {
    OpenZipPackage& package = impl_->opened();
    if (!discard)
        package.save();
    impl_->current.reset();
    impl_->output.reset();
}

interfaces::IPhysicalPart* ZipPackage::createPart(const std::u16string& name, const std::u16string& contentType,
                                                  const interfaces::IPhysicalPartInfo& info) {
    return impl_->opened().createPart(name, contentType, info.getCompressionType());
}

void ZipPackage::deletePart(const std::u16string& name) {
    impl_->opened().deletePart(name);
}

interfaces::IPhysicalPart* ZipPackage::renamePart(const std::u16string& name, const std::u16string& newName) {
    return impl_->opened().renamePart(name, newName);
}

} // namespace opc::storage
