// SPDX-License-Identifier: Apache-2.0
#include "compare/XmlIdentity.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/PlainXml.hpp>
#include <opc/crypto/CryptoEngine.hpp>

#include "compare/XmlReading.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace opc::compare {

namespace {

using detail::XmlEventAttribute;
using detail::XmlEventElement;
using detail::XmlEventName;

constexpr std::string_view SCHEMA_INSTANCE = "http://www.w3.org/2001/XMLSchema-instance";

/// Length first, so that no two sequences of texts give the same bytes.
void appendField(std::string& out, std::string_view text) {
    out.append(std::to_string(text.size())).append(":").append(text);
}

bool isNameByte(char each) {
    const auto byte = static_cast<unsigned char>(each);
    return byte >= 0x80 || detail::isLetter(byte) || detail::isDigit(byte) || each == '_' || each == '-' || each == '.';
}

/// The namespaces that are in scope.
class NamespaceScope {
public:
    void push(const std::vector<detail::XmlEventNamespace>& declarations) {
        std::vector<std::string>& prefixes = declared_.emplace_back();
        for (const auto& [prefix, uri] : declarations) {
            meanings_[std::string(prefix)].emplace_back(uri);
            prefixes.emplace_back(prefix);
        }
    }

    void pop() {
        for (const std::string& prefix : declared_.back())
            if (const auto found = meanings_.find(prefix); found->second.size() > 1)
                found->second.pop_back();
            else
                meanings_.erase(found);
        declared_.pop_back();
    }

    /// Null for a prefix without a meaning.
    const std::string* find(std::string_view prefix) const {
        const auto found = meanings_.find(prefix);
        return found == meanings_.end() ? nullptr : &found->second.back();
    }

private:
    std::map<std::string, std::vector<std::string>, std::less<>> meanings_;
    std::vector<std::vector<std::string>> declared_;
};

/// Whether a value is a list of prefixes, or of names with prefixes.
bool holdsPrefixes(const XmlEventName& element, const XmlEventName& attribute) {
    constexpr std::array<std::string_view, 5> lists{"Ignorable", "MustUnderstand", "ProcessContent", "PreserveElements",
                                                    "PreserveAttributes"};
    if (attribute.uri == detail::MARKUP_COMPATIBILITY_NAMESPACE)
        return std::find(lists.begin(), lists.end(), attribute.local) != lists.end();
    if (attribute.uri == SCHEMA_INSTANCE)
        return attribute.local == "type";
    return attribute.uri.empty() && attribute.local == "Requires" &&
           element.uri == detail::MARKUP_COMPATIBILITY_NAMESPACE;
}

/// Calls an action with what white space of XML divides, until it returns false.
template <class Action>
void forEachWord(std::string_view value, Action action) {
    constexpr std::string_view SPACE = " \t\r\n";
    for (std::size_t begin = value.find_first_not_of(SPACE); begin < value.size();) {
        const std::size_t end = std::min(value.find_first_of(SPACE, begin), value.size());
        if (!action(value.substr(begin, end - begin)))
            return;
        begin = value.find_first_not_of(SPACE, end);
    }
}

/// Ends the reading of a document that would take too much memory.
struct TooManyNodes {};

class Identity final : public detail::XmlEventHandler {
public:
    Identity(const IdTargets& ids, const IdentityOptions& options)
        : ids_(ids), options_(options),
          engine_(crypto::CryptoEngine::createDigestEngine(crypto::DigestAlgorithm::SHA256)) {
        open_.emplace_back();
    }

    void startElement(const XmlEventElement& element) override {
        flushText();
        scope_.push(element.declarations);
        XmlEventElement sorted = element;
        sortAttributes(sorted);
        std::string form = "E";
        appendField(form, element.name.uri);
        appendField(form, element.name.local);
        for (const XmlEventAttribute& each : sorted.attributes)
            appendAttribute(form, element.name, each);
        if (options_.ignoresOrder)
            open_.push_back({std::move(form), {}});
        else
            update(form);
    }

    void endElement() override {
        flushText();
        scope_.pop();
        if (!options_.ignoresOrder)
            return update("X");
        Open ended = std::move(open_.back());
        open_.pop_back();
        addChild(digestOf(ended));
    }

    void text(std::string_view piece) override { text_ += piece; }

    void comment(std::string_view /*text*/) override {}

    void instruction(std::string_view target, std::string_view data) override {
        flushText();
        std::string form = "P";
        appendField(form, target);
        appendValue(form, data);
        add(form);
    }

    std::vector<unsigned char> take() {
        if (options_.ignoresOrder)
            update(digestOf(open_.back()));
        return engine_.finish();
    }

private:
    /// An element that did not end yet, with the digests of its children; the first one is the document.
    struct Open {
        std::string form;
        std::vector<std::string> children;
    };

    void update(std::string_view bytes) {
        engine_.update(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    }

    std::string digestOf(Open& node) {
        std::sort(node.children.begin(), node.children.end());
        update(node.form);
        for (const std::string& child : node.children)
            update(child);
        const std::vector<unsigned char> digest = engine_.finish();
        return {digest.begin(), digest.end()};
    }

    void addChild(std::string digest) {
        if (++nodes_ > options_.limits.xmlNodes)
            throw TooManyNodes();
        open_.back().children.push_back(std::move(digest));
    }

    void add(const std::string& form) {
        if (!options_.ignoresOrder)
            return update(form);
        Open leaf{form, {}};
        addChild(digestOf(leaf));
    }

    void flushText() {
        if (options_.ignoresBlanks && detail::isXmlSpace(text_))
            text_.clear();
        if (text_.empty())
            return;
        std::string form = "T";
        appendValue(form, text_);
        text_.clear();
        add(form);
    }

    void appendAttribute(std::string& form, const XmlEventName& element, const XmlEventAttribute& attribute) {
        form += 'A';
        appendField(form, attribute.name.uri);
        appendField(form, attribute.name.local);
        // Some programs go by the prefix itself.
        if (attribute.name.uri.empty() && attribute.name.local == "Requires")
            appendField(form, attribute.value);
        const bool isId = options_.ignoresIds && isRelationshipId(attribute.name.uri, attribute.name.local);
        if (holdsPrefixes(element, attribute.name))
            appendField(form += 'N', withNamespaces(attribute.value, attribute.name.uri != SCHEMA_INSTANCE));
        else if (!isId || !appendTarget(form, attribute.value))
            appendList(form, attribute.value);
    }

    /// A value as it is; where it is a list of prefixes that are declared, as formats other than Markup Compatibility
    /// have them, with what they stand for.
    void appendList(std::string& form, std::string_view value) const {
        appendValue(form, value);
        bool isList = false;
        forEachWord(value, [&](std::string_view word) { return isList = scope_.find(word) != nullptr; });
        if (isList)
            appendField(form += 'L', withNamespaces(value, true));
    }

    /// @return whether the value is an Id.
    bool appendTarget(std::string& form, std::string_view value) const {
        const auto id = ids_.find(value);
        if (id == ids_.end())
            return false;
        appendField(form += 'R', id->second);
        return true;
    }

    /// A text as it is, and what the Ids and prefixes that seem to be in it stand for.
    void appendValue(std::string& form, std::string_view value) const {
        appendField(form += 'V', value);
        std::set<std::string_view> seen;
        if (!options_.ignoresIds && !ids_.empty())
            forEachWord(value, [&](std::string_view word) {
                if (ids_.count(word) > 0 && seen.insert(word).second)
                    appendTarget(form, word);
                return true;
            });
        seen.clear();
        std::size_t begin = 0;
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (isNameByte(value[i]))
                continue;
            const std::string_view prefix = value.substr(begin, i - begin);
            begin = i + 1;
            const std::string* uri = value[i] == ':' && !prefix.empty() ? scope_.find(prefix) : nullptr;
            if (uri != nullptr && seen.insert(prefix).second)
                appendField(form += 'U', *uri);
        }
    }

    /// The words of a value, with numbers of namespaces for their prefixes, and these namespaces, each once.
    /// @param isPrefix whether a word without a colon is a prefix itself; else it is a name in the default namespace.
    std::string withNamespaces(std::string_view value, bool isPrefix) const {
        std::string text;
        std::map<std::string_view, std::size_t> numbers;
        std::string namespaces;
        const char* end = value.data();
        forEachWord(value, [&](std::string_view word) {
            text.append(end, word.data()); // the space between
            end = word.data() + word.size();
            const std::size_t colon = word.find(':');
            const bool hasPrefix = isPrefix || colon != word.npos;
            const std::string_view prefix = hasPrefix ? word.substr(0, colon) : std::string_view();
            if (const std::string* uri = scope_.find(prefix)) {
                const auto [found, isNew] = numbers.emplace(*uri, numbers.size());
                if (isNew)
                    appendField(namespaces, *uri);
                text.append("{").append(std::to_string(found->second)).append("}");
            } else {
                text.append("{}").append(prefix);
            }
            text.append(word.substr(prefix.size()));
            return true;
        });
        std::string form;
        appendField(form, text.append(end, value.data() + value.size()));
        return form + namespaces;
    }

    const IdTargets& ids_;
    const IdentityOptions& options_;
    crypto::DigestEngine engine_;
    NamespaceScope scope_;
    std::vector<Open> open_;
    std::uint64_t nodes_ = 0;
    std::string text_;
};

} // namespace

std::optional<std::vector<unsigned char>> identifyXml(InputStream& stream, const IdTargets& ids,
                                                      const IdentityOptions& options, std::string& problem) {
    Identity identity(ids, options);
    try {
        const detail::XmlEventFault fault = readXml(stream, options.limits, identity);
        if (fault.fault == detail::XmlFault::None)
            return identity.take();
        problem = faultText(fault);
    } catch (const TooManyNodes&) {
        problem = "more than " + std::to_string(options.limits.xmlNodes) + " nodes";
    }
    return std::nullopt;
}

} // namespace opc::compare
