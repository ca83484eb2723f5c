// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include <xercesc/dom/DOMElement.hpp>

namespace opc::model {

/// Whether the element is the QualifyingProperties of a version of XAdES.
bool isQualifyingProperties(const xercesc::DOMElement& element);

/// Reads the properties that XAdES adds to a signature into `data.standard`; `documentId` is set already, and the
/// document was read without validation. Whether they are signed is for the caller to say: by the Id of
/// `SignedProperties`, or because an element around it is signed.
///
/// Those of another version than 1.3.2 are only listed in `unsignedProperties.others`. Faults of unsigned properties
/// are problems of theirs, since anybody can add some.
/// @throws InvalidPartContent when the properties are of another signature by their Target, `data` has some already, or
///         what is signed is there twice where it can be there once.
void readQualifyingProperties(const xercesc::DOMElement& qualifyingProperties, DigitalSignatureData& data);

} // namespace opc::model
