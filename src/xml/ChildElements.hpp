// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/dom/DOMElement.hpp>

#include <string_view>
#include <vector>

namespace opc::model {

/// Of a document that was parsed with namespaces.
inline bool isElement(const xercesc::DOMElement& element, std::u16string_view namespaceURI,
                      std::u16string_view localName) {
    return element.getNamespaceURI() != nullptr && namespaceURI == element.getNamespaceURI() &&
           localName == element.getLocalName();
}

/// All child elements, in document order.
inline std::vector<xercesc::DOMElement*> children(const xercesc::DOMElement* parent) {
    std::vector<xercesc::DOMElement*> found;
    for (xercesc::DOMElement* child = parent->getFirstElementChild(); child != nullptr;
         child = child->getNextElementSibling())
        found.push_back(child);
    return found;
}

/// The child elements of that name, in document order.
inline std::vector<xercesc::DOMElement*> children(const xercesc::DOMElement* parent, std::u16string_view namespaceURI,
                                                  std::u16string_view localName) {
    std::vector<xercesc::DOMElement*> found;
    for (xercesc::DOMElement* child = parent->getFirstElementChild(); child != nullptr;
         child = child->getNextElementSibling())
        if (isElement(*child, namespaceURI, localName))
            found.push_back(child);
    return found;
}

/// Null when there is none.
inline xercesc::DOMElement* firstChild(const xercesc::DOMElement* parent, std::u16string_view namespaceURI,
                                       std::u16string_view localName) {
    xercesc::DOMElement* child = parent->getFirstElementChild();
    while (child != nullptr && !isElement(*child, namespaceURI, localName))
        child = child->getNextElementSibling();
    return child;
}

} // namespace opc::model
