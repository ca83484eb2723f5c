// SPDX-License-Identifier: Apache-2.0
#include "signatures/ManifestTarget.hpp"

#include "signatures/SignatureFormRules.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

namespace opc::model {

namespace {

constexpr std::u16string_view CONTENT_TYPE_KEY = std::u16string_view(CONTENT_TYPE_QUERY).substr(1);

/// Decodes the escapes.
std::u16string unescaped(const std::u16string& text) {
    std::u16string said;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == u'%') { // and two digits, as in every URI
            said += static_cast<char16_t>(std::stoi(toASCIIString(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            said += text[i];
        }
    return said;
}

/// Of a query (RFC 3986 §3.4), without the "%" of escapes.
bool isQueryCharacter(char16_t unit) {
    constexpr std::u16string_view marks = u"-._~!$&'()*+,;=:@/?";
    return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z') ||
           marks.find(unit) != std::u16string_view::npos;
}

} // namespace

ManifestTarget ManifestTarget::of(const URI& uri) {
    if (uri.isAbsolute() || uri.hasAuthority() || uri.getPath().empty())
        throw InvalidSignature("URI referenced to in the manifest reference should not be an external reference or a "
                               "same-document reference.");
    ManifestTarget target{PartName(URI(uri.getPath()))};
    const std::u16string query = uri.getQuery();
    if (query.starts_with(CONTENT_TYPE_KEY))
        target.contentType = unescaped(query.substr(CONTENT_TYPE_KEY.size()));
    return target;
}

URI makeManifestURI(const std::u16string& partName, const std::u16string& contentType) {
    const std::u16string text = partName + CONTENT_TYPE_QUERY + contentType;
    try {
        const URI uri(text);
        if (!uri.hasFragment() && ManifestTarget::of(uri).contentType == contentType)
            return uri;
    } catch (const InvalidURI&) { // reported below
    }
    throw CouldNotGenerateSignature("The content type of a part cannot stand in the URI of a reference to it: " +
                                    detail::toUTF8String(partName + u", " + contentType, false));
}

URI makeEscapedManifestURI(const std::u16string& partName, const std::u16string& contentType) {
    constexpr std::u16string_view digits = u"0123456789ABCDEF";
    std::u16string text = partName + CONTENT_TYPE_QUERY;
    for (const char16_t unit : contentType) // ASCII
        if (isQueryCharacter(unit))
            text += unit;
        else
            text += {u'%', digits[unit >> 4U & 0xFU], digits[unit & 0xFU]};
    return URI(text);
}

} // namespace opc::model
