// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Identifiers of ECMA-376-2 Annex E, and others that replace them in files.
namespace opc::model::wellknown {

inline constexpr char16_t CONTENT_TYPES_NAMESPACE[] = u"http://schemas.openxmlformats.org/package/2006/content-types";
inline constexpr char16_t RELATIONSHIPS_NAMESPACE[] = u"http://schemas.openxmlformats.org/package/2006/relationships";
inline constexpr char16_t RELATIONSHIPS_CONTENT_TYPE[] = u"application/vnd.openxmlformats-package.relationships+xml";
inline constexpr char16_t CORE_PROPERTIES_CONTENT_TYPE[] =
    u"application/vnd.openxmlformats-package.core-properties+xml";
inline constexpr char16_t CORE_PROPERTIES_RELATIONSHIP_TYPE[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
/// Variants that some office programs write instead, with a lower-case or an upper-case "d".
inline constexpr const char16_t* OTHER_CORE_PROPERTIES_RELATIONSHIP_TYPES[] = {
    u"http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties",
    u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/metadata/core-properties"};
inline constexpr char16_t THUMBNAIL_RELATIONSHIP_TYPE[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/thumbnail";
inline constexpr char16_t SIGNATURE_ORIGIN_RELATIONSHIP_TYPE[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/origin";

} // namespace opc::model::wellknown
