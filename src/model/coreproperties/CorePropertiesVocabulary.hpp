// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/ChildElements.hpp"

/// The vocabulary of core properties parts (ECMA-376-2 §8 and Annex E).
namespace opc::model::coreproperties {

inline constexpr char16_t CP[] = u"http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
inline constexpr char16_t DC[] = u"http://purl.org/dc/elements/1.1/";
inline constexpr char16_t DCTERMS[] = u"http://purl.org/dc/terms/";
inline constexpr char16_t DCMITYPE[] = u"http://purl.org/dc/dcmitype/";
inline constexpr char16_t XSI[] = u"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr char16_t XML[] = u"http://www.w3.org/XML/1998/namespace";
inline constexpr char16_t XMLNS[] = u"http://www.w3.org/2000/xmlns/";
inline constexpr char16_t MARKUP_COMPATIBILITY[] = u"http://schemas.openxmlformats.org/markup-compatibility/2006";
inline constexpr char16_t W3CDTF[] = u"dcterms:W3CDTF";

using opc::model::children;
using opc::model::firstChild;

} // namespace opc::model::coreproperties
