// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// XML documents in pieces: of a document that is not valid, each child of the root can be read on its own.
namespace opc::detail {

/// Unknown when the line is 0; the first is 1, as the first column, which counts UTF-16 units.
struct XmlPosition {
    std::uint64_t line = 0;
    std::uint64_t column = 0;
};

/// The start tag of an element. Names are as they are written, with their prefixes.
struct OPCRAFT_API XmlTag {
    std::string name{};
    std::vector<std::pair<std::string, std::string>> attributes{}; ///< with the declarations of namespaces

    /// The value of an attribute; null when there is none.
    const std::string* attribute(std::string_view attributeName) const noexcept;
    /// The name without its prefix.
    std::string_view localName() const noexcept;
};

/// A child of the root.
struct XmlChild {
    std::size_t offset = 0; ///< in the text of the document
    std::size_t size = 0;
    XmlPosition begin{};
    XmlPosition tagEnd{};    ///< behind its start tag
    std::uint64_t nodes = 0; ///< in it and with it, as `Limits::xmlNodes` counts them
};

/// What keeps a document from being taken to pieces.
enum class XmlFault {
    None,
    NotWellFormed,
    DocumentType,
    Encoding, ///< it declares one that is neither UTF-8 nor UTF-16
    Limit,    ///< of its size, depth or nodes
};

/// A document in pieces. With a fault it has no children.
struct OPCRAFT_API XmlPieces {
    XmlFault fault = XmlFault::None;
    XmlPosition faultPlace{};
    std::string faultReason{};
    std::string document{}; ///< in UTF-8, without a byte order mark
    XmlTag root{};
    XmlPosition rootTagEnd{};
    std::vector<XmlChild> children{};
    std::optional<XmlPosition> strayText{}; ///< of the first text between the children that is not white space

    std::string_view textOf(const XmlChild& child) const;

    /// The root with its attributes and nothing in it, as a document.
    std::string rootAlone() const;

    /// The attributes of the root but for the default namespace, each behind a blank, as they stand in a tag.
    std::string rootAttributes() const;

    /// The root with its declarations of namespaces, but for a default that is Markup Compatibility, and one child, as
    /// a document. The root takes the first line; the child begins at the start of the second.
    std::string rootWith(const XmlChild& child) const;

    /// The child with the declarations of the root that it needs in another document.
    /// @param defaultNamespace of the root of that document.
    std::string standAlone(const XmlChild& child, std::string_view defaultNamespace) const;

    /// The namespace of a name in the tag of the root or of a child; empty for none, and for a prefix without a
    /// meaning.
    std::string namespaceOf(std::string_view name, const XmlTag& tag, bool isAttribute) const;

private:
    const std::string* findNamespace(std::string_view prefix, const XmlTag& tag) const;
};

/// Takes a document to pieces: XML 1.0 in UTF-8 or UTF-16. Namespaces need not be declared.
/// @throws std::bad_alloc
OPCRAFT_API XmlPieces splitXml(const std::vector<unsigned char>& bytes, const Limits& limits);

/// The start tag that a well-formed text begins with.
/// @throws std::bad_alloc
OPCRAFT_API XmlTag readXmlTag(std::string_view element);

/// The namespace of Markup Compatibility (ECMA-376-3).
inline constexpr std::string_view MARKUP_COMPATIBILITY_NAMESPACE =
    "http://schemas.openxmlformats.org/markup-compatibility/2006";

} // namespace opc::detail
