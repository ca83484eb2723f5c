// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/model/URI.hpp>

#include <string>
#include <vector>

namespace opc::model {

/// The name of a part (ECMA-376-2 §6.2.2), or the package root "/".
///
/// Part names are equal and ordered with the ASCII letters folded: "/A.xml" and "/a.XML" are one part. An immutable
/// value that may be shared between threads.
class OPCRAFT_API PartName {
public:
    static const char16_t* const FORWARD_SLASH_STRING;
    static const char16_t* const PACKAGE_RELATIONSHIPS_ROOT_NAME;
    static const char16_t* const RELATIONSHIP_PART_SEGMENT_NAME;
    static const char16_t* const RELATIONSHIP_PART_EXTENSION_NAME;

    /// @throws InvalidPartName when the URI breaks a part-name rule. A query or fragment is not refused.
    PartName(const URI& uri);
    /// @throws InvalidURI when the text is not a URI.
    /// @throws InvalidPartName when it breaks a part-name rule.
    PartName(const std::u16string& name);
    /// As above; null is the empty text.
    PartName(const char16_t* name);
    // The same of a name in UTF-8, as `fromUTF8` reads it; null is the empty text.
    PartName(const std::string& utf8);
    PartName(const char* utf8);

    /// A name that is already trusted: no part-name rule is checked, whatever the second argument.
    /// @throws InvalidURI when the text is not a URI.
    PartName(const std::u16string& name, bool unchecked);

    URI getURI() const { return uri_; }
    std::u16string toString() const { return uri_.toString(); }
    std::string toUTF8() const { return uri_.toUTF8(); }

    /// True for the name of a relationships part; case-sensitive ("/_RELS/a.RELS" is not one). False for the root.
    bool isRelationshipName() const noexcept { return isRelationship_; }

    /// What follows the last "." of the last segment, without the dot; empty when there is none.
    std::u16string getExtension() const;

    /// The relationships part of this part (ECMA-376-2 §6.5.2): "/_rels/.rels" for the root.
    /// @throws InvalidPartName when this is a relationships part.
    std::u16string getRelationshipPartName() const;

    /// The part whose relationships this relationships part holds: "/" for "/_rels/.rels".
    /// @throws InvalidPartName when this is not a relationships part.
    std::u16string getSourcePartName() const;

    bool operator==(const PartName& other) const noexcept { return uri_ == other.uri_; }
    bool operator!=(const PartName& other) const noexcept { return uri_ != other.uri_; }
    bool operator<(const PartName& other) const noexcept { return uri_ < other.uri_; }

    /// As `URI::hash`.
    std::size_t hash() const noexcept { return uri_.hash(); }

    /// Writes `toUTF8()`.
    friend OPCRAFT_API std::ostream& operator<<(std::ostream& stream, const PartName& name);

    // The steps of the validation, each on its own; all throw InvalidPartName.
    static void throwExceptionIfEmptyURI(const URI& uri);
    static void throwExceptionIfAbsoluteUri(const URI& uri);
    static void throwExceptionIfPartNameDoesNotStartWithForwardSlash(const URI& uri);
    static void throwExceptionIfPartNameEndsWithForwardSlash(const URI& uri);
    static void throwExceptionIfPartNameHasInvalidSegments(const URI& uri);
    /// The five above, in that order.
    static void throwExceptionIfInvalidPartUri(const URI& uri);

    /// Refuses percent-encoded slashes, backslashes and unreserved characters in a segment.
    /// @throws InvalidPartName
    static void checkPCharCompliance(const std::u16string& segment);
    /// The segments after the first "/", empty ones included; what precedes it is dropped.
    static std::vector<std::u16string> splitWithEmptySegments(const std::u16string& text);
    static bool isPackageRootUri(const URI& uri);
    static bool isRelationshipUri(const URI& uri);

private:
    void init(bool validate);

    URI uri_;
    bool isRelationship_ = false;

    friend OPCRAFT_API int compare(const PartName& name, const std::u16string& text) noexcept;
};

/// Compares with a text as part names compare with each other.
/// @return negative, zero or positive, as the name comes before, with or after the text.
OPCRAFT_API int compare(const PartName& name, const std::u16string& text) noexcept;
OPCRAFT_API bool operator==(const PartName& name, const std::u16string& text) noexcept;
OPCRAFT_API bool operator!=(const PartName& name, const std::u16string& text) noexcept;
OPCRAFT_API bool operator<(const PartName& name, const std::u16string& text) noexcept;
OPCRAFT_API bool operator==(const std::u16string& text, const PartName& name) noexcept;
OPCRAFT_API bool operator!=(const std::u16string& text, const PartName& name) noexcept;
OPCRAFT_API bool operator<(const std::u16string& text, const PartName& name) noexcept;
inline bool operator==(const PartName& name, const char16_t* text) {
    return name == std::u16string(text);
}
inline bool operator!=(const PartName& name, const char16_t* text) {
    return !(name == text);
}

} // namespace opc::model

/// @cond
template <>
struct std::hash<opc::model::PartName> {
    std::size_t operator()(const opc::model::PartName& name) const noexcept { return name.hash(); }
};
/// @endcond
