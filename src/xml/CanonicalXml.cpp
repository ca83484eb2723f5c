// SPDX-License-Identifier: Apache-2.0
#include "xml/CanonicalXml.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "xml/TreeWalk.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XmlCharacters.hpp"

#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace opc::model {

using xercesc::DOMNode;

namespace {

// Views are of the document's own texts, which outlive the work.
using View = std::u16string_view;

View viewOf(const XMLCh* text) {
    return text == nullptr ? View() : text;
}

std::string toUTF8(View text) {
    throwIfNotXmlText(text);
    return opc::detail::toUTF8String(text);
}

[[noreturn]] void refuse(const char* before, View name, const char* after) {
    throw InvalidXMLDocument("XML content with " + (before + opc::detail::toUTF8String(name, false)) + after +
                             " has no canonical form");
}

// ---- order

/// Surrogates encode characters that sort after every character of one unit.
char32_t rankOf(char16_t unit) {
    return detail::isLeadSurrogate(unit) || detail::isTrailSurrogate(unit) ? unit + 0x10000U : unit;
}

/// The order of code points (Canonical XML 1.0 §2.2), which is not that of UTF-16 units.
bool isBefore(View a, View b) {
    const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return inA == a.end() || inB == b.end() ? inB != b.end() : rankOf(*inA) < rankOf(*inB);
}

struct PrefixOrder {
    bool operator()(View a, View b) const { return isBefore(a, b); }
};

struct AttributeKey {
    View namespaceURI;
    View localName;
};

struct AttributeOrder {
    bool operator()(const AttributeKey& a, const AttributeKey& b) const {
        return a.namespaceURI == b.namespaceURI ? isBefore(a.localName, b.localName)
                                                : isBefore(a.namespaceURI, b.namespaceURI);
    }
};

// ---- names

constexpr View XML_PREFIX = u"xml";
constexpr View XML_NAMESPACE = u"http://www.w3.org/XML/1998/namespace";

struct Name {
    View qualified;
    View prefix;
    View local;

    bool isDeclaration() const { return qualified == u"xmlns" || prefix == u"xmlns"; }
    View declaredPrefix() const { return prefix.empty() ? View() : local; }
};

Name nameOf(const DOMNode& node) {
    const View name = node.getNodeName();
    const auto colon = name.find(u':');
    return colon == View::npos ? Name{name, {}, name} : Name{name, name.substr(0, colon), name.substr(colon + 1)};
}

struct Attribute {
    Name name;
    View value;
    const DOMNode* node;
};

template <class Action>
void forEachAttribute(const DOMNode& element, Action action) {
    const xercesc::DOMNamedNodeMap& attributes = *element.getAttributes();
    const XMLSize_t count = attributes.getLength();
    for (XMLSize_t i = 0; i < count; ++i) {
        const DOMNode& node = *attributes.item(i);
        action(Attribute{nameOf(node), viewOf(node.getNodeValue()), &node});
    }
}

template <class Action>
void forEachDeclaration(const DOMNode& element, Action action) {
    forEachAttribute(
        element,
        [&](const Attribute& attribute) {
            if (attribute.name.isDeclaration())
                action(attribute.name.declaredPrefix(), attribute.value);
        });
}

// ---- namespaces

/// The namespace of each prefix, that of "" being the default one; empty where there is none.
using Namespaces = std::map<View, View, PrefixOrder>;

bool isRelative(View reference) {
    return reference.find(u':') >= reference.find_first_of(u"/?#");
}

void throwIfNoNamespace(View prefix, View uri) {
    if (uri.empty() && !prefix.empty())
        refuse("the prefix \"", prefix, "\" bound to no namespace");
    if (!uri.empty() && isRelative(uri))
        refuse("the relative namespace \"", uri, "\"");
}

/// The namespace declarations in scope. As every element of the canonical form has its parent there, too,
/// a declaration is superfluous exactly when it changes nothing (§2.3).
class Scope {
public:
    /// @return those that the element declares or inherits.
    Namespaces enterApex(const DOMNode& apex) {
        for (const DOMNode* node = &apex; node != nullptr; node = node->getParentNode())
            if (node->getNodeType() == DOMNode::ELEMENT_NODE)
                forEachDeclaration(*node, [&](View prefix, View uri) { declareOuter(prefix, uri); });
        marks_.push_back(0);
        Namespaces declared = bindings_;
        std::erase_if(declared, [](const auto& one) { return one.first == XML_PREFIX || one.second.empty(); });
        return declared;
    }

    /// @return those that change with the element.
    Namespaces enter(const DOMNode& element) {
        marks_.push_back(replaced_.size());
        Namespaces declared;
        forEachDeclaration(element, [&](View prefix, View uri) {
            if (declare(prefix, uri))
                declared.emplace(prefix, uri);
        });
        return declared;
    }

    void leave() {
        for (; replaced_.size() > marks_.back(); replaced_.pop_back())
            replaced_.back().first->second = replaced_.back().second;
        marks_.pop_back();
    }

    View namespaceOf(const Name& name) const {
        const auto binding = bindings_.find(name.prefix);
        const View uri = binding == bindings_.end() ? View() : binding->second;
        if (uri.empty() && !name.prefix.empty())
            refuse("the prefix \"", name.prefix, "\" that is not declared");
        return uri;
    }

private:
    /// The nearest declaration is in effect, and it comes first.
    void declareOuter(View prefix, View uri) {
        if (bindings_.try_emplace(prefix, uri).second)
            throwIfNoNamespace(prefix, uri);
    }

    bool declare(View prefix, View uri) {
        throwIfNoNamespace(prefix, uri);
        const auto binding = bindings_.try_emplace(prefix).first;
        if (binding->second == uri)
            return false;
        replaced_.emplace_back(binding, binding->second);
        binding->second = uri;
        return true;
    }

    Namespaces bindings_{{XML_PREFIX, XML_NAMESPACE}};
    std::vector<std::pair<Namespaces::iterator, View>> replaced_; ///< what to restore, for all open elements
    std::vector<std::size_t> marks_;                              ///< where the entries of each open element begin
};

// ---- attributes

using Attributes = std::map<AttributeKey, Attribute, AttributeOrder>;

/// Without its declaration in an attribute, a namespace that the node was created with would be lost. A node that was
/// created without regard to namespaces has no local name.
void throwIfInAnotherNamespace(const DOMNode& node, View namespaceURI) {
    if (node.getLocalName() != nullptr && viewOf(node.getNamespaceURI()) != namespaceURI)
        refuse("a namespace of \"", node.getNodeName(), "\" that is not the declared one");
}

View namespaceOfAttribute(const Attribute& attribute, const Scope& scope) {
    const View uri = attribute.name.prefix.empty() ? View() : scope.namespaceOf(attribute.name);
    throwIfInAnotherNamespace(*attribute.node, uri);
    return uri;
}

Attributes attributesOf(const DOMNode& element, const Scope& scope) {
    Attributes attributes;
    forEachAttribute(element, [&](const Attribute& attribute) {
        if (attribute.name.isDeclaration())
            return;
        const AttributeKey key{namespaceOfAttribute(attribute, scope), attribute.name.local};
        if (!attributes.emplace(key, attribute).second)
            refuse("the attribute \"", attribute.name.qualified, "\" twice in an element");
    });
    return attributes;
}

/// Adds the nearest xml: attributes of the ancestors that the element does not have itself (§2.4).
void inheritXmlAttributes(Attributes& attributes, const DOMNode& apex) {
    for (const DOMNode* node = apex.getParentNode(); node != nullptr; node = node->getParentNode()) {
        if (node->getNodeType() == DOMNode::ELEMENT_NODE) {
            forEachAttribute(
                *node,
                [&](const Attribute& attribute) {
                    if (attribute.name.prefix == XML_PREFIX)
                        attributes.emplace(AttributeKey{XML_NAMESPACE, attribute.name.local}, attribute);
                });
        }
    }
}

// ---- writing

class CanonicalWriter {
public:
    explicit CanonicalWriter(CanonicalComments comments) : comments_(comments) {}

    std::string write(const DOMNode& apex) {
        writeApexTag(apex);
        return writeContent(apex);
    }

    /// Of the namespaces in scope an element without child elements uses those of its prefix and of its attributes'.
    std::string writeExclusively(const DOMNode& leaf) {
        Namespaces declared = scope_.enterApex(leaf);
        const Attributes attributes = attributesOf(leaf, scope_);
        const auto isUsed = [&](View prefix) {
            return prefix == nameOf(leaf).prefix ||
                   std::any_of(
                       attributes.begin(), attributes.end(),
                       [prefix](const auto& attribute) {
                           return !prefix.empty() && attribute.second.name.prefix == prefix;
                       });
        };
        std::erase_if(declared, [&](const auto& one) { return !isUsed(one.first); });
        writeTag(leaf, declared, attributes);
        return writeContent(leaf);
    }

    /// Empty for what has no canonical form, such as an omitted comment.
    std::string writeChildOfDocument(const DOMNode& node) {
        if (node.getNodeType() == DOMNode::ELEMENT_NODE)
            return write(node);
        writeNode(node);
        return std::move(out_);
    }

private:
    std::string writeContent(const DOMNode& apex) {
        TreeWalk walk(&apex);
        while (const DOMNode* node = walk.next()) {
            closeDownTo(walk.depth());
            writeNode(*node);
        }
        closeDownTo(0);
        return std::move(out_);
    }

    void writeApexTag(const DOMNode& apex) {
        const Namespaces declared = scope_.enterApex(apex);
        Attributes attributes = attributesOf(apex, scope_);
        inheritXmlAttributes(attributes, apex);
        writeTag(apex, declared, attributes);
    }

    void writeElementTag(const DOMNode& element) {
        const Namespaces declared = scope_.enter(element);
        writeTag(element, declared, attributesOf(element, scope_));
    }

    void writeTag(const DOMNode& element, const Namespaces& declared, const Attributes& attributes) {
        const Name name = nameOf(element);
        throwIfInAnotherNamespace(element, scope_.namespaceOf(name));
        open_.push_back(name.qualified);
        out_ += '<' + toUTF8(name.qualified);
        for (const auto& [prefix, uri] : declared)
            writeAttribute((prefix.empty() ? "xmlns" : "xmlns:") + toUTF8(prefix), uri);
        for (const auto& [key, attribute] : attributes)
            writeAttribute(toUTF8(attribute.name.qualified), attribute.value);
        out_ += '>';
    }

    void writeAttribute(const std::string& name, View value) {
        out_ += ' ' + name + "=\"";
        appendCanonicalAttributeValue(out_, value);
        out_ += '"';
    }

    void closeDownTo(std::size_t depth) {
        for (; open_.size() > depth; open_.pop_back()) {
            out_ += "</" + toUTF8(open_.back()) + '>';
            scope_.leave();
        }
    }

    void writeNode(const DOMNode& node) {
        switch (node.getNodeType()) {
        case DOMNode::ELEMENT_NODE:
            return writeElementTag(node);
        case DOMNode::TEXT_NODE:
        case DOMNode::CDATA_SECTION_NODE:
            return appendCanonicalText(out_, viewOf(node.getNodeValue()));
        case DOMNode::PROCESSING_INSTRUCTION_NODE:
            return writeInstruction(node.getNodeName(), viewOf(node.getNodeValue()));
        case DOMNode::COMMENT_NODE:
            return writeComment(viewOf(node.getNodeValue()));
        default:
            refuse("a reference to the entity \"", node.getNodeName(), "\"");
        }
    }

    void writeInstruction(View target, View data) {
        out_ += "<?" + toUTF8(target) + (data.empty() ? "" : " ") + toUTF8(data) + "?>";
    }

    void writeComment(View text) {
        if (comments_ == CanonicalComments::Keep)
            out_ += "<!--" + toUTF8(text) + "-->";
    }

    const CanonicalComments comments_;
    std::string out_;
    Scope scope_;
    std::vector<View> open_; ///< the names of the open elements
};

/// Null for a byte that is never escaped.
const char* escapeOf(char byte) {
    switch (byte) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#x9;";
    case '\n':
        return "&#xA;";
    case '\r':
        return "&#xD;";
    default:
        return nullptr;
    }
}

/// Appends the bytes, escaping those that have an escape and are not allowed as they are.
template <class IsAllowed>
void appendEscaped(std::string& out, const std::string& bytes, IsAllowed isAllowed) {
    auto copied = bytes.begin();
    for (auto byte = bytes.begin(); byte != bytes.end(); ++byte) {
        if (*byte > '>' || escapeOf(*byte) == nullptr || isAllowed(*byte))
            continue;
        out.append(copied, byte);
        out += escapeOf(*byte);
        copied = byte + 1;
    }
    out.append(copied, bytes.end());
}

} // namespace

std::string canonicalize(const xercesc::DOMElement& apex, CanonicalComments comments) {
    return translatingXercesErrors([&] { return CanonicalWriter(comments).write(apex); });
}

std::string canonicalizeDocument(const xercesc::DOMDocument& document, CanonicalComments comments) {
    return translatingXercesErrors([&] {
        std::string out;
        for (const DOMNode* node = document.getFirstChild(); node != nullptr; node = node->getNextSibling()) {
            const std::string text = CanonicalWriter(comments).writeChildOfDocument(*node);
            if (!text.empty() && !out.empty())
                out += '\n';
            out += text;
        }
        return out;
    });
}

std::string canonicalizeExclusively(const xercesc::DOMElement& leaf, CanonicalComments comments) {
    if (leaf.getFirstElementChild() != nullptr)
        refuse("child elements in \"", leaf.getNodeName(), "\"");
    return translatingXercesErrors([&] { return CanonicalWriter(comments).writeExclusively(leaf); });
}

void appendCanonicalText(std::string& out, std::u16string_view text) {
    appendEscaped(
        out, toUTF8(text), [](char byte) { return byte == '"' || byte == '\t' || byte == '\n'; });
}

void appendCanonicalAttributeValue(std::string& out, std::u16string_view value) {
    appendEscaped(
        out, toUTF8(value), [](char byte) { return byte == '>'; });
}

} // namespace opc::model
