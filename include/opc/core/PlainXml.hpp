// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

/// XML that needs no validating parser: one pass over the bytes, which calls for each element and gives up at the first
/// thing out of the ordinary. Whoever gets no answer here parses and validates the document, for the answer or the
/// error.
namespace opc::detail {

/// The start of an element. What it refers to is gone when the call that it was handed to returns.
class OPCRAFT_API PlainElement {
public:
    /// @param attributes names and values in turn, null behind the last.
    PlainElement(const char* name, const char** attributes, std::uint64_t begin)
        : name_(name), attributes_(attributes), begin_(begin) {}

    /// The namespace, where there is one, with a space behind it, and the local name.
    std::string_view name() const noexcept { return name_; }

    /// The value of an attribute; null when there is none.
    /// @param name as that of an element; an attribute without a prefix has no namespace.
    const char* attribute(std::string_view name) const noexcept;

    /// The number of attributes; declarations of namespaces are none.
    std::size_t attributeCount() const noexcept;

    /// Where it begins, in bytes from the start of the document.
    std::uint64_t begin() const noexcept { return begin_; }

private:
    const char* name_;
    const char** attributes_;
    std::uint64_t begin_;
};

/// What takes a plain document. Each call returns false for what it does not take; the document is not plain then.
/// What a call throws ends the pass and is thrown to its caller.
class OPCRAFT_API PlainXmlHandler {
public:
    virtual ~PlainXmlHandler();

    /// @param prefix empty for the default namespace.
    virtual bool declareNamespace(std::string_view prefix, std::string_view uri) = 0;

    virtual bool startElement(const PlainElement& element) = 0;

    /// @param end the place behind the element, in bytes from the start of the document.
    virtual bool endElement(std::uint64_t end) = 0;

    /// A piece of text, also of white space between elements; one text may come in several pieces.
    virtual bool text(std::string_view piece) = 0;
};

/// Reads documents one after another, with one parser.
class OPCRAFT_API PlainXmlReader {
public:
    PlainXmlReader() noexcept;
    ~PlainXmlReader();
    PlainXmlReader(const PlainXmlReader&) = delete;
    PlainXmlReader& operator=(const PlainXmlReader&) = delete;

    /// As `readPlainXml`; not to be called by the handler.
    bool read(const std::vector<unsigned char>& bytes, const Limits& limits, PlainXmlHandler& handler);

private:
    struct Parser;
    std::unique_ptr<Parser> parser_; ///< null until it is needed
};

/// Hands a document to the handler: well-formed XML 1.0 with namespaces, in UTF-8, with or without a byte order mark,
/// that has no document type declaration, comment, processing instruction or CDATA section, and keeps to the limits for
/// XML. White space outside the root is not handed on.
/// @return whether it is such a document, and the handler took all of it.
/// @throws std::bad_alloc, and what the handler throws.
OPCRAFT_API bool readPlainXml(const std::vector<unsigned char>& bytes, const Limits& limits, PlainXmlHandler& handler);

/// Whether a text is white space of XML and nothing else.
OPCRAFT_API bool isXmlSpace(std::string_view text) noexcept;

/// Whether a namespace is one of XML Schema, which documents declare without need.
OPCRAFT_API bool isSchemaNamespace(std::string_view uri) noexcept;

} // namespace opc::detail
