// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace opc::iri {

/// Which texts are taken.
enum class Form {
    Leiri, ///< RFC 3987 IRI references and the legacy extended ones of XML, mapped to RFC 3986
    Uri,   ///< RFC 3986 URI references and nothing else
};

/// In which form components are given.
enum class Encoding {
    AsWritten = 1, ///< percent-escapes are kept
};

/// A parsed IRI reference: absolute, relative or empty.
///
/// It holds the RFC 3986 form of its text: what a URI cannot hold (non-ASCII, and for a LEIRI space, < > " { } | \ ^ `
/// and the control characters of XML) is percent-encoded UTF-8. "%", "#", "[" and "]" are never encoded, so a text
/// that has them in a wrong place is refused. A value: it owns its text and may be shared between threads.
class IRI {
public:
    /// @throws opc::Exception when the text is not a reference of that form, or holds an unpaired surrogate or a
    ///         character that XML 1.0 does not allow.
    explicit IRI(std::u16string_view text, Form form = Form::Leiri);

    bool hasScheme() const noexcept { return schemeEnd_ != 0; }
    /// True with a scheme; a fragment does not matter.
    bool isAbsolute() const noexcept { return hasScheme(); }
    /// True when absolute and the scheme-specific part does not start with "/".
    bool isOpaque() const noexcept;
    /// True with "//" in front of the path, be the authority empty.
    bool hasAuthority() const noexcept { return authorityEnd_ != schemeEnd_; }
    bool hasAbsolutePath() const noexcept;
    /// True with a "?", be the query empty.
    bool hasQuery() const noexcept { return pathEnd_ != queryEnd_; }
    /// True with a "#", be the fragment empty.
    bool hasFragment() const noexcept { return queryEnd_ != text_.size(); }

    /// Without the colon.
    std::u16string getScheme() const;
    /// All between the scheme and the fragment.
    std::u16string getSchemeSpecificPart(Encoding encoding) const;
    std::u16string getAuthority(Encoding encoding) const;
    std::u16string getPath(Encoding encoding) const;
    std::u16string getQuery(Encoding encoding) const;
    std::u16string getFragment(Encoding encoding) const;

    /// The target of this reference as seen from a base (RFC 3986 §5.2, strict).
    ///
    /// A base need not be absolute; then the result is none either. Dot segments are removed as §5.2.4 is written,
    /// which makes "/c" of the reference "../c" and a base "a/b" whose path has no root. A path that could be taken
    /// for an authority or a scheme gets "/." or "./" in front.
    IRI resolveAgainst(const IRI& base) const;

    /// A relative reference from the base to this, the target: `makeRelativeTo(base).resolveAgainst(base)` is the
    /// target again, unless its path has dot segments, which resolving removes.
    ///
    /// The target itself when scheme or authority differ (their case counts), or one of the paths does not start
    /// with "/". The query and the fragment of the target are kept.
    IRI makeRelativeTo(const IRI& base) const;

    std::u16string toAsciiString() const;

private:
    struct Parsed {
        std::string text;
    };
    explicit IRI(Parsed parsed);

    std::string mergeWith(const IRI& base) const;

    std::string_view schemeAndColon() const noexcept { return slice(0, schemeEnd_); }
    std::string_view slashesAndAuthority() const noexcept { return slice(schemeEnd_, authorityEnd_); }
    std::string_view path() const noexcept { return slice(authorityEnd_, pathEnd_); }
    std::string_view questionMarkAndQuery() const noexcept { return slice(pathEnd_, queryEnd_); }
    std::string_view hashAndFragment() const noexcept { return slice(queryEnd_, text_.size()); }
    std::string_view slice(std::size_t begin, std::size_t end) const noexcept;

    // The ASCII text, and where in it each component ends, with the delimiters that belong to it.
    std::string text_;
    std::size_t schemeEnd_ = 0;    // behind ":"; 0 without a scheme
    std::size_t authorityEnd_ = 0; // the end of the scheme without an authority
    std::size_t pathEnd_ = 0;
    std::size_t queryEnd_ = 0;
};

/// A text without the white space at its ends, which xsd:anyURI does not count.
std::u16string_view withoutSpaceAtEnds(std::u16string_view text) noexcept;

/// Whether a text is an xsd:anyURI: a LEIRI but for white space at its ends. The empty text is one.
bool isAnyURI(std::u16string_view text);

} // namespace opc::iri
