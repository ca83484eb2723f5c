// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/CanonicalXml.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace opc::model {

inline constexpr char16_t C14N[] = u"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
inline constexpr char16_t C14N_WITH_COMMENTS[] = u"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments";

/// What becomes of comments by an identifier of Canonical XML 1.0, the only form that packages may use (ECMA-376-2
/// §10.5.5); nothing for any other identifier.
inline std::optional<CanonicalComments> commentsOf(std::u16string_view identifier) {
    if (identifier == C14N)
        return CanonicalComments::Omit;
    return identifier == C14N_WITH_COMMENTS ? std::optional(CanonicalComments::Keep) : std::nullopt;
}

/// "exclusive canonicalization (http://…)" for a known identifier of a transform or of a canonicalization method;
/// otherwise the identifier alone.
std::string describeTransform(std::u16string_view identifier);

} // namespace opc::model
