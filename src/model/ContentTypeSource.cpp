// SPDX-License-Identifier: Apache-2.0
#include "model/ContentTypeSource.hpp"

#include <opc/core/ContentTypePattern.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalContentTypes.hpp>
#include <opc/core/interfaces/IPhysicalOtherItems.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PhysicalOutputStream.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/ContentTypePieces.hpp"
#include "model/ItemBytes.hpp"
#include "model/OrderedSearch.hpp"
#include "model/Reading.hpp"
#include "model/WellKnown.hpp"
#include "xml/XmlWriting.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace opc::model {

namespace {

constexpr const char* STREAM_NAME = "[Content_Types].xml";

std::u16string lowerExtension(const PartName& name) {
    return toLowerASCIIString(name.getExtension());
}

[[noreturn]] void throwNotFound(const std::string& part) {
    ErrorPlace place;
    place.item = part;
    place.reason = "No content type was found";
    throwAt<ContentTypeNotFound>(std::make_shared<const ErrorPlace>(std::move(place)),
                                 "No content type was found for part:" + part);
}

void writeEntry(detail::XmlWriter& xml, std::string_view element, std::string_view key, const std::u16string& value,
                const ContentType& contentType) {
    xml.start(element);
    xml.attribute("ContentType", contentType.toString());
    xml.attribute(key, value);
    xml.end();
}

} // namespace

ContentTypeSource::ContentTypeSource(interfaces::IPhysicalPackage& physicalPackage, bool createOnly,
                                     const Limits& limits, const Reading& reading)
    : physicalPackage_(physicalPackage),
      otherItems_(dynamic_cast<const interfaces::IPhysicalOtherItems*>(&physicalPackage)), limits_(limits) {
    if (!physicalPackage.hasContentTypeStream())
        return;
    if (createOnly) {
        // Dirty from the start, so that a package without a single part gets its content types stream too.
        present_ = dirty_ = true;
        return;
    }
    if (!takeFromStore())
        load(reading);
    present_ = isReadable_;
}

bool ContentTypeSource::takeFromStore() {
    std::unique_ptr<detail::ContentTypeTable> table;
    try {
        if (auto* const store = dynamic_cast<interfaces::IPhysicalContentTypes*>(&physicalPackage_))
            table = store->takeContentTypes();
    } catch (const Exception& e) {
        throw PackageOpenFailed(e.what(), e.code());
    }
    return table && table->isWithin(limits_) && take(std::move(*table));
}

/// @return false for what the validating reader has to judge.
bool ContentTypeSource::take(detail::ContentTypeTable&& table) {
    Defaults defaults;
    Overrides overrides;
    try {
        const std::vector<ContentType> types(table.types.begin(), table.types.end());
        // The first of two entries for the same extension or part name wins.
        for (detail::ContentTypeEntry& entry : table.entries) {
            const ContentType& type = types[entry.type];
            if (entry.isDefault) {
                std::u16string extension = toLowerASCIIString(entry.name);
                defaults.emplace(std::move(extension), Default{type, 0, std::move(entry.name)});
            } else if (detail::isPartName(entry.name)) {
                // This library writes them in the order of their names.
                overrides.emplace_hint(overrides.end(), std::move(entry.name), type);
            } else {
                return false;
            }
        }
    } catch (const Exception&) {
        return false;
    }
    if (overrides_.empty())
        overrides_.swap(overrides);
    overrides_.merge(overrides);
    defaults_.merge(defaults);
    return true;
}

ContentType ContentTypeSource::getContentType(const PartName& name, bool takeReference) {
    if (!present_)
        throw ContentTypeNotFound("No content type stream.");
    const auto named = findOverride(name);
    if (named != overrides_.end())
        return named->second;
    const auto entry = defaults_.find(lowerExtension(name));
    if (entry == defaults_.end())
        throwNotFound(toASCIIString(name.toString()));
    if (takeReference)
        ++entry->second.useCount;
    return entry->second.contentType;
}

/// While a package is opened its parts come in the order of their names.
ContentTypeSource::Overrides::const_iterator ContentTypeSource::findOverride(const PartName& name) {
    advanceTo(name, overrides_, next_);
    return next_ == overrides_.end() || name < next_->first ? overrides_.end() : next_++;
}

bool ContentTypeSource::eraseOverride(const PartName& name) noexcept {
    next_ = overrides_.end();
    const auto entry = overrides_.find(name);
    if (entry == overrides_.end())
        return false;
    overrides_.erase(entry);
    return true;
}

void ContentTypeSource::addContentType(const PartName& name, const ContentType& type) {
    add(prepareAddition(name, type));
}

ContentTypeSource::Addition ContentTypeSource::prepareAddition(const PartName& name, const ContentType& type) const {
    if (!isReadable_)
        throw InvalidContentTypeStream("No part can be added, since the content types cannot be read");
    Addition addition{name, lowerExtension(name)};
    const auto entry = defaults_.find(addition.extension);
    if (!detail::matchesExtensionPattern(addition.extension))
        addition.newOverride.emplace(name.toString(), type);
    else if (entry == defaults_.end() && hasOtherItems(addition.extension))
        addition.newOverride.emplace(name.toString(), type);
    else if (entry == defaults_.end())
        addition.newDefault.emplace(addition.extension, Default{type, 1, addition.extension});
    else if (entry->second.contentType.toString() != type.toString())
        // Stricter than the equality of content types: a difference in case alone is kept as given.
        addition.newOverride.emplace(name.toString(), type);
    return addition;
}

bool ContentTypeSource::hasOtherItems(const std::u16string& extension) const {
    return (otherItems_ != nullptr && otherItems_->hasOtherItems(extension)) || leftOut_.count(extension) != 0;
}

void ContentTypeSource::leaveOut(const PartName& name) {
    leftOut_.insert(lowerExtension(name));
}

void ContentTypeSource::add(Addition&& addition) noexcept {
    if (!present_)
        return;
    eraseOverride(addition.name); // left behind by a part that was deleted elsewhere
    if (addition.newDefault.empty() && addition.newOverride.empty())
        ++defaults_.find(addition.extension)->second.useCount;
    defaults_.merge(addition.newDefault);
    overrides_.merge(addition.newOverride);
    dirty_ = true;
}

void ContentTypeSource::removeContentType(const PartName& name) {
    remove(prepareRemoval(name));
}

ContentTypeSource::Removal ContentTypeSource::prepareRemoval(const PartName& name) const {
    std::u16string extension = lowerExtension(name);
    const bool keepsDefault = hasOtherItems(extension);
    return {name, std::move(extension), keepsDefault};
}

void ContentTypeSource::remove(const Removal& removal) noexcept {
    if (!eraseOverride(removal.name)) {
        const auto entry = defaults_.find(removal.extension);
        if (entry == defaults_.end())
            return;
        if (entry->second.useCount <= 1 && !removal.keepsDefault)
            defaults_.erase(entry);
        else if (entry->second.useCount > 0)
            --entry->second.useCount;
    }
    dirty_ = true;
}

void ContentTypeSource::change(const PartName& name, const PartName& newName, const ContentType& newType) {
    const Removal removal = prepareRemoval(name);
    if (name == newName) { // both would be one entry
        remove(removal);
        return addContentType(newName, newType);
    }
    addContentType(newName, newType);
    remove(removal);
}

void ContentTypeSource::load(const Reading& reading) {
    const auto bytes = reading.readItem([this] { return physicalPackage_.getContentTypeInputStream(); },
                                        limits_.xmlSize, [] { return std::string(STREAM_NAME); });
    isReadable_ = bytes.has_value();
    if (!isReadable_)
        return;
    ContentTypePieces pieces(*this);
    reading.attempt([&] { read(*bytes, pieces); },
                    [&](const Exception& refused) {
                        PiecesReading document(reading, limits_, ContentTypePieces::VOCABULARY, STREAM_NAME);
                        isReadable_ = document.read(*bytes, refused, pieces);
                    });
}

void ContentTypeSource::read(const std::vector<unsigned char>& bytes, ContentTypePieces& pieces) {
    try {
        pieces.read(bytes, true);
    } catch (const InvalidPartContent& e) {
        throwAt<InvalidContentTypeStream>(placeInItem(e, STREAM_NAME), e.what());
    } catch (Exception& e) {
        e.setPlace(placeInItem(e, STREAM_NAME));
        throw;
    }
}

void ContentTypeSource::add(ContentTypeDeclaration&& declaration) {
    if (declaration.isDefault) {
        std::u16string extension = toLowerASCIIString(declaration.name);
        defaults_.emplace(std::move(extension), Default{declaration.type, 0, std::move(declaration.name)});
    } else {
        overrides_.emplace_hint(overrides_.end(), std::move(declaration.name), declaration.type);
    }
}

void ContentTypeSource::save() {
    if (!present_ || !dirty_)
        return;
    try {
        PhysicalOutputStream stream(physicalPackage_.getContentTypeOutputStream());
        replaceItem(stream, writeDocument());
    } catch (const Exception& e) {
        throw InvalidContentTypeStream(std::string("In content type stream: ") + e.what());
    }
    dirty_ = false;
}

std::vector<unsigned char> ContentTypeSource::writeDocument() const {
    return writeXml(
        detail::XmlLayout::Indented, false, limits_,
        [this](detail::XmlWriter& xml) {
            xml.start("Types");
            xml.attribute("xmlns", wellknown::CONTENT_TYPES_NAMESPACE);
            for (const auto& [extension, entry] : defaults_)
                if (entry.useCount != 0 || hasOtherItems(extension))
                    writeEntry(xml, "Default", "Extension", entry.extension, entry.contentType);
            for (const auto& [name, contentType] : overrides_)
                writeEntry(xml, "Override", "PartName", name, contentType);
            xml.end();
        },
        kept_);
}

} // namespace opc::model
