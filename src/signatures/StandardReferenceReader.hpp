// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include <xercesc/dom/DOMElement.hpp>

#include <string>

namespace opc::model {

/// A text as it stands in a URI: characters that URIs do not have are percent-encoded.
std::u16string toURIText(const std::u16string& text);

/// Reads a `Reference` of `SignedInfo` (XML-DSig §4.3.3): to an element of the same document, whose transform can be
/// Canonical XML 1.0 alone.
/// @throws InvalidPartContent
DigitalSignatureData::ReferenceData readSignedInfoReference(const xercesc::DOMElement& element);

/// Reads a `Reference` of the manifest (ECMA-376-2 §10.5.9 to §10.5.14). Its transforms can be Canonical XML 1.0 alone
/// or behind the relationships transform. The target is not looked at.
/// @throws InvalidPartContent
DigitalSignatureData::ReferenceData readManifestReference(const xercesc::DOMElement& element);

} // namespace opc::model
