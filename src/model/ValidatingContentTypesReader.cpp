// SPDX-License-Identifier: Apache-2.0
#include "model/ValidatingContentTypesReader.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/ContentTypePattern.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/WellKnown.hpp"
#include "xml/BoundedParser.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/XmlPlaces.hpp"

#include <xercesc/util/XMLUni.hpp>

#include <map>
#include <optional>
#include <utility>

namespace opc::model {

namespace {

std::u16string attributeOf(const xercesc::DOMElement* entry, const XercesString& name) {
    std::u16string text;
    XercesHelper::getElementAttribute(entry, name, text);
    return text;
}

std::u16string readPartName(const std::u16string& text) {
    try {
        return PartName(text).toString();
    } catch (const Exception&) {
        throw InvalidPartContent("PartName is not a valid part name");
    }
}

std::u16string readExtension(std::u16string text) {
    if (text.empty())
        throw InvalidPartContent("Extension is empty");
    return text;
}

} // namespace

/// The content types of a stream by their texts. There are few, so each is checked and parsed once; before that, it
/// has no value.
class ValidatingContentTypesReader::Entries {
public:
    explicit Entries(const XercesString& name) : name_(name) {}

    /// The loaded schema omits the pattern of ST_ContentType; it is matched here, in linear time.
    void throwIfPatternIsBroken(const xercesc::DOMElement* entry) {
        const std::u16string text = attributeOf(entry, name_);
        if (!types_.try_emplace(text).second)
            return;
        if (!detail::matchesContentTypePattern(text))
            throw InvalidXMLDocument("value '" + detail::toUTF8String(text, false) +
                                     "' of attribute 'ContentType' does not match the pattern of ST_ContentType");
    }

    const ContentType& readContentType(const xercesc::DOMElement* entry) {
        const std::u16string text = attributeOf(entry, name_);
        if (text.empty())
            throw InvalidPartContent("ContentType is empty");
        std::optional<ContentType>& type = types_[text];
        if (!type)
            type.emplace(text);
        return *type;
    }

private:
    const XercesString& name_;
    std::map<std::u16string, std::optional<ContentType>> types_;
};

ValidatingContentTypesReader::ValidatingContentTypesReader(const Limits& limits)
    : parser_(XercesHelper::createParser(limits)), namespace_(wellknown::CONTENT_TYPES_NAMESPACE), types_(u"Types"),
      default_(u"Default"), override_(u"Override"), extension_(u"Extension"), partName_(u"PartName"),
      contentType_(u"ContentType") {
    parser_->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
    dynamic_cast<BoundedParser&>(*parser_).setKeepsWhiteSpace(true);
}

std::vector<ContentTypeDeclaration> ValidatingContentTypesReader::read(const std::vector<unsigned char>& bytes) {
    ByteArrayInAdaptor stream(bytes);
    const auto* document = XercesHelper::readDocumentFromStream(*parser_, stream, true, u"", u"");
    const xercesc::DOMElement* root = document->getDocumentElement();
    const auto defaults = XercesHelper::getElementsNS(root, namespace_, default_);
    const auto overrides = XercesHelper::getElementsNS(root, namespace_, override_);
    Entries entries(contentType_);
    for (const auto* elements : {&defaults, &overrides})
        for (const xercesc::DOMElement* entry : *elements)
            checkAt(*parser_, *entry, contentType_, [&] { entries.throwIfPatternIsBroken(entry); });
    if (types_ != root->getLocalName())
        throwAt<InvalidPartContent>(placeOf(*parser_, *root), // the schema allows the others as roots too
                                    "The root element is not Types");

    std::vector<ContentTypeDeclaration> all;
    for (const auto* elements : {&defaults, &overrides})
        for (const xercesc::DOMElement* entry : *elements) {
            const bool isDefault = elements == &defaults;
            const XercesString& attribute = isDefault ? extension_ : partName_;
            const XMLCh* judged = attribute;
            checkAt(*parser_, *entry, judged, [&] {
                std::u16string name = attributeOf(entry, attribute);
                name = isDefault ? readExtension(std::move(name)) : readPartName(name);
                judged = contentType_;
                all.push_back({isDefault, std::move(name), entries.readContentType(entry)});
            });
        }
    return all;
}

} // namespace opc::model
