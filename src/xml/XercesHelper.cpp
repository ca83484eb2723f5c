// SPDX-License-Identifier: Apache-2.0
#include <opc/xml/XercesHelper.hpp>

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/xml/XercesErrorHandler.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "xml/BoundedParser.hpp"
#include "xml/DocumentCheck.hpp"
#include "xml/InputStreamXercesSource.hpp"
#include "xml/ParserSettings.hpp"
#include "xml/TreeWalk.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XmlBounds.hpp"
#include "xml/XmlCharacters.hpp"

#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationLS.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <algorithm>
#include <functional>
#include <numeric>

namespace opc::model {

using xercesc::DOMConfiguration;
using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;
using xercesc::XMLPlatformUtils;
using xercesc::XMLString;
using xercesc::XMLUni;

namespace {

template <class T>
void release(T* object) noexcept {
    object->release();
}

struct OutputRelease {
    void operator()(xercesc::DOMLSOutput* output) const noexcept { release(output); }
};
using OutputHandle = std::unique_ptr<xercesc::DOMLSOutput, OutputRelease>;

constexpr const char16_t* UTF8_NAME = u"UTF-8";
constexpr const char16_t* UTF16_NAME = u"UTF-16";

xercesc::DOMImplementation& implementation() {
    return *xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
}

// ---- reading

void setParameters(ParserSettings& settings, xercesc::DOMLSParser& parser, bool validate) {
    if (validate) {
        settings.setIfSettable(XMLUni::fgDOMValidate, true);
        settings.setIfSettable(XMLUni::fgXercesSchema, true);
        settings.setIfSettable(XMLUni::fgDOMNamespaces, true);
        const auto* bounded = dynamic_cast<const BoundedParser*>(&parser);
        const bool keepsWhiteSpace = bounded != nullptr && bounded->keepsWhiteSpace();
        settings.setIfSettable(XMLUni::fgDOMDatatypeNormalization, !keepsWhiteSpace);
    }
    parser.getDomConfig()->setParameter(XMLUni::fgDOMDisallowDoctype, true);
    settings.setIfSettable(XMLUni::fgXercesLoadExternalDTD, false);
    settings.setIfSettable(XMLUni::fgXercesSkipDTDValidation, true);
}

void setLocation(ParserSettings& settings, const std::u16string& location, const std::u16string& namespaceURI) {
    if (location.empty())
        return;
    if (namespaceURI.empty())
        settings.setLocation(XMLUni::fgXercesSchemaExternalNoNameSpaceSchemaLocation, location);
    else
        settings.setLocation(XMLUni::fgXercesSchemaExternalSchemaLocation, namespaceURI + u" " + location);
}

DOMDocument* parse(xercesc::DOMLSParser& parser, XmlInput& input, XercesHelper::XercesEncoding encoding) {
    xercesc::Wrapper4InputSource source(new InputStreamXercesSource(input));
    if (encoding == XercesHelper::XercesEncoding::UTF16)
        source.setEncoding(UTF16_NAME);
    DOMDocument* document = nullptr;
    try {
        document = parser.parse(&source);
    } catch (...) {
        if (!input.failure)
            throw;
    }
    if (input.failure)
        std::rethrow_exception(input.failure);
    return document;
}

// ---- writing

/// Omits the XML declaration in one write.
class OmittedDeclaration {
public:
    OmittedDeclaration(DOMConfiguration& configuration, bool omit)
        : configuration_(configuration),
          restore_(omit && configuration.getParameter(XMLUni::fgDOMXMLDeclaration) != nullptr) {
        if (restore_)
            configuration_.setParameter(XMLUni::fgDOMXMLDeclaration, false);
    }
    ~OmittedDeclaration() {
        if (restore_)
            configuration_.setParameter(XMLUni::fgDOMXMLDeclaration, true);
    }
    OmittedDeclaration(const OmittedDeclaration&) = delete;
    OmittedDeclaration& operator=(const OmittedDeclaration&) = delete;

private:
    DOMConfiguration& configuration_;
    bool restore_;
};

/// Sets the error handler of a serializer for one write.
class ReportingTo {
public:
    ReportingTo(DOMConfiguration& configuration, XercesErrorHandler& errors) : configuration_(configuration) {
        configuration_.setParameter(XMLUni::fgDOMErrorHandler, static_cast<xercesc::DOMErrorHandler*>(&errors));
    }
    ~ReportingTo() { configuration_.setParameter(XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr)); }
    ReportingTo(const ReportingTo&) = delete;
    ReportingTo& operator=(const ReportingTo&) = delete;

private:
    DOMConfiguration& configuration_;
};

void serialize(xercesc::DOMLSSerializer& serializer, const DOMNode* node, xercesc::XMLFormatTarget& target,
               XercesHelper::XercesEncoding encoding, XmlDeclaration declaration) {
    XercesErrorHandler errors;
    DOMConfiguration& configuration = *serializer.getDomConfig();
    const ReportingTo reporting(configuration, errors);
    const OmittedDeclaration omitted(configuration, declaration == XmlDeclaration::Omit);
    const OutputHandle output(implementation().createLSOutput(XMLPlatformUtils::fgMemoryManager));
    output->setByteStream(&target);
    // Otherwise a document is written in the encoding in which it was read.
    output->setEncoding(encoding == XercesHelper::XercesEncoding::UTF16 ? UTF16_NAME : UTF8_NAME);
    serializer.write(node, output.get());
    errors.throwIfError();
}

void toUnits(const XMLByte* bytes, std::size_t size, std::u16string& out) {
    out.resize(size / sizeof(char16_t));
    std::copy_n(bytes, out.size() * sizeof(char16_t), reinterpret_cast<XMLByte*>(out.data()));
}

/// Pretty printing starts a new line before the root, which without a declaration would be an empty first line.
std::size_t lineBreaksAtStart(const XMLByte* bytes, std::size_t length, std::size_t unitSize) {
    std::size_t start = 0;
    while (start + unitSize <= length &&
           std::accumulate(bytes + start, bytes + start + unitSize, XMLByte{0}, std::bit_or<>()) == '\n')
        start += unitSize;
    return start;
}

// ---- finding

bool isOneOf(const XMLCh* wanted, const XMLCh* name) {
    return XMLString::equals(wanted, u"*") || XMLString::equals(wanted, name);
}

/// Calls `found` for the descendant elements that match, in document order, until it returns false.
template <class Matches, class Found>
void forEachElement(const DOMElement* root, Matches matches, Found found) {
    if (root == nullptr)
        return;
    TreeWalk walk(root);
    while (DOMNode* node = walk.next())
        if (node->getNodeType() == DOMNode::ELEMENT_NODE && matches(*node) && !found(static_cast<DOMElement*>(node)))
            return;
}

template <class Matches>
DOMElement* firstElement(const DOMElement* root, Matches matches) {
    DOMElement* first = nullptr;
    forEachElement(root, matches, [&](DOMElement* element) {
        first = element;
        return false;
    });
    return first;
}

template <class Matches>
std::vector<DOMElement*> allElements(const DOMElement* root, Matches matches) {
    std::vector<DOMElement*> all;
    forEachElement(root, matches, [&](DOMElement* element) {
        all.push_back(element);
        return true;
    });
    return all;
}

auto byName(const XMLCh* name) {
    return [name](const DOMNode& node) { return isOneOf(name, node.getNodeName()); };
}

auto byNamespace(const XMLCh* namespaceURI, const XMLCh* localName) {
    return [=](const DOMNode& node) {
        return isOneOf(localName, node.getLocalName()) && isOneOf(namespaceURI, node.getNamespaceURI());
    };
}

// ---- building

bool isTrailingSpace(char16_t c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

DOMElement* append(DOMNode* parent, DOMElement* element) {
    parent->appendChild(element);
    return element;
}

} // namespace

void XercesRelease::operator()(xercesc::DOMLSParser* parser) const noexcept {
    release(parser);
}

void XercesRelease::operator()(xercesc::DOMLSSerializer* writer) const noexcept {
    release(writer);
}

void XercesRelease::operator()(DOMDocument* document) const noexcept {
    release(document);
}

ParserHandle XercesHelper::createParser(const Limits& limits) {
    const XercesGuard guard;
    return translatingXercesErrors(
        [&] { return ParserHandle(new (XMLPlatformUtils::fgMemoryManager) BoundedParser(limits)); });
}

WriterHandle XercesHelper::createWriter() {
    const XercesGuard guard;
    return translatingXercesErrors(
        [] { return WriterHandle(implementation().createLSSerializer(XMLPlatformUtils::fgMemoryManager)); });
}

WriterHandle XercesHelper::createPrettyPrintingWriter() {
    const XercesGuard guard;
    auto writer = createWriter();
    translatingXercesErrors([&] {
        writer->getDomConfig()->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
        writer->getDomConfig()->setParameter(XMLUni::fgDOMWRTXercesPrettyPrint, false);
    });
    return writer;
}

DocumentHandle XercesHelper::createDocument() {
    const XercesGuard guard;
    return translatingXercesErrors(
        [] { return DocumentHandle(implementation().createDocument(XMLPlatformUtils::fgMemoryManager)); });
}

DOMDocument* XercesHelper::readDocumentFromStream(xercesc::DOMLSParser& parser, InputStream& stream, bool validate,
                                                  const std::u16string& schemaLocation,
                                                  const std::u16string& schemaNamespace) {
    return readDocumentHelper(parser, stream, validate, schemaLocation, schemaNamespace, XercesEncoding::Default);
}

DOMDocument* XercesHelper::readDocumentFromString(xercesc::DOMLSParser& parser, const std::u16string& text,
                                                  bool validate, const std::u16string& schemaLocation,
                                                  const std::u16string& schemaNamespace) {
    std::vector<unsigned char> bytes(text.size() * sizeof(char16_t));
    std::copy_n(reinterpret_cast<const unsigned char*>(text.data()), bytes.size(), bytes.begin());
    ByteArrayInAdaptor stream(bytes);
    return readDocumentHelper(parser, stream, validate, schemaLocation, schemaNamespace, XercesEncoding::UTF16);
}

DOMDocument* XercesHelper::readDocumentHelper(xercesc::DOMLSParser& parser, InputStream& stream, bool validate,
                                              const std::u16string& schemaLocation,
                                              const std::u16string& schemaNamespace, const XercesEncoding& encoding) {
    const XercesGuard guard;
    return translatingXercesErrors([&] {
        // Otherwise each document is kept until the parser is destroyed.
        parser.resetDocumentPool();
        auto* bounded = dynamic_cast<BoundedParser*>(&parser);
        if (bounded != nullptr)
            bounded->forgetLast();
        XmlInput input{stream, bounded == nullptr ? MAX_XML_SIZE : bounded->getLimits().xmlSize, nullptr};
        XercesErrorHandler errorsOfOthers;
        ResourceRefuser refuser(schemaLocation);
        DOMDocument* document = nullptr;
        {
            auto& errors =
                bounded == nullptr ? static_cast<xercesc::DOMErrorHandler&>(errorsOfOthers) : bounded->getErrors();
            ParserSettings settings(parser, errors, refuser);
            setParameters(settings, parser, validate);
            setLocation(settings, schemaLocation, schemaNamespace);
            document = parse(parser, input, encoding);
        }
        refuser.throwIfRefused();
        errorsOfOthers.throwIfError();
        if (bounded != nullptr)
            bounded->throwIfWrong();
        throwIfUnsupportedEncoding(document);
        throwIfDTDIsPresent(document);
        return document;
    });
}

void XercesHelper::writeDocumentToStream(xercesc::DOMLSSerializer& serializer, const DOMDocument* document,
                                         OutputStream& stream, const Limits& limits) {
    writeDocumentHelper(serializer, document, stream, XercesEncoding::Default, XmlDeclaration::Include, limits);
}

void XercesHelper::writeDocumentToString(xercesc::DOMLSSerializer& serializer, const DOMDocument* document,
                                         std::u16string& out, const XmlDeclaration& declaration) {
    std::vector<unsigned char> bytes;
    ByteArrayOutAdaptor stream(bytes);
    writeDocumentHelper(serializer, document, stream, XercesEncoding::UTF16, declaration);
    toUnits(bytes.data(), bytes.size(), out);
}

void XercesHelper::writeElementToString(xercesc::DOMLSSerializer& serializer, const DOMElement* element,
                                        std::u16string& out) {
    const XercesGuard guard;
    translatingXercesErrors([&] {
        xercesc::MemBufFormatTarget target;
        serialize(serializer, element, target, XercesEncoding::UTF16, XmlDeclaration::Omit);
        throwIfTooLarge(target.getLen(), 2 * MAX_XML_SIZE); // in UTF-16
        toUnits(target.getRawBuffer(), target.getLen(), out);
    });
}

void XercesHelper::writeDocumentHelper(xercesc::DOMLSSerializer& serializer, const DOMDocument* document,
                                       OutputStream& stream, const XercesEncoding& encoding,
                                       const XmlDeclaration& declaration, const Limits& limits) {
    const XercesGuard guard;
    translatingXercesErrors([&] {
        throwIfDTDIsPresent(document);
        throwIfNotWritable(*document, limits);
        xercesc::MemBufFormatTarget target;
        serialize(serializer, document, target, encoding, declaration);
        throwIfTooLarge(target.getLen(), limits.xmlSize);
        const std::size_t unitSize = encoding == XercesEncoding::UTF16 ? sizeof(char16_t) : 1;
        const std::size_t start = lineBreaksAtStart(target.getRawBuffer(), target.getLen(), unitSize);
        stream.write(target.getRawBuffer() + start, static_cast<unsigned long>(target.getLen() - start));
    });
}

void XercesHelper::throwIfDTDIsPresent(const DOMDocument* document) {
    if (document != nullptr && document->getDoctype() != nullptr)
        throw InvalidXMLDocument("XML content can not contain a DTD");
}

void XercesHelper::throwIfUnsupportedEncoding(const DOMDocument* document) {
    const XMLCh* encoding = document == nullptr ? nullptr : document->getXmlEncoding();
    const auto supported = {u"", u"UTF-8", u"utf-8", u"UTF-16", u"utf-16"};
    if (std::none_of(supported.begin(), supported.end(),
                     [&](const XMLCh* name) { return XMLString::equals(name, encoding); }))
        throw InvalidXMLDocument("XML content must be UTF-8 or UTF-16 or empty (i.e., absent XML declaration)");
}

DOMElement* XercesHelper::getElement(const DOMElement* element, const XercesString& name) {
    return firstElement(element, byName(name.toXMLCh()));
}

DOMElement* XercesHelper::getElementNS(const DOMElement* element, const XercesString& namespaceURI,
                                       const XercesString& localName) {
    return firstElement(element, byNamespace(namespaceURI.toXMLCh(), localName.toXMLCh()));
}

std::vector<DOMElement*> XercesHelper::getElements(const DOMElement* element, const XercesString& name) {
    return allElements(element, byName(name.toXMLCh()));
}

std::vector<DOMElement*> XercesHelper::getElementsNS(const DOMElement* element, const XercesString& namespaceURI,
                                                     const XercesString& localName) {
    return allElements(element, byNamespace(namespaceURI.toXMLCh(), localName.toXMLCh()));
}

bool XercesHelper::getElementText(const DOMElement* element, std::u16string& out) {
    out.clear();
    if (element == nullptr)
        return false;
    const DOMNode* child = element->getFirstChild();
    const XMLCh* value = child == nullptr ? nullptr : child->getNodeValue();
    if (value != nullptr)
        out = value;
    return true;
}

bool XercesHelper::getTrimmedElementText(const DOMElement* element, std::u16string& out) {
    const bool present = getElementText(element, out);
    while (!out.empty() && isTrailingSpace(out.back()))
        out.pop_back();
    return present;
}

bool XercesHelper::getElementAttribute(const DOMElement* element, const XercesString& name, std::u16string& out) {
    const xercesc::DOMAttr* attribute = element->getAttributeNode(name.toXMLCh());
    out = attribute == nullptr ? u"" : attribute->getValue();
    return attribute != nullptr;
}

bool XercesHelper::getElementAttributeNS(const DOMElement* element, const XercesString& namespaceURI,
                                         const XercesString& localName, std::u16string& out) {
    const XMLCh* value = element->getAttributeNS(namespaceURI.toXMLCh(), localName.toXMLCh());
    out = value == nullptr ? u"" : value;
    return value != nullptr;
}

DOMElement* XercesHelper::appendElement(DOMDocument* document, const XercesString& name) {
    return translatingXercesErrors([&] { return append(document, document->createElement(name.toXMLCh())); });
}

DOMElement* XercesHelper::appendElementNS(DOMDocument* document, const XercesString& namespaceURI,
                                          const XercesString& qualifiedName) {
    return translatingXercesErrors(
        [&] { return append(document, document->createElementNS(namespaceURI.toXMLCh(), qualifiedName.toXMLCh())); });
}

DOMElement* XercesHelper::appendElement(DOMElement* parent, const XercesString& name) {
    return translatingXercesErrors(
        [&] { return append(parent, parent->getOwnerDocument()->createElement(name.toXMLCh())); });
}

DOMElement* XercesHelper::appendElementNS(DOMElement* parent, const XercesString& namespaceURI,
                                          const XercesString& qualifiedName) {
    return translatingXercesErrors([&] {
        DOMDocument* document = parent->getOwnerDocument();
        return append(parent, document->createElementNS(namespaceURI.toXMLCh(), qualifiedName.toXMLCh()));
    });
}

void XercesHelper::setElementText(DOMElement* element, const std::u16string& text) {
    throwIfNotXmlText(text);
    translatingXercesErrors([&] { element->setTextContent(text.c_str()); });
}

void XercesHelper::setElementAttribute(DOMElement* element, const XercesString& name, const std::u16string& value) {
    throwIfNotXmlText(value);
    translatingXercesErrors([&] { element->setAttribute(name.toXMLCh(), value.c_str()); });
}

void XercesHelper::setElementAttributeNS(DOMElement* element, const XercesString& namespaceURI,
                                         const XercesString& qualifiedName, const std::u16string& value) {
    throwIfNotXmlText(value);
    translatingXercesErrors(
        [&] { element->setAttributeNS(namespaceURI.toXMLCh(), qualifiedName.toXMLCh(), value.c_str()); });
}

} // namespace opc::model
