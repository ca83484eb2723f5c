// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Strings.hpp>

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace opc::model {

/// A media type (ECMA-376-2 §6.2.3, RFC 2616 §3.7): type, subtype and parameters, with a normalized text.
///
/// A plain value: concurrent reads are safe.
class OPCRAFT_API ContentType {
public:
    /// Parses `type "/" subtype *( *SP ";" *SP attribute "=" ( token | quoted-string ) )`. A quoted string is not
    /// empty and has no escapes. Of a repeated attribute the first spelling and the last value are kept.
    /// @throws InvalidContentType when the whole text does not match.
    ContentType(const std::u16string& text);
    /// As above; null is the empty text.
    ContentType(const char16_t* text);
    // The same of a text in UTF-8, as `fromUTF8` reads it; null is the empty text.
    ContentType(const std::string& utf8);
    ContentType(const char* utf8);

    // Only copies, which share their data until one is changed: a moved-from content type would be invalid.
    ContentType(const ContentType&) = default;
    ContentType& operator=(const ContentType&) = default;

    /// As written.
    std::u16string getType() const;
    /// As written.
    std::u16string getSubType() const;

    /// The normalized text: no spaces, parameters in the order of their attributes, values quoted where needed.
    std::u16string toString() const;
    std::string toUTF8() const;

    /// Attributes compare with the ASCII letters folded.
    bool hasParameter(const std::u16string& attribute) const;

    /// @throws ContentTypeParameterNotFound when there is none.
    std::u16string getParameterValue(const std::u16string& attribute) const;

    /// Adds a parameter, or replaces its value. A value with a double quote is accepted, but the text is then
    /// one that does not parse again.
    /// @throws InvalidContentTypeParameter when the attribute is not a token, or the value is empty or not printable
    ///         ASCII; nothing is changed then.
    void addParameter(const std::u16string& attribute, const std::u16string& value);

    /// @throws ContentTypeParameterNotFound when there is none; nothing is changed then.
    void removeParameter(const std::u16string& attribute);

    // The same in UTF-8, as `fromUTF8` reads it.
    bool hasParameter(std::string_view attribute) const { return hasParameter(fromUTF8(attribute)); }
    std::u16string getParameterValue(std::string_view attribute) const {
        return getParameterValue(fromUTF8(attribute));
    }
    void addParameter(std::string_view attribute, std::string_view value) {
        addParameter(fromUTF8(attribute), fromUTF8(value));
    }
    void removeParameter(std::string_view attribute) { removeParameter(fromUTF8(attribute)); }

    // The normalized texts compared with the ASCII letters folded, parameter values included.
    bool operator==(const ContentType& other) const noexcept;
    bool operator!=(const ContentType& other) const noexcept;
    bool operator<(const ContentType& other) const noexcept;

    /// Equal for equal content types; see `URI::hash`.
    std::size_t hash() const noexcept;

    /// Writes `toUTF8()`.
    friend OPCRAFT_API std::ostream& operator<<(std::ostream& stream, const ContentType& contentType);

private:
    struct OPCRAFT_API caselessCompareFcn {
        bool operator()(const std::u16string& a, const std::u16string& b) const noexcept;
    };

    struct Value;

    void init(const std::u16string& text);
    void setValue(Value value);

    boost::shared_ptr<const Value> value_;
};

} // namespace opc::model

/// @cond
template <>
struct std::hash<opc::model::ContentType> {
    std::size_t operator()(const opc::model::ContentType& contentType) const noexcept { return contentType.hash(); }
};
/// @endcond
