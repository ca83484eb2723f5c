// SPDX-License-Identifier: Apache-2.0
#include "iri/IRI.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <uriparser/Uri.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace opc::iri {

namespace {

// RFC 3987 §3.1 for what is not ASCII; the rest is what a LEIRI adds.
constexpr bool isMapped(char character) noexcept {
    const auto byte = static_cast<unsigned char>(character);
    return byte <= 0x20 || byte >= 0x7F || std::string_view("<>\"{}|\\^`").find(character) != std::string_view::npos;
}

std::string mapToURI(std::string_view utf8) {
    std::string mapped;
    mapped.reserve(utf8.size());
    for (const char character : utf8)
        if (isMapped(character))
            detail::appendEscape(mapped, static_cast<unsigned char>(character));
        else
            mapped += character;
    return mapped;
}

std::string toURIForm(std::u16string_view text, Form form) {
    // The conversion to UTF-8 finds unpaired surrogates.
    const auto found = std::find_if_not(text.begin(), text.end(), detail::isXMLUnit);
    if (found != text.end())
        throw Exception("The text is not an IRI: XML does not allow the character at position " +
                        std::to_string(found - text.begin()) + ".");
    std::string utf8 = detail::toUTF8String(text);
    return form == Form::Leiri ? mapToURI(utf8) : utf8;
}

/// Most names of parts, most targets and the references of signatures: an absolute path with a query, or a path of
/// unreserved characters alone. These are always a URI reference.
bool isPlainReference(const std::string& text) noexcept {
    if (text.starts_with('/') && !text.starts_with("//"))
        return std::all_of(
            text.begin(), text.end(), [](char32_t c) { return detail::isPathCharacter(c) || c == U'?'; });
    return std::all_of(text.begin(), text.end(), [](char32_t c) { return detail::isUnreserved(c) || c == U'/'; });
}

/// Most relationship types and hyperlinks: a scheme, a host name, a path and a query. These are a URI, too.
bool isPlainAddress(std::string_view text) noexcept {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::size_t host = std::min(colon + 3, text.size());
    const std::size_t path = std::min(text.find('/', host), text.size());
    return colon > 0 && text.substr(colon, 3) == "://" &&
           std::all_of(text.begin(), text.begin() + colon, detail::isLetter) &&
           std::all_of(text.begin() + host, text.begin() + path, detail::isUnreserved) &&
           std::all_of(text.begin() + path, text.end(),
                       [](char32_t c) { return detail::isPathCharacter(c) || c == U'?'; });
}

void throwIfNotURIReference(const std::string& text) {
    if (isPlainReference(text) || isPlainAddress(text))
        return;
    UriUriA uri{};
    const char* error = nullptr;
    const int code = uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), &error);
    const std::unique_ptr<UriUriA, decltype(&uriFreeUriMembersA)> guard(&uri, uriFreeUriMembersA);
    if (code == URI_ERROR_MALLOC)
        throw std::bad_alloc();
    if (code != URI_SUCCESS)
        throw Exception("The text is not a URI reference: it breaks the syntax of RFC 3986 at position " +
                        std::to_string(error == nullptr ? 0 : error - text.data()) + " of its URI form.");
}

// RFC 3986 §5.2.4, with the names of its steps.
std::string removeDotSegments(std::string_view input) {
    std::string output;
    output.reserve(input.size());
    while (!input.empty()) {
        if (input.starts_with("../")) { // A
            input.remove_prefix(3);
        } else if (input.starts_with("./") || input.starts_with("/./")) { // A, B
            input.remove_prefix(2);
        } else if (input == "/.") { // B
            input = "/";
        } else if (input.starts_with("/../") || input == "/..") { // C
            input = input.size() == 3 ? "/" : input.substr(3);
            const std::size_t slash = output.rfind('/');
            output.resize(slash == std::string::npos ? 0 : slash);
        } else if (input == "." || input == "..") { // D
            break;
        } else { // E
            const std::size_t end = std::min(input.find('/', 1), input.size());
            output += input.substr(0, end);
            input.remove_prefix(end);
        }
    }
    return output;
}

bool hasColonInFirstSegment(std::string_view path) noexcept {
    return path.substr(0, path.find('/')).find(':') != std::string_view::npos;
}

// What stands in front of a path so that it reads back as this path (RFC 3986 §3.3).
std::string_view getPathGuard(bool hasScheme, bool hasAuthority, std::string_view path) noexcept {
    if (!hasAuthority && path.starts_with("//"))
        return "/.";
    return !hasScheme && hasColonInFirstSegment(path) ? "./" : "";
}

std::string compose(std::string_view scheme, std::string_view authority, std::string_view path, std::string_view query,
                    std::string_view fragment) {
    std::string text(scheme);
    text += authority;
    text += getPathGuard(!scheme.empty(), !authority.empty(), path);
    text += path;
    text += query;
    return text += fragment;
}

// The way from a base path to a target path, both with a leading slash.
std::string makeRelativePath(std::string_view base, std::string_view target) {
    const std::string folder = removeDotSegments(base.substr(0, base.rfind('/') + 1));
    std::size_t common = 0;
    for (std::size_t i = 0; i < folder.size() && i < target.size() && folder[i] == target[i]; ++i)
        if (folder[i] == '/')
            common = i + 1;

    std::string way;
    for (auto ups = std::count(folder.begin() + static_cast<std::ptrdiff_t>(common), folder.end(), '/'); ups > 0; --ups)
        way += "../";
    const std::string_view rest = target.substr(common);
    // Alone, these would mean the base itself, another root, another authority or a scheme.
    if (way.empty() && (rest.empty() || rest.front() == '/' || hasColonInFirstSegment(rest)))
        way = "./";
    return way.append(rest);
}

std::u16string widen(std::string_view ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

} // namespace

IRI::IRI(std::u16string_view text, Form form) : IRI(Parsed{toURIForm(text, form)}) {
    throwIfNotURIReference(text_);
}

// RFC 3986 Appendix B: this tells the components of every valid reference apart.
IRI::IRI(Parsed parsed) : text_(std::move(parsed.text)) {
    queryEnd_ = std::min(text_.find('#'), text_.size());
    pathEnd_ = std::min(text_.find('?'), queryEnd_);
    const std::size_t colon = text_.find_first_of(":/");
    if (colon < pathEnd_ && text_[colon] == ':')
        schemeEnd_ = colon + 1;
    authorityEnd_ = schemeEnd_;
    if (std::string_view(text_).substr(schemeEnd_).starts_with("//"))
        authorityEnd_ = std::min(text_.find('/', schemeEnd_ + 2), pathEnd_);
}

std::string_view IRI::slice(std::size_t begin, std::size_t end) const noexcept {
    return std::string_view(text_.data() + begin, end - begin);
}

bool IRI::isOpaque() const noexcept {
    return isAbsolute() && !hasAuthority() && !hasAbsolutePath();
}

bool IRI::hasAbsolutePath() const noexcept {
    return path().starts_with('/');
}

std::u16string IRI::getScheme() const {
    return hasScheme() ? widen(slice(0, schemeEnd_ - 1)) : std::u16string();
}

std::u16string IRI::getSchemeSpecificPart(Encoding /*encoding*/) const {
    return widen(slice(schemeEnd_, queryEnd_));
}

std::u16string IRI::getAuthority(Encoding /*encoding*/) const {
    return hasAuthority() ? widen(slice(schemeEnd_ + 2, authorityEnd_)) : std::u16string();
}

std::u16string IRI::getPath(Encoding /*encoding*/) const {
    return widen(path());
}

std::u16string IRI::getQuery(Encoding /*encoding*/) const {
    return hasQuery() ? widen(slice(pathEnd_ + 1, queryEnd_)) : std::u16string();
}

std::u16string IRI::getFragment(Encoding /*encoding*/) const {
    return hasFragment() ? widen(slice(queryEnd_ + 1, text_.size())) : std::u16string();
}

IRI IRI::resolveAgainst(const IRI& base) const {
    // RFC 3986 §5.2.2, without its loophole for references that repeat the scheme of the base.
    if (hasScheme() || hasAuthority()) {
        const std::string_view scheme = hasScheme() ? schemeAndColon() : base.schemeAndColon();
        return IRI(Parsed{compose(scheme, slashesAndAuthority(), removeDotSegments(path()), questionMarkAndQuery(),
                                  hashAndFragment())});
    }
    const auto onBase = [&](std::string_view path, std::string_view query) {
        return IRI(Parsed{compose(base.schemeAndColon(), base.slashesAndAuthority(), path, query, hashAndFragment())});
    };
    if (path().empty())
        return onBase(base.path(), hasQuery() ? questionMarkAndQuery() : base.questionMarkAndQuery());
    return onBase(removeDotSegments(hasAbsolutePath() ? std::string(path()) : mergeWith(base)), questionMarkAndQuery());
}

// RFC 3986 §5.2.3
std::string IRI::mergeWith(const IRI& base) const {
    if (base.hasAuthority() && base.path().empty())
        return std::string("/").append(path());
    return std::string(base.path().substr(0, base.path().rfind('/') + 1)).append(path());
}

IRI IRI::makeRelativeTo(const IRI& base) const {
    if (schemeAndColon() != base.schemeAndColon() || slashesAndAuthority() != base.slashesAndAuthority() ||
        !hasAbsolutePath() || !base.hasAbsolutePath())
        return *this;
    return IRI(
        Parsed{compose("", "", makeRelativePath(base.path(), path()), questionMarkAndQuery(), hashAndFragment())});
}

std::u16string IRI::toAsciiString() const {
    return widen(text_);
}

std::u16string_view withoutSpaceAtEnds(std::u16string_view text) noexcept {
    constexpr std::u16string_view space = u" \t\r\n";
    const std::size_t begin = std::min(text.find_first_not_of(space), text.size());
    return text.substr(begin, text.find_last_not_of(space) + 1 - begin);
}

bool isAnyURI(std::u16string_view text) {
    try {
        const IRI parsed(withoutSpaceAtEnds(text));
        return true;
    } catch (const Exception&) {
        return false;
    }
}

} // namespace opc::iri
