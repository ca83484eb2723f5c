// SPDX-License-Identifier: Apache-2.0
#include <opc/model/URI.hpp>

#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "iri/IRI.hpp"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <ostream>

namespace opc::model {

namespace {

// One fixed form for every component: the text as written.
constexpr iri::Encoding COMPONENT_ENCODING = iri::Encoding::AsWritten;

void throwIfNotASCII(const std::u16string& text) {
    if (std::any_of(text.begin(), text.end(), [](char16_t unit) { return unit > 0x7F; }))
        throw InvalidURI("Could not successfully parse URI string. URI must contain only US-ASCII.");
}

} // namespace

/// Keeps of the parsed reference what is asked for often; the rest is found in the text, or parsed anew. A package has
/// thousands of them.
class URI::Impl {
public:
    explicit Impl(const std::u16string& text) : text_(text) {
        if (isPlainPath(text)) {
            hasAbsolutePath_ = text.starts_with(getSlash());
            return;
        }
        throwIfNotASCII(text);
        keep(parse());
    }

    /// Of a reference that is not opaque.
    std::u16string_view path() const noexcept {
        std::u16string_view path = text_;
        if (hasQuery_ || hasFragment_)
            path = path.substr(0, path.find_first_of(u"?#"));
        if (hasScheme_)
            path.remove_prefix(path.find(getColon()) + 1);
        if (hasAuthority_) // behind its two slashes
            path.remove_prefix(std::min(path.find(getSlash(), 2), path.size()));
        return path;
    }

    iri::IRI parse() const { return iri::IRI(text_, iri::Form::Uri); }

    const std::u16string text_;
    bool hasScheme_ = false;
    bool isOpaque_ = false;
    bool hasAuthority_ = false;
    bool hasAbsolutePath_ = false;
    bool hasQuery_ = false;
    bool hasFragment_ = false;

private:
    /// Most names of parts and most targets are paths without escapes and colons; these need no parser.
    static bool isPlainPath(std::u16string_view text) noexcept {
        return !text.starts_with(u"//") &&
               std::all_of(
                   text.begin(), text.end(),
                   [](char16_t unit) { return detail::isPathCharacter(unit) && unit != getColon(); });
    }

    // An accepted text is ASCII and mapped to itself, so that every component has the same offset in the parsed text.
    void keep(const iri::IRI& iri) {
        hasScheme_ = iri.hasScheme();
        isOpaque_ = iri.isOpaque();
        hasAuthority_ = iri.hasAuthority();
        hasAbsolutePath_ = iri.hasAbsolutePath();
        hasQuery_ = iri.hasQuery();
        hasFragment_ = iri.hasFragment();
    }
};

const char* const URI::RESERVED = ":/?#[]@!$&'()*+,;=";
const char* const URI::UNRESERVED = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

URI::URI(const std::u16string& text) {
    init(text);
}

URI::URI(const char16_t* text) {
    init(text == nullptr ? std::u16string() : std::u16string(text));
}

URI::URI(const std::string& utf8) {
    init(fromUTF8(utf8));
}

URI::URI(const char* utf8) {
    init(utf8 == nullptr ? std::u16string() : fromUTF8(utf8));
}

void URI::init(const std::u16string& text) {
    try {
        impl_ = boost::make_shared<const Impl>(text);
    } catch (const Exception&) {
        // Whatever the reason, callers see one message.
        throw InvalidURI("Could not successfully parse URI string.");
    }
}

std::u16string URI::toString() const {
    return impl_->text_;
}

std::string URI::toUTF8() const {
    return opc::toUTF8(view());
}

std::size_t URI::hash() const noexcept {
    return detail::hashFolded(view());
}

std::ostream& operator<<(std::ostream& stream, const URI& uri) {
    return stream << uri.toUTF8();
}

std::u16string_view URI::view() const noexcept {
    return impl_->text_;
}

std::u16string_view URI::pathView() const noexcept {
    return isOpaque() ? std::u16string_view() : impl_->path();
}

bool URI::isAbsolute() const noexcept {
    return impl_->hasScheme_;
}

bool URI::isOpaque() const noexcept {
    return impl_->isOpaque_;
}

bool URI::hasScheme() const noexcept {
    return impl_->hasScheme_;
}

std::u16string URI::getScheme() const {
    return hasScheme() ? impl_->parse().getScheme() : std::u16string();
}

std::u16string URI::getSchemeSpecificPart() const {
    return impl_->parse().getSchemeSpecificPart(COMPONENT_ENCODING);
}

bool URI::hasAuthority() const noexcept {
    return !isOpaque() && impl_->hasAuthority_;
}

std::u16string URI::getAuthority() const {
    return hasAuthority() ? impl_->parse().getAuthority(COMPONENT_ENCODING) : std::u16string();
}

bool URI::hasAbsolutePath() const noexcept {
    return !isOpaque() && impl_->hasAbsolutePath_;
}

std::u16string URI::getPath() const {
    return std::u16string(pathView());
}

bool URI::hasQuery() const noexcept {
    return !isOpaque() && impl_->hasQuery_;
}

std::u16string URI::getQuery() const {
    return hasQuery() ? impl_->parse().getQuery(COMPONENT_ENCODING) : std::u16string();
}

bool URI::hasFragment() const noexcept {
    return impl_->hasFragment_;
}

std::u16string URI::getFragment() const {
    return hasFragment() ? impl_->parse().getFragment(COMPONENT_ENCODING) : std::u16string();
}

std::u16string URI::percentEncode(const std::u16string& text, const std::string& allowed) {
    std::string encoded;
    for (const char character : detail::toUTF8String(text, true)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80 && allowed.find(character) != std::string::npos)
            encoded += character;
        else
            detail::appendEscape(encoded, byte);
    }
    return opc::toString(encoded, true);
}

std::u16string URI::encodeComponent(const std::u16string& text, std::string extra) {
    return percentEncode(text, UNRESERVED + extra);
}

std::u16string URI::encodeIRI(const std::u16string& text) {
    return percentEncode(text, std::string(UNRESERVED) + RESERVED);
}

bool URI::operator==(const URI& other) const noexcept {
    return impl_ == other.impl_ || caselessCompare(impl_->text_, other.impl_->text_) == 0;
}

bool URI::operator!=(const URI& other) const noexcept {
    return !(*this == other);
}

bool URI::operator<(const URI& other) const noexcept {
    return caselessCompare(impl_->text_, other.impl_->text_) < 0;
}

int URI::compare(const std::u16string& text) const noexcept {
    return caselessCompare(impl_->text_, text);
}

bool operator==(const URI& uri, const std::u16string& text) noexcept {
    return uri.compare(text) == 0;
}

bool operator!=(const URI& uri, const std::u16string& text) noexcept {
    return uri.compare(text) != 0;
}

bool operator<(const URI& uri, const std::u16string& text) noexcept {
    return uri.compare(text) < 0;
}

bool operator==(const std::u16string& text, const URI& uri) noexcept {
    return uri.compare(text) == 0;
}

bool operator!=(const std::u16string& text, const URI& uri) noexcept {
    return uri.compare(text) != 0;
}

bool operator<(const std::u16string& text, const URI& uri) noexcept {
    return uri.compare(text) > 0;
}

URI resolve(const URI& base, const URI& reference) {
    if (base.isOpaque() || reference.isOpaque())
        throw UnsupportedResolve("URIs must be hierarchical URIs.");
    return reference.impl_->parse().resolveAgainst(base.impl_->parse()).toAsciiString();
}

URI relativize(const URI& source, const URI& target) {
    if (source.isOpaque() || target.isOpaque())
        throw UnsupportedRelativize("URIs must be hierarchical URIs.");
    const auto isRelativeWithAbsolutePath = [](const URI& uri) { return !uri.isAbsolute() && uri.hasAbsolutePath(); };
    if (!isRelativeWithAbsolutePath(source) || !isRelativeWithAbsolutePath(target))
        throw UnsupportedRelativize("URIs must be relative URIs, where the source and target URI have absolute paths.");
    if (target.getPath() == source.getPath())
        throw UnsupportedRelativize("URI's paths must be different.");
    return target.impl_->parse().makeRelativeTo(source.impl_->parse()).toAsciiString();
}

} // namespace opc::model
