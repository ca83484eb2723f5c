// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMLSParser.hpp>

namespace opc::model {

/// Whether this child of a signature can be its package object: an Object with a Manifest as child.
bool hasManifest(const xercesc::DOMElement& object);

/// Reads the package object (ECMA-376-2 §10.5.8): the references of its manifest and the time of signing.
/// @param parser the one that read the document.
/// @param data with the Id of the document.
/// @throws InvalidPartContent
void readPackageObject(const xercesc::DOMLSParser& parser, const xercesc::DOMElement& object,
                       DigitalSignatureData& data);

} // namespace opc::model
