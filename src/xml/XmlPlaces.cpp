// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlPlaces.hpp"

#include "xml/BoundedParser.hpp"
#include "xml/TreeWalk.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XmlBounds.hpp"

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/validators/schema/ComplexTypeInfo.hpp>
#include <xercesc/validators/schema/SchemaElementDecl.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

namespace opc::model {

using xercesc::DOMNode;
using xercesc::SchemaAttDef;
using xercesc::SchemaElementDecl;
using xercesc::XMLAttr;

namespace {

constexpr const XMLCh* ID = u"Id";

bool takes(xercesc::DatatypeValidator& type, const XMLCh* value) {
    std::u16string text(value);
    if (type.getWSFacet() == xercesc::DatatypeValidator::COLLAPSE)
        xercesc::XMLString::collapseWS(text.data());
    try {
        type.validate(text.c_str());
        return true;
    } catch (const xercesc::XMLException&) {
        return false;
    }
}

bool isOfSchemaInstance(const XMLAttr& attribute) {
    return xercesc::XMLString::startsWith(attribute.getQName(), u"xsi:");
}

bool isWrong(const XMLAttr& attribute, const xercesc::ComplexTypeInfo& type) {
    if (isNamespaceDeclaration(attribute.getQName()) || isOfSchemaInstance(attribute))
        return false;
    const SchemaAttDef* known = type.getAttDef(attribute.getName(), static_cast<int>(attribute.getURIId()));
    if (known == nullptr)
        return type.getAttWildCard() == nullptr;
    return known->getDatatypeValidator() != nullptr && !takes(*known->getDatatypeValidator(), attribute.getValue());
}

/// Null for an element that is not declared in a schema.
const xercesc::ComplexTypeInfo* typeOf(const xercesc::XMLElementDecl& declaration) {
    return declaration.getObjectType() == xercesc::XMLElementDecl::Schema
               ? static_cast<const SchemaElementDecl&>(declaration).getComplexTypeInfo()
               : nullptr;
}

/// The number of elements before one, in document order.
std::size_t indexOf(const xercesc::DOMElement& element) {
    std::size_t index = 0;
    TreeWalk walk(element.getOwnerDocument());
    for (const DOMNode* node = walk.next(); node != nullptr && node != &element; node = walk.next())
        index += node->getNodeType() == DOMNode::ELEMENT_NODE ? 1 : 0;
    return index;
}

} // namespace

void describe(const DOMNode* node, ErrorPlace& place) {
    if (node != nullptr && node->getNodeType() == DOMNode::ELEMENT_NODE) {
        const auto& element = static_cast<const xercesc::DOMElement&>(*node);
        place.element = toMessage(element.getNodeName());
        place.id = toMessage(element.getAttribute(ID));
    }
}

void describeText(const DOMNode& node, ErrorPlace& place) {
    if (node.getNodeType() == DOMNode::ELEMENT_NODE &&
        static_cast<const xercesc::DOMElement&>(node).getFirstElementChild() == nullptr)
        place.value = toMessage(node.getTextContent());
}

void describe(const xercesc::XMLElementDecl& declaration, const XMLCh* prefix,
              const xercesc::RefVectorOf<XMLAttr>& attributes, XMLSize_t attributeCount, ErrorPlace& place) {
    place.element =
        toMessage(prefix) + (prefix == nullptr || *prefix == 0 ? "" : ":") + toMessage(declaration.getBaseName());
    place.id.clear();
    const xercesc::ComplexTypeInfo* type = typeOf(declaration);
    for (XMLSize_t i = 0; i < attributeCount; ++i) {
        const XMLAttr& attribute = *attributes.elementAt(i);
        if (xercesc::XMLString::equals(attribute.getQName(), ID))
            place.id = toMessage(attribute.getValue());
        if (place.attribute.empty() && type != nullptr && isWrong(attribute, *type)) {
            place.attribute = toMessage(attribute.getQName());
            place.value = toMessage(attribute.getValue());
        }
    }
}

std::shared_ptr<const ErrorPlace> placeOf(const xercesc::DOMLSParser& parser, const xercesc::DOMElement& element,
                                          const XMLCh* attribute) {
    ErrorPlace place;
    dynamic_cast<const BoundedParser&>(parser).locate(indexOf(element), place);
    describe(&element, place);
    if (attribute != nullptr) {
        place.attribute = toMessage(attribute);
        place.value = toMessage(element.getAttribute(attribute));
    }
    return std::make_shared<const ErrorPlace>(std::move(place));
}

} // namespace opc::model
