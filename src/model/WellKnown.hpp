// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Identifiers that ECMA-376-2 Annex E fixes, and others that stand for them in files.
namespace opc::model::wellknown {

inline constexpr char16_t contentTypesNamespace[] = u"http://schemas.openxmlformats.org/package/2006/content-types";
inline constexpr char16_t relationshipsNamespace[] = u"http://schemas.openxmlformats.org/package/2006/relationships";
inline constexpr char16_t relationshipsContentType[] = u"application/vnd.openxmlformats-package.relationships+xml";
inline constexpr char16_t corePropertiesContentType[] = u"application/vnd.openxmlformats-package.core-properties+xml";
inline constexpr char16_t corePropertiesRelationshipType[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
/// What some office programs write in its place, with a small "d" or a capital one.
inline constexpr const char16_t* otherCorePropertiesRelationshipTypes[] = {
    u"http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties",
    u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/metadata/core-properties"};
inline constexpr char16_t thumbnailRelationshipType[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/thumbnail";

} // namespace opc::model::wellknown
