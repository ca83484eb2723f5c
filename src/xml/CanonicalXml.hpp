// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include <string>
#include <string_view>

namespace opc::model {

/// Whether comments are part of the canonical form.
enum class CanonicalComments { Omit, Keep };

/// The canonical form (Canonical XML 1.0) of an element with its content, as UTF-8: what a same-document
/// reference to it by its Id selects (XML-DSig §4.3.3.3). The namespaces and the xml: attributes (xml:id and xml:base,
/// too) that it inherits are included, as §2.4 requires. There is no recursion, and the time is linear in what is
/// written and in the ancestors, but for the logarithms of how many prefixes there are and attributes in an element,
/// and for comparing the whole namespace of each node.
///
/// The document was read without validation: a schema would add attributes and change texts. One that was built
/// is accepted as well, with `createElement` and plain `xmlns` attributes or with namespaces, since only names and
/// the declarations among the attributes are used. A namespace given only to `createElementNS` is not declared.
/// @throws InvalidXMLDocument when there is no canonical form: a prefix is used without a declaration or is bound to
///         no namespace, the namespace of a node differs from the declared one, an element has an attribute
///         twice, a namespace is a relative reference (Canonical XML requires this failure), an entity is referred to,
///         or a text contains a character that XML 1.0 excludes.
/// @throws std::bad_alloc
std::string canonicalize(const xercesc::DOMElement& apex, CanonicalComments comments);

/// The canonical form of a whole document, with what stands beside its root (§2.1, §2.3).
/// @throws InvalidXMLDocument, std::bad_alloc as above.
std::string canonicalizeDocument(const xercesc::DOMDocument& document, CanonicalComments comments);
/// The canonical form of an element without child elements by Exclusive XML Canonicalization 1.0: of what its ancestors
/// give it, it has the namespaces of the prefixes in its name and in those of its attributes, and nothing else.
/// @throws InvalidXMLDocument as `canonicalize` does, and when the element has child elements.
/// @throws std::bad_alloc
std::string canonicalizeExclusively(const xercesc::DOMElement& leaf, CanonicalComments comments);

/// Appends a text in the form of canonical XML between tags (§2.3), for code that writes such XML itself.
/// @throws InvalidXMLDocument for a character that XML 1.0 excludes; nothing is appended then.
void appendCanonicalText(std::string& out, std::u16string_view text);

/// Appends the value of an attribute or of a namespace declaration, without the quotation marks.
/// @throws InvalidXMLDocument for a character that XML 1.0 excludes; nothing is appended then.
void appendCanonicalAttributeValue(std::string& out, std::u16string_view value);

} // namespace opc::model
