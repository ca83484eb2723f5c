// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>
#include <opc/core/XmlPieces.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// XML documents as a stream of events, in constant memory, for code that compares or prints them.
namespace opc::detail {

/// A name with what its prefix stands for; both are empty where there is none.
struct XmlEventName {
    std::string_view uri{};
    std::string_view local{};
    std::string_view prefix{};
};

struct XmlEventAttribute {
    XmlEventName name{};
    std::string_view value{};
};

/// A declaration of a namespace; the prefix is empty for the default one, the URI for none.
struct XmlEventNamespace {
    std::string_view prefix{};
    std::string_view uri{};
};

struct XmlEventElement {
    XmlEventName name{};
    std::vector<XmlEventNamespace> declarations{};
    std::vector<XmlEventAttribute> attributes{}; ///< in the order of the document, without declarations
};

/// What takes a document. What is handed to it is gone when the call returns; what a call throws ends the reading and
/// is thrown to its caller.
class OPCRAFT_API XmlEventHandler {
public:
    virtual ~XmlEventHandler();

    virtual void startElement(const XmlEventElement& element) = 0;
    virtual void endElement() = 0;

    /// A piece of text within the root, also of a CDATA section; one text may come in several pieces.
    virtual void text(std::string_view piece) = 0;

    virtual void comment(std::string_view text) = 0;
    virtual void instruction(std::string_view target, std::string_view data) = 0;
};

/// What keeps a document from being read to its end.
struct XmlEventFault {
    XmlFault fault = XmlFault::None;
    XmlPosition place{};
    std::string reason{};
};

/// Reads one document: well-formed XML 1.0 with namespaces in an encoding that expat knows (UTF-8, UTF-16, ISO 8859-1,
/// US-ASCII), without a document type declaration, within the limits for the size and depth of XML, and with no more
/// than 100,000 attributes in an element.
class OPCRAFT_API XmlEventReader {
public:
    /// @param handler outlives the reader.
    /// @throws std::bad_alloc
    XmlEventReader(const Limits& limits, XmlEventHandler& handler);
    ~XmlEventReader();
    XmlEventReader(const XmlEventReader&) = delete;
    XmlEventReader& operator=(const XmlEventReader&) = delete;

    /// Takes the next bytes.
    /// @return false after a fault: there is nothing more to read.
    /// @throws std::bad_alloc, and what the handler throws.
    bool read(const unsigned char* bytes, std::size_t size);

    /// Ends the document.
    /// @throws as `read`.
    const XmlEventFault& finish();

private:
    class Pass;
    std::unique_ptr<Pass> pass_;
};

} // namespace opc::detail
