// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <xercesc/util/XercesDefs.hpp>

#include <string>
#include <type_traits>

namespace opc::model {

static_assert(std::is_same_v<XMLCh, char16_t>, "Xerces-C must be built with char16_t as its character type");

/// A NUL-terminated UTF-16 text in memory of Xerces' global memory manager, for names that are used again and again.
///
/// It owns its buffer. A `XercesGuard` lives from before its construction until after its destruction. A text with an
/// embedded NUL is copied whole, but Xerces sees only what stands before the NUL.
class OPCRAFT_API XercesString {
public:
    /// @throws std::bad_alloc when memory ends.
    explicit XercesString(const std::u16string& text);

    /// A null pointer makes a null string.
    explicit XercesString(const char16_t* text);

    XercesString(const XercesString& other);
    XercesString(XercesString&& other) noexcept;
    XercesString& operator=(XercesString other) noexcept;
    ~XercesString();

    /// The buffer itself, owned by this object; null for a null string.
    char16_t* toXMLCh() const noexcept { return text_; }
    operator char16_t*() const noexcept { return text_; }

    /// A copy up to the first NUL.
    /// @throws std::logic_error for a null string.
    std::u16string toString() const;
    operator std::u16string() const { return toString(); }

    /// Compares unit by unit. As everywhere in Xerces, a null string equals an empty one, and another null.
    bool operator==(const char16_t* other) const noexcept;
    bool operator==(const XercesString& other) const noexcept { return *this == other.constText(); }
    bool operator!=(const char16_t* other) const noexcept { return !(*this == other); }
    bool operator!=(const XercesString& other) const noexcept { return !(*this == other); }

    // Without these the conversion above would have the built-in comparison compare addresses.
    bool operator==(char16_t* other) const noexcept { return *this == static_cast<const char16_t*>(other); }
    bool operator!=(char16_t* other) const noexcept { return !(*this == other); }
    friend bool operator==(const char16_t* a, const XercesString& b) noexcept { return b == a; }
    friend bool operator!=(const char16_t* a, const XercesString& b) noexcept { return b != a; }
    friend bool operator==(char16_t* a, const XercesString& b) noexcept { return b == a; }
    friend bool operator!=(char16_t* a, const XercesString& b) noexcept { return b != a; }

private:
    const char16_t* constText() const noexcept { return text_; }

    char16_t* text_;
};

} // namespace opc::model
