// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "signatures/SignatureFormRules.hpp"

#include <xercesc/dom/DOMElement.hpp>

#include <string>
#include <string_view>

/// What the readers of signatures share.
namespace opc::model {

/// @throws InvalidPartContent "XML signature: " and the message.
[[noreturn]] void refuseSignature(const std::string& message);

/// For messages.
std::string narrow(std::u16string_view text);
std::string nameOf(const xercesc::DOMElement& element);

/// All text of an element but that of its child elements, comments left out, as canonical XML without comments has it.
std::u16string textOf(const xercesc::DOMElement& element);

bool isBlank(std::u16string_view text);

/// The text of an element that holds nothing else and is not blank.
/// @throws InvalidPartContent
std::u16string onlyTextOf(const xercesc::DOMElement& element);

/// Without the white space around it.
std::u16string trimmed(std::u16string_view text);

/// An attribute without a namespace; empty when there is none.
std::u16string attributeOf(const xercesc::DOMElement& element, const char16_t* name);

/// @throws InvalidPartContent when it is absent or empty.
std::u16string requiredAttributeOf(const xercesc::DOMElement& element, const char16_t* name);

/// @throws InvalidPartContent when the element has child elements.
void throwIfNotEmpty(const xercesc::DOMElement& element);

/// Takes the child elements of an element one after another, so that none is passed over. By default they are of the
/// XML-DSig namespace.
class ElementSequence {
public:
    explicit ElementSequence(const xercesc::DOMElement& parent);

    /// The next element if it has this name; otherwise null, and it stays the next.
    const xercesc::DOMElement* optional(const char16_t* localName, const char16_t* namespaceURI = DSIG_NAMESPACE);

    /// @throws InvalidPartContent when the next element has another name, or there is none.
    const xercesc::DOMElement& required(const char16_t* localName, const char16_t* namespaceURI = DSIG_NAMESPACE);

    /// @throws InvalidPartContent when there is another element.
    void end() const;

private:
    const xercesc::DOMElement& parent_;
    const xercesc::DOMElement* next_;
};

} // namespace opc::model
