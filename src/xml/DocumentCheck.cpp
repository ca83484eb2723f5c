// SPDX-License-Identifier: Apache-2.0
#include "xml/DocumentCheck.hpp"

#include <opc/errors/Errors.hpp>

#include "xml/TreeWalk.hpp"
#include "xml/XmlBounds.hpp"
#include "xml/XmlCharacters.hpp"

#include <xercesc/dom/DOMNamedNodeMap.hpp>

namespace opc::model {

using xercesc::DOMNode;

namespace {

std::u16string_view valueOf(const DOMNode& node) {
    const XMLCh* value = node.getNodeValue();
    return value == nullptr ? std::u16string_view() : value;
}

void throwIfHolds(const DOMNode& node, std::u16string_view delimiter, const char* message) {
    if (valueOf(node).find(delimiter) != std::u16string_view::npos)
        throw InvalidXMLDocument(message);
}

void throwIfEndsWithHyphen(const DOMNode& comment) {
    if (valueOf(comment).ends_with(u'-'))
        throw InvalidXMLDocument("XML content can not contain a comment with \"-\" at its end");
}

/// The serializer declares the namespace of a node where no attribute does.
void checkNamespace(const DOMNode& node) {
    const XMLCh* uri = node.getNamespaceURI();
    throwIfNamespaceTooLong(uri == nullptr ? 0 : std::u16string_view(uri).size());
}

void checkAttribute(const DOMNode& attribute) {
    const std::u16string_view value = valueOf(attribute);
    throwIfNotXmlText(value);
    checkNamespace(attribute);
    if (isNamespaceDeclaration(attribute.getNodeName()))
        throwIfNamespaceTooLong(value.size());
}

/// @return the number of its attributes.
XMLSize_t checkElement(const DOMNode& element) {
    checkNamespace(element);
    const xercesc::DOMNamedNodeMap& attributes = *element.getAttributes();
    const XMLSize_t count = attributes.getLength();
    throwIfTooManyAttributes(count);
    for (XMLSize_t i = 0; i < count; ++i)
        checkAttribute(*attributes.item(i));
    return count;
}

/// The serializer writes a comment or an instruction unchecked, and drops the end mark inside of a CDATA section.
void checkSyntax(const DOMNode& node) {
    switch (node.getNodeType()) {
    case DOMNode::COMMENT_NODE:
        throwIfHolds(node, u"--", "XML content can not contain a comment with \"--\" in it");
        throwIfEndsWithHyphen(node);
        break;
    case DOMNode::PROCESSING_INSTRUCTION_NODE:
        throwIfHolds(node, u"?>", "XML content can not contain a processing instruction with \"?>\" in it");
        break;
    case DOMNode::CDATA_SECTION_NODE:
        throwIfHolds(node, u"]]>", "XML content can not contain a CDATA section with \"]]>\" in it");
        break;
    case DOMNode::ENTITY_REFERENCE_NODE:
        throw InvalidXMLDocument("XML content can not contain a reference to an entity");
    default:
        break;
    }
}

/// @return the number of nodes that it counts as.
XMLSize_t checkNode(const DOMNode& node) {
    if (node.getNodeType() == DOMNode::ELEMENT_NODE)
        return 1 + checkElement(node);
    checkSyntax(node);
    throwIfNotXmlText(valueOf(node));
    return node.getNodeType() == DOMNode::TEXT_NODE ? 0 : 1;
}

} // namespace

void throwIfNotWritable(const xercesc::DOMDocument& document, const Limits& limits) {
    TreeWalk walk(&document);
    std::uint64_t nodes = 0;
    while (const DOMNode* node = walk.next()) {
        if (node->getNodeType() == DOMNode::ELEMENT_NODE)
            throwIfTooDeep(walk.depth(), limits.xmlDepth);
        nodes += checkNode(*node);
        throwIfTooManyNodes(nodes, limits.xmlNodes);
    }
}

} // namespace opc::model
