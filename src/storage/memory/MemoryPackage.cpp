// SPDX-License-Identifier: Apache-2.0
#include <opc/storage/memory/MemoryPackage.hpp>

#include "storage/CaselessLess.hpp"
#include "storage/Failure.hpp"
#include "storage/StoredItem.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/core/interfaces/IPhysicalPartInfo.hpp>

#include <list>
#include <map>
#include <optional>
#include <utility>

namespace opc::storage {

using interfaces::OpenMode;

namespace {

struct SavedPart {
    std::u16string name;
    std::u16string contentType;
    std::shared_ptr<const Content> content;
};

/// What was saved by a close.
struct SavedPackage {
    std::shared_ptr<const Content> contentTypes; ///< null when the stream was never written
    std::vector<SavedPart> parts;
};

std::string label(std::u16string_view item) {
    return "package in memory: " + inQuotes(detail::toUTF8String(item, false));
}

/// A part, or the content types stream.
struct MemoryItem final : ItemOrigin {
    MemoryItem(const Opening& itsOpening, const std::u16string& name, std::shared_ptr<const Content> content)
        : opening(itsOpening), bytes(*this, name) {
        bytes.setContent(std::move(content));
    }

    const Opening& getOpening() const override { return opening; }
    std::string getLabel() const override {
        return label(bytes.name().empty() ? std::u16string_view(u"[Content_Types].xml") : bytes.name());
    }
    std::unique_ptr<ItemReader> readOriginal() override {
        return readContent(std::make_shared<const Content>()); // nothing was ever written
    }

    const Opening& opening;
    StoredItem bytes;
};

/// A package while it is open.
struct OpenPackage {
    using Parts = std::list<MemoryItem>;

    ItemOrigin::Opening opening;
    MemoryItem contentTypes;
    Parts parts;
    std::map<std::u16string, Parts::iterator, CaselessLess> byName;

    OpenPackage(OpenMode openMode, const SavedPackage& saved)
        : opening{openMode}, contentTypes(opening, u"", saved.contentTypes) {
        for (const SavedPart& part : saved.parts)
            add(part.name, part.contentType, part.content);
    }

    StoredItem* add(const std::u16string& name, const std::u16string& type, std::shared_ptr<const Content> content) {
        const auto entry = byName.emplace(name, parts.end()).first;
        try {
            auto contentType = std::make_shared<const std::u16string>(type);
            entry->second = parts.emplace(parts.end(), opening, name, std::move(content));
            parts.back().bytes.setContentType(std::move(contentType));
        } catch (...) {
            byName.erase(entry);
            throw;
        }
        return &parts.back().bytes;
    }

    SavedPackage save() const {
        SavedPackage saved{contentTypes.bytes.getContent(), {}};
        for (const MemoryItem& part : parts)
            saved.parts.push_back({part.bytes.getName(), part.bytes.getContentType(), part.bytes.getContent()});
        return saved;
    }
};

} // namespace

class MemoryPackage::Impl {
public:
    explicit Impl(bool contentTypeStream) : hasContentTypes(contentTypeStream) {}

    const bool hasContentTypes;
    std::optional<SavedPackage> saved;
    std::optional<OpenPackage> current;

    OpenPackage& opened() {
        if (!current)
            fail(Errc::bad_file_descriptor, "package in memory: the package is not open");
        return *current;
    }

    OpenPackage& changeable() {
        if (opened().opening.mode == OpenMode::ReadOnly)
            fail(Errc::operation_not_permitted, "package in memory: the package is open for reading only");
        return *current;
    }

    void needContentTypes() const {
        if (!hasContentTypes)
            fail(Errc::operation_not_supported, "package in memory: no content types stream");
    }
};

MemoryPackage::MemoryPackage(bool contentTypeStream) : impl_(std::make_unique<Impl>(contentTypeStream)) {}

MemoryPackage::~MemoryPackage() = default;

bool MemoryPackage::hasContentTypeStream() const {
    return impl_->hasContentTypes;
}

interfaces::IPhysicalInputStream* MemoryPackage::getContentTypeInputStream() {
    OpenPackage& package = impl_->opened();
    impl_->needContentTypes();
    if (package.opening.mode == OpenMode::CreateOnly)
        fail(Errc::operation_not_permitted, "package in memory: nothing can be read while the package is created");
    if (!package.contentTypes.bytes.getContent())
        fail(Errc::no_such_file_or_directory, "package in memory: no content types stream was written");
    return package.contentTypes.bytes.getInputStream();
}

interfaces::IPhysicalOutputStream* MemoryPackage::getContentTypeOutputStream() {
    OpenPackage& package = impl_->changeable();
    impl_->needContentTypes();
    return package.contentTypes.bytes.getOutputStream();
}

std::vector<interfaces::IPhysicalPart*> MemoryPackage::getParts() {
    std::vector<interfaces::IPhysicalPart*> result;
    for (MemoryItem& part : impl_->opened().parts)
        result.push_back(&part.bytes);
    return result;
}

void MemoryPackage::open(const OpenMode& mode) {
    if (impl_->current)
        fail(Errc::bad_file_descriptor, "package in memory: the package is already open");
    if (mode == OpenMode::CreateOnly) {
        impl_->current.emplace(mode, SavedPackage{});
        return;
    }
    if (!impl_->saved)
        fail(Errc::no_such_file_or_directory, "package in memory: nothing was saved yet");
    impl_->current.emplace(mode, *impl_->saved);
}

void MemoryPackage::close(bool discard) {
    const OpenPackage& package = impl_->opened();
    if (!discard && package.opening.mode != OpenMode::ReadOnly)
        impl_->saved = package.save();
    impl_->current.reset();
}

interfaces::IPhysicalPart* MemoryPackage::createPart(const std::u16string& name, const std::u16string& contentType,
                                                     const interfaces::IPhysicalPartInfo& /*info*/) {
    OpenPackage& package = impl_->changeable();
    if (!detail::isPartName(name))
        fail(Errc::invalid_argument, label(name) + ": not a part name");
    if (package.byName.contains(name))
        fail(Errc::file_exists, label(name) + ": the part exists already");
    return package.add(name, contentType, std::make_shared<const Content>());
}

void MemoryPackage::deletePart(const std::u16string& name) {
    OpenPackage& package = impl_->changeable();
    if (package.opening.mode == OpenMode::CreateOnly)
        fail(Errc::operation_not_permitted, label(name) + ": nothing can be deleted while the package is created");
    const auto entry = package.byName.find(name);
    if (entry == package.byName.end())
        fail(Errc::no_such_file_or_directory, label(name) + ": no such part");
    package.parts.erase(entry->second);
    package.byName.erase(entry);
}

} // namespace opc::storage
