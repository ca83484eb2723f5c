// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace opc::model {

/// A URI reference (RFC 3986 §4.1): part names, relationship sources and targets, signature references.
///
/// It keeps the exact text that it was built from. An immutable value: copies share one implementation and may be
/// read from several threads.
class OPCRAFT_API URI {
public:
    /// Every character that RFC 3986 §2.2 reserves.
    static const char* const RESERVED;
    /// Every character that RFC 3986 §2.3 leaves unreserved.
    static const char* const UNRESERVED;

    static constexpr char16_t getColon() noexcept { return u':'; }
    static constexpr char16_t getDot() noexcept { return u'.'; }
    static constexpr char16_t getSlash() noexcept { return u'/'; }

    /// The empty text is an empty relative reference.
    /// @throws InvalidURI when the text is not a URI reference, or not US-ASCII (an IRI must be encoded first).
    URI(const std::u16string& text);
    /// As above; null is the empty text.
    URI(const char16_t* text);
    // The same of a text in UTF-8, as `fromUTF8` reads it; null is the empty text.
    URI(const std::string& utf8);
    URI(const char* utf8);

    // Only copies: a moved-from URI would be invalid.
    URI(const URI&) = default;
    URI& operator=(const URI&) = default;

    /// The text as it was given.
    std::u16string toString() const;
    /// The same, which is US-ASCII.
    std::string toUTF8() const;

    /// True when it has a scheme.
    bool isAbsolute() const noexcept;
    /// True when it has a scheme and what follows does not start with a slash ("mailto:a@b").
    bool isOpaque() const noexcept;

    // The components as written, percent-escapes kept; empty when absent. An opaque URI has neither authority, path
    // nor query; but it has its fragment and scheme-specific part.
    bool hasScheme() const noexcept;
    std::u16string getScheme() const;
    std::u16string getSchemeSpecificPart() const;
    bool hasAuthority() const noexcept;
    std::u16string getAuthority() const;
    bool hasAbsolutePath() const noexcept;
    std::u16string getPath() const;
    bool hasQuery() const noexcept;
    std::u16string getQuery() const;
    bool hasFragment() const noexcept;
    std::u16string getFragment() const;

    /// The text with every byte of its UTF-8 form that is not an allowed ASCII character as "%XX".
    /// "%" itself is encoded too unless allowed.
    /// @throws opc::Exception for an unpaired surrogate.
    static std::u16string percentEncode(const std::u16string& text, const std::string& allowed);
    /// Encodes all but the unreserved characters and those in `extra`.
    /// @throws opc::Exception for an unpaired surrogate.
    static std::u16string encodeComponent(const std::u16string& text, std::string extra);
    /// Encodes all but the unreserved and the reserved characters. An encoded text is encoded again.
    /// @throws opc::Exception for an unpaired surrogate.
    static std::u16string encodeIRI(const std::u16string& text);

    // The texts compared with the ASCII letters folded, nothing else normalized: "/a/~" is not "/a/%7E".
    bool operator==(const URI& other) const noexcept;
    bool operator!=(const URI& other) const noexcept;
    bool operator<(const URI& other) const noexcept;

    /// Compares with a text in the same way.
    /// @return negative, zero or positive, as this comes before, with or after the text.
    int compare(const std::u16string& text) const noexcept;

    /// Equal for equal URIs. Whoever chooses the texts can make them collide: what comes from a package of unknown
    /// origin is better kept in an ordered container.
    std::size_t hash() const noexcept;

    /// Writes `toUTF8()`.
    friend OPCRAFT_API std::ostream& operator<<(std::ostream& stream, const URI& uri);

private:
    class Impl;

    void init(const std::u16string& text);

    // As toString() and getPath(), without a copy; valid as long as this URI or a copy of it.
    std::u16string_view view() const noexcept;
    std::u16string_view pathView() const noexcept;

    boost::shared_ptr<const Impl> impl_;

    friend class PartName;
    friend OPCRAFT_API URI resolve(const URI& base, const URI& reference);
    friend OPCRAFT_API URI relativize(const URI& source, const URI& target);
};

OPCRAFT_API bool operator==(const URI& uri, const std::u16string& text) noexcept;
OPCRAFT_API bool operator!=(const URI& uri, const std::u16string& text) noexcept;
OPCRAFT_API bool operator<(const URI& uri, const std::u16string& text) noexcept;
OPCRAFT_API bool operator==(const std::u16string& text, const URI& uri) noexcept;
OPCRAFT_API bool operator!=(const std::u16string& text, const URI& uri) noexcept;
OPCRAFT_API bool operator<(const std::u16string& text, const URI& uri) noexcept;
inline bool operator==(const URI& uri, const char16_t* text) {
    return uri == std::u16string(text);
}
inline bool operator!=(const URI& uri, const char16_t* text) {
    return !(uri == text);
}

/// The target of a reference relative to `base` (RFC 3986 §5.2).
/// @throws UnsupportedResolve when either is opaque.
OPCRAFT_API URI resolve(const URI& base, const URI& reference);

/// A relative reference that leads from `source` to `target`; `resolve(source, …)` returns the target.
/// @throws UnsupportedRelativize when either is opaque, has a scheme or has no absolute path, or when the paths are
///         equal (case-sensitive).
OPCRAFT_API URI relativize(const URI& source, const URI& target);

} // namespace opc::model

/// @cond
template <>
struct std::hash<opc::model::URI> {
    std::size_t operator()(const opc::model::URI& uri) const noexcept { return uri.hash(); }
};
/// @endcond
