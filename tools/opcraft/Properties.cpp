// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Properties.hpp"

#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <algorithm>

namespace opcraft {

namespace {

using opc::model::CoreProperties;
using opc::model::PackageHelper;
using opc::model::XercesHelper;
using xercesc::DOMElement;
using xercesc::DOMNode;

std::u16string trimmedEnd(std::u16string text) {
    text.erase(text.find_last_not_of(u" \t\r\n") + 1);
    return text;
}

std::u16string trimmed(const std::u16string& text) {
    return trimmedEnd(text.substr(std::min(text.find_first_not_of(u" \t\r\n"), text.size())));
}

std::vector<DOMElement*> childElements(const DOMElement* parent) {
    std::vector<DOMElement*> children;
    for (DOMElement* child = parent->getFirstElementChild(); child != nullptr; child = child->getNextElementSibling())
        children.push_back(child);
    return children;
}

/// The text of the element without that of child elements, comments and processing instructions.
std::u16string ownText(const DOMElement* element) {
    std::u16string text;
    for (const DOMNode* child = element->getFirstChild(); child != nullptr; child = child->getNextSibling())
        if (child->getNodeType() == DOMNode::TEXT_NODE || child->getNodeType() == DOMNode::CDATA_SECTION_NODE)
            text += child->getNodeValue();
    return text;
}

/// Whether the value that was read is all content of an element.
struct IsWhole {
    const DOMElement* element;
    const CoreProperties& values;

    bool operator()(const CoreProperty::Text& access) const { return (values.*access.get)() == ownText(element); }

    bool operator()(const CoreProperty::Time& access) const {
        const auto time = opc::convertStringToTime(trimmed(ownText(element)));
        return !time.is_special() && (values.*access.get)() == time;
    }

    bool operator()(const CoreProperty::Keywords& access) const {
        std::vector<std::u16string> stored{trimmedEnd(ownText(element))};
        for (const DOMElement* child : childElements(element))
            stored.push_back(trimmedEnd(ownText(child)));
        std::vector<std::u16string> read;
        for (const auto& [text, language] : (values.*access.get)().value_or(CoreProperty::Keywords::Type()))
            read.push_back(text);
        return stored == read;
    }
};

/// The XML of a part, with the parser that owns it.
class Document {
public:
    /// @throws InvalidXMLDocument when the bytes are not XML.
    explicit Document(const std::vector<unsigned char>& bytes) : parser_(XercesHelper::createParser()) {
        opc::ByteArrayInAdaptor stream(bytes);
        document_ = XercesHelper::readDocumentFromStream(*parser_, stream, false, u"", u"");
    }

    DOMElement* getRoot() const { return document_->getDocumentElement(); }

private:
    opc::model::XercesGuard guard_;
    opc::model::ParserHandle parser_;
    const xercesc::DOMDocument* document_;
};

/// What would be lost if a part were rewritten with the values that were read from it.
std::vector<UnreadText> findUnread(const std::vector<unsigned char>& part, const CoreProperties& values) {
    const Document document(part);
    std::vector<UnreadText> unread;
    for (const DOMElement* element : childElements(document.getRoot())) {
        const CoreProperty* property = findProperty(toUtf8(element->getLocalName()));
        if (property != nullptr && !std::visit(IsWhole{element, values}, property->access))
            unread.push_back({property, element->getTextContent()});
    }
    return unread;
}

/// Stops soon after the largest size that is read as XML.
std::vector<unsigned char> readBytes(const opc::model::Part& part) {
    std::vector<unsigned char> bytes;
    forEachBlock(part, [&](const unsigned char* data, std::size_t size) {
        if (bytes.size() <= opc::model::XercesHelper::MAX_XML_SIZE)
            bytes.insert(bytes.end(), data, data + size);
    });
    return bytes;
}

opc::Finding leadsNowhere(const CorePropertiesEntry& entry) {
    opc::ErrorPlace place;
    place.item = "/_rels/.rels";
    place.element = "Relationship";
    place.id = entry.id;
    place.attribute = "Target";
    place.value = entry.target;
    place.reason = "the core properties relationship leads to no part";
    return {opc::RuleId::DanglingTarget, place, place.reason};
}

} // namespace

Failure leadsNowhere(const OpenPackage& package, const CorePropertiesEntry& entry) {
    return {ExitCode::NotProcessed, package.getName(), entry.target,
            "the core properties relationship \"" + entry.id + "\" leads here, which is not a part"};
}

const CoreProperty* findProperty(const std::string& name) {
    const auto& all = opc::model::getAllCoreProperties();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const CoreProperty& property) { return property.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::vector<CorePropertiesEntry> findCoreProperties(OpenPackage& package) {
    std::vector<CorePropertiesEntry> entries;
    for (const std::u16string& type : PackageHelper::getCorePropertiesRelationshipTypes())
        for (const opc::model::Relationship& relationship : package.getModel().getRelationshipsByType(type)) {
            const auto part = findTarget(package, relationship);
            entries.push_back({toUtf8(relationship.getID()),
                               toUtf8(part ? part->getName().toString() : relationship.getTarget()), toUtf8(type), part,
                               type == PackageHelper::getCorePropertiesRelationshipType()});
        }
    return entries;
}

void throwIfCoreProperties(OpenPackage& package, const opc::model::PartName& name,
                           const opc::model::ContentType& newType) {
    const opc::model::ContentType type = PackageHelper::getCorePropertiesContentType();
    for (const CorePropertiesEntry& entry : findCoreProperties(package))
        if (entry.part && entry.part->getName() == name && entry.part->getContentType() == type && newType != type)
            throw Failure(ExitCode::NotProcessed, package.getName(), entry.target,
                          "the core properties of the package, which keep their content type");
}

void throwIfNoCoreProperties(OpenPackage& package, const opc::model::Relationship& relationship) {
    for (const CorePropertiesEntry& entry : findCoreProperties(package))
        if (entry.id == toUtf8(relationship.getID()) && entry.part &&
            entry.part->getContentType() != PackageHelper::getCorePropertiesContentType())
            throw Failure(ExitCode::NotProcessed, package.getName(), entry.target,
                          "the content type " + toUtf8(entry.part->getContentType().toString()) +
                              " is not that of core properties");
}

StoredProperties readProperties(OpenPackage& package, FindingList* findings) {
    StoredProperties stored;
    stored.entries = findCoreProperties(package);
    if (stored.entries.empty())
        return stored;
    const CorePropertiesEntry& first = stored.entries.front();
    if (!first.part) {
        if (findings == nullptr)
            throw leadsNowhere(package, first);
        findings->found(leadsNowhere(first));
        return stored;
    }
    stored.part = first.target;
    try {
        const std::u16string type = opc::toString(first.type);
        stored.values = findings == nullptr ? PackageHelper::getCoreProperties(package.getModel(), type)
                                            : PackageHelper::getCoreProperties(package.getModel(), type, *findings);
        stored.unread = findUnread(readBytes(*first.part), stored.values);
    } catch (const opc::model::InvalidXMLDocument&) { // of which the findings tell
        if (findings == nullptr)
            throw;
    } catch (const opc::model::InvalidPartContent& e) {
        throw toFailure(e, package.getName(), stored.part);
    } catch (const opc::Exception& e) {
        throw readFailure(e, package.getName(), *first.part);
    }
    return stored;
}

} // namespace opcraft
