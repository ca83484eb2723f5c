// SPDX-License-Identifier: Apache-2.0
#include "xml/BoundedParser.hpp"

#include "errors/ErrorPlaces.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XmlBounds.hpp"
#include "xml/XmlPlaces.hpp"

#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>

namespace opc::model {

using xercesc::DOMLSParserImpl;

BoundedParser::BoundedParser(const Limits& limits)
    : DOMLSParserImpl(nullptr, xercesc::XMLPlatformUtils::fgMemoryManager, nullptr), limits_(limits) {}

void BoundedParser::forgetLast() {
    errors_.clear();
    // A scanner assumes the version of its last document for one that declares none, and the version cannot be reset.
    if (getScanner()->getXMLVersion() != xercesc::XMLReader::XMLV1_0)
        useScanner(getScanner()->getName());
}

void BoundedParser::locate(std::size_t index, ErrorPlace& place) const {
    if (index < positions_.size()) {
        place.line = positions_[index].line;
        place.column = positions_[index].column;
    }
}

BoundedParser::Position BoundedParser::here() const {
    const xercesc::Locator& locator = *getScanner()->getLocator();
    return {static_cast<std::uint32_t>(locator.getLineNumber()), static_cast<std::uint32_t>(locator.getColumnNumber())};
}

void BoundedParser::throwIfWrong() {
    if (!errors_.isEmpty()) {
        describe(fCurrentParent, errors_.getPlace());
        errors_.throwIfError();
    }
}

void BoundedParser::startDocument() {
    positions_.clear();
    depth_ = 0;
    nodes_ = 0;
    names_.clear();
    ids_.clear();
    DOMLSParserImpl::startDocument();
}

void BoundedParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, const XMLCh* prefix,
                                 const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount,
                                 bool isEmpty, bool isRoot) {
    const Position position = here();
    if (errors_.isAt(position.line, position.column)) {
        describe(declaration, prefix, attributes, attributeCount, errors_.getPlace());
        errors_.throwIfError();
    }
    throwIfWrong();
    try {
        throwIfTooMuch(declaration, prefix, attributes, attributeCount);
    } catch (InvalidXMLDocument& e) {
        ErrorPlace place;
        place.line = position.line;
        place.column = position.column;
        e.setPlace(std::make_shared<const ErrorPlace>(std::move(place)));
        throw;
    }
    if (buildsTree_) {
        positions_.push_back(position);
        DOMLSParserImpl::startElement(declaration, uriId, prefix, attributes, attributeCount, isEmpty, isRoot);
    }
}

void BoundedParser::throwIfTooMuch(const xercesc::XMLElementDecl& declaration, const XMLCh* prefix,
                                   const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount) {
    throwIfTooManyAttributes(attributeCount);
    throwIfTooDeep(++depth_, limits_.xmlDepth);
    countNodes(1 + attributeCount);
    countNames(declaration, prefix);
    for (XMLSize_t i = 0; i < attributeCount; ++i) {
        countNames(*attributes.elementAt(i));
        countId(*attributes.elementAt(i));
    }
}

void BoundedParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                               const XMLCh* prefix) {
    if (!errors_.isEmpty() && buildsTree_)
        describeText(*fCurrentParent, errors_.getPlace());
    throwIfWrong();
    --depth_;
    if (buildsTree_)
        DOMLSParserImpl::endElement(declaration, uriId, isRoot, prefix);
}

void BoundedParser::docCharacters(const XMLCh* text, XMLSize_t length, bool isCDATASection) {
    throwIfWrong();
    countNodes(isCDATASection ? 1 : 0);
    if (buildsTree_)
        DOMLSParserImpl::docCharacters(text, length, isCDATASection);
}

void BoundedParser::docComment(const XMLCh* text) {
    throwIfWrong();
    countNodes(1);
    if (buildsTree_)
        DOMLSParserImpl::docComment(text);
}

void BoundedParser::docPI(const XMLCh* target, const XMLCh* data) {
    throwIfWrong();
    countNodes(1);
    if (buildsTree_)
        DOMLSParserImpl::docPI(target, data);
}

void BoundedParser::countNodes(std::uint64_t count) {
    nodes_ += count;
    throwIfTooManyNodes(nodes_, limits_.xmlNodes);
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
    if (attribute.getType() == xercesc::XMLAttDef::ID)
        ids_.add(attribute.getValue(), getScanner()->getIDRefList()->getHashModulus());
}

} // namespace opc::model
