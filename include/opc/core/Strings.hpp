// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Conversions and comparisons of text. All are pure and may be called from any thread.
namespace opc {

/// Compares two texts with the ASCII letters folded; every other unit compares as it is.
/// @return negative, zero or positive, as `a` comes before, with or after `b`.
OPCRAFT_API int caselessCompare(std::u16string_view a, std::u16string_view b) noexcept;

/// The text with "A" to "Z" in lower case; every other unit is unchanged.
OPCRAFT_API std::u16string toLowerASCIIString(std::u16string_view text);

/// The text as US-ASCII.
/// @throws opc::Exception when a unit is above U+007F.
OPCRAFT_API std::string toASCIIString(std::u16string_view text);

/// The text as a wide string of Unicode code points.
/// @throws opc::Exception for an unpaired surrogate.
OPCRAFT_API std::wstring toWideString(std::u16string_view text);

/// A UTF-8 text as UTF-16.
/// @param strict true: a malformed sequence throws; false: it becomes U+FFFD.
/// @throws opc::Exception for a malformed, overlong or surrogate sequence, when strict.
OPCRAFT_API std::u16string toString(std::string_view utf8, bool strict = true);

/// A wide string of Unicode code points as UTF-16.
/// @throws opc::Exception for a value that is not a Unicode scalar value.
OPCRAFT_API std::u16string toString(std::wstring_view text);

/// A UTF-8 text as UTF-16: what every function that takes UTF-8 beside UTF-16 does with it.
/// @throws opc::Exception invalid_argument for a malformed sequence; `errorKind` tells `ErrorKind::InvalidArgument`.
OPCRAFT_API std::u16string fromUTF8(std::string_view text);

/// The text as UTF-8.
/// @throws opc::Exception invalid_argument for an unpaired surrogate, which no valid XML has.
OPCRAFT_API std::string toUTF8(std::u16string_view text);

/// The same of a text that may be absent, as core properties are.
template <class Text>
std::optional<std::string> toUTF8(const std::optional<Text>& text) {
    return text ? std::optional(toUTF8(std::u16string_view(*text))) : std::nullopt;
}

/// The text in the user's default encoding (the character encoding of the current C locale), for display.
/// What that encoding cannot represent becomes "?". No other thread may set the locale meanwhile.
OPCRAFT_API std::string toUDEString(std::u16string_view text);

namespace detail {

/// The text as UTF-8.
/// @param strict true: an unpaired surrogate throws; false: it becomes U+FFFD.
/// @throws opc::Exception for an unpaired surrogate, when strict.
OPCRAFT_API std::string toUTF8String(std::u16string_view text, bool strict = true);

/// A hash of the text with the ASCII letters folded.
OPCRAFT_API std::size_t hashFolded(std::u16string_view text) noexcept;

/// What follows the last "." of the last "/"-separated segment of a path, without the dot; empty when
/// there is none. The case is kept (ECMA-376-2 §7.2.3 compares extensions without regard to case).
OPCRAFT_API std::u16string getExtension(std::u16string_view path);

} // namespace detail
} // namespace opc
