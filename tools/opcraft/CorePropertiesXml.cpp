// SPDX-License-Identifier: Apache-2.0
#include "opcraft/CorePropertiesXml.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Time.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <algorithm>

namespace opcraft {

namespace {

using opc::model::CoreProperties;
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

/// The text without that of child elements, comments and processing instructions.
std::u16string ownText(const DOMElement* element) {
    std::u16string text;
    for (const DOMNode* child = element->getFirstChild(); child != nullptr; child = child->getNextSibling())
        if (child->getNodeType() == DOMNode::TEXT_NODE || child->getNodeType() == DOMNode::CDATA_SECTION_NODE)
            text += child->getNodeValue();
    return text;
}

/// Whether the value that was read is all that an element holds.
struct IsWhole {
    const DOMElement* element;
    const CoreProperties& values;

    bool operator()(const TextAccess& access) const { return (values.*access.get)() == ownText(element); }

    bool operator()(const TimeAccess& access) const {
        const auto time = opc::convertStringToTime(trimmed(ownText(element)));
        return !time.is_special() && (values.*access.get)() == time;
    }

    bool operator()(const KeywordsAccess& access) const {
        std::vector<std::u16string> stored{trimmedEnd(ownText(element))};
        for (const DOMElement* child : childElements(element))
            stored.push_back(trimmedEnd(ownText(child)));
        std::vector<std::u16string> read;
        for (const auto& [text, language] : (values.*access.get)().value_or(KeywordsAccess::Type()))
            read.push_back(text);
        return stored == read;
    }
};

/// The XML of a part, and what it needs to live.
class Document {
public:
    /// @throws InvalidXMLDocument when the bytes are no XML.
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

} // namespace

std::vector<UnreadText> findUnread(const std::vector<unsigned char>& part, const CoreProperties& values) {
    const Document document(part);
    std::vector<UnreadText> unread;
    for (const DOMElement* element : childElements(document.getRoot())) {
        const Property* property = findProperty(toUtf8(element->getLocalName()));
        if (property != nullptr && !std::visit(IsWhole{element, values}, property->access))
            unread.push_back({property, element->getTextContent()});
    }
    return unread;
}

} // namespace opcraft
