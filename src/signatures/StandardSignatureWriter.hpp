// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include <string>

/// Writes signatures of the standard forms. What is digested or signed is made first, in the canonical form that it has
/// in its place in the document, and the document is put together of it. All throw `InvalidXMLDocument` for content
/// that XML does not allow or that exceeds a limit of reading.
namespace opc::model {

// The Ids that are written.
inline constexpr char16_t STANDARD_SIGNATURE_ID[] = u"idPackageSignature";
inline constexpr char16_t OFFICE_OBJECT_ID[] = u"idOfficeObject";
inline constexpr char16_t SIGNED_PROPERTIES_ID[] = u"idSignedProperties";

/// The package object (ECMA-376-2 §10.5.8): the references of the manifest and the properties of the signature.
std::string makeStandardPackageObject(const DigitalSignatureData& signature);

/// The object that Microsoft Office adds (MS-OFFCRYPTO §2.5.2.5).
/// @param comments the purpose of signing.
std::string makeOfficeObject(const std::u16string& digestMethod, const std::u16string& comments);

/// `SignedProperties` (XAdES §7.2) with the claims in `standard.properties`.
std::string makeSignedProperties(const DigitalSignatureData& signature);

/// `SignedInfo` with its references.
std::string makeStandardSignedInfo(const DigitalSignatureData& signature);

/// The whole signature part, around `standard.signedInfo` and `standard.elements`.
std::string makeStandardSignature(const DigitalSignatureData& signature);

} // namespace opc::model
