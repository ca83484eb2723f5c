// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/dom/DOMDocument.hpp>

#include <vector>

namespace opc::model {

/// Whether every program reads the same out of a document: XML 1.0 in valid UTF-8 from the first to the last byte.
/// Xerces-C takes a document to end at U+0000 behind its root and passes over an incomplete sequence there, and it
/// reads other versions and encodings.
/// @param document read from the bytes.
bool isPlainXml(const std::vector<unsigned char>& bytes, const xercesc::DOMDocument& document);

} // namespace opc::model
