// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/InputStream.hpp>
#include <opc/core/Limits.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/xml/XercesString.hpp>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMLSParser.hpp>
#include <xercesc/dom/DOMLSSerializer.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace opc::model {

/// Whether a written document starts with an XML declaration.
enum class XmlDeclaration : std::int32_t {
    Omit = 0,
    Include = 1,
};

/// Releases a Xerces object as Xerces requires. That may allocate memory.
struct OPCRAFT_API XercesRelease {
    void operator()(xercesc::DOMLSParser* parser) const noexcept;
    void operator()(xercesc::DOMLSSerializer* writer) const noexcept;
    void operator()(xercesc::DOMDocument* document) const noexcept;
};

/// Owns a parser, its grammar cache, and every document it has read.
using ParserHandle = std::unique_ptr<xercesc::DOMLSParser, XercesRelease>;
using WriterHandle = std::unique_ptr<xercesc::DOMLSSerializer, XercesRelease>;
using DocumentHandle = std::unique_ptr<xercesc::DOMDocument, XercesRelease>;

/// The one way to read and write XML.
///
/// Input is not trusted: a document type, any encoding but UTF-8 and UTF-16, and what exceeds the bounds below are
/// refused, and no document can open a file or a connection. Errors of Xerces are reported as
/// `InvalidXMLDocument` with its message; a lack of memory as `std::bad_alloc`.
///
/// The functions hold no state and may be called from any thread; each parser, writer and document is used by one
/// thread at a time. Each call holds a `XercesGuard` for its own duration where it needs one; one that keeps objects
/// of the factories holds a guard of its own for that time, created before and destroyed after them.
class OPCRAFT_API XercesHelper {
public:
    /// The byte encoding forced on a read or a write.
    enum class XercesEncoding : std::int32_t {
        Default = 0, ///< detected on reading, UTF-8 on writing
        UTF16 = 1,   ///< UTF-16 in the byte order of this machine
    };

    /// The longest input that is read unless the parser has other limits, and the longest that is written unless other
    /// limits are given, in bytes.
    static constexpr std::uint64_t MAX_XML_SIZE = Limits{}.xmlSize;

    /// The deepest nesting of elements that is read unless the parser has other limits, and the deepest that is
    /// written, the document element counting 1.
    static constexpr std::uint64_t MAX_XML_DEPTH = Limits{}.xmlDepth;

    /// The most attributes that an element may have, its namespace declarations included.
    static constexpr std::uint32_t MAX_XML_ATTRIBUTES = 128;

    /// The most nodes that are read unless the parser has other limits, and the most that are written.
    static constexpr std::uint64_t MAX_XML_NODES = Limits{}.xmlNodes;

    /// The most different names of elements and attributes, and of namespaces, that are read.
    static constexpr std::uint32_t MAX_XML_NAMES = 10'000;

    /// The longest name of a namespace that is read or written, in UTF-16 units. It is in a document once, and
    /// costs its length again at each element and attribute of the namespace.
    static constexpr std::uint32_t MAX_XML_NAMESPACE_LENGTH = 1024;

    /// The most comparisons of an ID with another one that a validated document may take. IDs that were not crafted
    /// stay far below, however many they are.
    static constexpr std::uint32_t MAX_XML_ID_COMPARISONS = 100'000'000;

    XercesHelper() = delete;

    /// @name Factories
    /// @throws InvalidXMLDocument when Xerces fails.
    /// @{

    /// A parser without settings, which each read makes. It may read any number of documents one after another and
    /// keeps the grammars that were loaded into it.
    /// @param limits those for XML apply.
    static ParserHandle createParser(const Limits& limits = {});

    /// A writer that adds no white space.
    static WriterHandle createWriter();

    /// A writer that breaks lines and indents. It adds no white space inside an element that holds
    /// text alone, but around an element next to a text.
    static WriterHandle createPrettyPrintingWriter();

    /// A document without a root.
    static DocumentHandle createDocument();
    /// @}

    /// @name Reading
    /// The document belongs to the parser; it lives until the parser reads again or is destroyed.
    ///
    /// With `validate`, the document is checked against the grammars in the parser's cache; a parser that has validated
    /// once stays so configured. A schema location that is not empty is passed to Xerces, for the namespace when that
    /// is not empty, else for documents without a namespace; that schema is loaded, since the caller itself names
    /// it. What a document or such a schema names is never opened.
    ///
    /// A parser of `createParser` enforces the bounds above. One of Xerces enforces `MAX_XML_SIZE` alone.
    /// @throws InvalidXMLDocument with Xerces' message when the document is malformed or invalid or holds a document
    ///         type; with one of ours when its declared encoding is not UTF-8 or UTF-16, when it breaks a bound, or
    ///         when a schema that the caller located names another one. With a parser of `createParser` its place has
    ///         line and column, element, attribute, value and Id, as far as the parser knows them.
    /// @throws whatever the stream throws, unchanged and before any other error.
    /// @{
    static xercesc::DOMDocument* readDocumentFromStream(xercesc::DOMLSParser& parser, InputStream& stream,
                                                        bool validate, const std::u16string& schemaLocation,
                                                        const std::u16string& schemaNamespace);

    /// As `readDocumentFromStream`; the text is read as UTF-16 whatever its declaration names.
    static xercesc::DOMDocument* readDocumentFromString(xercesc::DOMLSParser& parser, const std::u16string& text,
                                                        bool validate, const std::u16string& schemaLocation,
                                                        const std::u16string& schemaNamespace);

    static xercesc::DOMDocument* readDocumentHelper(xercesc::DOMLSParser& parser, InputStream& stream, bool validate,
                                                    const std::u16string& schemaLocation,
                                                    const std::u16string& schemaNamespace,
                                                    const XercesEncoding& encoding);
    /// @}

    /// @name Writing
    /// The document is serialised into memory first, so that a refused write leaves the stream untouched. The stream
    /// is neither flushed nor closed.
    /// @throws InvalidXMLDocument with one of our messages when the document holds a document type, a reference to an
    ///         entity, a character that XML 1.0 §2.2 excludes, or a comment, processing instruction or CDATA section
    ///         with its own end mark in it, or when its size, depth, attributes, nodes or namespaces would keep it from
    ///         being read again; with Xerces' message when that fails.
    /// @throws whatever the stream throws.
    /// @{

    /// Writes UTF-8 with an XML declaration, whatever the encoding of a document that was read.
    /// @param limits of the reader; those for XML apply.
    static void writeDocumentToStream(xercesc::DOMLSSerializer& serializer, const xercesc::DOMDocument* document,
                                      OutputStream& stream, const Limits& limits = {});

    /// Replaces `out` by the text; a declaration names UTF-16.
    static void writeDocumentToString(xercesc::DOMLSSerializer& serializer, const xercesc::DOMDocument* document,
                                      std::u16string& out, const XmlDeclaration& declaration);

    /// Replaces `out` by an element of a document that was read, written like the root of a document of its own:
    /// with the declarations of inherited namespaces that it needs. It is not checked for what cannot be read
    /// again.
    static void writeElementToString(xercesc::DOMLSSerializer& serializer, const xercesc::DOMElement* element,
                                     std::u16string& out);

    static void writeDocumentHelper(xercesc::DOMLSSerializer& serializer, const xercesc::DOMDocument* document,
                                    OutputStream& stream, const XercesEncoding& encoding,
                                    const XmlDeclaration& declaration, const Limits& limits = {});
    /// @}

    /// @name Checks
    /// @{

    /// @throws InvalidXMLDocument "XML content can not contain a DTD".
    static void throwIfDTDIsPresent(const xercesc::DOMDocument* document);

    /// Accepts a missing encoding and exactly "", "UTF-8", "utf-8", "UTF-16" and "utf-16".
    /// @throws InvalidXMLDocument "XML content must be UTF-8 or UTF-16 or empty (i.e., absent XML declaration)".
    static void throwIfUnsupportedEncoding(const xercesc::DOMDocument* document);
    /// @}

    /// @name Finding elements
    /// Among all descendants, in document order; "*" matches any name or namespace. The forms without a namespace
    /// compare the qualified name, prefix included, and so miss elements with another prefix.
    /// A null element has no descendants.
    /// @{

    /// @return null when there is none.
    static xercesc::DOMElement* getElement(const xercesc::DOMElement* element, const XercesString& name);
    static xercesc::DOMElement* getElementNS(const xercesc::DOMElement* element, const XercesString& namespaceURI,
                                             const XercesString& localName);

    static std::vector<xercesc::DOMElement*> getElements(const xercesc::DOMElement* element, const XercesString& name);
    static std::vector<xercesc::DOMElement*>
    getElementsNS(const xercesc::DOMElement* element, const XercesString& namespaceURI, const XercesString& localName);
    /// @}

    /// @name Reading elements
    /// `out` is replaced; it is empty when the result is false.
    /// @{

    /// The value of the first child alone, a text, a comment or a CDATA section; empty when there is none or when
    /// it is an element.
    /// @return false when the element is null.
    static bool getElementText(const xercesc::DOMElement* element, std::u16string& out);

    /// As `getElementText`, without white space at the end; that at the start is kept.
    static bool getTrimmedElementText(const xercesc::DOMElement* element, std::u16string& out);

    /// @return false when the attribute is absent.
    static bool getElementAttribute(const xercesc::DOMElement* element, const XercesString& name, std::u16string& out);

    /// @return true with an empty value when the attribute is absent, unlike the form without a namespace.
    static bool getElementAttributeNS(const xercesc::DOMElement* element, const XercesString& namespaceURI,
                                      const XercesString& localName, std::u16string& out);
    /// @}

    /// @name Building documents
    /// The new element, owned by the document, is the last child of what it is appended to. A document is built either
    /// with the namespace forms throughout or without them: mixed, its namespace declarations are written twice.
    /// @throws InvalidXMLDocument with Xerces' message when the DOM refuses the change; with one of ours, naming the
    ///         character, when a text or value holds one that XML 1.0 §2.2 excludes.
    /// @{
    static xercesc::DOMElement* appendElement(xercesc::DOMDocument* document, const XercesString& name);
    static xercesc::DOMElement* appendElementNS(xercesc::DOMDocument* document, const XercesString& namespaceURI,
                                                const XercesString& qualifiedName);
    static xercesc::DOMElement* appendElement(xercesc::DOMElement* parent, const XercesString& name);
    static xercesc::DOMElement* appendElementNS(xercesc::DOMElement* parent, const XercesString& namespaceURI,
                                                const XercesString& qualifiedName);

    /// Replaces all children of the element by the text.
    static void setElementText(xercesc::DOMElement* element, const std::u16string& text);
    static void setElementAttribute(xercesc::DOMElement* element, const XercesString& name,
                                    const std::u16string& value);
    static void setElementAttributeNS(xercesc::DOMElement* element, const XercesString& namespaceURI,
                                      const XercesString& qualifiedName, const std::u16string& value);
    /// @}
};

} // namespace opc::model
