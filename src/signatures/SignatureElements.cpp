// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureElements.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "xml/ChildElements.hpp"

namespace opc::model {

using xercesc::DOMElement;
using xercesc::DOMNode;

namespace {

constexpr std::u16string_view WHITE_SPACE = u" \t\r\n";

} // namespace

void refuseSignature(const std::string& message) {
    throw InvalidPartContent("XML signature: " + message);
}

std::string narrow(std::u16string_view text) {
    return detail::toUTF8String(text, false);
}

std::string nameOf(const DOMElement& element) {
    return narrow(element.getLocalName());
}

std::u16string textOf(const DOMElement& element) {
    std::u16string text;
    for (const DOMNode* node = element.getFirstChild(); node != nullptr; node = node->getNextSibling())
        if (node->getNodeType() == DOMNode::TEXT_NODE || node->getNodeType() == DOMNode::CDATA_SECTION_NODE)
            text += node->getNodeValue();
    return text;
}

bool isBlank(std::u16string_view text) {
    return text.find_first_not_of(WHITE_SPACE) == std::u16string_view::npos;
}

std::u16string onlyTextOf(const DOMElement& element) {
    throwIfNotEmpty(element);
    std::u16string text = textOf(element);
    if (isBlank(text))
        refuseSignature(nameOf(element) + " is empty.");
    return text;
}

std::u16string trimmed(std::u16string_view text) {
    if (isBlank(text))
        return {};
    const std::size_t first = text.find_first_not_of(WHITE_SPACE);
    return std::u16string(text.substr(first, text.find_last_not_of(WHITE_SPACE) + 1 - first));
}

std::u16string attributeOf(const DOMElement& element, const char16_t* name) {
    return element.getAttributeNS(nullptr, name);
}

std::u16string requiredAttributeOf(const DOMElement& element, const char16_t* name) {
    std::u16string value = attributeOf(element, name);
    if (value.empty())
        refuseSignature(nameOf(element) + " does not have " + narrow(name) + ".");
    return value;
}

void throwIfNotEmpty(const DOMElement& element) {
    ElementSequence(element).end();
}

ElementSequence::ElementSequence(const DOMElement& parent) : parent_(parent), next_(parent.getFirstElementChild()) {}

const DOMElement* ElementSequence::optional(const char16_t* localName, const char16_t* namespaceURI) {
    if (next_ == nullptr || !isElement(*next_, namespaceURI, localName))
        return nullptr;
    const DOMElement* found = next_;
    next_ = next_->getNextElementSibling();
    return found;
}

const DOMElement& ElementSequence::required(const char16_t* localName, const char16_t* namespaceURI) {
    if (const DOMElement* found = optional(localName, namespaceURI))
        return *found;
    refuseSignature(nameOf(parent_) + " has " + (next_ == nullptr ? "nothing" : "the element " + nameOf(*next_)) +
                    " where " + narrow(localName) + " has to be.");
}

void ElementSequence::end() const {
    if (next_ != nullptr)
        refuseSignature(nameOf(parent_) + " has the element " + nameOf(*next_) + ", which is not expected there.");
}

} // namespace opc::model
