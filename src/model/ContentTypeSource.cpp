// SPDX-License-Identifier: Apache-2.0
#include "model/ContentTypeSource.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/ContentTypePattern.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalContentTypes.hpp>
#include <opc/core/interfaces/IPhysicalOtherItems.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PhysicalInputStream.hpp>
#include <opc/model/PhysicalOutputStream.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/ItemBytes.hpp"
#include "model/WellKnown.hpp"
#include "xml/BoundedParser.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/XmlPlaces.hpp"
#include "xml/XmlWriting.hpp"

#include <xercesc/util/XMLUni.hpp>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace opc::model {

namespace {

constexpr const char* STREAM_NAME = "[Content_Types].xml";

/// The names of the content types vocabulary; made while a XercesGuard is held.
struct Vocabulary {
    XercesString ns{wellknown::CONTENT_TYPES_NAMESPACE};
    XercesString types{u"Types"};
    XercesString defaultEntry{u"Default"};
    XercesString overrideEntry{u"Override"};
    XercesString extension{u"Extension"};
    XercesString partName{u"PartName"};
    XercesString contentType{u"ContentType"};
};

std::u16string lowerExtension(const PartName& name) {
    return toLowerASCIIString(name.getExtension());
}

/// The content types of a stream by their texts. There are few, so each is checked and parsed once; before that, it
/// has no value.
using ContentTypes = std::map<std::u16string, std::optional<ContentType>>;

/// The loaded schema omits the pattern of ST_ContentType; it is matched here, in linear time.
void throwIfPatternIsBroken(const xercesc::DOMElement* entry, const Vocabulary& names, ContentTypes& types) {
    std::u16string text;
    XercesHelper::getElementAttribute(entry, names.contentType, text);
    if (!types.try_emplace(text).second)
        return;
    if (!detail::matchesContentTypePattern(text))
        throw InvalidXMLDocument("value '" + detail::toUTF8String(text, false) +
                                 "' of attribute 'ContentType' does not match the pattern of ST_ContentType");
}

const ContentType& readContentType(const xercesc::DOMElement* entry, const Vocabulary& names, ContentTypes& types) {
    std::u16string text;
    XercesHelper::getElementAttribute(entry, names.contentType, text);
    if (text.empty())
        throw InvalidPartContent("ContentType is empty");
    std::optional<ContentType>& type = types[text];
    if (!type)
        type.emplace(text);
    return *type;
}

std::u16string readPartName(const xercesc::DOMElement* entry, const Vocabulary& names) {
    std::u16string text;
    XercesHelper::getElementAttribute(entry, names.partName, text);
    try {
        return PartName(text).toString();
    } catch (const Exception&) {
        throw InvalidPartContent("PartName is not a valid part name");
    }
}

std::u16string readExtension(const xercesc::DOMElement* entry, const Vocabulary& names) {
    std::u16string text;
    XercesHelper::getElementAttribute(entry, names.extension, text);
    if (text.empty())
        throw InvalidPartContent("Extension is empty");
    return text;
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
                                     const Limits& limits)
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
        load();
    present_ = true;
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
    defaults_.swap(defaults);
    overrides_.swap(overrides);
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

/// While a package is opened its parts come in the order of their names, so each is found right after the previous one.
ContentTypeSource::Overrides::const_iterator ContentTypeSource::findOverride(const PartName& name) {
    const bool isNext = (next_ == overrides_.end() || !(next_->first < name)) &&
                        (next_ == overrides_.begin() || std::prev(next_)->first < name);
    const auto entry = isNext ? next_ : overrides_.lower_bound(name);
    const bool found = entry != overrides_.end() && !(name < entry->first);
    next_ = found ? std::next(entry) : entry;
    return found ? entry : overrides_.end();
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
    return otherItems_ != nullptr && otherItems_->hasOtherItems(extension);
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

void ContentTypeSource::load() {
    std::vector<unsigned char> bytes;
    try {
        PhysicalInputStream input(physicalPackage_.getContentTypeInputStream());
        bytes = readXmlItem(input, limits_.xmlSize);
    } catch (const Exception& e) {
        throw PackageOpenFailed(e.what(), e.code());
    }
    auto table = detail::readPlainContentTypes(bytes, limits_);
    if (table && take(std::move(*table)))
        return;
    ByteArrayInAdaptor adaptor(bytes);
    try {
        readDocument(adaptor);
    } catch (const InvalidPartContent& e) {
        throwAt<InvalidContentTypeStream>(placeInItem(e, STREAM_NAME), e.what());
    } catch (Exception& e) {
        e.setPlace(placeInItem(e, STREAM_NAME));
        throw;
    }
}

void ContentTypeSource::readDocument(InputStream& stream) {
    const XercesGuard guard;
    const Vocabulary names;
    const ParserHandle parser = XercesHelper::createParser(limits_);
    parser->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    loadEmbeddedSchema(*parser, embedded::opc_contentTypes);
    dynamic_cast<BoundedParser&>(*parser).setKeepsWhiteSpace(true);
    const xercesc::DOMDocument* document = XercesHelper::readDocumentFromStream(*parser, stream, true, u"", u"");
    const xercesc::DOMElement* root = document->getDocumentElement();
    const auto defaults = XercesHelper::getElementsNS(root, names.ns, names.defaultEntry);
    const auto overrides = XercesHelper::getElementsNS(root, names.ns, names.overrideEntry);
    ContentTypes types;
    for (const auto* entries : {&defaults, &overrides})
        for (const xercesc::DOMElement* entry : *entries)
            checkAt(*parser, *entry, names.contentType, [&] { throwIfPatternIsBroken(entry, names, types); });
    if (names.types != root->getLocalName())
        throwAt<InvalidPartContent>(placeOf(*parser, *root), // the schema allows the others as roots too
                                    "The root element is not Types");

    // The first of two entries for the same extension or part name wins.
    for (const xercesc::DOMElement* entry : defaults) {
        const XMLCh* judged = names.extension;
        checkAt(*parser, *entry, judged, [&] {
            const std::u16string extension = readExtension(entry, names);
            judged = names.contentType;
            defaults_.emplace(toLowerASCIIString(extension),
                              Default{readContentType(entry, names, types), 0, extension});
        });
    }
    for (const xercesc::DOMElement* entry : overrides) {
        const XMLCh* judged = names.partName;
        checkAt(*parser, *entry, judged, [&] {
            std::u16string name = readPartName(entry, names);
            judged = names.contentType;
            const ContentType& type = readContentType(entry, names, types);
            overrides_.emplace_hint(overrides_.end(), std::move(name), type);
        });
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
        });
}

} // namespace opc::model
