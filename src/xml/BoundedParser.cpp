// SPDX-License-Identifier: Apache-2.0
#include "xml/BoundedParser.hpp"

#include "xml/XercesMemory.hpp"
#include "xml/XmlBounds.hpp"

#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>

namespace opc::model {

using xercesc::DOMLSParserImpl;

BoundedParser::BoundedParser(const Limits& limits)
    : DOMLSParserImpl(nullptr, xercesc::XMLPlatformUtils::fgMemoryManager, nullptr), limits_(limits) {}

void BoundedParser::forgetVersion() {
    // A scanner takes the version of its last document for one that declares none, and it cannot be told another.
    if (getScanner()->getXMLVersion() != xercesc::XMLReader::XMLV1_0) {
        useScanner(getScanner()->getName());
    }
}

void BoundedParser::startDocument() {
    depth_ = 0;
    nodes_ = 0;
    names_.clear();
    ids_.clear();
    DOMLSParserImpl::startDocument();
}

void BoundedParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, const XMLCh* prefix,
                                 const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount,
                                 bool isEmpty, bool isRoot) {
    throwIfTooManyAttributes(attributeCount);
    throwIfTooDeep(++depth_, limits_.xmlDepth);
    countNodes(1 + attributeCount);
    countNames(declaration, prefix);
    for (XMLSize_t i = 0; i < attributeCount; ++i) {
        countNames(*attributes.elementAt(i));
        countId(*attributes.elementAt(i));
    }
    if (buildsTree_) {
        DOMLSParserImpl::startElement(declaration, uriId, prefix, attributes, attributeCount, isEmpty, isRoot);
    }
}

void BoundedParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                               const XMLCh* prefix) {
    --depth_;
    if (buildsTree_) {
        DOMLSParserImpl::endElement(declaration, uriId, isRoot, prefix);
    }
}

void BoundedParser::docCharacters(const XMLCh* text, XMLSize_t length, bool isCDATASection) {
    countNodes(isCDATASection ? 1 : 0);
    if (buildsTree_) {
        DOMLSParserImpl::docCharacters(text, length, isCDATASection);
    }
}

void BoundedParser::docComment(const XMLCh* text) {
    countNodes(1);
    if (buildsTree_) {
        DOMLSParserImpl::docComment(text);
    }
}

void BoundedParser::docPI(const XMLCh* target, const XMLCh* data) {
    countNodes(1);
    if (buildsTree_) {
        DOMLSParserImpl::docPI(target, data);
    }
}

void BoundedParser::countNodes(std::uint64_t count) {
    ReserveUse::throwIfDrawnOn();
    nodes_ += count;
    throwIfTooManyNodes(nodes_);
}

void BoundedParser::countName(std::u16string_view name) {
    if (names_.find(name) == names_.end()) {
        names_.emplace(name);
        throwIfTooManyNames(names_.size());
    }
}

void BoundedParser::countNames(const xercesc::XMLElementDecl& declaration, const XMLCh* prefix) {
    elementName_ = prefix == nullptr ? u"" : prefix;
    elementName_ += u':';
    elementName_ += declaration.getBaseName();
    countName(elementName_);
}

void BoundedParser::countNames(const xercesc::XMLAttr& attribute) {
    const std::u16string_view name = attribute.getQName();
    countName(name);
    if (isNamespaceDeclaration(name)) {
        const std::u16string_view uri = attribute.getValue();
        throwIfNamespaceTooLong(uri.size());
        countName(uri);
    }
}

void BoundedParser::countId(const xercesc::XMLAttr& attribute) {
    if (attribute.getType() == xercesc::XMLAttDef::ID) {
        ids_.add(attribute.getValue(), getScanner()->getIDRefList()->getHashModulus());
    }
}

} // namespace opc::model
